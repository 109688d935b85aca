// cmFileRW over the native driver: open modes, appending, positioning, long
// paths, pipes, standard streams and the closed state.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include <string>

#include "FileTestSupport.h"
#include "file/cmFileErrors.h"
#include "file/cmFileRW.h"

namespace {

constexpr uint32_t RW = CM_FILE_READ | CM_FILE_WRITE;

std::string readAll(cmFileRW& file) {
  std::string out;
  char buffer[7];  // small, so that reads come in several pieces
  int64_t n;
  while ((n = file.read(buffer, sizeof buffer)) > 0) out.append(buffer, size_t(n));
  return out;
}

}  // namespace

TEST(FileRW, FlagCombinationsOnExistingAndMissingFiles) {
  struct Case {
    uint32_t flags;
    bool exists;
    int32_t expected;
    const char* readBack;  // content read through the object after the open
  } cases[] = {
      {CM_FILE_EXISTING | CM_FILE_READ, true, 0, "old"},
      {CM_FILE_EXISTING | CM_FILE_READ, false, CM_FILE_ERR_NOT_FOUND, nullptr},
      {CM_FILE_CREATE | RW, true, 0, ""},
      {CM_FILE_CREATE | RW, false, 0, ""},
      {CM_FILE_NEW | RW, true, CM_FILE_ERR_OPEN, nullptr},
      {CM_FILE_NEW | RW, false, 0, ""},
      {CM_FILE_TRUNCATE | RW, true, 0, ""},
      {CM_FILE_TRUNCATE | RW, false, CM_FILE_ERR_NOT_FOUND, nullptr},
      // Truncation wins over the other dispositions.
      {CM_FILE_TRUNCATE | CM_FILE_CREATE | RW, false, CM_FILE_ERR_NOT_FOUND, nullptr},
      // Open or create, positioned at the end: nothing is left to read.
      {CM_FILE_EXISTING | CM_FILE_CREATE | RW, true, 0, ""},
      {CM_FILE_EXISTING | CM_FILE_CREATE | RW, false, 0, ""},
      // No disposition at all opens an existing file.
      {RW, true, 0, "old"},
      {RW, false, CM_FILE_ERR_NOT_FOUND, nullptr},
  };
  TempDir dir;
  int n = 0;
  for (const Case& c : cases) {
    std::string path = dir.file("f" + std::to_string(n));
    if (c.exists) writeWholeFile(path, "old");
    cmFileRW file;
    EXPECT_EQ(RH_THROWN_CODE(file.open(path.c_str(), c.flags)), c.expected) << "case " << n;
    EXPECT_EQ(file.isOpen(), c.expected == 0) << "case " << n;
    if (c.readBack) {
      EXPECT_EQ(readAll(file), c.readBack) << "case " << n;
    }
    n++;
  }
}

TEST(FileRW, OpenOrCreateAppends) {
  TempDir dir;
  std::string path = dir.file("log");
  for (const char* line : {"one\n", "two\n", "three\n"}) {
    cmFileRW file;
    file.open(path.c_str(), CM_FILE_EXISTING | CM_FILE_CREATE | CM_FILE_WRITE | CM_FILE_SHARE_READ);
    file.write(line, int64_t(std::strlen(line)));
  }
  EXPECT_EQ(readWholeFile(path), "one\ntwo\nthree\n");
}

TEST(FileRW, SeekSizeSetEndAndTheEnd) {
  TempDir dir;
  cmFileRW file;
  file.open(dir.file("f").c_str(), CM_FILE_CREATE | RW);
  EXPECT_EQ(file.write("hello world", 11), 11);
  EXPECT_EQ(file.getSize(), 11);
  EXPECT_EQ(file.seek(5, 0), 5);
  file.setEnd();
  EXPECT_EQ(file.getSize(), 5);
  EXPECT_EQ(file.seek(-2, 1), 3);
  char buffer[8];
  EXPECT_EQ(file.read(buffer, 8), 2);
  EXPECT_EQ(std::string(buffer, 2), "lo");
  EXPECT_EQ(file.read(buffer, 8), 0);
  EXPECT_EQ(file.read(buffer, 8), 0);
  // Writing behind the end leaves a hole of zeros.
  EXPECT_EQ(file.seek(2, 2), 7);
  file.write("!", 1);
  EXPECT_EQ(file.getSize(), 8);
  file.seek(0, 0);
  EXPECT_EQ(readAll(file), std::string("hello\0\0!", 8));
  EXPECT_EQ(RH_THROWN_CODE(file.seek(-100, 1)), CM_FILE_ERR_SEEK);
}

TEST(FileRW, ClosedObjectRefusesAndClosesQuietly) {
  cmFileRW file;
  char c;
  EXPECT_EQ(RH_THROWN_CODE(file.read(&c, 1)), CM_FILE_ERR_INVALID_HANDLE);
  EXPECT_EQ(RH_THROWN_CODE(file.write("x", 1)), CM_FILE_ERR_INVALID_HANDLE);
  EXPECT_EQ(RH_THROWN_CODE(file.getSize()), CM_FILE_ERR_INVALID_HANDLE);
  EXPECT_EQ(RH_THROWN_CODE(file.close()), 0);
  EXPECT_EQ(RH_THROWN_CODE(file.close()), 0);
  EXPECT_EQ(file.impl(), nullptr);
}

TEST(FileRW, ReopeningClosesTheFirstFile) {
  TempDir dir;
  std::string a = dir.file("a"), b = dir.file("b");
  cmFileRW file;
  file.open(a.c_str(), CM_FILE_CREATE | RW);
  file.write("A", 1);
  file.open(b.c_str(), CM_FILE_CREATE | RW);
  // "a" is free again for a writer that shares nothing.
  cmFileRW other;
  EXPECT_EQ(RH_THROWN_CODE(other.open(a.c_str(), CM_FILE_EXISTING | RW)), 0);
  EXPECT_EQ(readWholeFile(a), "A");
}

TEST(FileRW, LongPathsWork) {
  TempDir dir;
  std::string path = dir.path();
  while (path.size() < 300) {
    path += "/" + std::string(60, 'd');
    std::filesystem::create_directory(path);
  }
  path += "/" + std::string(200, 'f');
  ASSERT_GE(path.size(), 255u);
  cmFileRW file;
  file.open(path.c_str(), CM_FILE_NEW | RW);
  file.write("long", 4);
  cmFileRW second;
  EXPECT_EQ(RH_THROWN_CODE(second.open(path.c_str(), CM_FILE_EXISTING | RW)), CM_FILE_ERR_ACCESS_DENIED);
  file.close();
  EXPECT_EQ(readWholeFile(path), "long");
  // A segment over the platform's name limit.
  EXPECT_EQ(RH_THROWN_CODE(second.open((dir.path() + "/" + std::string(300, 'x')).c_str(), CM_FILE_CREATE | RW)),
            CM_FILE_ERR_INVALID_NAME);
}

TEST(FileRW, PipeWhoseWriterLeftGivesWhatCame) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  ASSERT_EQ(write(fds[1], "abc", 3), 3);
  cmFileRW reader;
  reader.attach(fds[0], "pipe");
  EXPECT_TRUE(reader.impl()->hasInput());
  EXPECT_FALSE(reader.impl()->isDiskFile());
  close(fds[1]);
  char buffer[16];
  EXPECT_EQ(reader.read(buffer, sizeof buffer), 3);
  EXPECT_EQ(reader.read(buffer, sizeof buffer), 0);
  EXPECT_FALSE(reader.impl()->hasInput());
  EXPECT_EQ(RH_THROWN_CODE(reader.seek(0, 0)), CM_FILE_ERR_SEEK);
  reader.close();  // closes the attached descriptor
  EXPECT_EQ(fcntl(fds[0], F_GETFD), -1);
}

TEST(FileRW, StandardStreamsAreNeverClosed) {
  cmFileRW out;
  out.openStandard(2);
  ASSERT_TRUE(out.isOpen());
  EXPECT_FALSE(out.impl()->isDiskFile());
  EXPECT_FALSE(out.impl()->isSeekable());
  EXPECT_STREQ(out.driver()->getName(), "posix");
  out.close();
  EXPECT_NE(fcntl(2, F_GETFD), -1);
  EXPECT_EQ(RH_THROWN_CODE(out.openStandard(7)), CM_FILE_ERR_INVALID_HANDLE);
  EXPECT_FALSE(out.isOpen());
}

TEST(FileRW, HiddenFilesAreOrdinaryToCreate) {
  TempDir dir;
  std::string path = dir.file(".dot");
  writeWholeFile(path, "old");
  cmFileRW file;
  file.open(path.c_str(), CM_FILE_CREATE | RW);
  file.write("new", 3);
  file.close();
  EXPECT_EQ(readWholeFile(path), "new");
}
