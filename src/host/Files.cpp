#include "host/Files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>
#include <vector>

#include "store/AtomicFile.h"

namespace velmora::host {

namespace {

Status fileProblem(const char* what, const std::filesystem::path& file, int error) {
  return Status::failure(std::string(what) + " " + file.string() +
                         (error ? ": " + std::generic_category().message(error) : ""));
}

Status tooLarge(const std::string& name) {
  return Status::failure(name + " is larger than " + std::to_string(kMaxInputMebibytes) +
                         " MiB, more than any domain or payload holds");
}

// Closes the descriptor on every way out.
struct OpenFile {
  int fd;
  ~OpenFile() {
    if (fd >= 0) ::close(fd);
  }
};

}  // namespace

Result<std::string> readFile(const std::filesystem::path& file) {
  const OpenFile in{openForReading(file)};
  if (in.fd < 0) return fileProblem("cannot read", file, errno);
  struct stat st {};
  if (::fstat(in.fd, &st) != 0) return fileProblem("cannot read", file, errno);
  if (S_ISDIR(st.st_mode)) return Status::failure("cannot read " + file.string() + ": it is a directory");
  const bool regular = S_ISREG(st.st_mode);
  const auto size = regular ? static_cast<std::size_t>(std::max<off_t>(st.st_size, 0)) : 0;
  if (size > kMaxInputBytes) return tooLarge(file.string());
  std::vector<std::uint8_t> bytes;
  if (const int error = readToEnd(in.fd, bytes, size)) {
    if (error == EFBIG) return tooLarge(file.string());
    return fileProblem("cannot read", file, error);
  }
  return std::string(bytes.begin(), bytes.end());
}

Result<std::string> readStream(std::istream& in, const std::string& name) {
  std::string text;
  char buffer[65536];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
    if (text.size() + static_cast<std::size_t>(in.gcount()) > kMaxInputBytes) return tooLarge(name);
    text.append(buffer, static_cast<std::size_t>(in.gcount()));
  }
  if (in.bad()) return Status::failure("cannot read " + name);
  return text;
}

Status writeFile(const std::filesystem::path& file, std::string_view text) {
  errno = 0;
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream << text;
  stream.close();
  if (!stream) return fileProblem("cannot write", file, errno);
  return Status();
}

}  // namespace velmora::host
