// btFileAccess: the one door through which the database reaches its file.
// Every open, positioned read, positioned write, size query and close of a
// database file goes through this class, on a numbered handle of the file
// layer (file/cmFileHandle.h), and tests can inject faults here.
//
// Ownership: one object per btDatabase, embedded in it. It owns the handle.
// The file position after the last transfer is remembered, so that a
// transfer that starts where the last one ended (an appended block, a run of
// neighbouring blocks) costs no seek.
// Threading: all positioning and transfer happen under the object's file
// critical section (`fileLock`), since a seek and the transfer after it must
// not be separated. The lock is recursive and is the innermost lock of the
// engine (database lock, then cache lock, then this one).
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

// Fault-injection seam. A test installs one of these on a database; the file
// layer asks it before every transfer. Returning fewer bytes than asked makes
// the transfer short, which is how a full disk or a failing read shows up.
class btFileFaults {
 public:
  virtual ~btFileFaults() = default;
  virtual size_t allowWrite(uint64_t position, size_t length) { return length; }
  virtual size_t allowRead(uint64_t position, size_t length) { return length; }
};

class btFileAccess {
 public:
  // Open modes, numbered as the file layer numbers them.
  static constexpr int MODE_READ = 0;        // existing file, read only
  static constexpr int MODE_CREATE = 2;      // created or emptied, read and write
  static constexpr int MODE_READ_WRITE = 3;  // existing file, read and write

  btFileAccess() = default;
  ~btFileAccess();
  btFileAccess(const btFileAccess&) = delete;
  btFileAccess& operator=(const btFileAccess&) = delete;

  // 0, -2 when the file does not exist, another negative code otherwise.
  int32_t open(const char* name, int mode);
  int32_t close();
  bool isOpen() const { return handle_ >= 0; }
  // The file layer's handle number, -1 when closed.
  int32_t handle() const { return handle_; }

  // Bytes transferred (short on failure or end of file), or a negative code
  // when the file is not open or cannot be positioned.
  int64_t readAt(uint64_t position, void* buffer, size_t length);
  int64_t writeAt(uint64_t position, const void* buffer, size_t length);
  // Bytes on disk, or a negative code.
  int64_t size();
  // Forcing data to the disk is deliberately not done; the engine relies on
  // the system's ordering of writes. Always 0.
  int32_t flush() { return 0; }

  void setFaults(btFileFaults* faults) { faults_ = faults; }
  std::recursive_mutex& fileLock() { return lock_; }

 private:
  // Seeks unless the file is known to be at `position` already.
  bool seekTo(uint64_t position);

  int32_t handle_ = -1;
  int64_t position_ = -1;  // the handle's file position; -1 when unknown
  btFileFaults* faults_ = nullptr;
  std::recursive_mutex lock_;
};
