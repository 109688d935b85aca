// The table of system calls behind platform/cmPlatformFile.h.
//
// Every file call of the POSIX layer goes through this table, so that a test
// can replace one entry (make the third write fail with ENOSPC, make reads
// short) and prove what the layers above report. A replacement sets errno
// and returns -1 like the call it stands for. Only the POSIX layer and tests
// include this header; it brings system headers with it.
//
// The table is process-wide. Tests change it while no other thread does file
// work, and restore it with the saved defaults (PosixFileSyscallsScope).
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace platform {

struct PosixFileSyscalls {
  int (*open)(const char* path, int flags, mode_t mode);
  int (*close)(int fd);
  ssize_t (*read)(int fd, void* buffer, size_t n);
  ssize_t (*write)(int fd, const void* buffer, size_t n);
  off_t (*lseek)(int fd, off_t offset, int whence);
  int (*fstat)(int fd, struct stat* st);
  int (*stat)(const char* path, struct stat* st);
  int (*ftruncate)(int fd, off_t length);
  int (*fsync)(int fd);
  int (*unlink)(const char* path);
  int (*chmod)(const char* path, mode_t mode);
  int (*futimens)(int fd, const struct timespec times[2]);
  int (*lock)(int fd, int command, struct flock* lock);  // fcntl with a lock record
  DIR* (*opendir)(const char* path);
  struct dirent* (*readdir)(DIR* dir);
  int (*closedir)(DIR* dir);
};

// The live table.
PosixFileSyscalls& posixFileSyscalls();
// The real system calls.
const PosixFileSyscalls& posixFileSyscallDefaults();

// Restores the real calls when it goes out of scope.
class PosixFileSyscallsScope {
 public:
  PosixFileSyscallsScope() = default;
  ~PosixFileSyscallsScope() { posixFileSyscalls() = posixFileSyscallDefaults(); }
  PosixFileSyscallsScope(const PosixFileSyscallsScope&) = delete;
  PosixFileSyscallsScope& operator=(const PosixFileSyscallsScope&) = delete;
  PosixFileSyscalls& calls() { return posixFileSyscalls(); }
};

}  // namespace platform
