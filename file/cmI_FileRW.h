// cmI_FileRW: the reader-writer object of one driver, made by cmI_FileDriver::
// newFileRW and held by the cmFileRW facade, which owns and deletes it.
//
// Opening flags (a u32 word):
//   0x200 read access        0x400 write access
//   0x1000 others may read   0x2000 others may write
//   0x8000 create: make or empty the file
//   0x10000 new: fail if the file exists
//   0x20000 existing: open an existing file (with 0x8000: open or make, at its end)
//   0x40000 truncate an existing file
//   0x2000000 child processes inherit the handle
// Failures are thrown as cmException with CM_FILE_ERR_* numbers. Not
// thread-safe: the owner serialises its use.
#pragma once

#include <cstdint>

#include "file/cmFileErrors.h"
#include "runtime/cmException.h"
#include "text/cmStringT.h"

constexpr uint32_t CM_FILE_READ = 0x200;
constexpr uint32_t CM_FILE_WRITE = 0x400;
constexpr uint32_t CM_FILE_SHARE_READ = 0x1000;
constexpr uint32_t CM_FILE_SHARE_WRITE = 0x2000;
constexpr uint32_t CM_FILE_CREATE = 0x8000;
constexpr uint32_t CM_FILE_NEW = 0x10000;
constexpr uint32_t CM_FILE_EXISTING = 0x20000;
constexpr uint32_t CM_FILE_TRUNCATE = 0x40000;
constexpr uint32_t CM_FILE_INHERIT = 0x2000000;

class cmI_FileRW {
 public:
  // Memory that holds the whole file, for drivers that keep one; else null.
  virtual void* getBuffer() { return nullptr; }
  virtual int64_t getOSHandle() { return -1; }
  // 0 stdin, 1 stdout, 2 stderr. Drivers without standard streams refuse.
  virtual void openStandard(int which) { throw cmException(CM_FILE_ERR_NOT_SUPPORTED); }
  // Binds to a platform handle, which the object then owns.
  virtual void attach(int64_t handle, const cmPathString& name) { throw cmException(CM_FILE_ERR_NOT_SUPPORTED); }
  virtual void open(const cmPathString& path, uint32_t flags) = 0;
  // Closing a closed object does nothing. With noThrow errors are swallowed.
  virtual void close(bool noThrow) = 0;
  // Data is waiting on a pipe.
  virtual bool hasInput() { return false; }
  // Bytes read; 0 at the end.
  virtual int64_t read(void* buffer, int64_t length) = 0;
  // Writes everything or throws; returns `length`.
  virtual int64_t write(const void* buffer, int64_t length) = 0;
  // Writes a changed in-memory image back to its container.
  virtual void writeBack() { throw cmException(CM_FILE_ERR_NOT_SUPPORTED); }
  // origin 0 start, 1 current, 2 end; returns the new position.
  virtual int64_t seek(int64_t offset, int origin) = 0;
  virtual int64_t getSize() = 0;
  // Cuts the file at the current position.
  virtual void setEnd() = 0;
  virtual void flush() = 0;
  virtual bool isOpen() = 0;
  virtual bool canRead() = 0;
  virtual bool isDiskFile() = 0;
  virtual bool isSeekable() = 0;
  virtual bool canWrite() = 0;
  virtual ~cmI_FileRW() = default;
};
