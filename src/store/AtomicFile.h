#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "values/Status.h"

namespace velmora {

// Which file a path named when it was looked at. A file replaced by a rename
// has a new inode; one rewritten in place a new size or modification time
// (kept to the nanosecond). A path that could not be looked at carries the
// error number, so the same failure twice is the same state.
struct FileIdentity {
  bool exists = false;
  int error = 0;  // errno of the failed look, other than "no such file"
  std::uint64_t device = 0, inode = 0;
  std::int64_t size = 0, modifiedSeconds = 0, modifiedNanoseconds = 0;

  // The identity of what `path` names now.
  static FileIdentity of(const std::filesystem::path& path);

  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// The most the program reads of any file or stream it is given: a store, a
// string table, a payload, a domain to import. A year of nightly records is
// about 1 MB, so 64 MiB holds decades of them, and is still little enough
// to hold in memory a few times over.
inline constexpr std::size_t kMaxInputMebibytes = 64;
inline constexpr std::size_t kMaxInputBytes = kMaxInputMebibytes << 20;

// Opens `path` for reading without waiting for a writer: a FIFO that no one
// writes to opens at once, and then reads as empty rather than holding the
// program forever. Reads wait for data as usual. -1, with errno set, when it
// cannot be opened.
int openForReading(const std::filesystem::path& path);

// Reads `fd` to its end, appending to `bytes`, but at most `limit` bytes. `sizeHint` (a regular file's size) saves
// growing the buffer. 0 when all was read; EFBIG when there is more than `limit`; else the errno of the failed read.
int readToEnd(int fd, std::vector<std::uint8_t>& bytes, std::size_t sizeHint = 0, std::size_t limit = kMaxInputBytes);

// A whole file as read through one descriptor, with the identity of exactly
// what was read. Only a regular file is read, and only up to kMaxInputBytes.
struct FileSnapshot {
  FileIdentity identity;
  mode_t mode = 0;  // permission bits
  std::vector<std::uint8_t> bytes;
  Status status;  // a failure, saying why, when it exists but could not be read
};
FileSnapshot readWholeFile(const std::filesystem::path& path);

// An exclusive advisory lock (flock) on the sidecar "<file>.lock", held for
// the object's lifetime. The plist itself is never locked: a rename replaces
// it, and a lock on the old inode would protect nothing.
class SidecarLock {
 public:
  // Creates the sidecar when needed and waits for the lock; a failure when
  // that fails. The sidecar is opened without following a symbolic link, so
  // the lock is always a regular file beside `file` and never creates or
  // locks a file elsewhere.
  static Result<SidecarLock> acquire(const std::filesystem::path& file);

  SidecarLock(SidecarLock&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
  SidecarLock& operator=(SidecarLock&&) = delete;
  SidecarLock(const SidecarLock&) = delete;
  ~SidecarLock();

  static std::filesystem::path pathFor(const std::filesystem::path& file);

 private:
  explicit SidecarLock(int fd) : fd_(fd) {}
  int fd_;
};

// Replaces `file` with `bytes` so that a reader sees the old file or the new
// one, never a mixture, and a crash leaves one of the two: the bytes go to a
// temporary file beside it (created with `mode`), are flushed to disk, the
// temporary file is renamed over `file`, and the directory is flushed so the
// rename itself survives. The caller holds the sidecar lock, which also
// makes the fixed temporary name safe to reuse. A failure leaves the old
// file as it was.
struct ReplacedFile {
  FileIdentity identity;  // of the new file
  // A failure when the directory could not be flushed: the new file is in
  // place, but may not survive a power cut.
  Status durability;
};
Result<ReplacedFile> replaceFileAtomically(const std::filesystem::path& file, std::span<const std::uint8_t> bytes,
                                           mode_t mode);

// The file a write through `path` replaces: `path` itself, or, when it is a
// symbolic link, the file at the end of its chain of links (which need not
// exist yet), so that a linked store is written through to its target and
// the link stays. A failure for a loop of links.
Result<std::filesystem::path> writeTarget(const std::filesystem::path& path);

// Creates `directory` and its parents when missing.
Status ensureDirectory(const std::filesystem::path& directory);

}  // namespace velmora
