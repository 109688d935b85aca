// The log document reader: the two entry points through which the driver
// hands the client's XML log over to the ingest passes.
//
// ParseSvnLog opens the file through the XML handle functions, finds every
// "//logentry" and runs the three passes of LogPasses over them in order,
// logging each step with the local time. ParseSvnLogForMaxRevision reads
// the revision of the single entry that a " -rHEAD" query leaves.
//
// Ownership: each call opens and closes its own document handle; the cache
// belongs to the caller and is only passed on to the passes.
// Threading: main thread; one call at a time.
#pragma once

#include <cstdint>

#include "ingest/IngestCodes.h"
#include "ingest/LogPasses.h"

class VCDataLayer;

// 0; -1 when the file can't be opened or read as XML; -2 when it holds no
// log entry. The passes' results are not looked at.
int32_t ParseSvnLog(VCDataLayer* cache, const char* xmlFile, LogPasses& passes);
// The same with the passes of a real run.
int32_t ParseSvnLog(VCDataLayer* cache, const char* xmlFile);

// The revision of the document's one entry, cut to 32 bits; -1 when the
// file can't be read or doesn't hold exactly one entry. `cache` is unused.
int32_t ParseSvnLogForMaxRevision(VCDataLayer* cache, const char* xmlFile);
