#include "ingest/LogPasses.h"

#include "ingest/BranchIngest.h"
#include "ingest/LabelIngest.h"
#include "ingest/RevisionIngest.h"

namespace {

// The passes of a real run: the branch, revision and label writers.
class CacheLogPasses final : public LogPasses {
 public:
  int32_t storeBranchInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) override {
    return StoreBranchInfo(cache, document, entries);
  }
  int32_t storeRevisionInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) override {
    return StoreRevisionInfo(cache, document, entries);
  }
  int32_t storeLabelInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) override {
    return StoreLabelInfo(cache, document, entries);
  }
};

}  // namespace

LogPasses& DefaultLogPasses() {
  static CacheLogPasses passes;
  return passes;
}
