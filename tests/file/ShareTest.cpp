// The share rule: an open is refused when its access is not shared by an
// open that is already there, or when it refuses the access of such an open.
// Checked between two opens of one process and between two processes.
#include <gtest/gtest.h>
#include <signal.h>
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

constexpr uint32_t R = CM_FILE_READ, W = CM_FILE_WRITE, SR = CM_FILE_SHARE_READ, SW = CM_FILE_SHARE_WRITE;

struct ShareCase {
  uint32_t first;   // access and share of the open that is there
  uint32_t second;  // of the open that comes
  bool allowed;
};

// Access | share pairs, as the Windows rule decides them.
const ShareCase kShareCases[] = {
    {R | SR, R | SR, true},            // two readers
    {R | SR, R, false},                // a reader that refuses the reader already there
    {R, R | SR, false},                // the first refuses readers
    {R | SR, W | SR, false},           // a writer where readers don't share writing
    {R | SR | SW, W | SR, true},       // the reader shares writing
    {R | SR | SW, R | W | SR | SW, true},
    {R | W | SR, R | W | SR, false},   // a second writer fails at the open
    {R | W | SR, R | SR, false},       // a reader that refuses the writer already there
    {R | W | SR, R | SR | SW, true},   // a reader that lets the writer be
    {R | W | SR | SW, R | W | SR | SW, true},
    {W | SR | SW, R | SR | SW, true},
    {W | SW, R | SR | SW, false},      // the writer refuses readers
    {0, R | W, true},                  // an open without data access takes no part
};

}  // namespace

TEST(FileShare, TwoOpensInOneProcess) {
  TempDir dir;
  std::string path = dir.file("shared");
  int n = 0;
  for (const ShareCase& c : kShareCases) {
    writeWholeFile(path, "data");
    cmFileRW first, second;
    first.open(path.c_str(), c.first | CM_FILE_EXISTING);
    int32_t code = RH_THROWN_CODE(second.open(path.c_str(), c.second | CM_FILE_EXISTING));
    EXPECT_EQ(code, c.allowed ? 0 : CM_FILE_ERR_ACCESS_DENIED) << "case " << n;
    EXPECT_EQ(second.isOpen(), c.allowed) << "case " << n;
    n++;
  }
}

TEST(FileShare, ClosingReleasesTheFile) {
  TempDir dir;
  std::string path = dir.file("f");
  int32_t writer = fileOpen(path.c_str(), CM_FILE_MODE_CREATE);
  ASSERT_GE(writer, 3);
  EXPECT_EQ(fileOpen(path.c_str(), CM_FILE_MODE_READ_WRITE), CM_FILE_STATUS_BAD_MODE);
  // Mode 0 refuses writers, so it cannot join a writer; mode 4 can.
  EXPECT_EQ(fileOpen(path.c_str(), CM_FILE_MODE_READ), CM_FILE_STATUS_BAD_MODE);
  int32_t reader = fileOpen(path.c_str(), CM_FILE_MODE_READ_SHARED);
  EXPECT_GE(reader, 3);
  EXPECT_EQ(fileClose(reader), 0);
  EXPECT_EQ(fileClose(writer), 0);
  int32_t again = fileOpen(path.c_str(), CM_FILE_MODE_READ_WRITE);
  EXPECT_GE(again, 3);
  EXPECT_EQ(fileClose(again), 0);
}

namespace {

// A child process that opens `path` with `flags`, reports on a pipe whether
// that worked ('y' or 'n'), and holds the file until it reads a byte.
class HoldingChild {
 public:
  HoldingChild(const std::string& path, uint32_t flags) {
    if (pipe(toParent_) != 0 || pipe(toChild_) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      close(toParent_[0]);
      close(toChild_[1]);
      cmFileRW file;
      char answer = 'y';
      try {
        file.open(path.c_str(), flags);
      } catch (const cmException&) {
        answer = 'n';
      }
      (void)!write(toParent_[1], &answer, 1);
      char go;
      (void)!read(toChild_[0], &go, 1);
      _exit(0);
    }
    close(toParent_[1]);
    close(toChild_[0]);
  }
  ~HoldingChild() { release(); }

  // 'y' or 'n' from the child; 0 if it said nothing.
  char answer() {
    char c = 0;
    if (pid_ <= 0 || read(toParent_[0], &c, 1) != 1) return 0;
    return c;
  }
  // Lets the child close the file and end; waits for it.
  void release() {
    if (pid_ <= 0) return;
    char go = 'x';
    (void)!write(toChild_[1], &go, 1);
    int status = 0;
    waitpid(pid_, &status, 0);
    close(toParent_[0]);
    close(toChild_[1]);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
  int toParent_[2] = {-1, -1};
  int toChild_[2] = {-1, -1};
};

}  // namespace

TEST(FileShare, AcrossTwoProcesses) {
  TempDir dir;
  std::string path = dir.file("cross");
  int n = 0;
  for (const ShareCase& c : kShareCases) {
    writeWholeFile(path, "data");
    HoldingChild child(path, c.first | CM_FILE_EXISTING);
    ASSERT_EQ(child.answer(), 'y') << "case " << n;
    cmFileRW second;
    int32_t code = RH_THROWN_CODE(second.open(path.c_str(), c.second | CM_FILE_EXISTING));
    EXPECT_EQ(code, c.allowed ? 0 : CM_FILE_ERR_ACCESS_DENIED) << "case " << n;
    second.close(true);
    child.release();
    n++;
  }
}

TEST(FileShare, AFinishedProcessLeavesNoLock) {
  TempDir dir;
  std::string path = dir.file("gone");
  writeWholeFile(path, "data");
  {
    HoldingChild child(path, R | W | CM_FILE_EXISTING);
    ASSERT_EQ(child.answer(), 'y');
    EXPECT_EQ(fileOpen(path.c_str(), CM_FILE_MODE_READ_WRITE), CM_FILE_STATUS_BAD_MODE);
  }
  int32_t h = fileOpen(path.c_str(), CM_FILE_MODE_READ_WRITE);
  EXPECT_GE(h, 3);
  fileClose(h);
}

TEST(FileShare, ChildSeesTheParentsWriter) {
  TempDir dir;
  std::string path = dir.file("parent");
  int32_t writer = fileOpen(path.c_str(), CM_FILE_MODE_CREATE);
  ASSERT_GE(writer, 3);
  // The child's copy of the in-process table knows the parent's open too, so
  // this also holds without the locks; AcrossTwoProcesses covers the locks.
  HoldingChild child(path, R | W | SR | CM_FILE_EXISTING);
  EXPECT_EQ(child.answer(), 'n');
  child.release();
  fileClose(writer);
}

namespace {

int noLocks(int, int, struct flock*) {
  errno = EINVAL;
  return -1;
}

}  // namespace

TEST(FileShare, WithoutLocksTheProcessTableStillDecides) {
  TempDir dir;
  std::string path = dir.file("nolocks");
  writeWholeFile(path, "data");
  platform::PosixFileSyscallsScope scope;
  scope.calls().lock = noLocks;
  int n = 0;
  for (const ShareCase& c : kShareCases) {
    cmFileRW first, second;
    first.open(path.c_str(), c.first | CM_FILE_EXISTING);
    int32_t code = RH_THROWN_CODE(second.open(path.c_str(), c.second | CM_FILE_EXISTING));
    EXPECT_EQ(code, c.allowed ? 0 : CM_FILE_ERR_ACCESS_DENIED) << "case " << n++;
  }
}
