// Exit codes of one synchronisation, and the sizes of the text buffers that
// the run log and the status file format into. The exit code of the process
// and the code in the status record of a failure are the same number.
#pragma once

#include <cstddef>
#include <cstdint>

namespace update {

constexpr int32_t kExitSynchronised = 0;
constexpr int32_t kExitUsage = -1;          // fewer than five arguments
constexpr int32_t kExitCacheOpen = -2;      // the cache could not be opened
constexpr int32_t kExitClient = -3;         // the client failed fetching history
constexpr int32_t kExitHeadRevision = -4;   // head revision not fetched or not read
constexpr int32_t kExitParse = -5;          // the XML could not be parsed
constexpr int32_t kExitTimeLimit = -6;      // the first import ran out of time
// The cache could not be written back at the end (a full disk, say): the
// file keeps its open-for-write mark and the next run refuses it.
constexpr int32_t kExitCacheClose = -7;

// A formatted message is cut at 4095 bytes plus its terminator.
constexpr size_t kMessageBufferSize = 4096;
// Room for the code, the separator and a whole message.
constexpr size_t kStatusRecordBufferSize = 4200;
// Host messages: formatted text, and the same text in the console's encoding.
constexpr size_t kHostMessageBufferSize = 8191;
constexpr size_t kHostConsoleBufferSize = 16388;

// The status file takes the cache file's name without its extension and
// this suffix. An extension is a dot among the last 19 bytes of the name.
constexpr const char* kStatusFileSuffix = "_status.txt";
constexpr size_t kMaxExtensionLength = 19;

}  // namespace update

namespace update {

// A first import fetches this many revisions per client run...
constexpr int32_t kBatchSize = 5000;
// ...and at most this many of the newest revisions.
constexpr int32_t kMaxImportedRevisions = 1000000;
// Whole seconds after which a first import stops between two batches. The
// status text calls it an hour; the number is what is compared.
constexpr uint32_t kFirstImportSecondsLimit = 216000;

}  // namespace update
