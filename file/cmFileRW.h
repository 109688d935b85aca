// cmFileRW: the file object that callers hold. It picks the driver for a
// path, owns the driver's reader-writer (impl) and forwards to it. Opening
// flags are those of cmI_FileRW.h (CM_FILE_READ, CM_FILE_CREATE...).
//
// Ownership: the object owns impl and deletes it when it closes; the driver
// belongs to the registry. The destructor closes without throwing.
// Failures are thrown as cmException with CM_FILE_ERR_* numbers.
// Threading: not protected; a caller that shares one object between threads
// (the database) wraps its use in a lock of its own.
#pragma once

#include <cstdint>

#include "file/cmI_FileDriver.h"
#include "file/cmI_FileRW.h"
#include "file/cmI_FileReader.h"
#include "text/cmStringT.h"

class cmFileRW : public cmI_FileReader, public cmI_FileWriter {
 public:
  cmFileRW() = default;
  ~cmFileRW() override;
  cmFileRW(const cmFileRW&) = delete;
  cmFileRW& operator=(const cmFileRW&) = delete;

  // Closes what was open, then opens `path` through its driver. A failed
  // open leaves the object closed and rethrows.
  void open(const cmPathString& path, uint32_t flags);
  // These always use the native driver. -1 and -2 are its fault switches.
  void openStandard(int which);
  void attach(int64_t handle, const cmPathString& name);
  // Closing a closed object does nothing.
  void close(bool noThrow = false);

  int64_t read(void* buffer, int64_t length) override;
  int64_t write(const void* buffer, int64_t length) override;
  int64_t seek(int64_t offset, int origin) override;
  int64_t getSize() override;
  void flush() override;
  void setEnd();

  bool isOpen() const { return isOpen_; }
  cmI_FileRW* impl() const { return impl_; }
  cmI_FileDriver* driver() const { return driver_; }

 private:
  // Makes impl with the driver; the caller has closed what was open.
  void makeImpl(cmI_FileDriver* driver, const cmPathString& path);
  cmI_FileRW& openImpl();
  void dropImpl();

  cmI_FileRW* impl_ = nullptr;
  cmI_FileDriver* driver_ = nullptr;
  bool isOpen_ = false;
};
