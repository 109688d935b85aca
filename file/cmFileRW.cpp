#include "file/cmFileRW.h"

#include "file/cmFileDriverRegistry.h"
#include "file/cmFileErrors.h"

cmFileRW::~cmFileRW() { close(true); }

void cmFileRW::makeImpl(cmI_FileDriver* driver, const cmPathString& path) {
  cmI_FileRW* made = nullptr;
  int32_t rc = driver->newFileRW(path, &made);
  if (rc != 0) throw cmException(rc, path.getCString());
  impl_ = made;
  driver_ = driver;
}

void cmFileRW::dropImpl() {
  delete impl_;
  impl_ = nullptr;
  driver_ = nullptr;
  isOpen_ = false;
}

cmI_FileRW& cmFileRW::openImpl() {
  if (!isOpen_ || !impl_) throw cmException(CM_FILE_ERR_INVALID_HANDLE);
  return *impl_;
}

void cmFileRW::open(const cmPathString& path, uint32_t flags) {
  close(true);
  makeImpl(cmFileDriver_find(path), path);
  try {
    impl_->open(path, flags);
  } catch (...) {
    dropImpl();
    throw;
  }
  isOpen_ = true;
}

void cmFileRW::openStandard(int which) {
  close(true);
  makeImpl(cmFileDriver_native(), cmPathString());
  try {
    impl_->openStandard(which);
  } catch (...) {
    dropImpl();
    throw;
  }
  // The test switches open nothing.
  if (impl_->isOpen()) isOpen_ = true;
  else dropImpl();
}

void cmFileRW::attach(int64_t handle, const cmPathString& name) {
  close(true);
  makeImpl(cmFileDriver_native(), name);
  try {
    impl_->attach(handle, name);
  } catch (...) {
    dropImpl();
    throw;
  }
  isOpen_ = true;
}

void cmFileRW::close(bool noThrow) {
  if (!impl_) return;
  cmI_FileRW* impl = impl_;
  impl_ = nullptr;
  driver_ = nullptr;
  isOpen_ = false;
  try {
    impl->close(noThrow);
  } catch (...) {
    delete impl;
    throw;
  }
  delete impl;
}

int64_t cmFileRW::read(void* buffer, int64_t length) { return openImpl().read(buffer, length); }
int64_t cmFileRW::write(const void* buffer, int64_t length) { return openImpl().write(buffer, length); }
int64_t cmFileRW::seek(int64_t offset, int origin) { return openImpl().seek(offset, origin); }
int64_t cmFileRW::getSize() { return openImpl().getSize(); }
void cmFileRW::flush() { openImpl().flush(); }
void cmFileRW::setEnd() { openImpl().setEnd(); }
