// Routing of paths to drivers, and the native driver's path-level answers:
// exists, isDirectory, sizes, dates, attributes, removal and searches.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "FileTestSupport.h"
#include "file/cmFileDriverRegistry.h"
#include "file/cmFileDriver_Posix.h"
#include "file/cmFileErrors.h"
#include "file/cmFileRW.h"
#include "file/cmFindFile_Posix.h"
#include "platform/cmPlatformFile.h"

namespace {

// A driver for paths that start with "mem:", serving one fixed text. It
// stands for the archive and URL drivers that register after "posix".
class MemFileRW : public cmI_FileRW {
 public:
  void open(const cmPathString& path, uint32_t flags) override { open_ = true; }
  void close(bool noThrow) override { open_ = false; }
  int64_t read(void* buffer, int64_t length) override {
    static const char kText[] = "from memory";
    int64_t left = int64_t(sizeof kText - 1) - at_;
    int64_t n = length < left ? length : left;
    std::memcpy(buffer, kText + at_, size_t(n));
    at_ += n;
    return n;
  }
  int64_t write(const void*, int64_t) override { throw cmException(CM_FILE_ERR_WRITE_PROTECT); }
  int64_t seek(int64_t offset, int) override { return at_ = offset; }
  int64_t getSize() override { return 11; }
  void setEnd() override {}
  void flush() override {}
  bool isOpen() override { return open_; }
  bool canRead() override { return true; }
  bool isDiskFile() override { return false; }
  bool isSeekable() override { return true; }
  bool canWrite() override { return false; }

 private:
  bool open_ = false;
  int64_t at_ = 0;
};

class MemDriver : public cmFileDriver_Posix {
 public:
  int32_t newFileRW(const cmPathString&, cmI_FileRW** out) override {
    *out = new MemFileRW();
    return 0;
  }
  bool canHandle(const cmPathString& path) override {
    return std::strncmp(path.getCString(), "mem:", 4) == 0;
  }
  bool exists(const cmPathString& path, bool) override { return true; }
  const char* getName() override { return "mem"; }
};

MemDriver gMemDriver;

}  // namespace

TEST(FileDriverRouting, NativeFirstAndLaterDriversShadowIt) {
  ASSERT_GE(cmFileDriver_count(), 1u);
  EXPECT_STREQ(cmFileDriver_at(0)->getName(), "posix");
  EXPECT_EQ(cmFileDriver_at(cmFileDriver_count()), nullptr);
  EXPECT_EQ(cmFileDriver_find("anything at all"), cmFileDriver_native());
  EXPECT_EQ(cmFileDriver_find("http://example/x"), cmFileDriver_native());

  static bool registered = false;
  if (!registered) cmFileDriver_register(&gMemDriver);
  registered = true;
  EXPECT_EQ(cmFileDriver_find("mem:thing"), &gMemDriver);
  EXPECT_EQ(cmFileDriver_find("/tmp/mem:thing"), cmFileDriver_native());
  EXPECT_TRUE(cmFile_exists("mem:whatever"));

  cmFileRW file;
  file.open("mem:x", CM_FILE_READ);
  EXPECT_EQ(file.driver(), &gMemDriver);
  char buffer[32];
  int64_t n = file.read(buffer, sizeof buffer);
  EXPECT_EQ(std::string(buffer, size_t(n)), "from memory");
  EXPECT_EQ(RH_THROWN_CODE(file.write("x", 1)), CM_FILE_ERR_WRITE_PROTECT);
  // Standard streams always belong to the native driver.
  file.openStandard(1);
  EXPECT_EQ(file.driver(), cmFileDriver_native());
}

TEST(FileDriverPosix, ExistsAndIsDirectory) {
  TempDir dir;
  writeWholeFile(dir.file("a.txt"), "x");
  writeWholeFile(dir.file(".hidden"), "x");
  std::filesystem::create_directory(dir.file("sub"));
  struct Case {
    std::string path;
    bool exists, existsOrDirectory, isDirectory;
  } cases[] = {
      {dir.file("a.txt"), true, true, false},
      {dir.file(".hidden"), true, true, false},
      {dir.file("sub"), false, true, true},
      {dir.file("sub/"), false, true, true},
      {dir.file("none"), false, false, false},
      {dir.file("none/a.txt"), false, false, false},
      {dir.file("a.txt/x"), false, false, false},
      {dir.file("*.txt"), false, false, false},  // a wildcard is no file
      {dir.file("a.tx?"), false, false, false},
      {"/", false, true, true},
      {"", false, false, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(cmFile_exists(c.path.c_str(), false), c.exists) << c.path;
    EXPECT_EQ(cmFile_exists(c.path.c_str(), true), c.existsOrDirectory) << c.path;
    EXPECT_EQ(cmFile_isDirectory(c.path.c_str()), c.isDirectory) << c.path;
  }
}

TEST(FileDriverPosix, SizesDatesTimesAndAttributes) {
  TempDir dir;
  std::string path = dir.file("f");
  writeWholeFile(path, "12345");
  EXPECT_EQ(cmFile_getFileSize(path.c_str()), 5);
  EXPECT_EQ(cmFile_getFileSize(dir.file("none").c_str()), -1);

  const cmDateStamp stamp = (1500000000ull + 11644473600ull) * 10000000ull;
  cmFile_setFileTimes(path.c_str(), 0, stamp);
  EXPECT_EQ(cmFile_getFileDate(path.c_str()), stamp);
  EXPECT_EQ(RH_THROWN_CODE(cmFile_getFileDate(dir.file("none").c_str())), CM_FILE_ERR_NOT_FOUND);
  EXPECT_EQ(RH_THROWN_CODE(cmFile_getFileDate(dir.file("no/ne").c_str())), CM_FILE_ERR_PATH_NOT_FOUND);
  EXPECT_EQ(RH_THROWN_CODE(cmFile_getFileDate(dir.file("*").c_str())), CM_FILE_ERR_WILDCARD);
  EXPECT_EQ(RH_THROWN_CODE(cmFile_getFileDate("")), CM_FILE_ERR_EMPTY_PATH);
  EXPECT_EQ(RH_THROWN_CODE(cmFile_setFileTimes(dir.file("none").c_str(), 0, stamp)), CM_FILE_ERR_NOT_FOUND);

  cmFile_setAttributes(path.c_str(), platform::kFileAttrReadOnly);
  platform::FileInfo info{};
  platform::pathGetInfo(path.c_str(), &info);
  EXPECT_TRUE(info.attributes & platform::kFileAttrReadOnly);
  cmFile_setAttributes(path.c_str(), platform::kFileAttrNormal);
  platform::pathGetInfo(path.c_str(), &info);
  EXPECT_FALSE(info.attributes & platform::kFileAttrReadOnly);
  EXPECT_EQ(RH_THROWN_CODE(cmFile_setAttributes("", 0)), CM_FILE_ERR_NOT_FOUND);
  EXPECT_EQ(RH_THROWN_CODE(cmFile_setAttributes(dir.file("none").c_str(), 0)), CM_FILE_ERR_NOT_FOUND);
}

TEST(FileDriverPosix, Remove) {
  TempDir dir;
  std::string path = dir.file("f");
  writeWholeFile(path, "x");
  EXPECT_EQ(cmFile_remove(path.c_str()), 0);
  EXPECT_FALSE(fileExistsOnDisk(path));
  // A missing file or directory is reported, never thrown.
  EXPECT_EQ(cmFile_remove(path.c_str()), CM_FILE_ERR_NOT_FOUND);
  EXPECT_EQ(cmFile_remove(dir.file("no/f").c_str()), CM_FILE_ERR_PATH_NOT_FOUND);
  // Other failures throw unless told not to.
  EXPECT_EQ(RH_THROWN_CODE(cmFile_remove(dir.path().c_str())), CM_FILE_ERR_ACCESS_DENIED);
  EXPECT_EQ(cmFile_remove(dir.path().c_str(), true), CM_FILE_ERR_ACCESS_DENIED);
  // To the recycle bin: a missing file throws unless noThrow.
  EXPECT_EQ(RH_THROWN_CODE(cmFile_remove(path.c_str(), false, true)), CM_FILE_ERR_NOT_FOUND);
  EXPECT_EQ(cmFile_remove(path.c_str(), true, true), CM_FILE_ERR_NOT_FOUND);
  writeWholeFile(path, "x");
  EXPECT_EQ(cmFile_remove(path.c_str(), false, true), 0);
  EXPECT_FALSE(fileExistsOnDisk(path));
}

TEST(FindFilePosix, NamePatterns) {
  struct Case {
    const char* pattern;
    const char* name;
    bool matches;
  } cases[] = {
      {"*", "", true},          {"*", "abc", true},         {"*.txt", "a.txt", true},
      {"*.txt", "a.txt.bak", false}, {"a?c", "abc", true},  {"a?c", "ac", false},
      {"*a*b*", "xxaxxbxx", true}, {"*a*b", "aXbXb", true}, {"*a*b", "aXbXc", false},
      {"ab", "ab", true},       {"ab", "AB", false},        {"", "", true},
      {"**", "x", true},        {"?*", "", false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(cmFindFile_Posix::matchName(c.pattern, c.name, true), c.matches) << c.pattern << " ~ " << c.name;
  }
  EXPECT_TRUE(cmFindFile_Posix::matchName("A*.TXT", "a1.txt", false));
}

namespace {

std::set<std::string> findAll(const std::string& pattern, uint32_t flags, int32_t* firstStatus = nullptr) {
  std::set<std::string> names;
  cmI_FindFile* search = nullptr;
  EXPECT_EQ(cmFileDriver_native()->newFindFile(pattern.c_str(), &search), 0);
  cmFindFileInfo info;
  int32_t rc = search->findFirst(pattern.c_str(), info, flags);
  if (firstStatus) *firstStatus = rc;
  while (rc == 0) {
    names.insert(info.name.getCString());
    rc = search->findNext(info, flags);
  }
  if (!firstStatus) {
    EXPECT_EQ(rc, CM_FILE_ERR_NO_MORE_FILES);
  }
  delete search;
  return names;
}

}  // namespace

TEST(FindFilePosix, ListsWithKindAndHiddenFilters) {
  TempDir dir;
  for (const char* name : {"a.txt", "b.txt", "c.log", ".h.txt"}) writeWholeFile(dir.file(name), name);
  std::filesystem::create_directory(dir.file("d.txt"));
  using Names = std::set<std::string>;
  EXPECT_EQ(findAll(dir.file("*.txt"), 0), (Names{"a.txt", "b.txt", ".h.txt", "d.txt"}));
  EXPECT_EQ(findAll(dir.file("*.txt"), CM_FIND_FILES), (Names{"a.txt", "b.txt", ".h.txt"}));
  EXPECT_EQ(findAll(dir.file("*.txt"), CM_FIND_DIRECTORIES), (Names{"d.txt"}));
  EXPECT_EQ(findAll(dir.file("*.txt"), CM_FIND_FILES | CM_FIND_SKIP_HIDDEN), (Names{"a.txt", "b.txt"}));
  EXPECT_EQ(findAll(dir.file("*"), CM_FIND_DIRECTORIES | CM_FIND_DOTS), (Names{".", "..", "d.txt"}));
  EXPECT_EQ(findAll(dir.file("c.log"), 0), (Names{"c.log"}));

  int32_t status = 0;
  EXPECT_TRUE(findAll(dir.file("*.none"), 0, &status).empty());
  EXPECT_EQ(status, CM_FILE_ERR_NOT_FOUND);
  EXPECT_TRUE(findAll(dir.file("missing/*"), 0, &status).empty());
  EXPECT_EQ(status, CM_FILE_ERR_PATH_NOT_FOUND);

  cmFindFile_Posix search;
  cmFindFileInfo info;
  ASSERT_EQ(search.findFirst(dir.file("c.*").c_str(), info, 0), 0);
  EXPECT_EQ(info.size, 5u);
  EXPECT_NE(info.modified, 0u);
  EXPECT_EQ(search.findNext(info, 0), CM_FILE_ERR_NO_MORE_FILES);
  search.close();
  EXPECT_EQ(search.findNext(info, 0), CM_FILE_ERR_NO_MORE_FILES);
}
