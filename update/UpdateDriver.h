// The update driver: the whole control flow of one synchronisation. It reads
// the command line, names the status file, opens the cache, runs either a
// first import in batches or an incremental update, stores the new update
// time, closes the cache and removes the client's XML file. Every outside
// effect goes through UpdateServices; the status file and the run log are
// written directly.
//
// Threading: one call at a time; it sets the run log's process-wide settings.
#pragma once

#include <cstdint>

#include "text/TVString.h"
#include "update/UpdateServices.h"

// Runs one synchronisation and returns the exit code: 0, or -1 to -6 (see
// update/UpdateCodes.h). `argv[0]` is the program's name.
int32_t UpdateMain(int argc, char** argv, UpdateServices& services);

// A copy of `text` with a double quote in front unless it begins with one,
// and one behind unless it ends with one; the two ends are judged apart.
tolvane::TVString QuoteArgument(const tolvane::TVString& text);

// The value of an argument read from its first byte alone: "7x" is 7, "x7"
// and "" are 0, "12" is 1.
int32_t ReadFirstDigitArgument(const char* argument);
