// POSIX implementation of platform/cmPlatformFile.h.
//
// Sharing is kept in two places. Inside the process a table of open files,
// keyed by device and inode, answers at once. Between processes each open
// holds shared OFD locks on bytes far beyond any real data, one byte per
// fact: "someone reads", "someone writes", "someone refuses readers",
// "someone refuses writers". An open first takes its own locks and then asks
// whether another open description holds a byte that conflicts; taking before
// asking means that of two racing opens at least the later one sees the
// other. OFD locks vanish with the last descriptor of the open, so a crashed
// process leaves nothing behind.
//
// Lock bytes, relative to kShareLockBase:
//   OFFSET  SIZE  MEANING
//   0       1     held by every open with read access
//   1       1     held by every open with write access
//   2       1     held by every open that does not share reading
//   3       1     held by every open that does not share writing
#include "platform/cmPlatformFile.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>

#include "file/cmFileErrors.h"
#include "platform/posix/cmPosixFileSyscalls.h"
#include "runtime/cmAlloc.h"

namespace platform {

// ---------------------------------------------------------------------------
// The replaceable system calls.

namespace {

int sysOpen(const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); }
int sysLock(int fd, int command, struct flock* lock) { return ::fcntl(fd, command, lock); }

const PosixFileSyscalls kDefaults = {
    sysOpen,  ::close,  ::read,  ::write,    ::lseek,   ::fstat,   ::stat,     ::ftruncate,
    ::fsync,  ::unlink, ::chmod, ::futimens, sysLock,   ::opendir, ::readdir,  ::closedir,
};

PosixFileSyscalls gCalls = kDefaults;

}  // namespace

PosixFileSyscalls& posixFileSyscalls() { return gCalls; }
const PosixFileSyscalls& posixFileSyscallDefaults() { return kDefaults; }

// ---------------------------------------------------------------------------
// Errors.

int32_t fileErrorFromErrno(int err, int32_t fallback) {
  switch (err) {
    case ENOENT: return CM_FILE_ERR_NOT_FOUND;
    case ENOTDIR: return CM_FILE_ERR_PATH_NOT_FOUND;
    case EMFILE:
    case ENFILE: return CM_FILE_ERR_TOO_MANY_OPEN;
    case EACCES:
    case EPERM:
    case EISDIR:  // a directory opened as a file is refused, not missing
    case EBUSY:
    case ETXTBSY:
    case EAGAIN: return CM_FILE_ERR_ACCESS_DENIED;
    case EBADF: return CM_FILE_ERR_INVALID_HANDLE;
    case ENOMEM:
    case EFAULT: return CM_FILE_ERR_OUT_OF_MEMORY;
    case ENODEV:
    case ENXIO: return CM_FILE_ERR_INVALID_DRIVE;
    case EROFS: return CM_FILE_ERR_WRITE_PROTECT;
    case EIO: return CM_FILE_ERR_CRC;
    case ESPIPE: return CM_FILE_ERR_SEEK;
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return CM_FILE_ERR_DISK_FULL;
    case ENAMETOOLONG:
    case EILSEQ: return CM_FILE_ERR_INVALID_NAME;
    default: return fallback;
  }
}

namespace {

// ENOENT means a missing file only when the directory is there; otherwise
// the path is what is missing.
int32_t missingPathError(const char* path) {
  const char* slash = std::strrchr(path, '/');
  if (!slash) return CM_FILE_ERR_NOT_FOUND;
  size_t len = size_t(slash - path);
  if (len == 0) return CM_FILE_ERR_NOT_FOUND;  // directly under the root
  char buffer[4096];
  if (len >= sizeof(buffer)) return CM_FILE_ERR_PATH_NOT_FOUND;
  std::memcpy(buffer, path, len);
  buffer[len] = 0;
  struct stat st{};
  if (gCalls.stat(buffer, &st) != 0 || !S_ISDIR(st.st_mode)) return CM_FILE_ERR_PATH_NOT_FOUND;
  return CM_FILE_ERR_NOT_FOUND;
}

int32_t pathError(int err, const char* path, int32_t fallback) {
  if (err == ENOENT) return missingPathError(path);
  return fileErrorFromErrno(err, fallback);
}

constexpr int64_t kEpochDelta = 11644473600LL;  // seconds from 1601 to 1970

uint64_t toFileTime(const struct timespec& ts) {
  int64_t seconds = int64_t(ts.tv_sec) + kEpochDelta;
  if (seconds < 0) return 0;
  return uint64_t(seconds) * 10000000ull + uint64_t(ts.tv_nsec) / 100u;
}

struct timespec fromFileTime(uint64_t t) {
  struct timespec ts{};
  ts.tv_sec = time_t(int64_t(t / 10000000ull) - kEpochDelta);
  ts.tv_nsec = long(t % 10000000ull) * 100;
  return ts;
}

const char* lastSegment(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash ? slash + 1 : path;
}

void fillInfo(const struct stat& st, const char* name, FileInfo* info) {
  uint32_t attributes = 0;
  if (S_ISDIR(st.st_mode)) attributes |= kFileAttrDirectory;
  if ((st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) attributes |= kFileAttrReadOnly;
  if (pathIsHiddenName(name)) attributes |= kFileAttrHidden;
  if (attributes == 0) attributes = kFileAttrNormal;
  info->attributes = attributes;
  info->size = S_ISDIR(st.st_mode) ? 0 : uint64_t(st.st_size);
  info->created = toFileTime(st.st_ctim);
  info->accessed = toFileTime(st.st_atim);
  info->modified = toFileTime(st.st_mtim);
}

// ---------------------------------------------------------------------------
// Sharing.

struct OpenEntry {
  int fd;
  dev_t device;
  ino_t inode;
  uint32_t access;
  uint32_t share;
};

// The process's open files: one array, grown through cmRealloc.
struct OpenTable {
  std::mutex mutex;
  OpenEntry* entries = nullptr;
  size_t count = 0;
  size_t capacity = 0;
};

OpenTable& openTable() {
  static OpenTable table;
  return table;
}

// An open without data access (attributes, times) takes no part in sharing.
bool sharesConflict(uint32_t accessA, uint32_t shareA, uint32_t accessB, uint32_t shareB) {
  if (accessA == 0 || accessB == 0) return false;
  return ((accessA & kFileAccessRead) && !(shareB & kFileShareRead)) ||
         ((accessA & kFileAccessWrite) && !(shareB & kFileShareWrite)) ||
         ((accessB & kFileAccessRead) && !(shareA & kFileShareRead)) ||
         ((accessB & kFileAccessWrite) && !(shareA & kFileShareWrite));
}

constexpr off_t kShareLockBase = off_t(0x7FFFFFFFFFFF0000LL);
enum : off_t { kLockReads = 0, kLockWrites = 1, kLockDeniesRead = 2, kLockDeniesWrite = 3 };

bool takeShareLock(int fd, off_t which) {
  struct flock lock{};
  lock.l_type = F_RDLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = kShareLockBase + which;
  lock.l_len = 1;
  return gCalls.lock(fd, F_OFD_SETLK, &lock) == 0;
}

bool heldByOtherOpen(int fd, off_t which) {
  struct flock lock{};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = kShareLockBase + which;
  lock.l_len = 1;
  if (gCalls.lock(fd, F_OFD_GETLK, &lock) != 0) return false;
  return lock.l_type != F_UNLCK;
}

// Cross-process half of the share check. A file system without OFD locks,
// or a write-only descriptor (which cannot hold read locks), is left to the
// in-process table.
bool crossProcessConflict(int fd, uint32_t access, uint32_t share) {
  if (access == 0) return false;
  bool reads = access & kFileAccessRead, writes = access & kFileAccessWrite;
  bool deniesRead = !(share & kFileShareRead), deniesWrite = !(share & kFileShareWrite);
  if (reads && !takeShareLock(fd, kLockReads)) return false;
  if (writes && !takeShareLock(fd, kLockWrites)) return false;
  if (deniesRead && !takeShareLock(fd, kLockDeniesRead)) return false;
  if (deniesWrite && !takeShareLock(fd, kLockDeniesWrite)) return false;
  return (reads && heldByOtherOpen(fd, kLockDeniesRead)) ||
         (writes && heldByOtherOpen(fd, kLockDeniesWrite)) ||
         (deniesRead && heldByOtherOpen(fd, kLockReads)) ||
         (deniesWrite && heldByOtherOpen(fd, kLockWrites));
}

// Checks and records an open; the caller holds the table's mutex.
int32_t registerOpen(OpenTable& table, const OpenEntry& entry, bool lockable) {
  for (size_t i = 0; i < table.count; i++) {
    const OpenEntry& e = table.entries[i];
    if (e.device == entry.device && e.inode == entry.inode &&
        sharesConflict(e.access, e.share, entry.access, entry.share))
      return CM_FILE_ERR_ACCESS_DENIED;
  }
  if (lockable && crossProcessConflict(entry.fd, entry.access, entry.share))
    return CM_FILE_ERR_ACCESS_DENIED;
  if (table.count == table.capacity) {
    size_t capacity = table.capacity ? table.capacity * 2 : 16;
    void* grown = cmRealloc(table.entries, capacity * sizeof(OpenEntry));
    if (!grown) return CM_FILE_ERR_OUT_OF_MEMORY;
    table.entries = static_cast<OpenEntry*>(grown);
    table.capacity = capacity;
  }
  table.entries[table.count++] = entry;
  return 0;
}

void unregisterOpen(int fd) {
  OpenTable& table = openTable();
  std::lock_guard<std::mutex> guard(table.mutex);
  for (size_t i = 0; i < table.count; i++) {
    if (table.entries[i].fd == fd) {
      table.entries[i] = table.entries[--table.count];
      return;
    }
  }
}

int toFd(FileHandle h) { return (h < 0 || h > 0x7FFFFFFF) ? -1 : int(h); }

constexpr size_t kMaxTransfer = 0x7FFFFFFF;

}  // namespace

// ---------------------------------------------------------------------------
// Handles.

int32_t fileOpen(const char* path, uint32_t access, uint32_t share, FileDisposition disposition,
                 bool inherit, FileHandle* out) {
  *out = kInvalidFile;
  if (!path || !*path) return CM_FILE_ERR_NOT_FOUND;
  int flags = O_NOCTTY | (inherit ? 0 : O_CLOEXEC);
  // A write-only open asks for read access too where it may, so that the
  // descriptor can carry the share locks.
  bool lockable = true;
  if (access & kFileAccessWrite) flags |= O_RDWR;
  else flags |= O_RDONLY;
  switch (disposition) {
    case FileDisposition::CreateNew: flags |= O_CREAT | O_EXCL; break;
    case FileDisposition::CreateAlways:
    case FileDisposition::OpenAlways: flags |= O_CREAT; break;
    case FileDisposition::OpenExisting:
    case FileDisposition::TruncateExisting: break;
  }
  int fd;
  do fd = gCalls.open(path, flags, 0666);
  while (fd < 0 && errno == EINTR);
  if (fd < 0 && errno == EACCES && access == kFileAccessWrite) {
    flags = (flags & ~O_RDWR) | O_WRONLY;
    lockable = false;
    do fd = gCalls.open(path, flags, 0666);
    while (fd < 0 && errno == EINTR);
  }
  if (fd < 0) return pathError(errno, path, CM_FILE_ERR_OPEN);

  struct stat st{};
  if (gCalls.fstat(fd, &st) != 0) {
    int err = errno;
    gCalls.close(fd);
    return fileErrorFromErrno(err, CM_FILE_ERR_OPEN);
  }
  if (S_ISDIR(st.st_mode)) {
    gCalls.close(fd);
    return CM_FILE_ERR_ACCESS_DENIED;
  }
  // Pipes and devices have no share rule of their own.
  lockable = lockable && S_ISREG(st.st_mode);

  OpenTable& table = openTable();
  std::lock_guard<std::mutex> guard(table.mutex);
  OpenEntry entry{fd, st.st_dev, st.st_ino, access, share};
  int32_t rc = registerOpen(table, entry, lockable);
  if (rc != 0) {
    gCalls.close(fd);
    return rc;
  }
  bool empty = disposition == FileDisposition::CreateAlways ||
               disposition == FileDisposition::TruncateExisting;
  if (empty && S_ISREG(st.st_mode) && st.st_size != 0 && gCalls.ftruncate(fd, 0) != 0) {
    int err = errno;
    table.entries[--table.count] = OpenEntry{};
    gCalls.close(fd);
    return fileErrorFromErrno(err, CM_FILE_ERR_OPEN);
  }
  *out = fd;
  return 0;
}

int32_t fileRead(FileHandle h, void* buffer, size_t n, size_t* done) {
  *done = 0;
  int fd = toFd(h);
  if (fd < 0) return CM_FILE_ERR_INVALID_HANDLE;
  if (n > kMaxTransfer) n = kMaxTransfer;
  ssize_t got;
  do got = gCalls.read(fd, buffer, n);
  while (got < 0 && errno == EINTR);
  if (got < 0) return fileErrorFromErrno(errno, CM_FILE_ERR_READ);
  *done = size_t(got);
  return 0;
}

int32_t fileWrite(FileHandle h, const void* buffer, size_t n, size_t* done) {
  *done = 0;
  int fd = toFd(h);
  if (fd < 0) return CM_FILE_ERR_INVALID_HANDLE;
  if (n > kMaxTransfer) n = kMaxTransfer;
  ssize_t put;
  do put = gCalls.write(fd, buffer, n);
  while (put < 0 && errno == EINTR);
  if (put < 0) return fileErrorFromErrno(errno, CM_FILE_ERR_WRITE);
  *done = size_t(put);
  return 0;
}

int32_t fileSeek(FileHandle h, int64_t offset, int origin, int64_t* newPosition) {
  int fd = toFd(h);
  if (fd < 0) return CM_FILE_ERR_INVALID_HANDLE;
  int whence = origin == 0 ? SEEK_SET : origin == 1 ? SEEK_CUR : origin == 2 ? SEEK_END : -1;
  if (whence < 0) return CM_FILE_ERR_SEEK;
  off_t at = gCalls.lseek(fd, off_t(offset), whence);
  if (at < 0) return fileErrorFromErrno(errno, CM_FILE_ERR_SEEK);
  if (newPosition) *newPosition = int64_t(at);
  return 0;
}

int32_t fileGetSize(FileHandle h, int64_t* size) {
  int fd = toFd(h);
  if (fd < 0) return CM_FILE_ERR_INVALID_HANDLE;
  struct stat st{};
  if (gCalls.fstat(fd, &st) != 0) return fileErrorFromErrno(errno, CM_FILE_ERR_READ);
  *size = int64_t(st.st_size);
  return 0;
}

int32_t fileSetEnd(FileHandle h) {
  int fd = toFd(h);
  if (fd < 0) return CM_FILE_ERR_INVALID_HANDLE;
  off_t at = gCalls.lseek(fd, 0, SEEK_CUR);
  if (at < 0) return fileErrorFromErrno(errno, CM_FILE_ERR_SET_END);
  if (gCalls.ftruncate(fd, at) != 0) return fileErrorFromErrno(errno, CM_FILE_ERR_SET_END);
  return 0;
}

int32_t fileFlush(FileHandle h) {
  int fd = toFd(h);
  if (fd < 0) return CM_FILE_ERR_INVALID_HANDLE;
  if (gCalls.fsync(fd) != 0) {
    // Pipes and terminals have nothing to flush.
    if (errno == EINVAL || errno == EROFS) return 0;
    return fileErrorFromErrno(errno, CM_FILE_ERR_WRITE);
  }
  return 0;
}

int32_t fileClose(FileHandle h) {
  int fd = toFd(h);
  if (fd < 0) return CM_FILE_ERR_INVALID_HANDLE;
  unregisterOpen(fd);
  // POSIX leaves the descriptor closed even when close reports EINTR.
  if (gCalls.close(fd) != 0 && errno != EINTR) return fileErrorFromErrno(errno, CM_FILE_ERR_CLOSE);
  return 0;
}

int32_t fileSetTimes(FileHandle h, uint64_t created, uint64_t modified) {
  int fd = toFd(h);
  if (fd < 0) return CM_FILE_ERR_INVALID_HANDLE;
  struct timespec times[2];
  times[0].tv_sec = 0;
  times[0].tv_nsec = UTIME_OMIT;
  if (modified) times[1] = fromFileTime(modified);
  else times[1] = times[0];
  if (gCalls.futimens(fd, times) != 0) return fileErrorFromErrno(errno, CM_FILE_ERR_SET_TIMES);
  return 0;
}

FileHandle fileStandardHandle(int which) { return (which >= 0 && which <= 2) ? which : kInvalidFile; }

bool fileHasInput(FileHandle h) {
  int fd = toFd(h);
  if (fd < 0) return false;
  int waiting = 0;
  if (::ioctl(fd, FIONREAD, &waiting) == 0) return waiting > 0;
  struct pollfd p{fd, POLLIN, 0};
  return ::poll(&p, 1, 0) > 0 && (p.revents & POLLIN);
}

// ---------------------------------------------------------------------------
// Paths.

int32_t pathDelete(const char* path) {
  if (!path || !*path) return CM_FILE_ERR_NOT_FOUND;
  if (gCalls.unlink(path) != 0) return pathError(errno, path, CM_FILE_ERR_ACCESS_DENIED);
  return 0;
}

int32_t pathGetInfo(const char* path, FileInfo* info) {
  if (!path || !*path) return CM_FILE_ERR_NOT_FOUND;
  struct stat st{};
  if (gCalls.stat(path, &st) != 0) return pathError(errno, path, CM_FILE_ERR_NOT_FOUND);
  fillInfo(st, lastSegment(path), info);
  return 0;
}

int32_t pathSetAttributes(const char* path, uint32_t attributes) {
  if (!path || !*path) return CM_FILE_ERR_NOT_FOUND;
  struct stat st{};
  if (gCalls.stat(path, &st) != 0) return pathError(errno, path, CM_FILE_ERR_NOT_FOUND);
  mode_t mode = st.st_mode & 07777;
  if (attributes & kFileAttrReadOnly) mode &= ~mode_t(S_IWUSR | S_IWGRP | S_IWOTH);
  else if ((mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) mode |= S_IWUSR;
  if (mode == (st.st_mode & 07777)) return 0;
  if (gCalls.chmod(path, mode) != 0) return pathError(errno, path, CM_FILE_ERR_NOT_FOUND);
  return 0;
}

bool pathIsHiddenName(const char* name) {
  if (!name) return false;
  name = lastSegment(name);
  if (name[0] != '.') return false;
  return !(name[1] == 0 || (name[1] == '.' && name[2] == 0));
}

bool fileSystemIsCaseSensitive() { return true; }

// ---------------------------------------------------------------------------
// Directories.

struct Dir {
  DIR* handle;
  size_t directoryLength;
  char* path;  // the directory, a '/', and room for one name
};

int32_t dirOpen(const char* directory, Dir** out) {
  *out = nullptr;
  if (!directory || !*directory) directory = ".";
  DIR* handle = gCalls.opendir(directory);
  if (!handle) {
    // A search in a directory that is not there misses the path, not a file.
    int err = errno;
    if (err == ENOTDIR || err == ENOENT) return CM_FILE_ERR_PATH_NOT_FOUND;
    return fileErrorFromErrno(err, CM_FILE_ERR_PATH_NOT_FOUND);
  }
  size_t length = std::strlen(directory);
  Dir* dir = static_cast<Dir*>(cmAlloc(sizeof(Dir)));
  char* path = static_cast<char*>(cmAlloc(length + 2 + 256));
  if (!dir || !path) {
    gCalls.closedir(handle);
    if (dir) cmFree(dir);
    if (path) cmFree(path);
    return CM_FILE_ERR_OUT_OF_MEMORY;
  }
  std::memcpy(path, directory, length);
  if (length == 0 || path[length - 1] != '/') path[length++] = '/';
  path[length] = 0;
  *dir = Dir{handle, length, path};
  *out = dir;
  return 0;
}

int32_t dirNext(Dir* dir, DirEntry* entry) {
  if (!dir) return CM_FILE_ERR_INVALID_HANDLE;
  errno = 0;
  struct dirent* d = gCalls.readdir(dir->handle);
  if (!d) return errno ? fileErrorFromErrno(errno, CM_FILE_ERR_NO_MORE_FILES) : CM_FILE_ERR_NO_MORE_FILES;
  size_t nameLength = std::strlen(d->d_name);
  if (nameLength > 255) nameLength = 255;
  std::memcpy(entry->name, d->d_name, nameLength);
  entry->name[nameLength] = 0;
  std::memcpy(dir->path + dir->directoryLength, entry->name, nameLength + 1);
  struct stat st{};
  if (gCalls.stat(dir->path, &st) == 0) {
    fillInfo(st, entry->name, &entry->info);
  } else {
    // A dangling link: list it with what the directory itself says.
    entry->info = FileInfo{};
    entry->info.attributes = d->d_type == DT_DIR ? kFileAttrDirectory : kFileAttrNormal;
    if (pathIsHiddenName(entry->name)) entry->info.attributes |= kFileAttrHidden;
  }
  return 0;
}

void dirClose(Dir* dir) {
  if (!dir) return;
  gCalls.closedir(dir->handle);
  cmFree(dir->path);
  cmFree(dir);
}

}  // namespace platform
