#include "store/AtomicFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace velmora {

namespace {

std::string osError(std::string_view what, const std::filesystem::path& path, int error) {
  return std::string(what) + " " + path.string() + ": " + std::system_category().message(error);
}

FileIdentity identityOf(const struct stat& st) {
  FileIdentity id;
  id.exists = true;
  id.device = st.st_dev;
  id.inode = st.st_ino;
  id.size = st.st_size;
  id.modifiedSeconds = st.st_mtim.tv_sec;
  id.modifiedNanoseconds = st.st_mtim.tv_nsec;
  return id;
}

FileIdentity failedLook(int error) {
  FileIdentity id;
  if (error != ENOENT && error != ENOTDIR) id.error = error;
  return id;
}

// Closes a descriptor when it goes out of scope.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  // Closes now, reporting the error a close can carry (a delayed write failure).
  int close() {
    const int result = ::close(fd_);
    fd_ = -1;
    return result;
  }

 private:
  int fd_;
};

bool writeAll(int fd, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::write(fd, bytes.data(), bytes.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes = bytes.subspan(static_cast<std::size_t>(n));
  }
  return true;
}

}  // namespace

FileIdentity FileIdentity::of(const std::filesystem::path& path) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return failedLook(errno);
  return identityOf(st);
}

int openForReading(const std::filesystem::path& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return fd;
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags < 0 || ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0) {
    const int error = errno;
    ::close(fd);
    errno = error;
    return -1;
  }
  return fd;
}

int readToEnd(int fd, std::vector<std::uint8_t>& bytes, std::size_t sizeHint, std::size_t limit) {
  // One byte past the limit tells a file of exactly `limit` bytes from a longer one.
  const std::size_t most = bytes.size() + limit + 1;
  std::size_t filled = bytes.size();
  bytes.resize(std::min(most, filled + std::max<std::size_t>(sizeHint + 1, 4096)));
  for (;;) {
    if (filled == bytes.size()) {
      if (filled == most) {
        bytes.resize(filled - 1);
        return EFBIG;
      }
      bytes.resize(std::min(most, bytes.size() * 2));
    }
    const ssize_t n = ::read(fd, bytes.data() + filled, bytes.size() - filled);
    if (n < 0) {
      if (errno == EINTR) continue;
      const int error = errno;
      bytes.resize(filled);
      return error;
    }
    if (n == 0) break;
    filled += static_cast<std::size_t>(n);
  }
  bytes.resize(filled);
  return 0;
}

FileSnapshot readWholeFile(const std::filesystem::path& path) {
  FileSnapshot snapshot;
  Descriptor fd(openForReading(path));
  if (!fd.valid()) {
    const int error = errno;
    snapshot.identity = failedLook(error);
    if (snapshot.identity.error != 0) {
      snapshot.identity = FileIdentity::of(path);  // e.g. a file we may not read: its state, for comparing
      snapshot.status = Status::failure(osError("cannot open", path, error));
    }
    return snapshot;
  }
  struct stat st {};
  if (::fstat(fd.get(), &st) != 0) {
    snapshot.identity = failedLook(errno);
    snapshot.status = Status::failure(osError("cannot examine", path, errno));
    return snapshot;
  }
  snapshot.identity = identityOf(st);
  snapshot.mode = st.st_mode & 07777;
  if (!S_ISREG(st.st_mode)) {
    snapshot.status = Status::failure(path.string() + " is not a regular file");
    return snapshot;
  }
  // The size is a hint only: read until the end, however long that is now.
  const auto size = static_cast<std::size_t>(std::max<off_t>(st.st_size, 0));
  const int error = size > kMaxInputBytes ? EFBIG : readToEnd(fd.get(), snapshot.bytes, size);
  if (error != 0) {
    snapshot.status = Status::failure(error == EFBIG ? path.string() + " is larger than " +
                                                           std::to_string(kMaxInputMebibytes) + " MiB"
                                                     : osError("cannot read", path, error));
    snapshot.bytes.clear();
  }
  return snapshot;
}

std::filesystem::path SidecarLock::pathFor(const std::filesystem::path& file) {
  std::filesystem::path lock = file;
  lock += ".lock";
  return lock;
}

Result<SidecarLock> SidecarLock::acquire(const std::filesystem::path& file) {
  const auto path = pathFor(file);
  const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd < 0) {
    return Status::failure(errno == ELOOP
                               ? "the lock file " + path.string() + " is a symbolic link, which is not followed"
                               : osError("cannot open the lock file", path, errno));
  }
  SidecarLock lock(fd);  // closed on every way out
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
    return Status::failure("the lock file " + path.string() + " is not a regular file");
  while (::flock(fd, LOCK_EX) != 0) {
    if (errno == EINTR) continue;
    return Status::failure(osError("cannot lock", path, errno));
  }
  return lock;
}

SidecarLock::~SidecarLock() {
  if (fd_ >= 0) ::close(fd_);  // closing the last descriptor releases the lock
}

Result<ReplacedFile> replaceFileAtomically(const std::filesystem::path& file, std::span<const std::uint8_t> bytes,
                                           mode_t mode) {
  std::filesystem::path temporary = file;
  temporary += ".tmp";
  // Left behind by a writer that died holding the lock, if anything.
  if (::unlink(temporary.c_str()) != 0 && errno != ENOENT)
    return Status::failure(osError("cannot remove the stale temporary file", temporary, errno));

  Descriptor fd(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  if (!fd.valid()) return Status::failure(osError("cannot create", temporary, errno));
  auto fail = [&](std::string_view what) {
    Status failure = Status::failure(osError(what, temporary, errno));
    ::unlink(temporary.c_str());
    return failure;
  };
  struct stat st {};
  if (::fchmod(fd.get(), mode) != 0) return fail("cannot set the permissions of");  // past the umask
  if (!writeAll(fd.get(), bytes)) return fail("cannot write");
  if (::fsync(fd.get()) != 0) return fail("cannot flush");
  if (::fstat(fd.get(), &st) != 0) return fail("cannot examine");
  if (fd.close() != 0) return fail("cannot close");
  if (::rename(temporary.c_str(), file.c_str()) != 0) return fail("cannot rename into place");

  // The rename is done; flushing the directory makes it survive a crash.
  const auto directory = file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
  ReplacedFile replaced{identityOf(st), {}};  // renaming keeps the inode, size and modification time
  Descriptor dir(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!dir.valid() || ::fsync(dir.get()) != 0)
    replaced.durability = Status::failure(osError("cannot flush the directory", directory, errno));
  return replaced;
}

Result<std::filesystem::path> writeTarget(const std::filesystem::path& path) {
  constexpr int kMaxLinks = 40;  // as the kernel follows them
  std::filesystem::path target = path;
  for (int links = 0; links <= kMaxLinks; ++links) {
    std::error_code ec;
    const auto status = std::filesystem::symlink_status(target, ec);
    if (ec || !std::filesystem::is_symlink(status)) return target;
    const std::filesystem::path next = std::filesystem::read_symlink(target, ec);
    if (ec) return Status::failure("cannot read the symbolic link " + target.string() + ": " + ec.message());
    target = next.is_absolute() ? next : target.parent_path() / next;
  }
  return Status::failure(osError("cannot follow", path, ELOOP));
}

Status ensureDirectory(const std::filesystem::path& directory) {
  if (directory.empty()) return {};
  std::error_code ec;
  std::filesystem::create_directories(directory, ec);
  if (ec) return Status::failure("cannot create the directory " + directory.string() + ": " + ec.message());
  return {};
}

}  // namespace velmora
