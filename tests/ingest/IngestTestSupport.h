// Helpers for the ingest tests: passes that record what they receive, read
// through the same field rules a real pass uses.
#pragma once

#include <string>
#include <vector>

#include "ingest/LogEntryFields.h"
#include "ingest/LogPasses.h"

// One call of a pass: which pass, with which cache and document, and the
// fields of every entry as the pass could read them during the call.
struct RecordedPass {
  std::string pass;
  VCDataLayer* cache = nullptr;
  int32_t document = -1;
  std::vector<LogEntryFields> entries;
};

class RecordingPasses : public LogPasses {
 public:
  std::vector<RecordedPass> calls;

  int32_t storeBranchInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) override {
    return record("branch", cache, document, entries);
  }
  int32_t storeRevisionInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) override {
    return record("revision", cache, document, entries);
  }
  int32_t storeLabelInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) override {
    return record("label", cache, document, entries);
  }

 private:
  int32_t record(const char* pass, VCDataLayer* cache, int32_t document, const cmArray<int>& entries) {
    RecordedPass r;
    r.pass = pass;
    r.cache = cache;
    r.document = document;
    for (int id : entries) r.entries.push_back(LogEntryFields::read(document, id));
    calls.push_back(std::move(r));
    // A failing pass must not stop the others.
    return -1;
  }
};

inline std::string Str(const tolvane::TVString& s) {
  return s.isNull() ? std::string() : std::string(s.data(), s.length());
}
