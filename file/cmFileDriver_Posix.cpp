#include "file/cmFileDriver_Posix.h"

#include <cstring>
#include <new>

#include "file/cmFileRW_Posix.h"
#include "file/cmFindFile_Posix.h"
#include "platform/cmPlatformFile.h"

namespace {

bool hasWildcard(const cmPathString& path) { return std::strpbrk(path.getCString(), "*?") != nullptr; }

// Only slashes: the root.
bool isBareRoot(const cmPathString& path) {
  const char* s = path.getCString();
  if (!*s) return false;
  while (*s == '/') s++;
  return *s == 0;
}

// The path without trailing slashes, so that "dir/" names the directory.
cmPathString canonical(const cmPathString& path) {
  const char* s = path.getCString();
  size_t length = std::strlen(s);
  while (length > 1 && s[length - 1] == '/') length--;
  return cmPathString(s, int64_t(length));
}

// Runs one search for the path itself; 0 when it names a wanted entry.
int32_t findSelf(const cmPathString& path, uint32_t flags, cmFindFileInfo& info) {
  cmFindFile_Posix search;
  return search.findFirst(canonical(path), info, flags);
}

}  // namespace

int32_t cmFileDriver_Posix::newFindFile(const cmPathString& path, cmI_FindFile** out) {
  *out = new (std::nothrow) cmFindFile_Posix();
  return *out ? 0 : CM_FILE_ERR_OUT_OF_MEMORY;
}

int32_t cmFileDriver_Posix::newFileRW(const cmPathString& path, cmI_FileRW** out) {
  *out = new (std::nothrow) cmFileRW_Posix();
  return *out ? 0 : CM_FILE_ERR_OUT_OF_MEMORY;
}

bool cmFileDriver_Posix::isCaseSensitive() { return platform::fileSystemIsCaseSensitive(); }

bool cmFileDriver_Posix::exists(const cmPathString& path, bool acceptDirectory) {
  if (path.isEmpty() || hasWildcard(path)) return false;
  if (isBareRoot(path)) return acceptDirectory;
  cmFindFileInfo info;
  uint32_t flags = CM_FIND_FILES | (acceptDirectory ? CM_FIND_DIRECTORIES : 0);
  return findSelf(path, flags, info) == 0;
}

bool cmFileDriver_Posix::isDirectory(const cmPathString& path) {
  if (path.isEmpty() || hasWildcard(path)) return false;
  if (isBareRoot(path)) return true;
  cmFindFileInfo info;
  return findSelf(path, CM_FIND_DIRECTORIES, info) == 0;
}

void cmFileDriver_Posix::getFileDate(const cmPathString& path, cmDateStamp& date) {
  checkPath(path);
  if (hasWildcard(path)) throw cmException(CM_FILE_ERR_WILDCARD, path.getCString());
  cmFindFileInfo info;
  int32_t rc = findSelf(path, CM_FIND_FILES | CM_FIND_DIRECTORIES, info);
  if (rc != 0) throw cmException(rc, path.getCString());
  date = info.modified;
}

int32_t cmFileDriver_Posix::remove(const cmPathString& path, bool noThrow, bool toRecycleBin) {
  int32_t rc;
  if (toRecycleBin) {
    // No recycle bin here: a file that exists is deleted, a missing one is
    // reported as missing.
    rc = exists(path, false) ? platform::pathDelete(path.getCString()) : CM_FILE_ERR_NOT_FOUND;
    if (rc != 0 && !noThrow) throw cmException(rc, path.getCString());
    return rc;
  }
  rc = platform::pathDelete(path.getCString());
  bool missing = rc == CM_FILE_ERR_NOT_FOUND || rc == CM_FILE_ERR_PATH_NOT_FOUND;
  if (rc != 0 && !noThrow && !missing) throw cmException(rc, path.getCString());
  return rc;
}

int64_t cmFileDriver_Posix::getFileSize(const cmPathString& path) {
  platform::FileInfo info{};
  if (platform::pathGetInfo(path.getCString(), &info) != 0) return -1;
  return int64_t(info.size);
}

void cmFileDriver_Posix::setFileTimes(const cmPathString& path, cmDateStamp created, cmDateStamp modified) {
  cmFileRW_Posix file;
  file.open(path, CM_FILE_EXISTING | CM_FILE_READ | CM_FILE_WRITE | CM_FILE_SHARE_READ);
  int32_t rc = platform::fileSetTimes(file.getOSHandle(), created, modified);
  file.close(true);
  if (rc != 0) throw cmException(rc, path.getCString());
}

void cmFileDriver_Posix::setAttributes(const cmPathString& path, uint32_t attributes) {
  if (path.isEmpty()) throw cmException(CM_FILE_ERR_NOT_FOUND);
  int32_t rc = platform::pathSetAttributes(path.getCString(), attributes);
  if (rc != 0) throw cmException(rc, path.getCString());
}
