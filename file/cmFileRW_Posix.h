// cmFileRW_Posix: the native driver's reader-writer over one platform file
// handle (platform/cmPlatformFile.h). It owns the handle it opened or was
// given by attach; a standard stream bound by openStandard is used, never
// closed.
//
// Test switches: openStandard(-1) turns two process-wide fault switches on,
// openStandard(-2) turns them off. While on, every tenth open and every
// fourth read fails with CM_FILE_ERR_NOT_FOUND. The switches and their
// counters are plain values: set them only while no other thread opens or
// reads files.
//
// Not thread-safe: the owner serialises its use.
#pragma once

#include <cstdint>

#include "file/cmI_FileRW.h"
#include "text/cmStringT.h"

class cmFileRW_Posix : public cmI_FileRW {
 public:
  cmFileRW_Posix() = default;
  ~cmFileRW_Posix() override;
  cmFileRW_Posix(const cmFileRW_Posix&) = delete;
  cmFileRW_Posix& operator=(const cmFileRW_Posix&) = delete;

  int64_t getOSHandle() override { return handle_; }
  void openStandard(int which) override;
  void attach(int64_t handle, const cmPathString& name) override;
  void open(const cmPathString& path, uint32_t flags) override;
  void close(bool noThrow) override;
  bool hasInput() override;
  int64_t read(void* buffer, int64_t length) override;
  int64_t write(const void* buffer, int64_t length) override;
  void writeBack() override {}
  int64_t seek(int64_t offset, int origin) override;
  int64_t getSize() override;
  void setEnd() override;
  void flush() override;
  bool isOpen() override { return handle_ != -1; }
  bool canRead() override { return true; }
  bool isDiskFile() override { return isDiskFile_ != 0; }
  bool isSeekable() override { return isDiskFile_ != 0; }
  bool canWrite() override { return true; }

  const cmPathString& name() const { return name_; }

 private:
  [[noreturn]] void fail(int32_t code);

  int64_t handle_ = -1;
  uint8_t isDiskFile_ = 1;
  bool ownsHandle_ = true;
  cmPathString name_;
};
