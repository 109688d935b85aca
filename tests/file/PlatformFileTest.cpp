// The platform seam for files: error classes, dispositions, attributes and
// directory listing, checked against what is on disk.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <string>

#include "FileTestSupport.h"
#include "file/cmFileErrors.h"
#include "platform/cmPlatformFile.h"

using platform::FileDisposition;
using platform::FileHandle;

TEST(PlatformFileErrors, EachErrnoClassHasItsNumber) {
  struct Case {
    int err;
    int32_t expected;
  } cases[] = {
      {ENOENT, CM_FILE_ERR_NOT_FOUND},        {ENOTDIR, CM_FILE_ERR_PATH_NOT_FOUND},
      {EMFILE, CM_FILE_ERR_TOO_MANY_OPEN},    {ENFILE, CM_FILE_ERR_TOO_MANY_OPEN},
      {EACCES, CM_FILE_ERR_ACCESS_DENIED},    {EPERM, CM_FILE_ERR_ACCESS_DENIED},
      {EISDIR, CM_FILE_ERR_ACCESS_DENIED},    {EAGAIN, CM_FILE_ERR_ACCESS_DENIED},
      {EBADF, CM_FILE_ERR_INVALID_HANDLE},    {ENOMEM, CM_FILE_ERR_OUT_OF_MEMORY},
      {ENXIO, CM_FILE_ERR_INVALID_DRIVE},     {EROFS, CM_FILE_ERR_WRITE_PROTECT},
      {EIO, CM_FILE_ERR_CRC},                 {ESPIPE, CM_FILE_ERR_SEEK},
      {ENOSPC, CM_FILE_ERR_DISK_FULL},        {EDQUOT, CM_FILE_ERR_DISK_FULL},
      {EFBIG, CM_FILE_ERR_DISK_FULL},         {ENAMETOOLONG, CM_FILE_ERR_INVALID_NAME},
      {EEXIST, -1},                           {EINVAL, -1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(platform::fileErrorFromErrno(c.err, -1), c.expected) << std::strerror(c.err);
  }
}

namespace {

// Opens with a disposition; the handle is closed again. Returns the status.
int32_t openOnce(const std::string& path, uint32_t access, FileDisposition d) {
  FileHandle h = platform::kInvalidFile;
  int32_t rc = platform::fileOpen(path.c_str(), access, platform::kFileShareRead, d, false, &h);
  if (rc == 0) platform::fileClose(h);
  return rc;
}

}  // namespace

TEST(PlatformFileOpen, DispositionsOnExistingAndMissingFiles) {
  struct Case {
    FileDisposition disposition;
    bool exists;
    int32_t expected;
    const char* contentAfter;  // nullptr: no file afterwards
  } cases[] = {
      {FileDisposition::OpenExisting, true, 0, "old"},
      {FileDisposition::OpenExisting, false, CM_FILE_ERR_NOT_FOUND, nullptr},
      {FileDisposition::CreateNew, true, CM_FILE_ERR_OPEN, "old"},
      {FileDisposition::CreateNew, false, 0, ""},
      {FileDisposition::CreateAlways, true, 0, ""},
      {FileDisposition::CreateAlways, false, 0, ""},
      {FileDisposition::OpenAlways, true, 0, "old"},
      {FileDisposition::OpenAlways, false, 0, ""},
      {FileDisposition::TruncateExisting, true, 0, ""},
      {FileDisposition::TruncateExisting, false, CM_FILE_ERR_NOT_FOUND, nullptr},
  };
  TempDir dir;
  int n = 0;
  for (const Case& c : cases) {
    std::string path = dir.file("f" + std::to_string(n++));
    if (c.exists) writeWholeFile(path, "old");
    uint32_t access = platform::kFileAccessRead | platform::kFileAccessWrite;
    EXPECT_EQ(openOnce(path, access, c.disposition), c.expected) << "case " << n - 1;
    if (c.contentAfter) {
      EXPECT_EQ(readWholeFile(path), c.contentAfter) << "case " << n - 1;
    } else {
      EXPECT_FALSE(fileExistsOnDisk(path)) << "case " << n - 1;
    }
  }
}

TEST(PlatformFileOpen, MissingDirectoryAndDirectoryAsFile) {
  TempDir dir;
  uint32_t rw = platform::kFileAccessRead | platform::kFileAccessWrite;
  EXPECT_EQ(openOnce(dir.file("nodir/x"), rw, FileDisposition::OpenExisting), CM_FILE_ERR_PATH_NOT_FOUND);
  EXPECT_EQ(openOnce(dir.file("nodir/x"), rw, FileDisposition::CreateAlways), CM_FILE_ERR_PATH_NOT_FOUND);
  writeWholeFile(dir.file("plain"), "x");
  EXPECT_EQ(openOnce(dir.file("plain/x"), rw, FileDisposition::OpenAlways), CM_FILE_ERR_PATH_NOT_FOUND);
  EXPECT_EQ(openOnce(dir.path(), platform::kFileAccessRead, FileDisposition::OpenExisting),
            CM_FILE_ERR_ACCESS_DENIED);
  EXPECT_EQ(openOnce(dir.path(), rw, FileDisposition::OpenExisting), CM_FILE_ERR_ACCESS_DENIED);
  EXPECT_EQ(openOnce("", rw, FileDisposition::OpenAlways), CM_FILE_ERR_NOT_FOUND);
}

TEST(PlatformFileOpen, RefusedCreateLeavesTheContent) {
  TempDir dir;
  std::string path = dir.file("held");
  writeWholeFile(path, "precious");
  FileHandle writer;
  ASSERT_EQ(platform::fileOpen(path.c_str(), platform::kFileAccessRead | platform::kFileAccessWrite,
                               platform::kFileShareRead, FileDisposition::OpenExisting, false, &writer),
            0);
  EXPECT_EQ(openOnce(path, platform::kFileAccessWrite, FileDisposition::CreateAlways), CM_FILE_ERR_ACCESS_DENIED);
  EXPECT_EQ(openOnce(path, platform::kFileAccessWrite, FileDisposition::TruncateExisting),
            CM_FILE_ERR_ACCESS_DENIED);
  EXPECT_EQ(readWholeFile(path), "precious");
  EXPECT_EQ(platform::fileClose(writer), 0);
}

TEST(PlatformFileOpen, SeekSizeAndSetEnd) {
  TempDir dir;
  std::string path = dir.file("s");
  FileHandle h;
  ASSERT_EQ(platform::fileOpen(path.c_str(), platform::kFileAccessRead | platform::kFileAccessWrite, 0,
                               FileDisposition::CreateNew, false, &h),
            0);
  size_t done = 0;
  ASSERT_EQ(platform::fileWrite(h, "0123456789", 10, &done), 0);
  EXPECT_EQ(done, 10u);
  int64_t at = -1, size = -1;
  EXPECT_EQ(platform::fileSeek(h, -4, 2, &at), 0);
  EXPECT_EQ(at, 6);
  EXPECT_EQ(platform::fileSetEnd(h), 0);
  EXPECT_EQ(platform::fileGetSize(h, &size), 0);
  EXPECT_EQ(size, 6);
  EXPECT_EQ(platform::fileSeek(h, 2, 0, &at), 0);
  char buffer[8] = {};
  EXPECT_EQ(platform::fileRead(h, buffer, sizeof buffer, &done), 0);
  EXPECT_EQ(std::string(buffer, done), "2345");
  EXPECT_EQ(platform::fileRead(h, buffer, sizeof buffer, &done), 0);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(platform::fileSeek(h, -1, 0, &at), CM_FILE_ERR_SEEK);
  EXPECT_EQ(platform::fileSeek(h, 0, 7, &at), CM_FILE_ERR_SEEK);
  EXPECT_EQ(platform::fileFlush(h), 0);
  EXPECT_EQ(platform::fileClose(h), 0);
  EXPECT_EQ(readWholeFile(path), "012345");
}

TEST(PlatformFilePaths, AttributesTimesAndDelete) {
  TempDir dir;
  std::string path = dir.file(".hidden");
  writeWholeFile(path, "abc");
  platform::FileInfo info{};
  ASSERT_EQ(platform::pathGetInfo(path.c_str(), &info), 0);
  EXPECT_EQ(info.attributes, platform::kFileAttrHidden);
  EXPECT_EQ(info.size, 3u);
  ASSERT_EQ(platform::pathSetAttributes(path.c_str(), platform::kFileAttrReadOnly), 0);
  ASSERT_EQ(platform::pathGetInfo(path.c_str(), &info), 0);
  EXPECT_EQ(info.attributes, platform::kFileAttrHidden | platform::kFileAttrReadOnly);
  ASSERT_EQ(platform::pathSetAttributes(path.c_str(), 0), 0);
  ASSERT_EQ(platform::pathGetInfo(path.c_str(), &info), 0);
  EXPECT_EQ(info.attributes, platform::kFileAttrHidden);

  ASSERT_EQ(platform::pathGetInfo(dir.path().c_str(), &info), 0);
  EXPECT_EQ(info.attributes & platform::kFileAttrDirectory, platform::kFileAttrDirectory);

  // 2001-09-09 01:46:40 UTC.
  const uint64_t stamp = (1000000000ull + 11644473600ull) * 10000000ull + 1234500;
  FileHandle h;
  ASSERT_EQ(platform::fileOpen(path.c_str(), platform::kFileAccessWrite, platform::kFileShareRead,
                               FileDisposition::OpenExisting, false, &h),
            0);
  EXPECT_EQ(platform::fileSetTimes(h, 0, stamp), 0);
  platform::fileClose(h);
  ASSERT_EQ(platform::pathGetInfo(path.c_str(), &info), 0);
  EXPECT_EQ(info.modified, stamp);

  EXPECT_EQ(platform::pathDelete(path.c_str()), 0);
  EXPECT_EQ(platform::pathDelete(path.c_str()), CM_FILE_ERR_NOT_FOUND);
  EXPECT_EQ(platform::pathDelete(dir.file("no/such").c_str()), CM_FILE_ERR_PATH_NOT_FOUND);
  EXPECT_EQ(platform::pathDelete(dir.path().c_str()), CM_FILE_ERR_ACCESS_DENIED);
  EXPECT_EQ(platform::pathGetInfo(path.c_str(), &info), CM_FILE_ERR_NOT_FOUND);
}

TEST(PlatformFilePaths, HiddenNameRule) {
  EXPECT_TRUE(platform::pathIsHiddenName(".profile"));
  EXPECT_TRUE(platform::pathIsHiddenName("/a/b/.git"));
  EXPECT_FALSE(platform::pathIsHiddenName("."));
  EXPECT_FALSE(platform::pathIsHiddenName(".."));
  EXPECT_FALSE(platform::pathIsHiddenName("a/.."));
  EXPECT_FALSE(platform::pathIsHiddenName("/a/.b/c"));
}

TEST(PlatformFileDir, ListsEveryEntryOnce) {
  TempDir dir;
  writeWholeFile(dir.file("a.txt"), "1");
  writeWholeFile(dir.file(".b"), "22");
  std::filesystem::create_directory(dir.file("sub"));
  platform::Dir* d = nullptr;
  ASSERT_EQ(platform::dirOpen(dir.path().c_str(), &d), 0);
  std::set<std::string> names;
  platform::DirEntry e;
  int32_t rc;
  while ((rc = platform::dirNext(d, &e)) == 0) {
    names.insert(e.name);
    if (std::string(e.name) == "sub") {
      EXPECT_TRUE(e.info.attributes & platform::kFileAttrDirectory);
    }
    if (std::string(e.name) == ".b") {
      EXPECT_EQ(e.info.size, 2u);
    }
  }
  EXPECT_EQ(rc, CM_FILE_ERR_NO_MORE_FILES);
  platform::dirClose(d);
  EXPECT_EQ(names, (std::set<std::string>{".", "..", "a.txt", ".b", "sub"}));
  EXPECT_EQ(platform::dirOpen(dir.file("none").c_str(), &d), CM_FILE_ERR_PATH_NOT_FOUND);
  EXPECT_EQ(platform::dirOpen(dir.file("a.txt").c_str(), &d), CM_FILE_ERR_PATH_NOT_FOUND);
}
