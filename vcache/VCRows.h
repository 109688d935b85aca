// The rows of the version cache as the ingest and the readers see them in
// memory: plain structures without virtual operations, filled by the ingest
// before an insert and by VCDataLayer's lookups after a find.
//
// Ids are signed so that -1 can say "no id yet"; stored ids are 32-bit
// unsigned and never reach 2^31 in a real repository. Texts longer than
// their field (1000 bytes, 5000 for comments) are cut when stored.
//
// Ownership: each structure owns its strings. A lookup hands back a new row
// that its caller deletes. Threading: plain values, one thread at a time.
#pragma once

#include <cstdint>

#include "text/TVString.h"
#include "text/cmDateParts.h"
#include "text/cmDateStamp.h"

// The common part of a revision, a branch and a label.
struct VCRevisionInfo {
  int32_t parentId = -1;        // branch the row belongs to (or was copied from)
  tolvane::TVString number;     // revision as text
  cmDateStamp timeStamp = 0;    // commit time, UTC
  tolvane::TVString name;       // branch or label path; for a revision its text again
  tolvane::TVString author;
  tolvane::TVString comments;
  int32_t id = -1;              // -1 until the row has an id
};

struct VCBranchInfo : VCRevisionInfo {
  tolvane::TVString copyFromNumber;  // the revision the branch was copied from
};

struct VCLabelInfo : VCRevisionInfo {
  tolvane::TVString copyFromNumber;
};

struct VCFileInfo {
  int32_t id = -1;
  tolvane::TVString spec;                           // path below the branch root, leading '/'
  cmDateStamp lastUpdateTime = cmDateParts::nowStamp();  // when the row was stored
};

// A path that a branch's or label's creating commit deleted.
struct VCExclusionInfo {
  int32_t itemId = -1;       // branch_id or label_id
  tolvane::TVString type;    // "dir" or "file", as the log has it
  tolvane::TVString name;    // relative to the branch where it lies inside it
};

// The one row of the `repository` table.
struct VCRepositoryInfo {
  tolvane::TVString path;
  cmDateStamp last_update_time = 0;
  uint32_t db_version = 0;
};
