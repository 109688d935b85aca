// VCDataLayer: the one object through which the program touches the version
// cache, a single database file with ten tables (VCSchema.h). One object is
// one session on one file: open() opens the file, or creates it with its
// tables and its repository row when there is none (or only one of an older
// format), checks the stored version and URL, fetches the table handles and
// field numbers, and primes the id counters from the highest stored ids.
//
// The writers are what the ingest calls. A repeated log entry is an insert
// that a unique index refuses; the writer then looks the row up by its name
// and hands back the stored id with -1, so the database's indexes are the
// only memory of what was seen between runs (the revision pass remembers
// the ids it was given within one document, see RevisionIngest.h).
//
// States: constructed (no database) -> open (database and handles set) ->
// closed (as constructed; may be opened again). The destructor closes.
// A failed open leaves the object closed.
//
// Ownership: the session owns its btDatabase; table handles are borrowed
// from it and die with close(). Rows returned by the lookups are new objects
// that the caller deletes. Threading: one thread; the database takes its own
// locks inside its operations.
#pragma once

#include <cstdint>
#include <memory>

#include "runtime/cmArray.h"
#include "text/TVString.h"
#include "text/cmDateStamp.h"
#include "vcache/VCCodes.h"
#include "vcache/VCRows.h"

class btDatabase;
class btIndexDefinition;
class btStoredRecord;
class btTableInfo;

class VCDataLayer {
 public:
  VCDataLayer(const tolvane::TVString& repositoryUrl, const tolvane::TVString& databaseFile, uint32_t dbVersion);
  virtual ~VCDataLayer();
  VCDataLayer(const VCDataLayer&) = delete;
  VCDataLayer& operator=(const VCDataLayer&) = delete;

  // 0; a database status when the file is refused; or VC_OPEN_* (VCCodes.h).
  int32_t open();
  // Writes what is dirty and ends the session; a second call does nothing.
  void close();
  // What the engine said at the last close that had a session: 0, or the
  // status of a write that failed (the file then stays marked unclean).
  int32_t lastCloseStatus() const { return closeStatus_; }
  bool isOpen() const { return database != nullptr; }

  // The stored time of the last complete update, 0 when there is none.
  int32_t getLastUpdateTime(cmDateStamp& stamp);
  int32_t setLastUpdateTime(cmDateStamp stamp);

  // ---- Writers --------------------------------------------------------------
  // 0 for a new row (its id is set, the counter moves), -1 for a row stored
  // already or refused by a key (id set to the stored row's id when the name
  // is found, else left -1), -2 for any other failure.
  int32_t insertBranch(VCBranchInfo& branch);
  int32_t insertLabel(VCLabelInfo& label);
  int32_t insertRevision(VCRevisionInfo& revision);
  int32_t insertFile(VCFileInfo& file);
  // Stores each exclusion; failures are logged and skipped. Always 0. The
  // array's storage is released and the array left empty; the rows it
  // pointed to remain the caller's.
  int32_t insertBranchExclusions(cmArray<VCExclusionInfo*>& exclusions);
  int32_t insertLabelExclusions(cmArray<VCExclusionInfo*>& exclusions);
  // 0, or -1 on any refusal.
  int32_t insertFileRevisionXref(int32_t fileId, int32_t revisionId, const tolvane::TVString& revisionNumber);
  // insertFileRevisionXref for each of `count` file ids in order, with one
  // record whose revision fields are set once; rows, order and log lines
  // are those of the single inserts. 0, or -1 when any was refused.
  int32_t insertFileRevisionXrefs(const int32_t* fileIds, int64_t count, int32_t revisionId,
                                  const tolvane::TVString& revisionNumber);

  // ---- Lookups --------------------------------------------------------------
  // A new row that the caller deletes, or null when there is none.
  VCBranchInfo* getBranchByName(const tolvane::TVString& name);
  VCFileInfo* getFileBySpec(const tolvane::TVString& path);
  // The id alone of the row that getBranchByName or getFileBySpec would
  // return, without making the row: false (and `id` left alone) when there
  // is none.
  bool findBranchId(const tolvane::TVString& name, int32_t& id);
  bool findFileId(const tolvane::TVString& path, int32_t& id);
  // Status of the database: 0, or BT_STATUS_NOT_FOUND and the like.
  int32_t setBranchParent(int32_t branchId, int32_t parentId);

  // Holds the cache's locks for a run of lookups and writes by the calling
  // thread (the rows of one log entry), so that each row does not take them
  // anew. Holds nothing when no cache is open. Other threads that use the
  // cache wait for the end of the run. Locks taken for other things (the
  // log document's) must be taken before a run, not inside it.
  class WriteRun {
   public:
    explicit WriteRun(VCDataLayer& layer);
    ~WriteRun();
    WriteRun(const WriteRun&) = delete;
    WriteRun& operator=(const WriteRun&) = delete;

   private:
    struct Held;
    std::unique_ptr<Held> held_;
  };

  // ---- State for the driver and the tests -------------------------------------
  uint32_t nextFileId = 0;
  uint32_t nextRevisionId = 0;
  uint32_t nextBranchId = 0;
  uint32_t nextLabelId = 0;

  const tolvane::TVString& url() const { return repositoryUrl; }
  const tolvane::TVString& fileName() const { return databaseFile; }
  uint32_t version() const { return dbVersion; }

 private:
  // Field numbers, fetched by name at open.
  struct RepositoryFields { int32_t path = 0, last_update_time = 0, db_version = 0; };
  struct FileFields { int32_t file_id = 0, file_spec = 0, last_update_time = 0; };
  struct RevisionFields {
    int32_t revision_id = 0, parent_branch_id = 0, revision_number = 0, revision_time_stamp = 0,
            revision_author = 0, revision_comments = 0;
  };
  // `branch` and `label` share their shape.
  struct CopyFields {
    int32_t id = 0, parent_branch_id = 0, number = 0, copy_from_number = 0, time_stamp = 0, name = 0, author = 0,
            comments = 0;
  };
  struct FileRevisionXrefFields { int32_t file_id = 0, revision_id = 0, revision_number = 0; };
  struct CopyRevisionXrefFields { int32_t revision_id = 0, item_id = 0, number = 0, time_stamp = 0; };
  struct ExclusionFields { int32_t item_id = 0, type = 0, name = 0; };
  // Numbers of the indexes that the writers and lookups use, fetched by
  // name at open, so that no operation looks an index up by its name.
  struct IndexNumbers {
    int32_t file_spec_tree = -1, revision_number_tree = -1, branch_name_tree = -1, branch_id_hash = -1,
            label_name_tree = -1;
  };

  // The parts in which the branch, label, revision and file inserts differ.
  struct InsertPlan {
    btTableInfo* table;
    int32_t idField;
    int32_t lookupIndex;  // the name's B-tree, a number from IndexNumbers
    uint32_t* counter;
    const char* keyViolationText;
    const char* failureText;
    bool trunkIsZero;  // a branch insert: "/trunk" not found by name is id 0
  };

  int32_t fetchHandles();
  int32_t fetchFields();
  int32_t fetchIndexNumbers();
  // The index of `table` with number `n` (IndexNumbers), or null.
  static btIndexDefinition* indexAt(btTableInfo* table, int32_t n);
  // Finds the first row of `table` whose `field` equals `text` through the
  // index numbered `index`; the row goes into `found`. 0 or a status.
  int32_t findByText(btTableInfo* table, int32_t index, int32_t field, const tolvane::TVString& text,
                     btStoredRecord& found);
  // The id field `idField` of the row that findByText would find, read in
  // place; false when no row is found.
  bool findIdByText(btTableInfo* table, int32_t index, int32_t field, const tolvane::TVString& text,
                    int32_t idField, int32_t& id);
  int32_t readRepositoryRow(VCRepositoryInfo& row);
  int32_t writeRepositoryRow();
  int32_t primeCounter(btTableInfo* table, const char* hashIndex, int32_t idField, uint32_t& counter);
  // Inserts `record` (all fields but the id set) by the plan; sets `id`.
  int32_t insertRow(const InsertPlan& plan, btStoredRecord& record, const tolvane::TVString& name, int32_t& id);
  int32_t insertCopy(VCRevisionInfo& row, const tolvane::TVString& copyFromNumber, const CopyFields& f,
                     const InsertPlan& plan);
  int32_t insertExclusions(cmArray<VCExclusionInfo*>& exclusions, btTableInfo* table, const ExclusionFields& f,
                           const char* failureText);
  // Clears the session after a failed step: logs nothing, closes.
  int32_t failOpen(int32_t status);

  uint32_t dbVersion;
  tolvane::TVString repositoryUrl;
  tolvane::TVString databaseFile;
  std::unique_ptr<btDatabase> database;
  int32_t closeStatus_ = 0;
  // The key records of findByText, one per table and field, built once and
  // then only given new text: every changed path looks up a branch and a
  // file by name. Reset with the tables they point to.
  struct LookupKey {
    std::unique_ptr<btStoredRecord> record;
    int32_t field = -1;
  };
  LookupKey lookupKeys_[3];
  // lookupKey with `text` set in `field`.
  btStoredRecord* textKey(btTableInfo* table, int32_t field, const tolvane::TVString& text, int32_t& status);
  btStoredRecord* lookupKey(btTableInfo* table, int32_t field, int32_t& status);

  btTableInfo* repositoryTable = nullptr;
  btTableInfo* fileTable = nullptr;
  btTableInfo* revisionTable = nullptr;
  btTableInfo* branchTable = nullptr;
  btTableInfo* branchExclusionTable = nullptr;
  btTableInfo* labelTable = nullptr;
  btTableInfo* labelExclusionTable = nullptr;
  btTableInfo* fileRevisionXrefTable = nullptr;
  btTableInfo* branchRevisionXrefTable = nullptr;
  btTableInfo* labelRevisionXrefTable = nullptr;

  RepositoryFields repositoryFields;
  FileFields fileFields;
  RevisionFields revisionFields;
  CopyFields branchFields;
  CopyFields labelFields;
  FileRevisionXrefFields fileRevisionXrefFields;
  CopyRevisionXrefFields branchRevisionXrefFields;
  CopyRevisionXrefFields labelRevisionXrefFields;
  ExclusionFields branchExclusionFields;
  ExclusionFields labelExclusionFields;
  IndexNumbers indexNumbers;
};
