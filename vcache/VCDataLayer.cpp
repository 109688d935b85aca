#include "vcache/VCDataLayer.h"

#include "database/btCatalog.h"
#include "database/btDatabase.h"
#include "database/btStatus.h"
#include "database/btStoredRecord.h"
#include "database/btTableInfo.h"
#include "database/btTableIterator.h"
#include "database/btTableOperations.h"
#include "database/index/btIndexIterator.h"
#include "database/index/btIndexStructure.h"
#include "text/cmDateParts.h"
#include "update/RunLog.h"
#include "vcache/VCSchema.h"

using tolvane::TVString;

namespace {

constexpr const char* kTrunkName = "/trunk";

// Field number of `name` in `table`, or a negative status; `failed` keeps
// the first failure so that one check after all fetches is enough.
int32_t fetchField(btTableInfo* table, const char* name, int32_t& failed) {
  int32_t n = fieldIndex(table, name);
  if (n < 0 && failed == 0) failed = n;
  return n < 0 ? 0 : n;
}

// Ids are stored unsigned; -1 ("none") goes in as 0xFFFFFFFF and reads back
// as -1.
uint32_t storedId(int32_t id) { return static_cast<uint32_t>(id); }
int32_t readId(const btStoredRecord& record, int32_t field) {
  return static_cast<int32_t>(static_cast<uint32_t>(getUnsigned(&record, static_cast<uint32_t>(field))));
}

TVString readText(const btStoredRecord& record, int32_t field) {
  TVString text;
  getText(&record, static_cast<uint32_t>(field), &text);
  return text;
}

cmDateStamp readDate(const btStoredRecord& record, int32_t field) {
  cmDateStamp stamp = 0;
  getDate(&record, static_cast<uint32_t>(field), &stamp);
  return stamp;
}

}  // namespace

VCDataLayer::VCDataLayer(const TVString& repositoryUrl, const TVString& databaseFile, uint32_t dbVersion)
    : dbVersion(dbVersion), repositoryUrl(repositoryUrl), databaseFile(databaseFile) {}

VCDataLayer::~VCDataLayer() { close(); }

int32_t VCDataLayer::failOpen(int32_t status) {
  close();
  return status;
}

int32_t VCDataLayer::open() {
  if (database) close();
  database = std::make_unique<btDatabase>(nullptr);
  const char* fileName = databaseFile.getCString();
  LogVerbose("Opening cache database %s\n", fileName);
  int32_t status = database->openDatabase(fileName, VC_CACHE_BYTES, 0, 1, 1);

  bool created = false;
  if (status == BT_STATUS_FILE_NOT_FOUND || status == BT_STATUS_OLD_VERSION) {
    // No file, or one of an older format that can't be opened for writing:
    // a new one takes its place. A fresh object, since the failed open may
    // have left state behind.
    database = std::make_unique<btDatabase>(nullptr);
    status = createCacheSchema(database.get(), fileName);
    if (status != 0) {
      LogVerbose("Unable to create the version cache database. error %i\n", status);
      // Nothing of the session survives; the half-made file is kept for
      // whoever looks at it next and closed as it is.
      database.reset();
      return VC_OPEN_CREATE_FAILED;
    }
    created = true;
  } else if (status != 0) {
    LogVerbose("Unable to open the version cache database. error %i\n", status);
    database.reset();
    return status;
  } else {
    VCRepositoryInfo row;
    if (readRepositoryRow(row) != 0) {
      LogVerbose("Error: Unable to get repository info for %s.\n", fileName);
      return failOpen(VC_OPEN_NO_REPOSITORY_ROW);
    }
    // The version comes first: a file of another version is never
    // upgraded here, whoever started the program deletes it.
    if (row.db_version != dbVersion) {
      LogVerbose("Warning: The version of the cache file (%i) does not match the current version (%i).\n",
                 static_cast<int>(row.db_version), static_cast<int>(dbVersion));
      return failOpen(VC_OPEN_VERSION_MISMATCH);
    }
    if (!row.path.equalTo(repositoryUrl, false)) {
      LogVerbose("Error: The repository URL of the cache file (%s) does not match the requested URL (%s).\n",
                 row.path.getCString(), repositoryUrl.getCString());
      return failOpen(VC_OPEN_URL_MISMATCH);
    }
  }

  if (fetchHandles() != 0) {
    LogVerbose("Error: Unable to get cache table handles for %s.\n", fileName);
    return failOpen(VC_OPEN_NO_HANDLES);
  }
  if (created && writeRepositoryRow() != 0) {
    LogVerbose("Error: Unable to set repository info for %s.\n", fileName);
    return failOpen(VC_OPEN_ROW_NOT_WRITTEN);
  }
  return VC_OPEN_OK;
}

void VCDataLayer::close() {
  if (!database) return;
  LogVerbose("Closing cache database %s\n", databaseFile.getCString());
  for (LookupKey& k : lookupKeys_) k = LookupKey();
  closeStatus_ = database->closeDatabase();
  database.reset();
  repositoryTable = fileTable = revisionTable = branchTable = branchExclusionTable = nullptr;
  labelTable = labelExclusionTable = nullptr;
  fileRevisionXrefTable = branchRevisionXrefTable = labelRevisionXrefTable = nullptr;
}

int32_t VCDataLayer::readRepositoryRow(VCRepositoryInfo& row) {
  btTableInfo* table = getTable(database.get(), "repository");
  if (!table || table->hdr.recordCount == 0) return BT_STATUS_NOT_FOUND;
  btStoredRecord record;
  btTableIterator it(table);
  int32_t status = seekToFirst(database.get(), &it, &record);
  if (status != 0) return status;
  int32_t failed = 0;
  int32_t pathField = fetchField(table, "path", failed);
  int32_t timeField = fetchField(table, "last_update_time", failed);
  int32_t versionField = fetchField(table, "db_version", failed);
  if (failed != 0) return failed;
  row.path = readText(record, pathField);
  row.last_update_time = readDate(record, timeField);
  row.db_version = static_cast<uint32_t>(getUnsigned(&record, static_cast<uint32_t>(versionField)));
  return 0;
}

int32_t VCDataLayer::fetchHandles() {
  btDatabase* db = database.get();
  struct Handle {
    btTableInfo*& table;
    const char* name;
  };
  Handle handles[] = {
      {repositoryTable, "repository"},
      {fileTable, "file"},
      {revisionTable, "revision"},
      {branchTable, "branch"},
      {branchExclusionTable, "branch_exclusion"},
      {labelTable, "label"},
      {labelExclusionTable, "label_exclusion"},
      {fileRevisionXrefTable, "file_revision_xref"},
      {branchRevisionXrefTable, "branch_revision_xref"},
      {labelRevisionXrefTable, "label_revision_xref"},
  };
  for (Handle& h : handles) {
    if (!h.table) h.table = getTable(db, h.name);
    // A file whose creation stopped half way opens with a table missing.
    if (!h.table) return BT_STATUS_NO_SUCH_TABLE;
  }
  int32_t status = fetchFields();
  if (status != 0) return status;
  fetchIndexNumbers();
  if ((status = primeCounter(fileTable, "file_id_hash", fileFields.file_id, nextFileId)) != 0) return status;
  if ((status = primeCounter(revisionTable, "revision_id_hash", revisionFields.revision_id, nextRevisionId)) != 0)
    return status;
  if ((status = primeCounter(branchTable, "branch_id_hash", branchFields.id, nextBranchId)) != 0) return status;
  return primeCounter(labelTable, "label_id_hash", labelFields.id, nextLabelId);
}

int32_t VCDataLayer::fetchFields() {
  int32_t failed = 0;
  auto& r = repositoryFields;
  r.path = fetchField(repositoryTable, "path", failed);
  r.last_update_time = fetchField(repositoryTable, "last_update_time", failed);
  r.db_version = fetchField(repositoryTable, "db_version", failed);

  auto& f = fileFields;
  f.file_id = fetchField(fileTable, "file_id", failed);
  f.file_spec = fetchField(fileTable, "file_spec", failed);
  f.last_update_time = fetchField(fileTable, "last_update_time", failed);

  auto& v = revisionFields;
  v.revision_id = fetchField(revisionTable, "revision_id", failed);
  v.parent_branch_id = fetchField(revisionTable, "parent_branch_id", failed);
  v.revision_number = fetchField(revisionTable, "revision_number", failed);
  v.revision_time_stamp = fetchField(revisionTable, "revision_time_stamp", failed);
  v.revision_author = fetchField(revisionTable, "revision_author", failed);
  v.revision_comments = fetchField(revisionTable, "revision_comments", failed);

  auto copyFields = [&failed](btTableInfo* t, CopyFields& c, const char* id, const char* number,
                              const char* copyFrom, const char* stamp, const char* name, const char* author,
                              const char* comments) {
    c.id = fetchField(t, id, failed);
    c.parent_branch_id = fetchField(t, "parent_branch_id", failed);
    c.number = fetchField(t, number, failed);
    c.copy_from_number = fetchField(t, copyFrom, failed);
    c.time_stamp = fetchField(t, stamp, failed);
    c.name = fetchField(t, name, failed);
    c.author = fetchField(t, author, failed);
    c.comments = fetchField(t, comments, failed);
  };
  copyFields(branchTable, branchFields, "branch_id", "branch_number", "branch_copy_from_number",
             "branch_time_stamp", "branch_name", "branch_author", "branch_comments");
  copyFields(labelTable, labelFields, "label_id", "label_number", "label_copy_from_number", "label_time_stamp",
             "label_name", "label_author", "label_comments");

  auto& x = fileRevisionXrefFields;
  x.file_id = fetchField(fileRevisionXrefTable, "file_id", failed);
  x.revision_id = fetchField(fileRevisionXrefTable, "revision_id", failed);
  x.revision_number = fetchField(fileRevisionXrefTable, "revision_number", failed);

  auto xrefFields = [&failed](btTableInfo* t, CopyRevisionXrefFields& c, const char* id, const char* number,
                              const char* stamp) {
    c.revision_id = fetchField(t, "revision_id", failed);
    c.item_id = fetchField(t, id, failed);
    c.number = fetchField(t, number, failed);
    c.time_stamp = fetchField(t, stamp, failed);
  };
  xrefFields(branchRevisionXrefTable, branchRevisionXrefFields, "branch_id", "branch_number", "branch_time_stamp");
  xrefFields(labelRevisionXrefTable, labelRevisionXrefFields, "label_id", "label_number", "label_time_stamp");

  auto exclusionFields = [&failed](btTableInfo* t, ExclusionFields& e, const char* id) {
    e.item_id = fetchField(t, id, failed);
    e.type = fetchField(t, "type", failed);
    e.name = fetchField(t, "name", failed);
  };
  exclusionFields(branchExclusionTable, branchExclusionFields, "branch_id");
  exclusionFields(labelExclusionTable, labelExclusionFields, "label_id");
  return failed;
}

// A missing index keeps -1 and is found as null at its use, as a lookup by
// name would find it; so this step never fails.
int32_t VCDataLayer::fetchIndexNumbers() {
  IndexNumbers& n = indexNumbers;
  n.file_spec_tree = indexNumber(fileTable, "file_spec_tree");
  n.revision_number_tree = indexNumber(revisionTable, "revision_number_tree");
  n.branch_name_tree = indexNumber(branchTable, "branch_name_tree");
  n.branch_id_hash = indexNumber(branchTable, "branch_id_hash");
  n.label_name_tree = indexNumber(labelTable, "label_name_tree");
  return 0;
}

btIndexDefinition* VCDataLayer::indexAt(btTableInfo* table, int32_t n) {
  return table && n >= 0 ? table->index(static_cast<uint32_t>(n)) : nullptr;
}

// The counter is one above the id of the last entry of the id hash. A uint
// key hashes to itself and `last` walks the buckets from the top, so that
// entry holds the highest id as long as ids stay below the bucket count.
int32_t VCDataLayer::primeCounter(btTableInfo* table, const char* hashIndex, int32_t idField, uint32_t& counter) {
  counter = 0;
  btIndexDefinition* definition = getIndex(database.get(), table, hashIndex);
  if (!definition) return BT_STATUS_NO_SUCH_INDEX;
  if (table->hdr.recordCount == 0) return 0;
  btIndexStructure* structure = structureOf(definition);
  if (!structure) return 0;
  btIndexIterator it(definition);
  btStoredRecord record;
  if (structure->last(&it) == 0 && btLoadIndexRecord(definition, it.record, &record) == 0)
    counter = static_cast<uint32_t>(getUnsigned(&record, static_cast<uint32_t>(idField))) + 1;
  return 0;
}

int32_t VCDataLayer::writeRepositoryRow() {
  btStoredRecord record;
  int32_t status = initRecord(&record, repositoryTable);
  if (status == 0) status = setText(&record, repositoryFields.path, repositoryUrl);
  if (status == 0) status = setDate(&record, repositoryFields.last_update_time, 0);
  if (status == 0) status = setUnsigned(&record, repositoryFields.db_version, dbVersion);
  if (status != 0) return status;
  if (repositoryTable->hdr.recordCount == 0) return insertRecord(database.get(), repositoryTable, &record, nullptr);
  btSeek seek = 0;
  {
    btStoredRecord first;
    btTableIterator it(repositoryTable);
    status = seekToFirst(database.get(), &it, &first);
    if (status != 0) return status;
    seek = it.current();
  }
  return updateRecord(database.get(), repositoryTable, &record, &seek);
}

int32_t VCDataLayer::getLastUpdateTime(cmDateStamp& stamp) {
  stamp = 0;
  if (!database || !repositoryTable || repositoryTable->hdr.recordCount == 0) return 0;
  btStoredRecord record;
  btTableIterator it(repositoryTable);
  int32_t status = seekToFirst(database.get(), &it, &record);
  if (status == 0) status = getDate(&record, repositoryFields.last_update_time, &stamp);
  return status;
}

int32_t VCDataLayer::setLastUpdateTime(cmDateStamp stamp) {
  if (!database || !repositoryTable || repositoryTable->hdr.recordCount == 0) return 0;
  btStoredRecord record;
  btTableIterator it(repositoryTable);
  int32_t status = seekToFirst(database.get(), &it, &record);
  if (status != 0) return status;
  btSeek seek = it.current();
  status = setDate(&record, repositoryFields.last_update_time, stamp);
  if (status == 0) status = updateRecord(database.get(), repositoryTable, &record, &seek);
  return status;
}

// ---- Writers ------------------------------------------------------------------

int32_t VCDataLayer::insertRow(const InsertPlan& plan, btStoredRecord& record, const TVString& name, int32_t& id) {
  uint32_t newId = *plan.counter;
  int32_t status = setUnsigned(&record, plan.idField, newId);
  if (status == 0) status = insertRecord(database.get(), plan.table, &record, nullptr);
  if (status == 0) {
    id = static_cast<int32_t>(newId);
    ++*plan.counter;
    return VC_INSERT_NEW;
  }
  if (status != BT_STATUS_KEY_VIOLATION) {
    LogVerbose(plan.failureText, name.getCString(), status);
    return VC_INSERT_FAILED;
  }
  // A row with this id or this name is stored: take the stored row's id.
  btStoredRecord found;
  btIndexIterator it(indexAt(plan.table, plan.lookupIndex));
  int32_t lookup = findFirst(database.get(), plan.table, &it, &record, &found);
  if (lookup == 0) {
    id = readId(found, plan.idField);
  } else if (plan.trunkIsZero && name == kTrunkName) {
    id = 0;
  } else {
    LogVerbose(plan.keyViolationText, name.getCString(), lookup);
  }
  return VC_INSERT_EXISTS;
}

int32_t VCDataLayer::insertCopy(VCRevisionInfo& row, const TVString& copyFromNumber, const CopyFields& f,
                                const InsertPlan& plan) {
  if (!database) return VC_INSERT_FAILED;
  btStoredRecord record;
  int32_t status = initRecord(&record, plan.table);
  if (status == 0) status = setUnsigned(&record, f.parent_branch_id, storedId(row.parentId));
  if (status == 0) status = setText(&record, f.number, row.number);
  if (status == 0) status = setText(&record, f.copy_from_number, copyFromNumber);
  if (status == 0) status = setDate(&record, f.time_stamp, row.timeStamp);
  if (status == 0) status = setText(&record, f.name, row.name);
  if (status == 0) status = setText(&record, f.author, row.author);
  if (status == 0) status = setText(&record, f.comments, row.comments);
  if (status != 0) {
    LogVerbose(plan.failureText, row.name.getCString(), status);
    return VC_INSERT_FAILED;
  }
  return insertRow(plan, record, row.name, row.id);
}

int32_t VCDataLayer::insertBranch(VCBranchInfo& branch) {
  InsertPlan plan{branchTable,
                  branchFields.id,
                  indexNumbers.branch_name_tree,
                  &nextBranchId,
                  "Key violation inserting branch %s : error %i\n",
                  "Unable to insert branch %s : error %i\n",
                  true};
  return insertCopy(branch, branch.copyFromNumber, branchFields, plan);
}

int32_t VCDataLayer::insertLabel(VCLabelInfo& label) {
  InsertPlan plan{labelTable,
                  labelFields.id,
                  indexNumbers.label_name_tree,
                  &nextLabelId,
                  "Key violation inserting label %s : error %i\n",
                  "Unable to insert label %s : error %i\n",
                  false};
  return insertCopy(label, label.copyFromNumber, labelFields, plan);
}

int32_t VCDataLayer::insertRevision(VCRevisionInfo& revision) {
  if (!database) return VC_INSERT_FAILED;
  InsertPlan plan{revisionTable,
                  revisionFields.revision_id,
                  indexNumbers.revision_number_tree,
                  &nextRevisionId,
                  "Key violation inserting revision %s : error %i\n",
                  "Unable to insert revision %s : error %i\n",
                  false};
  const RevisionFields& f = revisionFields;
  btStoredRecord record;
  int32_t status = initRecord(&record, revisionTable);
  if (status == 0) status = setUnsigned(&record, f.parent_branch_id, storedId(revision.parentId));
  if (status == 0) status = setText(&record, f.revision_number, revision.name);
  if (status == 0) status = setDate(&record, f.revision_time_stamp, revision.timeStamp);
  if (status == 0) status = setText(&record, f.revision_author, revision.author);
  if (status == 0) status = setText(&record, f.revision_comments, revision.comments);
  if (status != 0) {
    LogVerbose(plan.failureText, revision.name.getCString(), status);
    return VC_INSERT_FAILED;
  }
  return insertRow(plan, record, revision.name, revision.id);
}

int32_t VCDataLayer::insertFile(VCFileInfo& file) {
  if (!database) return VC_INSERT_FAILED;
  InsertPlan plan{fileTable,
                  fileFields.file_id,
                  indexNumbers.file_spec_tree,
                  &nextFileId,
                  "Key violation inserting file %s : error %i\n",
                  "Unable to insert file %s : error %i\n",
                  false};
  cmDateStamp now = cmDateParts::nowStamp();
  btStoredRecord record;
  int32_t status = initRecord(&record, fileTable);
  if (status == 0) status = setText(&record, fileFields.file_spec, file.spec);
  if (status == 0) status = setDate(&record, fileFields.last_update_time, now);
  if (status != 0) {
    LogVerbose(plan.failureText, file.spec.getCString(), status);
    return VC_INSERT_FAILED;
  }
  status = insertRow(plan, record, file.spec, file.id);
  if (status == VC_INSERT_NEW) file.lastUpdateTime = now;
  return status;
}

int32_t VCDataLayer::insertExclusions(cmArray<VCExclusionInfo*>& exclusions, btTableInfo* table,
                                      const ExclusionFields& f, const char* failureText) {
  for (int64_t i = 0; i < exclusions.size(); ++i) {
    const VCExclusionInfo* e = exclusions[i];
    if (!e) continue;
    int32_t status = database ? 0 : BT_STATUS_NO_DATABASE;
    btStoredRecord record;
    if (status == 0) status = initRecord(&record, table);
    if (status == 0) status = setUnsigned(&record, f.item_id, storedId(e->itemId));
    if (status == 0) status = setText(&record, f.type, e->type);
    if (status == 0) status = setText(&record, f.name, e->name);
    if (status == 0) status = insertRecord(database.get(), table, &record, nullptr);
    if (status != 0 && status != BT_STATUS_KEY_VIOLATION)
      LogVerbose(failureText, e->name.getCString(), e->type.getCString(), static_cast<int>(e->itemId), status);
  }
  exclusions.clear(true);
  return 0;
}

int32_t VCDataLayer::insertBranchExclusions(cmArray<VCExclusionInfo*>& exclusions) {
  return insertExclusions(exclusions, branchExclusionTable, branchExclusionFields,
                          "Unable to insert branch exclusion %s (%s) for item %i : error %i\n");
}

int32_t VCDataLayer::insertLabelExclusions(cmArray<VCExclusionInfo*>& exclusions) {
  return insertExclusions(exclusions, labelExclusionTable, labelExclusionFields,
                          "Unable to insert label exclusion %s (%s) for item %i : error %i\n");
}

int32_t VCDataLayer::insertFileRevisionXref(int32_t fileId, int32_t revisionId, const TVString& revisionNumber) {
  return insertFileRevisionXrefs(&fileId, 1, revisionId, revisionNumber);
}

int32_t VCDataLayer::insertFileRevisionXrefs(const int32_t* fileIds, int64_t count, int32_t revisionId,
                                             const TVString& revisionNumber) {
  if (!database) return count > 0 ? -1 : 0;
  const FileRevisionXrefFields& f = fileRevisionXrefFields;
  // The insert copies the record, so one record serves every row: only the
  // file differs from row to row.
  btStoredRecord record;
  int32_t prepared = initRecord(&record, fileRevisionXrefTable);
  if (prepared == 0) prepared = setUnsigned(&record, f.revision_id, storedId(revisionId));
  if (prepared == 0) prepared = setText(&record, f.revision_number, revisionNumber);
  int32_t result = 0;
  for (int64_t i = 0; i < count; ++i) {
    int32_t status = prepared;
    if (status == 0) status = setUnsigned(&record, f.file_id, storedId(fileIds[i]));
    if (status == 0) status = insertRecord(database.get(), fileRevisionXrefTable, &record, nullptr);
    if (status != 0 && status != BT_STATUS_KEY_VIOLATION)
      LogVerbose("Unable to insert insert file-revision cross reference : error %i\n", status);
    if (status != 0) result = -1;
  }
  return result;
}

// ---- Runs of writes -------------------------------------------------------------

struct VCDataLayer::WriteRun::Held {
  explicit Held(btDatabase* db) : hold(db) {}
  btDatabase::Hold hold;
};

VCDataLayer::WriteRun::WriteRun(VCDataLayer& layer) {
  if (layer.database) held_ = std::make_unique<Held>(layer.database.get());
}

VCDataLayer::WriteRun::~WriteRun() = default;

// ---- Lookups ------------------------------------------------------------------

int32_t VCDataLayer::findByText(btTableInfo* table, int32_t index, int32_t field, const TVString& text,
                                btStoredRecord& found) {
  if (!database) return BT_STATUS_NO_DATABASE;
  int32_t status = 0;
  btStoredRecord* key = textKey(table, field, text, status);
  if (status != 0) return status;
  btIndexIterator it(indexAt(table, index));
  return findFirst(database.get(), table, &it, key, &found);
}

bool VCDataLayer::findIdByText(btTableInfo* table, int32_t index, int32_t field, const TVString& text,
                               int32_t idField, int32_t& id) {
  if (!database) return false;
  btIndexIterator it(indexAt(table, index));
  uint64_t value = 0;
  // The name itself is the key; a key record only where the index needs one.
  int32_t found = text.isNull() ? BT_STATUS_UNSUPPORTED
                                : findUnsignedByText(database.get(), table, &it, text.data(),
                                                     static_cast<uint32_t>(text.length()),
                                                     static_cast<uint32_t>(idField), &value);
  if (found == BT_STATUS_UNSUPPORTED) {
    int32_t status = 0;
    btStoredRecord* key = textKey(table, field, text, status);
    if (status != 0) return false;
    it.clearPosition();
    found = findFirstUnsigned(database.get(), table, &it, key, static_cast<uint32_t>(idField), &value);
  }
  if (found != 0) return false;
  // As readId reads it.
  id = static_cast<int32_t>(static_cast<uint32_t>(value));
  return true;
}

btStoredRecord* VCDataLayer::textKey(btTableInfo* table, int32_t field, const TVString& text, int32_t& status) {
  btStoredRecord* key = lookupKey(table, field, status);
  if (status == 0) status = setText(key, field, text);
  return key;
}

btStoredRecord* VCDataLayer::lookupKey(btTableInfo* table, int32_t field, int32_t& status) {
  LookupKey* slot = nullptr;
  for (LookupKey& k : lookupKeys_) {
    if (k.record && k.record->table == table && k.field == field) return k.record.get();
    if (!slot && !k.record) slot = &k;
  }
  if (!slot) slot = &lookupKeys_[0];
  slot->field = -1;
  if (!slot->record) slot->record = std::make_unique<btStoredRecord>();
  status = initRecord(slot->record.get(), table);
  if (status == 0) slot->field = field;
  return slot->record.get();
}

VCBranchInfo* VCDataLayer::getBranchByName(const TVString& name) {
  const CopyFields& f = branchFields;
  btStoredRecord found;
  if (findByText(branchTable, indexNumbers.branch_name_tree, f.name, name, found) != 0) return nullptr;
  auto* branch = new VCBranchInfo;
  branch->id = readId(found, f.id);
  branch->parentId = readId(found, f.parent_branch_id);
  branch->number = readText(found, f.number);
  branch->copyFromNumber = readText(found, f.copy_from_number);
  branch->timeStamp = readDate(found, f.time_stamp);
  branch->name = readText(found, f.name);
  branch->author = readText(found, f.author);
  branch->comments = readText(found, f.comments);
  return branch;
}

bool VCDataLayer::findBranchId(const TVString& name, int32_t& id) {
  return findIdByText(branchTable, indexNumbers.branch_name_tree, branchFields.name, name, branchFields.id, id);
}

VCFileInfo* VCDataLayer::getFileBySpec(const TVString& path) {
  const FileFields& f = fileFields;
  btStoredRecord found;
  if (findByText(fileTable, indexNumbers.file_spec_tree, f.file_spec, path, found) != 0) return nullptr;
  auto* file = new VCFileInfo;
  file->id = readId(found, f.file_id);
  file->spec = readText(found, f.file_spec);
  file->lastUpdateTime = readDate(found, f.last_update_time);
  return file;
}

bool VCDataLayer::findFileId(const TVString& path, int32_t& id) {
  return findIdByText(fileTable, indexNumbers.file_spec_tree, fileFields.file_spec, path, fileFields.file_id, id);
}

int32_t VCDataLayer::setBranchParent(int32_t branchId, int32_t parentId) {
  if (!database) return BT_STATUS_NO_DATABASE;
  const CopyFields& f = branchFields;
  btStoredRecord key;
  int32_t status = initRecord(&key, branchTable);
  if (status == 0) status = setUnsigned(&key, f.id, storedId(branchId));
  if (status != 0) return status;
  btIndexIterator it(indexAt(branchTable, indexNumbers.branch_id_hash));
  btStoredRecord found;
  status = findFirst(database.get(), branchTable, &it, &key, &found);
  if (status != 0) return status;
  btSeek seek = it.record;
  status = setUnsigned(&found, f.parent_branch_id, storedId(parentId));
  if (status == 0) status = updateRecord(database.get(), branchTable, &found, &seek);
  return status;
}
