#include "ingest/LogPasses.h"

#include "ingest/BranchIngest.h"
#include "ingest/RevisionIngest.h"

int32_t CacheLogPasses::storeBranchInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) {
  return StoreBranchInfo(cache, document, entries, hints_);
}

int32_t CacheLogPasses::storeRevisionInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) {
  return StoreRevisionInfo(cache, document, entries, true, &labels_);
}

int32_t CacheLogPasses::storeLabelInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) {
  int32_t result = StoreLabelInfo(cache, document, entries, &labels_);
  labels_.clear();
  return result;
}
