#include "update/StatusFile.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "file/cmFileHandle.h"
#include "update/RunLog.h"
#include "update/UpdateCodes.h"

std::string StatusFileNameFor(const char* cacheFileName) {
  std::string name(cacheFileName);
  // The extension is found by scanning back from the end; a separator ends
  // the scan, and so does the length limit of an extension.
  size_t scanned = 0;
  for (size_t i = name.size(); i > 0 && scanned < update::kMaxExtensionLength; --i, ++scanned) {
    char c = name[i - 1];
    if (c == '/' || c == '\\' || c == ':') break;
    if (c == '.') {
      name.resize(i - 1);
      break;
    }
  }
  name += update::kStatusFileSuffix;
  return name;
}

namespace {

// A numbered file handle, closed when the report is done.
class StatusHandle {
 public:
  explicit StatusHandle(const char* name) : handle_(fileOpen(cmPathString(name), CM_FILE_MODE_CREATE)) {}
  ~StatusHandle() {
    if (isOpen()) fileClose(handle_);
  }
  StatusHandle(const StatusHandle&) = delete;
  StatusHandle& operator=(const StatusHandle&) = delete;

  bool isOpen() const { return handle_ >= 0; }
  int32_t number() const { return handle_; }

 private:
  int32_t handle_;
};

}  // namespace

bool WriteStatusFile(const char* statusFileName, const char* bytes, size_t length) {
  // Created or emptied, read and write, others may read meanwhile.
  StatusHandle file(statusFileName);
  if (!file.isOpen()) return false;
  fileWrite(file.number(), bytes, static_cast<int64_t>(length));
  return true;
}

void ReportStatus(const char* statusFileName, int32_t code, const char* format, ...) {
  char message[update::kMessageBufferSize];
  message[0] = 0;  // stays empty if the runtime refuses the format
  va_list args;
  va_start(args, format);
  std::vsnprintf(message, sizeof(message), format, args);
  va_end(args);

  char record[update::kStatusRecordBufferSize];
  int length = std::snprintf(record, sizeof(record), "%i;%s", code, message);
  if (length < 0) length = 0;
  if (static_cast<size_t>(length) >= sizeof(record)) length = sizeof(record) - 1;

  // A file that cannot be opened silences the whole report, log line
  // included. The log reads the message as a format of its own, so the two
  // audiences see the same text unless the message carries a percent sign.
  if (!WriteStatusFile(statusFileName, record, static_cast<size_t>(length))) return;
  LogVerboseFormatOnly(message);
}
