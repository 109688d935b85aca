#include "file/cmFileDriverRegistry.h"

#include <mutex>

#include "file/cmFileDriver_Posix.h"
#include "runtime/cmAlloc.h"
#include "runtime/cmErrors.h"
#include "runtime/cmFatal.h"

namespace {

struct Registry {
  std::mutex mutex;
  cmI_FileDriver** drivers = nullptr;
  size_t count = 0;
  size_t capacity = 0;
};

// Adds a driver; the caller holds the mutex.
void append(Registry& r, cmI_FileDriver* driver) {
  if (r.count == r.capacity) {
    size_t capacity = r.capacity ? r.capacity * 2 : 16;
    void* grown = cmRealloc(r.drivers, capacity * sizeof(cmI_FileDriver*));
    if (!grown) cmFatalError(CM_ERR_OUT_OF_MEMORY, "file driver registry");
    r.drivers = static_cast<cmI_FileDriver**>(grown);
    r.capacity = capacity;
  }
  r.drivers[r.count++] = driver;
}

cmFileDriver_Posix gNative;

// Filled on first use. The other drivers of the file layer register
// themselves when they are linked in; none is required.
Registry& registry() {
  static Registry r;
  static std::once_flag filled;
  std::call_once(filled, [] {
    std::lock_guard<std::mutex> guard(r.mutex);
    append(r, &gNative);
  });
  return r;
}

}  // namespace

cmI_FileDriver* cmFileDriver_find(const cmPathString& path) {
  Registry& r = registry();
  std::lock_guard<std::mutex> guard(r.mutex);
  for (size_t i = r.count; i > 0; i--) {
    if (r.drivers[i - 1]->canHandle(path)) return r.drivers[i - 1];
  }
  return &gNative;
}

cmI_FileDriver* cmFileDriver_native() { return &gNative; }

void cmFileDriver_register(cmI_FileDriver* driver) {
  if (!driver) return;
  Registry& r = registry();
  std::lock_guard<std::mutex> guard(r.mutex);
  append(r, driver);
}

size_t cmFileDriver_count() {
  Registry& r = registry();
  std::lock_guard<std::mutex> guard(r.mutex);
  return r.count;
}

cmI_FileDriver* cmFileDriver_at(size_t index) {
  Registry& r = registry();
  std::lock_guard<std::mutex> guard(r.mutex);
  return index < r.count ? r.drivers[index] : nullptr;
}

bool cmFile_exists(const cmPathString& path, bool acceptDirectory) {
  return cmFileDriver_find(path)->exists(path, acceptDirectory);
}

bool cmFile_isDirectory(const cmPathString& path) { return cmFileDriver_find(path)->isDirectory(path); }

int64_t cmFile_getFileSize(const cmPathString& path) { return cmFileDriver_find(path)->getFileSize(path); }

int32_t cmFile_remove(const cmPathString& path, bool noThrow, bool toRecycleBin) {
  return cmFileDriver_find(path)->remove(path, noThrow, toRecycleBin);
}

cmDateStamp cmFile_getFileDate(const cmPathString& path) {
  cmDateStamp date = 0;
  cmFileDriver_find(path)->getFileDate(path, date);
  return date;
}

void cmFile_setFileTimes(const cmPathString& path, cmDateStamp created, cmDateStamp modified) {
  cmFileDriver_find(path)->setFileTimes(path, created, modified);
}

void cmFile_setAttributes(const cmPathString& path, uint32_t attributes) {
  cmFileDriver_find(path)->setAttributes(path, attributes);
}
