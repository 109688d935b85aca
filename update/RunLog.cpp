#include "update/RunLog.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "update/UpdateCodes.h"

// The two settings the system defines as process-wide.
static bool gVerboseLog = true;
static int32_t gLogOutputMode = kLogToStdout;

void SetVerboseLog(bool on) { gVerboseLog = on; }
bool IsVerboseLog() { return gVerboseLog; }
void SetLogOutputMode(int32_t mode) { gLogOutputMode = mode; }
int32_t GetLogOutputMode() { return gLogOutputMode; }

// Output mode 1 belongs to the foundation's debug stream; until that stream
// is linked in, its lines go to standard error so that they are not lost.
static void WriteToDebugStream(const char* text) { std::fprintf(stderr, "%s", text); }

static void EmitLine(const char* text) {
  if (gLogOutputMode == kLogToStdout)
    PrintStdout("%s\n", text);
  else if (gLogOutputMode == kLogToDebugStream)
    WriteToDebugStream(text);
}

void LogVerboseV(const char* format, va_list args) {
  if (!gVerboseLog) return;
  char line[update::kMessageBufferSize];
  line[0] = 0;
  std::vsnprintf(line, sizeof(line), format, args);
  EmitLine(line);
}

void LogVerbose(const char* format, ...) {
  va_list args;
  va_start(args, format);
  LogVerboseV(format, args);
  va_end(args);
}

// Formats `format` as printf would with no arguments at all. Every
// conversion is handed a zero of its own type (an empty text for %s), so a
// percent sign from a path or URL changes the line but never reads memory
// that was not passed.
static std::string FormatWithoutArguments(const char* format) {
  std::string out;
  const char* p = format;
  while (*p) {
    if (*p != '%') {
      out += *p++;
      continue;
    }
    const char* start = p++;
    std::string conv = "%";
    while (*p && std::strchr("-+ #0'", *p)) conv += *p++;
    if (*p == '*') ++p;  // a width that would come from an argument: none
    while (*p >= '0' && *p <= '9') conv += *p++;
    if (*p == '.') {
      conv += *p++;
      if (*p == '*') ++p;
      while (*p >= '0' && *p <= '9') conv += *p++;
    }
    while (*p && std::strchr("hljztLq", *p)) ++p;  // every zero below has its own type
    char conversion = *p;
    if (!conversion) {
      out.append(start);  // an unfinished conversion stays as written
      break;
    }
    ++p;
    conv += conversion;
    char piece[update::kMessageBufferSize];
    piece[0] = 0;
    switch (conversion) {
      case '%': std::strcpy(piece, "%"); break;
      case 'd': case 'i': std::snprintf(piece, sizeof(piece), conv.c_str(), 0); break;
      case 'u': case 'o': case 'x': case 'X': std::snprintf(piece, sizeof(piece), conv.c_str(), 0u); break;
      case 'e': case 'E': case 'f': case 'F': case 'g': case 'G': case 'a': case 'A':
        std::snprintf(piece, sizeof(piece), conv.c_str(), 0.0);
        break;
      case 's': std::snprintf(piece, sizeof(piece), conv.c_str(), ""); break;
      case 'p': std::snprintf(piece, sizeof(piece), conv.c_str(), static_cast<void*>(nullptr)); break;
      case 'c': case 'n': break;  // a NUL character would end the line; %n stores nothing
      default: out.append(start, p); continue;  // not a conversion: keep the text
    }
    out += piece;
  }
  return out;
}

void LogVerboseFormatOnly(const char* format) {
  if (!gVerboseLog) return;
  std::string text = FormatWithoutArguments(format);
  if (text.size() >= update::kMessageBufferSize) text.resize(update::kMessageBufferSize - 1);
  EmitLine(text.c_str());
}

int PrintStdout(const char* format, ...) {
  va_list args;
  va_start(args, format);
  int written = std::vprintf(format, args);
  va_end(args);
  return written;
}

void PrintHostMessage(const char* format, ...) {
  char text[update::kHostMessageBufferSize];
  text[0] = 0;
  va_list args;
  va_start(args, format);
  int needed = std::vsnprintf(text, sizeof(text), format, args);
  va_end(args);
  // The internal encoding is UTF-8 and so is this platform's console: the
  // conversion into the console buffer is a copy, bounded like the original.
  char console[update::kHostConsoleBufferSize];
  std::snprintf(console, sizeof(console), "%s", text);
  if (console[0]) PrintStdout("%s", console);
  if (needed >= static_cast<int>(sizeof(text)) - 1) PrintStdout("\n");
}
