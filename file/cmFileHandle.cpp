#include "file/cmFileHandle.h"

#include <mutex>
#include <new>

#include "file/cmFileDriverRegistry.h"
#include "file/cmFileErrors.h"
#include "file/cmMapExceptionToStatus.h"
#include "runtime/cmAlloc.h"

namespace {

constexpr int32_t kFirstHandle = 3;

// Slot i holds handle i; a null slot is free.
struct HandleTable {
  std::mutex mutex;
  cmFileRW** slots = nullptr;
  int32_t count = 0;
};

HandleTable& table() {
  static HandleTable t;
  return t;
}

// Flags of modes 0 to 5.
constexpr uint32_t kModeFlags[] = {0x21200, 0x9600, 0x9600, 0x21600, 0x23200, 0x11600};

// Binds a standard stream on first use; the caller holds the mutex.
cmFileRW* standardStream(HandleTable& t, int32_t which) {
  if (t.count < kFirstHandle) {
    void* grown = cmRealloc(t.slots, kFirstHandle * sizeof(cmFileRW*));
    if (!grown) return nullptr;
    t.slots = static_cast<cmFileRW**>(grown);
    for (int32_t i = t.count; i < kFirstHandle; i++) t.slots[i] = nullptr;
    t.count = kFirstHandle;
  }
  if (!t.slots[which]) {
    cmFileRW* file = new (std::nothrow) cmFileRW();
    if (!file) return nullptr;
    try {
      file->openStandard(which);
    } catch (const cmException&) {
      delete file;
      return nullptr;
    }
    t.slots[which] = file;
  }
  return t.slots[which];
}

}  // namespace

int32_t cmFileHandle_new(cmFileRW* file) {
  HandleTable& t = table();
  std::lock_guard<std::mutex> guard(t.mutex);
  for (int32_t i = kFirstHandle; i < t.count; i++) {
    if (!t.slots[i]) {
      t.slots[i] = file;
      return i;
    }
  }
  int32_t count = t.count < kFirstHandle ? kFirstHandle : t.count;
  int32_t grownCount = count * 2;
  void* grown = cmRealloc(t.slots, size_t(grownCount) * sizeof(cmFileRW*));
  if (!grown) return CM_FILE_STATUS_OUT_OF_MEMORY;
  t.slots = static_cast<cmFileRW**>(grown);
  for (int32_t i = t.count; i < grownCount; i++) t.slots[i] = nullptr;
  t.count = grownCount;
  t.slots[count] = file;
  return count;
}

cmFileRW* cmFileHandle2FileRW(int32_t handle) {
  if (handle < 0) return nullptr;
  HandleTable& t = table();
  std::lock_guard<std::mutex> guard(t.mutex);
  if (handle < kFirstHandle) return standardStream(t, handle);
  return handle < t.count ? t.slots[handle] : nullptr;
}

namespace {

// Takes a handle out of the table; null if there is none to take.
cmFileRW* take(int32_t handle) {
  if (handle < kFirstHandle) return nullptr;
  HandleTable& t = table();
  std::lock_guard<std::mutex> guard(t.mutex);
  if (handle >= t.count) return nullptr;
  cmFileRW* file = t.slots[handle];
  t.slots[handle] = nullptr;
  return file;
}

}  // namespace

void cmFileHandle_free(int32_t handle) {
  cmFileRW* file = take(handle);
  if (!file) return;
  file->close(true);
  delete file;
}

uint32_t cmFileHandle_flagsForMode(int32_t mode, const cmFileOpenOptions* options) {
  int32_t base = mode & ~CM_FILE_MODE_KEEP_BIT;
  if (base < 0 || base > 5) return 0;
  uint32_t flags = kModeFlags[base] | (uint32_t(mode) & uint32_t(CM_FILE_MODE_KEEP_BIT));
  if (options) {
    if (options->accessHint == 1) flags |= 0x80000;
    else if (options->accessHint == 2) flags |= 0x100000;
    if (options->writeThrough) flags |= 0x200000;
  }
  return flags;
}

int32_t fileOpen(const cmPathString& path, int32_t mode, const cmFileOpenOptions* options) {
  uint32_t flags = cmFileHandle_flagsForMode(mode, options);
  if (flags == 0) return CM_FILE_STATUS_BAD_MODE;
  if (path.isEmpty()) return CM_FILE_STATUS_NOT_FOUND;
  cmFileRW* file = new (std::nothrow) cmFileRW();
  if (!file) return CM_FILE_STATUS_OUT_OF_MEMORY;
  try {
    file->open(path, flags);
  } catch (const cmException& e) {
    delete file;
    return MapExceptionToStatus(e.number(), CM_FILE_STATUS_OPEN_FAILED);
  }
  int32_t handle = cmFileHandle_new(file);
  if (handle < 0) delete file;
  return handle;
}

int32_t fileClose(int32_t handle) {
  cmFileRW* file = take(handle);
  if (!file) return CM_FILE_STATUS_CLOSE_FAILED;
  int32_t rc = 0;
  try {
    file->close(false);
  } catch (const cmException&) {
    rc = CM_FILE_STATUS_CLOSE_FAILED;
  }
  delete file;
  return rc;
}

int64_t fileRead(int32_t handle, void* buffer, int64_t n) {
  cmFileRW* file = cmFileHandle2FileRW(handle);
  if (!file) return CM_FILE_STATUS_READ_FAILED;
  try {
    return file->read(buffer, n);
  } catch (const cmException&) {
    return CM_FILE_STATUS_READ_FAILED;
  }
}

int64_t fileWrite(int32_t handle, const void* buffer, int64_t n) {
  cmFileRW* file = cmFileHandle2FileRW(handle);
  if (!file) return CM_FILE_STATUS_WRITE_FAILED;
  try {
    return file->write(buffer, n);
  } catch (const cmException&) {
    return CM_FILE_STATUS_WRITE_FAILED;
  }
}

int64_t fileSeek(int32_t handle, int64_t offset, int origin) {
  cmFileRW* file = cmFileHandle2FileRW(handle);
  if (!file) return CM_FILE_STATUS_READ_FAILED;
  try {
    return file->seek(offset, origin);
  } catch (const cmException&) {
    return CM_FILE_STATUS_READ_FAILED;
  }
}

int32_t fileFlush(int32_t handle) { return 0; }

int32_t fileDelete(const cmPathString& path) {
  if (path.isEmpty()) return CM_FILE_STATUS_NOT_FOUND;
  try {
    int32_t rc = cmFile_remove(path, true, false);
    return rc == 0 ? 0 : MapExceptionToStatus(rc, CM_FILE_STATUS_OPEN_FAILED);
  } catch (const cmException& e) {
    return MapExceptionToStatus(e.number(), CM_FILE_STATUS_OPEN_FAILED);
  }
}
