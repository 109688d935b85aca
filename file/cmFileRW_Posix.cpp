#include "file/cmFileRW_Posix.h"

#include "platform/cmPlatformFile.h"

namespace {

// The test switches of openStandard(-1) and (-2).
bool gOpenFaults = false;
bool gReadFaults = false;
int gOpenCount = 0;
int gReadCount = 0;

constexpr int kFailingOpen = 10;
constexpr int kFailingRead = 4;
// The largest transfer of one platform call.
constexpr int64_t kMaxPiece = 0x7FFFFFFF;

platform::FileDisposition dispositionOf(uint32_t flags) {
  if (flags & CM_FILE_TRUNCATE) return platform::FileDisposition::TruncateExisting;
  if (flags & CM_FILE_EXISTING) {
    return (flags & CM_FILE_CREATE) ? platform::FileDisposition::OpenAlways
                                    : platform::FileDisposition::OpenExisting;
  }
  if (flags & CM_FILE_CREATE) return platform::FileDisposition::CreateAlways;
  if (flags & CM_FILE_NEW) return platform::FileDisposition::CreateNew;
  return platform::FileDisposition::OpenExisting;
}

}  // namespace

cmFileRW_Posix::~cmFileRW_Posix() { close(true); }

void cmFileRW_Posix::fail(int32_t code) { throw cmException(code, name_.getCString()); }

void cmFileRW_Posix::openStandard(int which) {
  if (which == -1 || which == -2) {
    gOpenFaults = gReadFaults = (which == -1);
    gOpenCount = gReadCount = 0;
    return;
  }
  close(true);
  int64_t handle = platform::fileStandardHandle(which);
  if (handle == platform::kInvalidFile) throw cmException(CM_FILE_ERR_INVALID_HANDLE);
  handle_ = handle;
  ownsHandle_ = false;
  isDiskFile_ = 0;
  name_ = which == 0 ? "stdin" : which == 1 ? "stdout" : "stderr";
}

void cmFileRW_Posix::attach(int64_t handle, const cmPathString& name) {
  close(true);
  handle_ = handle;
  ownsHandle_ = true;
  isDiskFile_ = 0;
  name_ = name;
}

void cmFileRW_Posix::open(const cmPathString& path, uint32_t flags) {
  close(true);
  name_ = path;
  if (gOpenFaults && ++gOpenCount >= kFailingOpen) {
    gOpenCount = 0;
    fail(CM_FILE_ERR_NOT_FOUND);
  }
  uint32_t access = ((flags & CM_FILE_READ) ? platform::kFileAccessRead : 0) |
                    ((flags & CM_FILE_WRITE) ? platform::kFileAccessWrite : 0);
  uint32_t share = ((flags & CM_FILE_SHARE_READ) ? platform::kFileShareRead : 0) |
                   ((flags & CM_FILE_SHARE_WRITE) ? platform::kFileShareWrite : 0);
  platform::FileHandle handle = platform::kInvalidFile;
  // Long paths and hidden files need no second attempt here: the platform
  // takes paths up to its own limit, and dot files have no attribute that a
  // create would have to match.
  int32_t rc = platform::fileOpen(path.getCString(), access, share, dispositionOf(flags),
                                  (flags & CM_FILE_INHERIT) != 0, &handle);
  if (rc != 0) fail(rc);
  handle_ = handle;
  ownsHandle_ = true;
  isDiskFile_ = 1;
  // Open-or-create appends.
  if ((flags & CM_FILE_EXISTING) && (flags & CM_FILE_CREATE)) seek(0, 2);
}

void cmFileRW_Posix::close(bool noThrow) {
  if (handle_ == -1) return;
  int64_t handle = handle_;
  bool owns = ownsHandle_;
  handle_ = -1;
  ownsHandle_ = true;
  isDiskFile_ = 1;
  if (!owns) return;
  int32_t rc = platform::fileClose(handle);
  if (rc != 0 && !noThrow) fail(rc);
}

bool cmFileRW_Posix::hasInput() { return handle_ != -1 && platform::fileHasInput(handle_); }

int64_t cmFileRW_Posix::read(void* buffer, int64_t length) {
  if (gReadFaults && ++gReadCount >= kFailingRead) {
    gReadCount = 0;
    fail(CM_FILE_ERR_NOT_FOUND);
  }
  if (handle_ == -1) fail(CM_FILE_ERR_INVALID_HANDLE);
  char* at = static_cast<char*>(buffer);
  int64_t total = 0;
  while (total < length) {
    size_t want = size_t(length - total < kMaxPiece ? length - total : kMaxPiece);
    size_t piece = 0;
    int32_t rc = platform::fileRead(handle_, at + total, want, &piece);
    if (rc != 0) fail(rc);
    total += int64_t(piece);
    // A short piece ends the request: the end of a file, or what a pipe had.
    if (piece < want) break;
  }
  return total;
}

int64_t cmFileRW_Posix::write(const void* buffer, int64_t length) {
  if (handle_ == -1) fail(CM_FILE_ERR_INVALID_HANDLE);
  const char* at = static_cast<const char*>(buffer);
  int64_t total = 0;
  while (total < length) {
    size_t want = size_t(length - total < kMaxPiece ? length - total : kMaxPiece);
    size_t piece = 0;
    int32_t rc = platform::fileWrite(handle_, at + total, want, &piece);
    if (rc != 0) fail(rc);
    if (piece == 0) break;
    total += int64_t(piece);
  }
  if (total != length) fail(CM_FILE_ERR_SHORT_WRITE);
  return total;
}

int64_t cmFileRW_Posix::seek(int64_t offset, int origin) {
  if (handle_ == -1) fail(CM_FILE_ERR_INVALID_HANDLE);
  int64_t position = 0;
  int32_t rc = platform::fileSeek(handle_, offset, origin, &position);
  if (rc != 0) fail(rc);
  return position;
}

int64_t cmFileRW_Posix::getSize() {
  if (handle_ == -1) fail(CM_FILE_ERR_INVALID_HANDLE);
  int64_t size = 0;
  int32_t rc = platform::fileGetSize(handle_, &size);
  if (rc != 0) fail(rc);
  return size;
}

void cmFileRW_Posix::setEnd() {
  if (handle_ == -1) fail(CM_FILE_ERR_INVALID_HANDLE);
  int32_t rc = platform::fileSetEnd(handle_);
  if (rc != 0) fail(rc);
}

void cmFileRW_Posix::flush() {
  if (handle_ == -1) fail(CM_FILE_ERR_INVALID_HANDLE);
  int32_t rc = platform::fileFlush(handle_);
  if (rc != 0) fail(rc);
}
