// Results of the log document reader. The driver turns them into its exit
// codes: a parse result other than 0 fails the run with -5, a head query
// of -1 with -4.
#pragma once

#include <cstdint>

namespace ingest {

constexpr int32_t kParseOk = 0;
constexpr int32_t kParseUnreadable = -1;   // the file could not be opened or read as XML
constexpr int32_t kParseNoEntries = -2;    // the document holds no log entry
constexpr int32_t kNoHeadRevision = -1;    // a head query without exactly one entry

// The open that every reading of a client log uses: keep text nodes, and
// settle the encoding from the file's content.
constexpr int32_t kLogOpenFlags = 1;
constexpr int32_t kLogEncodingAutoXml = 17;

// Entries are found anywhere in the document; the root's name isn't checked.
constexpr const char* kLogEntryQuery = "//logentry";

}  // namespace ingest
