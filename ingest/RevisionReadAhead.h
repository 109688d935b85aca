// RevisionReadAhead: reads what the revision pass stores of each log entry
// (the entry's fields and, for every changed file, its branch name and its
// path below the branch) on a second thread, a little ahead of the pass.
//
// The pass spends most of its time in the cache; the reading is a walk of
// the document's tree that needs nothing from the cache. With the reading
// on another processor the pass only stores. Entries are read in order and
// handed over in order, so the pass sees exactly what it would have read
// itself, and the rows it stores, the order of its inserts and its log
// lines stay the same.
//
// Ownership: the object owns the thread and the read entries; the document
// belongs to ParseSvnLog and must stay open until the object is gone. The
// reader thread holds the document family's lock (through its LogReader)
// from its start to its end, so the storing thread must not read the
// document meanwhile. Threading: entry() and the destructor are for the
// thread that made the object.
#pragma once

#include <atomic>
#include <memory>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ingest/LogEntryFields.h"
#include "runtime/cmArray.h"
#include "text/TVString.h"

namespace ingest {

class LogReader;
struct LabelCandidates;

// One path of kChangedFileQuery with a text, split by the branch rule.
struct ChangedPath {
  bool inBranchForm = false;    // the path had the pieces of a branch name
  tolvane::TVString branchName;  // "/trunk" or "/x/y"; set when inBranchForm
  tolvane::TVString fileSpec;    // the path from the length of that name on
};

// What the pass stores of one entry. No paths: the entry changed no file
// (and its fields are not read).
struct RevisionEntry {
  LogEntryFields fields;
  std::vector<ChangedPath> paths;
};

// Splits `path` by the branch rule: "/" and piece 1, and unless that is
// "trunk", "/" and piece 2 too; false when the path has fewer than two "/".
// `name` is scratch that keeps its room from call to call.
bool BranchNameOf(std::string_view path, std::string& name);

// Reads the entry with node id `entryId` as the pass needs it.
void ReadRevisionEntry(LogReader& log, int32_t entryId, RevisionEntry& out, std::string& scratch);

class RevisionReadAhead {
 public:
  // Starts reading the entries of `document` (ids in `entries`, which must
  // outlive the object). With `useThread` false, or when no thread can be
  // started, entry() reads each entry itself when it is asked for. With
  // `labels`, the thread goes on to list the label pass's candidates there
  // once the entries are read; the list is complete only if the thread got
  // through all entries, and is to be read after the object is gone.
  // `failReadingAt` is a test seam: the reading thread fails at that entry
  // as it would on a failed allocation.
  RevisionReadAhead(int32_t document, const cmArray<int>& entries, bool useThread,
                    LabelCandidates* labels = nullptr, int64_t failReadingAt = -1);
  ~RevisionReadAhead();
  RevisionReadAhead(const RevisionReadAhead&) = delete;
  RevisionReadAhead& operator=(const RevisionReadAhead&) = delete;

  // Entry `i` of the list, read; asked for in order, each once. The
  // reference is valid until the next call.
  RevisionEntry& entry(int64_t i);
  // True while a reader thread runs or has run for this object.
  bool threaded() const { return thread_ != nullptr; }

 private:
  static int32_t threadMain(void* self);
  void readAll();
  void findLabels(LogReader& log);
  // Joins the thread; `cancel` first asks it to stop where it is.
  void stopThread(bool cancel);

  int32_t document_;
  const cmArray<int>& entries_;
  LabelCandidates* labels_;
  int64_t failReadingAt_;
  std::vector<RevisionEntry> read_;
  void* thread_ = nullptr;
  // n >= 0: entries [0, n) are read. A reader that fails (an exception)
  // at entry k stores -1 - k and ends; entries [0, k) are read
  // and the storing thread reads the rest itself.
  std::atomic<int32_t> ready_{0};
  std::atomic<bool> cancel_{false};
  // The storing thread's own reader, made when it must read for itself.
  std::unique_ptr<LogReader> ownReader_;
  int64_t asked_ = 0;  // entries handed to the pass so far
  std::string scratch_;
};

}  // namespace ingest
