#include "vcache/VCSchema.h"

#include <cstring>

#include "database/btDatabase.h"
#include "database/btFieldType.h"
#include "database/btTableInfo.h"
#include "update/RunLog.h"
#include "vcache/VCCodes.h"

namespace {

constexpr uint32_t S = BT_FIELD_STRING;
constexpr uint32_t U = BT_FIELD_UINT;
constexpr uint32_t D = BT_FIELD_CMDATE;
constexpr uint8_t KEY = 2;
constexpr uint8_t BTREE = 0;
constexpr uint8_t BLOCK_HASH = 4;

template <class T, uint32_t N>
constexpr uint32_t countOf(const T (&)[N]) {
  return N;
}

const VCFieldSpec kRepositoryFields[] = {
    {"path", S, 1000, KEY},
    {"last_update_time", D, 1, 0},
    {"db_version", U, 1, 0},
};

const VCFieldSpec kFileFields[] = {
    {"file_id", U, 1, KEY},
    {"file_spec", S, 1000, 0},
    {"last_update_time", D, 1, 0},
};
const VCIndexSpec kFileIndexes[] = {
    {"file_id_hash", BLOCK_HASH, 2, 500000, "file_id"},
    {"file_spec_tree", BTREE, 32, 0, "file_spec"},
};

const VCFieldSpec kRevisionFields[] = {
    {"revision_id", U, 1, KEY},
    {"parent_branch_id", U, 1, 0},
    {"revision_number", S, 1000, 0},
    {"revision_time_stamp", D, 1, 0},
    {"revision_author", S, 1000, 0},
    {"revision_comments", S, 5000, 0},
};
const VCIndexSpec kRevisionIndexes[] = {
    {"revision_id_hash", BLOCK_HASH, 2, 5000000, "revision_id"},
    {"revision_number_tree", BTREE, 16, 0, "revision_number"},
};

const VCFieldSpec kBranchFields[] = {
    {"branch_id", U, 1, KEY},
    {"parent_branch_id", U, 1, 0},
    {"branch_number", S, 1000, 0},
    {"branch_copy_from_number", S, 1000, 0},
    {"branch_time_stamp", D, 1, 0},
    {"branch_name", S, 1000, 0},
    {"branch_author", S, 1000, 0},
    {"branch_comments", S, 5000, 0},
};
const VCIndexSpec kBranchIndexes[] = {
    {"branch_id_hash", BLOCK_HASH, 2, 500000, "branch_id"},
    {"branch_name_tree", BTREE, 32, 0, "branch_name"},
};

const VCFieldSpec kLabelFields[] = {
    {"label_id", U, 1, KEY},
    {"parent_branch_id", U, 1, 0},
    {"label_number", S, 1000, 0},
    {"label_copy_from_number", S, 1000, 0},
    {"label_time_stamp", D, 1, 0},
    {"label_name", S, 1000, 0},
    {"label_author", S, 1000, 0},
    {"label_comments", S, 5000, 0},
};
const VCIndexSpec kLabelIndexes[] = {
    {"label_id_hash", BLOCK_HASH, 2, 500000, "label_id"},
    {"label_name_tree", BTREE, 32, 0, "label_name"},
};

const VCFieldSpec kFileRevisionXrefFields[] = {
    {"file_id", U, 1, KEY},
    {"revision_id", U, 1, KEY},
    {"revision_number", S, 1000, 0},
};
const VCIndexSpec kFileRevisionXrefIndexes[] = {
    {"file_id_hash", BLOCK_HASH, 3, 5000000, "file_id"},
    {"revision_id_hash", BLOCK_HASH, 3, 5000000, "revision_id"},
};

const VCFieldSpec kBranchRevisionXrefFields[] = {
    {"revision_id", U, 1, KEY},
    {"branch_id", U, 1, KEY},
    {"branch_number", S, 1000, 0},
    {"branch_time_stamp", D, 1, 0},
};
const VCIndexSpec kBranchRevisionXrefIndexes[] = {
    {"revision_id_hash", BLOCK_HASH, 3, 5000000, "revision_id"},
    {"branch_id_hash", BLOCK_HASH, 3, 5000000, "branch_id"},
};

const VCFieldSpec kLabelRevisionXrefFields[] = {
    {"revision_id", U, 1, KEY},
    {"label_id", U, 1, KEY},
    {"label_number", S, 1000, 0},
    {"label_time_stamp", D, 1, 0},
};
const VCIndexSpec kLabelRevisionXrefIndexes[] = {
    {"revision_id_hash", BLOCK_HASH, 3, 5000000, "revision_id"},
    {"label_id_hash", BLOCK_HASH, 3, 5000000, "label_id"},
};

const VCFieldSpec kBranchExclusionFields[] = {
    {"branch_id", U, 1, KEY},
    {"type", S, 1000, 0},
    {"name", S, 1000, 0},
};
// The two exclusion tables differ in the hash threshold by one digit; both
// values are stored in existing files as they are.
const VCIndexSpec kBranchExclusionIndexes[] = {
    {"branch_id_hash", BLOCK_HASH, 1, 50000000, "branch_id"},
    {"name_tree", BTREE, 33, 0, "name"},
};

const VCFieldSpec kLabelExclusionFields[] = {
    {"label_id", U, 1, KEY},
    {"type", S, 1000, 0},
    {"name", S, 1000, 0},
};
const VCIndexSpec kLabelExclusionIndexes[] = {
    {"label_id_hash", BLOCK_HASH, 1, 5000000, "label_id"},
    {"name_tree", BTREE, 33, 0, "name"},
};

#define VC_TABLE(name, fields, indexes, failure, text) \
  {name, fields, countOf(fields), indexes, countOf(indexes), failure, text}

const VCTableSpec kTables[VC_TABLE_COUNT] = {
    {"repository", kRepositoryFields, countOf(kRepositoryFields), nullptr, 0, VC_CREATE_REPOSITORY_FAILED,
     "Error creating repository table : status %i\n"},
    VC_TABLE("file", kFileFields, kFileIndexes, VC_CREATE_FILE_FAILED, "Error creating file table : status %i\n"),
    VC_TABLE("revision", kRevisionFields, kRevisionIndexes, VC_CREATE_REVISION_FAILED,
             "Error creating revision table : status %i\n"),
    VC_TABLE("branch", kBranchFields, kBranchIndexes, VC_CREATE_BRANCH_FAILED,
             "Error creating branch table : status %i\n"),
    VC_TABLE("label", kLabelFields, kLabelIndexes, VC_CREATE_LABEL_FAILED, "Error creating label table : status %i\n"),
    VC_TABLE("file_revision_xref", kFileRevisionXrefFields, kFileRevisionXrefIndexes,
             VC_CREATE_FILE_REVISION_XREF_FAILED, "Error creating file-revision xref table : status %i\n"),
    VC_TABLE("branch_revision_xref", kBranchRevisionXrefFields, kBranchRevisionXrefIndexes,
             VC_CREATE_BRANCH_REVISION_XREF_FAILED, "Error creating branch-revision xref table : status %i\n"),
    VC_TABLE("label_revision_xref", kLabelRevisionXrefFields, kLabelRevisionXrefIndexes,
             VC_CREATE_LABEL_REVISION_XREF_FAILED, "Error creating label-revision xref table : status %i\n"),
    VC_TABLE("branch_exclusion", kBranchExclusionFields, kBranchExclusionIndexes, VC_CREATE_BRANCH_EXCLUSION_FAILED,
             "Error creating branch exclusion table : status %i\n"),
    // Logged with the branch text as well; only the number tells them apart.
    VC_TABLE("label_exclusion", kLabelExclusionFields, kLabelExclusionIndexes, VC_CREATE_LABEL_EXCLUSION_FAILED,
             "Error creating branch exclusion table : status %i\n"),
};

#undef VC_TABLE

// Builds one table: the step number of the first step that fails, or 0.
int32_t createTable(btDatabase* database, const VCTableSpec& layout) {
  btTableInfo table(layout.name, 0);
  int32_t step = VC_CREATE_STEP_BASE;
  for (uint32_t i = 0; i < layout.fieldCount; ++i, --step) {
    const VCFieldSpec& f = layout.fields[i];
    if (table.addField(f.name, f.type, f.length, f.flags) != 0) return step;
  }
  for (uint32_t i = 0; i < layout.indexCount; ++i, --step) {
    const VCIndexSpec& x = layout.indexes[i];
    if (table.addIndex(x.name, x.kind, x.flags, x.threshold, 0, 0, x.key) != 0) return step;
  }
  if (database->addTable(&table) != 0) return step;
  return 0;
}

}  // namespace

const VCTableSpec* vcSchemaTables() { return kTables; }

const VCTableSpec* vcSchemaTable(const char* name) {
  for (const VCTableSpec& t : kTables) {
    if (std::strcmp(t.name, name) == 0) return &t;
  }
  return nullptr;
}

int32_t createCacheSchema(btDatabase* database, const char* fileName) {
  int32_t status = database->createDatabase(fileName, VC_TYPE_TAG, VC_BLOCK_SIZE, VC_CACHE_BYTES, 1, 1);
  LogVerbose("Creating cache database %s\n", fileName);
  if (status != 0) {
    LogVerbose("Error creating cache database %s : status %i\n", fileName, status);
    return VC_CREATE_DATABASE_FAILED;
  }
  database->setApplicationVersion(VC_APPLICATION_VERSION);
  database->setDescription(VC_DESCRIPTION);
  for (const VCTableSpec& layout : kTables) {
    int32_t step = createTable(database, layout);
    if (step != 0) {
      LogVerbose(layout.failureText, step);
      return layout.failure;
    }
  }
  return 0;
}
