#include "host/Files.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <system_error>

#include "host/Errors.h"

namespace velmora::host {

namespace {

CommandError fileProblem(const char* what, const std::filesystem::path& file) {
  const int error = errno;
  return CommandError(std::string(what) + " " + file.string() +
                      (error ? ": " + std::generic_category().message(error) : ""));
}

}  // namespace

std::string readFile(const std::filesystem::path& file) {
  std::error_code ec;
  if (std::filesystem::is_directory(file, ec))
    throw CommandError("cannot read " + file.string() + ": it is a directory");
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw fileProblem("cannot read", file);
  std::string bytes(std::istreambuf_iterator<char>(stream), {});
  if (stream.bad()) throw fileProblem("cannot read", file);
  return bytes;
}

void writeFile(const std::filesystem::path& file, std::string_view text) {
  errno = 0;
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream << text;
  stream.close();
  if (!stream) throw fileProblem("cannot write", file);
}

}  // namespace velmora::host
