#include "database/btFileAccess.h"

#include "database/btStatus.h"
#include "file/cmFileHandle.h"

namespace {
constexpr int32_t kSeekFailed = -33;
}

btFileAccess::~btFileAccess() { close(); }

int32_t btFileAccess::open(const char* name, int mode) {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  close();
  if (!name || !*name) return BT_STATUS_FILE_NOT_FOUND;
  int32_t fileMode;
  switch (mode) {
    case MODE_READ: fileMode = CM_FILE_MODE_READ; break;
    case MODE_CREATE: fileMode = CM_FILE_MODE_CREATE_ALSO; break;
    case MODE_READ_WRITE: fileMode = CM_FILE_MODE_READ_WRITE; break;
    default: return -5;
  }
  int32_t h = fileOpen(cmPathString(name), fileMode);
  if (h < 0) return h;
  handle_ = h;
  position_ = -1;
  return 0;
}

int32_t btFileAccess::close() {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (handle_ < 0) return 0;
  int32_t rc = fileClose(handle_);
  handle_ = -1;
  position_ = -1;
  return rc < 0 ? rc : 0;
}

bool btFileAccess::seekTo(uint64_t position) {
  const auto target = static_cast<int64_t>(position);
  if (position_ == target) return true;
  position_ = fileSeek(handle_, target, 0);
  if (position_ == target) return true;
  position_ = -1;
  return false;
}

int64_t btFileAccess::readAt(uint64_t position, void* buffer, size_t length) {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (handle_ < 0) return kSeekFailed;
  if (!seekTo(position)) return kSeekFailed;
  size_t allowed = faults_ ? faults_->allowRead(position, length) : length;
  if (allowed > length) allowed = length;
  auto* out = static_cast<uint8_t*>(buffer);
  size_t done = 0;
  while (done < allowed) {
    int64_t n = fileRead(handle_, out + done, static_cast<int64_t>(allowed - done));
    if (n <= 0) {
      if (n < 0) position_ = -1;
      break;
    }
    done += static_cast<size_t>(n);
    position_ += n;
  }
  return static_cast<int64_t>(done);
}

int64_t btFileAccess::writeAt(uint64_t position, const void* buffer, size_t length) {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (handle_ < 0) return BT_STATUS_WRITE_FAILED;
  if (!seekTo(position)) return kSeekFailed;
  size_t allowed = faults_ ? faults_->allowWrite(position, length) : length;
  if (allowed > length) allowed = length;
  if (allowed == 0) return 0;
  int64_t n = fileWrite(handle_, buffer, static_cast<int64_t>(allowed));
  if (n < 0) {
    // A failed write may have moved the file position by any amount.
    position_ = -1;
    return 0;
  }
  position_ += n;
  return n;
}

int64_t btFileAccess::size() {
  std::lock_guard<std::recursive_mutex> guard(lock_);
  if (handle_ < 0) return kSeekFailed;
  // Every transfer positions itself, so the position need not be restored:
  // it is simply remembered as the end.
  int64_t end = fileSeek(handle_, 0, 2);
  position_ = end < 0 ? -1 : end;
  return end < 0 ? kSeekFailed : end;
}
