#include "ingest/LabelIngest.h"

#include <utility>

#include "ingest/CopyEntry.h"
#include "ingest/CopyExclusions.h"
#include "ingest/LogEntryFields.h"
#include "ingest/LogReader.h"
#include "update/RunLog.h"
#include "vcache/VCDataLayer.h"

namespace {

// The entry's first added directory, when it lies under "/tags"; nothing
// else about an entry can make it a label.
bool readLabelTarget(ingest::LogReader& log, cmMiniXmlNode* entry, ingest::CopyEntry& copy) {
  return copy.readTarget(log, entry) && copy.pathBeginsWith(ingest::kTagsPrefix);
}

// Stores the label that `entry` created, if it is a tag of a stored branch
// root and it is new.
void storeLabel(VCDataLayer& cache, ingest::LogReader& log, cmMiniXmlNode* entry) {
  ingest::CopyEntry copy;
  if (!readLabelTarget(log, entry, copy)) return;

  LogEntryFields fields = log.fields(entry);
  ingest::StripLogValue(fields.revision);
  copy.readSource(log);
  if (copy.copyFromPath.isEmpty() || copy.copyFromRev.isEmpty()) return;

  // Only the root of a stored branch can be a label's source; a tag of a
  // subdirectory or of another tag is passed over without a word.
  int32_t sourceId = -1;
  if (!cache.findBranchId(copy.copyFromPath, sourceId)) return;

  VCLabelInfo label;
  label.parentId = sourceId;
  label.number = std::move(fields.revision);
  label.copyFromNumber = copy.copyFromRev;
  label.timeStamp = fields.timeStamp;
  label.name = copy.path;
  label.author = std::move(fields.author);
  label.comments = std::move(fields.message);
  if (cache.insertLabel(label) != 0) return;
  LogVerbose("Added label (status=%i): %s", 0, label.name.getCString());

  ingest::CopyExclusions exclusions;
  exclusions.collect(log, entry, true);
  exclusions.assignTo(label.name, label.id);
  if (exclusions.count() == 0) return;
  int32_t status = exclusions.storeForLabel(cache);
  LogVerbose("Added %i label exclusions (status=%i)", static_cast<int>(exclusions.count()), status);
}

}  // namespace

int32_t StoreLabelInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries) {
  return StoreLabelInfo(cache, document, entries, nullptr);
}

int32_t StoreLabelInfo(VCDataLayer* cache, int32_t document, const cmArray<int>& entries,
                       const ingest::LabelCandidates* candidates) {
  // A run without an open session has nowhere to store rows.
  if (cache == nullptr) return 0;
  ingest::LogReader log(document);
  if (candidates && candidates->coversAll(document, entries.size())) {
    for (int64_t i : candidates->entries) storeLabel(*cache, log, log.entry(entries[i]));
    return 0;
  }
  for (int64_t i = 0; i < entries.size(); ++i) storeLabel(*cache, log, log.entry(entries[i]));
  return 0;
}

bool ingest::MayMakeLabel(LogReader& log, cmMiniXmlNode* entry) {
  CopyEntry copy;
  return readLabelTarget(log, entry, copy);
}
