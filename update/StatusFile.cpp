#include "update/StatusFile.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

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

bool WriteStatusFile(const char* statusFileName, const char* bytes, size_t length) {
  // Created or emptied, binary so that no line end is ever translated.
  std::FILE* file = std::fopen(statusFileName, "w+b");
  if (!file) return false;
  std::fwrite(bytes, 1, length, file);
  std::fclose(file);
  return true;
}

void ReportStatus(const char* statusFileName, int32_t code, const char* format, ...) {
  char message[update::kMessageBufferSize];
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
