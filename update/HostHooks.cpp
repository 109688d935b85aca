#include "update/HostHooks.h"

#include "update/RunLog.h"

tolvane::TVString tvHvarGetS(void*) {
  PrintHostMessage("Invalid call to tvHvarGetLstr");
  return tolvane::TVString(static_cast<const char*>(nullptr));
}

tolvane::TVString tvHvarGetString(void*) {
  PrintHostMessage("Invalid call to tvHvarGetLstr");
  return tolvane::TVString(static_cast<const char*>(nullptr));
}

int32_t tvHvarArrayEl(void*, int32_t, void**) {
  PrintHostMessage("Invalid call to tvHvarArrayEl");
  return 1;
}

int32_t tvHvarSetI(void*, int64_t) {
  PrintHostMessage("Invalid call to tvHvarSetI");
  return 1;
}

int32_t tvHvarSetB(void*, const char*, int64_t) {
  PrintHostMessage("Invalid call to tvHvarSetB");
  return 1;
}

void tvInsertLine(void*, int64_t, const char*) { PrintHostMessage("Invalid call to tvInsertLine"); }

void tvXMLError(int32_t) {}

void tvLangSetPropertyMiniXml(void*, const char*, const char*) {
  PrintStdout("Invalid call to tvLangSetPropertyMiniXml\n");
}

// Reads as "the user has been idle a second": the prefill thread then runs
// at its quickest pace and never stops for a long idle time.
uint32_t idleMilliseconds() { return 1000; }
