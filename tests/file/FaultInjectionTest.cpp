// Failures on purpose: system calls replaced through the platform's table,
// a file size limit in a child process, and the driver's own test switches.
// Each failure must come out as its documented number.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "FileTestSupport.h"
#include "file/cmFileErrors.h"
#include "file/cmFileHandle.h"
#include "file/cmFileRW.h"
#include "platform/posix/cmPosixFileSyscalls.h"

namespace {

// The state of the replacement calls; tests run on one thread.
int gWritesBeforeFailure = 0;
int gFailErrno = 0;
size_t gReadLimit = 0;
size_t gWriteLimit = 0;

ssize_t failingWrite(int fd, const void* buffer, size_t n) {
  if (gWritesBeforeFailure-- <= 0) {
    errno = gFailErrno;
    return -1;
  }
  return platform::posixFileSyscallDefaults().write(fd, buffer, n);
}

ssize_t shortRead(int fd, void* buffer, size_t n) {
  return platform::posixFileSyscallDefaults().read(fd, buffer, n < gReadLimit ? n : gReadLimit);
}

ssize_t shortWrite(int fd, const void* buffer, size_t n) {
  return platform::posixFileSyscallDefaults().write(fd, buffer, n < gWriteLimit ? n : gWriteLimit);
}

int failingOpen(const char*, int, mode_t) {
  errno = gFailErrno;
  return -1;
}

ssize_t failingRead(int, void*, size_t) {
  errno = gFailErrno;
  return -1;
}

int failingFsync(int) {
  errno = gFailErrno;
  return -1;
}

int failingClose(int fd) {
  platform::posixFileSyscallDefaults().close(fd);
  errno = gFailErrno;
  return -1;
}

}  // namespace

TEST(FileFaults, FullDiskOnTheThirdWrite) {
  TempDir dir;
  std::string path = dir.file("full");
  platform::PosixFileSyscallsScope scope;
  gWritesBeforeFailure = 2;
  gFailErrno = ENOSPC;
  scope.calls().write = failingWrite;

  cmFileRW file;
  file.open(path.c_str(), CM_FILE_CREATE | CM_FILE_READ | CM_FILE_WRITE | CM_FILE_SHARE_READ);
  EXPECT_EQ(file.write("aa", 2), 2);
  EXPECT_EQ(file.write("bb", 2), 2);
  EXPECT_EQ(RH_THROWN_CODE(file.write("cc", 2)), CM_FILE_ERR_DISK_FULL);
  file.close();
  EXPECT_EQ(readWholeFile(path), "aabb");
}

TEST(FileFaults, FullDiskThroughAHandle) {
  TempDir dir;
  std::string path = dir.file("full");
  platform::PosixFileSyscallsScope scope;
  gWritesBeforeFailure = 0;
  gFailErrno = EDQUOT;
  scope.calls().write = failingWrite;
  int32_t h = fileOpen(path.c_str(), CM_FILE_MODE_CREATE);
  ASSERT_GE(h, 3);
  EXPECT_EQ(fileWrite(h, "x", 1), CM_FILE_STATUS_WRITE_FAILED);
  EXPECT_EQ(fileClose(h), 0);
}

TEST(FileFaults, WriteErrorsByClass) {
  struct Case {
    int err;
    int32_t expected;
  } cases[] = {
      {ENOSPC, CM_FILE_ERR_DISK_FULL}, {EFBIG, CM_FILE_ERR_DISK_FULL},    {EIO, CM_FILE_ERR_CRC},
      {EROFS, CM_FILE_ERR_WRITE_PROTECT}, {EPIPE, CM_FILE_ERR_WRITE},     {EINVAL, CM_FILE_ERR_WRITE},
  };
  TempDir dir;
  platform::PosixFileSyscallsScope scope;
  scope.calls().write = failingWrite;
  for (const Case& c : cases) {
    gWritesBeforeFailure = 0;
    gFailErrno = c.err;
    cmFileRW file;
    file.open(dir.file("w").c_str(), CM_FILE_CREATE | CM_FILE_WRITE);
    EXPECT_EQ(RH_THROWN_CODE(file.write("x", 1)), c.expected) << c.err;
  }
}

TEST(FileFaults, ShortWritesAreContinued) {
  TempDir dir;
  std::string path = dir.file("short");
  platform::PosixFileSyscallsScope scope;
  gWriteLimit = 3;
  scope.calls().write = shortWrite;
  cmFileRW file;
  file.open(path.c_str(), CM_FILE_CREATE | CM_FILE_WRITE);
  EXPECT_EQ(file.write("0123456789", 10), 10);
  file.close();
  EXPECT_EQ(readWholeFile(path), "0123456789");
}

TEST(FileFaults, AShortReadEndsTheRequest) {
  TempDir dir;
  std::string path = dir.file("short");
  writeWholeFile(path, "0123456789");
  platform::PosixFileSyscallsScope scope;
  gReadLimit = 4;
  scope.calls().read = shortRead;
  cmFileRW file;
  file.open(path.c_str(), CM_FILE_EXISTING | CM_FILE_READ);
  char buffer[16];
  EXPECT_EQ(file.read(buffer, 10), 4);
  EXPECT_EQ(std::string(buffer, 4), "0123");
  EXPECT_EQ(file.read(buffer, 10), 4);
  EXPECT_EQ(file.read(buffer, 10), 2);
  EXPECT_EQ(file.read(buffer, 10), 0);
}

TEST(FileFaults, OpenErrorsByClass) {
  struct Case {
    int err;
    int32_t thrown;
    int32_t handleStatus;
  } cases[] = {
      // A read-only file opened for writing: what root never sees for real.
      {EACCES, CM_FILE_ERR_ACCESS_DENIED, CM_FILE_STATUS_BAD_MODE},
      {EMFILE, CM_FILE_ERR_TOO_MANY_OPEN, CM_FILE_STATUS_BAD_MODE},
      {EROFS, CM_FILE_ERR_WRITE_PROTECT, CM_FILE_STATUS_OPEN_FAILED},
      {ENOMEM, CM_FILE_ERR_OUT_OF_MEMORY, -8},
      {ENAMETOOLONG, CM_FILE_ERR_INVALID_NAME, CM_FILE_STATUS_OPEN_FAILED},
      {ENOTDIR, CM_FILE_ERR_PATH_NOT_FOUND, CM_FILE_STATUS_PATH_NOT_FOUND},
      {EINVAL, CM_FILE_ERR_OPEN, CM_FILE_STATUS_OPEN_FAILED},
  };
  TempDir dir;
  std::string path = dir.file("ro");
  writeWholeFile(path, "x");
  platform::PosixFileSyscallsScope scope;
  scope.calls().open = failingOpen;
  for (const Case& c : cases) {
    gFailErrno = c.err;
    cmFileRW file;
    EXPECT_EQ(RH_THROWN_CODE(file.open(path.c_str(), CM_FILE_EXISTING | CM_FILE_READ | CM_FILE_WRITE)), c.thrown)
        << c.err;
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(fileOpen(path.c_str(), CM_FILE_MODE_READ_WRITE), c.handleStatus) << c.err;
  }
}

TEST(FileFaults, ReadOnlyFileOpenedForWriting) {
  if (geteuid() == 0) GTEST_SKIP() << "root ignores permission bits; OpenErrorsByClass covers EACCES";
  TempDir dir;
  std::string path = dir.file("ro");
  writeWholeFile(path, "x");
  chmod(path.c_str(), 0444);
  EXPECT_EQ(fileOpen(path.c_str(), CM_FILE_MODE_READ_WRITE), CM_FILE_STATUS_BAD_MODE);
  int32_t h = fileOpen(path.c_str(), CM_FILE_MODE_READ);
  EXPECT_GE(h, 3);
  fileClose(h);
}

TEST(FileFaults, ReadFlushAndCloseErrors) {
  TempDir dir;
  std::string path = dir.file("f");
  writeWholeFile(path, "data");
  platform::PosixFileSyscallsScope scope;
  gFailErrno = EIO;
  cmFileRW file;
  file.open(path.c_str(), CM_FILE_EXISTING | CM_FILE_READ | CM_FILE_WRITE);
  char buffer[4];
  scope.calls().read = failingRead;
  EXPECT_EQ(RH_THROWN_CODE(file.read(buffer, 4)), CM_FILE_ERR_CRC);
  gFailErrno = EBADMSG;
  EXPECT_EQ(RH_THROWN_CODE(file.read(buffer, 4)), CM_FILE_ERR_READ);
  scope.calls().fsync = failingFsync;
  EXPECT_EQ(RH_THROWN_CODE(file.flush()), CM_FILE_ERR_WRITE);
  scope.calls().close = failingClose;
  EXPECT_EQ(RH_THROWN_CODE(file.close()), CM_FILE_ERR_CLOSE);
  EXPECT_FALSE(file.isOpen());
  EXPECT_EQ(RH_THROWN_CODE(file.close()), 0);
}

TEST(FileFaults, FileSizeLimitInAChild) {
  TempDir dir;
  std::string path = dir.file("limited");
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {4096, 4096};
    setrlimit(RLIMIT_FSIZE, &limit);
    static char block[8192];
    int32_t code = 0;
    cmFileRW file;
    try {
      file.open(path.c_str(), CM_FILE_CREATE | CM_FILE_WRITE);
      file.write(block, sizeof block);
    } catch (const cmException& e) {
      code = e.number();
    }
    int32_t h = fileOpen(path.c_str(), CM_FILE_MODE_CREATE);
    int64_t status = fileWrite(h, block, sizeof block);
    _exit(code == CM_FILE_ERR_DISK_FULL && status == CM_FILE_STATUS_WRITE_FAILED ? 0 : 1);
  }
  int status = -1;
  waitpid(pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(FileFaults, TestSwitchesFailTheTenthOpenAndTheFourthRead) {
  TempDir dir;
  std::string path = dir.file("f");
  writeWholeFile(path, "0123456789");
  cmFileRW switches;
  switches.openStandard(-1);
  EXPECT_FALSE(switches.isOpen());
  for (int round = 0; round < 2; round++) {
    for (int i = 1; i <= 10; i++) {
      cmFileRW file;
      int32_t code = RH_THROWN_CODE(file.open(path.c_str(), CM_FILE_EXISTING | CM_FILE_READ | CM_FILE_SHARE_READ));
      EXPECT_EQ(code, i == 10 ? CM_FILE_ERR_NOT_FOUND : 0) << "open " << i;
    }
  }
  cmFileRW file;
  file.open(path.c_str(), CM_FILE_EXISTING | CM_FILE_READ);
  char c;
  for (int i = 1; i <= 8; i++) {
    EXPECT_EQ(RH_THROWN_CODE(file.read(&c, 1)), (i % 4 == 0) ? CM_FILE_ERR_NOT_FOUND : 0) << "read " << i;
  }
  switches.openStandard(-2);
  for (int i = 0; i < 12; i++) EXPECT_EQ(RH_THROWN_CODE(file.seek(0, 0); file.read(&c, 1)), 0);
}
