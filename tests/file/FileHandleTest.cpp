// Numbered handles and the flat functions over them: modes, the public
// numbers of failures, standard handles, reuse of numbers, and the calls the
// status file makes.
#include <gtest/gtest.h>

#include <string>

#include "FileTestSupport.h"
#include "file/cmFileErrors.h"
#include "file/cmFileHandle.h"
#include "file/cmMapExceptionToStatus.h"

TEST(FileHandleModes, FlagsOfEachMode) {
  struct Case {
    int32_t mode;
    uint32_t flags;
  } cases[] = {
      {0, 0x21200}, {1, 0x9600}, {2, 0x9600}, {3, 0x21600}, {4, 0x23200}, {5, 0x11600},
      {6, 0}, {-1, 0}, {0x1000000 | 3, 0x1021600}, {0x2000000, 0},
  };
  for (const Case& c : cases) EXPECT_EQ(cmFileHandle_flagsForMode(c.mode, nullptr), c.flags) << c.mode;
  cmFileOpenOptions random{1, false}, sequential{2, true};
  EXPECT_EQ(cmFileHandle_flagsForMode(0, &random), 0x21200u | 0x80000u);
  EXPECT_EQ(cmFileHandle_flagsForMode(0, &sequential), 0x21200u | 0x100000u | 0x200000u);
}

TEST(FileHandleModes, EachModeOnExistingAndMissingFiles) {
  struct Case {
    int32_t mode;
    bool exists;
    int32_t expected;  // 1: a handle
    const char* after;
  } cases[] = {
      {0, true, 1, "old"},  {0, false, CM_FILE_STATUS_NOT_FOUND, nullptr},
      {1, true, 1, ""},     {1, false, 1, ""},
      {2, true, 1, ""},     {2, false, 1, ""},
      {3, true, 1, "old"},  {3, false, CM_FILE_STATUS_NOT_FOUND, nullptr},
      {4, true, 1, "old"},  {4, false, CM_FILE_STATUS_NOT_FOUND, nullptr},
      {5, true, CM_FILE_STATUS_OPEN_FAILED, "old"}, {5, false, 1, ""},
      {9, true, CM_FILE_STATUS_BAD_MODE, "old"},    {9, false, CM_FILE_STATUS_BAD_MODE, nullptr},
  };
  TempDir dir;
  int n = 0;
  for (const Case& c : cases) {
    std::string path = dir.file("f" + std::to_string(n));
    if (c.exists) writeWholeFile(path, "old");
    int32_t h = fileOpen(path.c_str(), c.mode);
    if (c.expected == 1) {
      EXPECT_GE(h, 3) << "case " << n;
      EXPECT_EQ(fileClose(h), 0) << "case " << n;
    } else {
      EXPECT_EQ(h, c.expected) << "case " << n;
    }
    EXPECT_EQ(readWholeFile(path), c.after ? c.after : "<missing>") << "case " << n;
    n++;
  }
}

TEST(FileHandleErrors, PublicNumbersOfFailedOpens) {
  TempDir dir;
  writeWholeFile(dir.file("f"), "x");
  EXPECT_EQ(fileOpen("", 0), CM_FILE_STATUS_NOT_FOUND);
  EXPECT_EQ(fileOpen("", 7), CM_FILE_STATUS_BAD_MODE);
  EXPECT_EQ(fileOpen(dir.file("none").c_str(), 0), CM_FILE_STATUS_NOT_FOUND);
  EXPECT_EQ(fileOpen(dir.file("nodir/f").c_str(), 0), CM_FILE_STATUS_PATH_NOT_FOUND);
  EXPECT_EQ(fileOpen(dir.file("nodir/f").c_str(), 1), CM_FILE_STATUS_PATH_NOT_FOUND);
  EXPECT_EQ(fileOpen(dir.path().c_str(), 0), CM_FILE_STATUS_BAD_MODE);
  EXPECT_EQ(fileOpen(dir.path().c_str(), 1), CM_FILE_STATUS_BAD_MODE);
}

TEST(FileHandleErrors, UnknownAndStandardHandles) {
  char c;
  for (int32_t h : {-1, 999, 12345678}) {
    EXPECT_EQ(fileRead(h, &c, 1), CM_FILE_STATUS_READ_FAILED);
    EXPECT_EQ(fileSeek(h, 0, 0), CM_FILE_STATUS_READ_FAILED);
    EXPECT_EQ(fileWrite(h, &c, 1), CM_FILE_STATUS_WRITE_FAILED);
    EXPECT_EQ(fileClose(h), CM_FILE_STATUS_CLOSE_FAILED);
    EXPECT_EQ(cmFileHandle2FileRW(h), nullptr);
  }
  for (int32_t h : {0, 1, 2}) {
    ASSERT_NE(cmFileHandle2FileRW(h), nullptr);
    EXPECT_EQ(cmFileHandle2FileRW(h), cmFileHandle2FileRW(h));
    EXPECT_EQ(fileClose(h), CM_FILE_STATUS_CLOSE_FAILED);
    cmFileHandle_free(h);
    EXPECT_TRUE(cmFileHandle2FileRW(h)->isOpen());
  }
  EXPECT_EQ(fileWrite(2, "", 0), 0);
  EXPECT_EQ(fileFlush(2), 0);
}

TEST(FileHandleErrors, FailuresBelowBecomeTheHandleNumbers) {
  TempDir dir;
  writeWholeFile(dir.file("r"), "abc");
  int32_t h = fileOpen(dir.file("r").c_str(), 0);
  ASSERT_GE(h, 3);
  // Written through a read-only descriptor.
  EXPECT_EQ(fileWrite(h, "x", 1), CM_FILE_STATUS_WRITE_FAILED);
  EXPECT_EQ(fileSeek(h, -5, 0), CM_FILE_STATUS_READ_FAILED);
  char buffer[8];
  EXPECT_EQ(fileRead(h, buffer, 8), 3);
  EXPECT_EQ(fileRead(h, buffer, 8), 0);
  EXPECT_EQ(fileClose(h), 0);
  EXPECT_EQ(fileClose(h), CM_FILE_STATUS_CLOSE_FAILED);
}

TEST(FileHandleTable, NumbersAreReusedAndObjectsOwned) {
  TempDir dir;
  int32_t a = fileOpen(dir.file("a").c_str(), 1);
  int32_t b = fileOpen(dir.file("b").c_str(), 1);
  ASSERT_GE(a, 3);
  ASSERT_GE(b, 3);
  EXPECT_NE(a, b);
  EXPECT_EQ(fileClose(a), 0);
  EXPECT_EQ(cmFileHandle2FileRW(a), nullptr);
  int32_t c = fileOpen(dir.file("c").c_str(), 1);
  EXPECT_EQ(c, a);
  fileClose(b);
  fileClose(c);

  // Many at once: the table grows.
  int32_t handles[100];
  for (int i = 0; i < 100; i++) {
    handles[i] = fileOpen(dir.file("m" + std::to_string(i)).c_str(), 5);
    ASSERT_GE(handles[i], 3);
  }
  for (int i = 0; i < 100; i++) EXPECT_EQ(fileWrite(handles[i], &i, sizeof i), int64_t(sizeof i));
  for (int i = 0; i < 100; i++) EXPECT_EQ(fileClose(handles[i]), 0);

  // An object handed in by the caller.
  cmFileRW* file = new cmFileRW();
  file->open(dir.file("own").c_str(), CM_FILE_CREATE | CM_FILE_WRITE);
  int32_t h = cmFileHandle_new(file);
  ASSERT_GE(h, 3);
  EXPECT_EQ(cmFileHandle2FileRW(h), file);
  EXPECT_EQ(fileWrite(h, "own", 3), 3);
  cmFileHandle_free(h);
  EXPECT_EQ(cmFileHandle2FileRW(h), nullptr);
  EXPECT_EQ(readWholeFile(dir.file("own")), "own");
}

TEST(FileHandleStatusFile, ReplaceWholeRecordWhileReadersLook) {
  TempDir dir;
  std::string path = dir.file("repo_status.txt");
  for (const char* record : {"0;Beginning SVN cache update.", "0;3 of 12 complete;3;12", "-3;x"}) {
    int32_t h = fileOpen(path.c_str(), CM_FILE_MODE_CREATE_ALSO);
    ASSERT_GE(h, 3);
    // A reader that lets writers be may look in the meantime.
    int32_t reader = fileOpen(path.c_str(), CM_FILE_MODE_READ_SHARED);
    EXPECT_GE(reader, 3);
    EXPECT_EQ(fileWrite(h, record, int64_t(std::strlen(record))), int64_t(std::strlen(record)));
    char buffer[64];
    EXPECT_EQ(fileRead(reader, buffer, sizeof buffer), int64_t(std::strlen(record)));
    EXPECT_EQ(fileClose(reader), 0);
    EXPECT_EQ(fileClose(h), 0);
    EXPECT_EQ(readWholeFile(path), record);
  }
  EXPECT_EQ(fileDelete(path.c_str()), 0);
  EXPECT_EQ(fileDelete(path.c_str()), CM_FILE_STATUS_NOT_FOUND);
  EXPECT_EQ(fileDelete(dir.file("no/x").c_str()), CM_FILE_STATUS_PATH_NOT_FOUND);
  EXPECT_EQ(fileDelete(dir.path().c_str()), CM_FILE_STATUS_BAD_MODE);
  EXPECT_EQ(fileDelete(""), CM_FILE_STATUS_NOT_FOUND);
}

TEST(MapExceptionToStatus, KnownCodesAndTheFallback) {
  struct Case {
    int32_t code, status;
  } cases[] = {
      {-102698, -2},     {-102697, -3},     {-102696, -5},     {-102695, -5},   {-102693, -7},
      {-102692, -8},     {-102691, -15},    {-102689, -33},    {-102682, -33},  {-102688, -34},
      {-102687, -35},    {-102686, -32},    {-102685, -18},    {-102677, -38},  {-102629, -105},
      {-102621, -102621}, {-102608, -97},   {-124, -103383},   {-103398, -102}, {-104297, -104296},
      {-104291, -104290}, {-103394, -104},  {-103283, -96},    {-103096, -103096},
      {-103070, -103070}, {-102670, -77},   {0, -77},          {-1, -77},
  };
  for (const Case& c : cases) EXPECT_EQ(MapExceptionToStatus(c.code, -77), c.status) << c.code;
}
