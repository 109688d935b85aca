// LogPasses: the three ingest passes that turn the entries of one client
// log into cache rows, run by ParseSvnLog in this order: branches, then
// revisions (which are assigned to branches), then labels (which look up
// their source branch). Each pass walks all entries, first to last, and
// reads the fields of an entry by the rules of LogEntryFields.h.
//
// A pass receives the open cache (which it doesn't own), the handle of the
// open log document (owned by ParseSvnLog, valid for the call) and the
// entries as node ids of that document, in document order. Its result is
// not looked at: passes report through the run log and go on.
//
// CacheLogPasses is what a real run uses: StoreBranchInfo,
// StoreRevisionInfo and StoreLabelInfo. Without an open cache (null) they
// store nothing.
//
// Threading: main thread only, during one ParseSvnLog call.
#pragma once

#include <cstdint>
#include <vector>

#include "ingest/LabelIngest.h"
#include "runtime/cmArray.h"

class VCDataLayer;

class LogPasses {
 public:
  virtual ~LogPasses() = default;
  // Before the passes: one hint per entry of the coming calls, 1 where
  // the entry may add a directory (LogEntries). Passes may ignore it.
  virtual void noteDirectoryHints(const std::vector<uint8_t>* /*mayAddDirectory*/) {}
  virtual int32_t storeBranchInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) = 0;
  virtual int32_t storeRevisionInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) = 0;
  virtual int32_t storeLabelInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) = 0;
};

// The passes of a real run, one object per ParseSvnLog call. The revision
// pass's reading thread lists the entries that may make labels on its way
// (LabelCandidates), and the label pass then visits only those.
class CacheLogPasses final : public LogPasses {
 public:
  void noteDirectoryHints(const std::vector<uint8_t>* mayAddDirectory) override { hints_ = mayAddDirectory; }
  int32_t storeBranchInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) override;
  int32_t storeRevisionInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) override;
  int32_t storeLabelInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) override;

 private:
  ingest::LabelCandidates labels_;
  const std::vector<uint8_t>* hints_ = nullptr;  // the caller's, valid during its passes
};
