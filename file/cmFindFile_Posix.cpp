#include "file/cmFindFile_Posix.h"

#include <cstring>

#include "file/cmFileErrors.h"
#include "platform/cmPlatformFile.h"

namespace {

char foldCase(char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; }

bool hasWildcard(const char* s) { return std::strpbrk(s, "*?") != nullptr; }

void fillInfo(cmFindFileInfo& info, const char* name, const platform::FileInfo& fi) {
  info.name = name;
  info.attributes = fi.attributes;
  info.size = fi.size;
  info.created = fi.created;
  info.accessed = fi.accessed;
  info.modified = fi.modified;
}

}  // namespace

cmFindFile_Posix::~cmFindFile_Posix() { close(); }

void cmFindFile_Posix::close() {
  if (searchHandle_) platform::dirClose(searchHandle_);
  searchHandle_ = nullptr;
  singleEntry_ = false;
}

bool cmFindFile_Posix::matchName(const char* pattern, const char* name, bool caseSensitive) {
  // Greedy match with one backtrack point: the last '*' seen.
  const char* starPattern = nullptr;
  const char* starName = nullptr;
  while (*name) {
    char p = *pattern, n = *name;
    if (!caseSensitive) {
      p = foldCase(p);
      n = foldCase(n);
    }
    if (*pattern == '*') {
      starPattern = ++pattern;
      starName = name;
    } else if (*pattern == '?' || (*pattern && p == n)) {
      pattern++;
      name++;
    } else if (starPattern) {
      pattern = starPattern;
      name = ++starName;
    } else {
      return false;
    }
  }
  while (*pattern == '*') pattern++;
  return *pattern == 0;
}

bool cmFindFile_Posix::wanted(const char* name, uint32_t attributes, uint32_t flags) {
  bool isDirectory = attributes & platform::kFileAttrDirectory;
  uint32_t kinds = flags & (CM_FIND_FILES | CM_FIND_DIRECTORIES);
  if (kinds == CM_FIND_FILES && isDirectory) return false;
  if (kinds == CM_FIND_DIRECTORIES && !isDirectory) return false;
  if ((flags & CM_FIND_SKIP_HIDDEN) && (attributes & platform::kFileAttrHidden)) return false;
  bool dots = name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0));
  if (dots && !(flags & CM_FIND_DOTS)) return false;
  return true;
}

int32_t cmFindFile_Posix::findFirst(const cmPathString& pattern, cmFindFileInfo& info, uint32_t flags) {
  close();
  const char* text = pattern.getCString();
  if (!*text) return CM_FILE_ERR_NOT_FOUND;
  const char* slash = std::strrchr(text, '/');
  if (slash) {
    directory_ = slash == text ? cmPathString("/") : cmPathString(text, slash - text);
    filter_ = slash + 1;
  } else {
    directory_ = ".";
    filter_ = text;
  }
  if (filter_.isEmpty()) return CM_FILE_ERR_NOT_FOUND;

  if (!hasWildcard(filter_.getCString())) {
    platform::FileInfo fi{};
    int32_t rc = platform::pathGetInfo(text, &fi);
    if (rc != 0) return rc;
    if (!wanted(filter_.getCString(), fi.attributes, flags | CM_FIND_DOTS)) return CM_FILE_ERR_NOT_FOUND;
    fillInfo(info, filter_.getCString(), fi);
    singleEntry_ = true;
    return 0;
  }

  int32_t rc = platform::dirOpen(directory_.getCString(), &searchHandle_);
  if (rc != 0) return rc;
  rc = findNext(info, flags);
  return rc == CM_FILE_ERR_NO_MORE_FILES ? CM_FILE_ERR_NOT_FOUND : rc;
}

int32_t cmFindFile_Posix::findNext(cmFindFileInfo& info, uint32_t flags) {
  if (!searchHandle_) return CM_FILE_ERR_NO_MORE_FILES;
  bool caseSensitive = platform::fileSystemIsCaseSensitive();
  platform::DirEntry entry;
  for (;;) {
    int32_t rc = platform::dirNext(searchHandle_, &entry);
    if (rc != 0) return rc;
    if (!matchName(filter_.getCString(), entry.name, caseSensitive)) continue;
    if (!wanted(entry.name, entry.info.attributes, flags)) continue;
    fillInfo(info, entry.name, entry.info);
    return 0;
  }
}
