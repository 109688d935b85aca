#include "ingest/RevisionReadAhead.h"

#include <limits>
#include <new>
#include <utility>

#include "ingest/LabelIngest.h"
#include "ingest/LogReader.h"
#include "platform/cmPlatformThread.h"
#include "xml/cmMiniXmlNode.h"
#include "xml/cmXPathNodeList.h"

using tolvane::TVString;

namespace ingest {

namespace {

// Entries handed over at a time: each hand-over may wake the storing thread.
constexpr int32_t kHandOver = 32;

std::string_view viewOf(const TVString& s) {
  return {s.isNull() ? "" : s.data(), static_cast<size_t>(s.length())};
}

}  // namespace

bool BranchNameOf(std::string_view path, std::string& name) {
  const size_t first = path.find('/');
  if (first == std::string_view::npos) return false;
  const size_t second = path.find('/', first + 1);
  if (second == std::string_view::npos) return false;
  const std::string_view piece1 = path.substr(first + 1, second - first - 1);
  name.clear();
  name.push_back('/');
  name.append(piece1);
  if (piece1 == "trunk") return true;
  size_t third = path.find('/', second + 1);
  if (third == std::string_view::npos) third = path.size();
  name.push_back('/');
  name.append(path.substr(second + 1, third - second - 1));
  return true;
}

void ReadRevisionEntry(LogReader& log, int32_t entryId, RevisionEntry& out, std::string& scratch) {
  cmMiniXmlNode* entry = log.entry(entryId);
  const cmXPathNodeList& paths = log.changedFiles(entry);
  if (paths.empty()) return;
  // The revision text is taken as the log has it, unstripped.
  out.fields = log.fields(entry);
  out.paths.reserve(static_cast<size_t>(paths.size()));
  TVString path;
  for (cmMiniXmlNode* node : paths) {
    if (node->id < 0) break;
    if (!log.pathText(node, path)) continue;
    ChangedPath& changed = out.paths.emplace_back();
    if (!BranchNameOf(viewOf(path), scratch)) {
      changed.fileSpec = path;
      continue;
    }
    changed.inBranchForm = true;
    changed.branchName = TVString(scratch.data(), static_cast<int64_t>(scratch.size()));
    changed.fileSpec = path.tail(static_cast<int64_t>(scratch.size()));
  }
}

RevisionReadAhead::RevisionReadAhead(int32_t document, const cmArray<int>& entries, bool useThread,
                                     LabelCandidates* labels, int64_t failReadingAt)
    : document_(document),
      entries_(entries),
      labels_(labels),
      failReadingAt_(failReadingAt),
      read_(static_cast<size_t>(entries.size())) {
  if (labels_) labels_->clear();
  if (!useThread || entries.size() == 0 || entries.size() > std::numeric_limits<int32_t>::max()) return;
  thread_ = platform::startThread(&RevisionReadAhead::threadMain, this);
}

RevisionReadAhead::~RevisionReadAhead() {
  // A pass that stored every entry lets the thread finish its label list;
  // one that stops early (unwinding) does not wait for the rest.
  stopThread(asked_ < entries_.size());
}

void RevisionReadAhead::stopThread(bool cancel) {
  if (!thread_) return;
  if (cancel) cancel_.store(true, std::memory_order_relaxed);
  platform::joinThread(thread_);
  thread_ = nullptr;
}

int32_t RevisionReadAhead::threadMain(void* self) {
  static_cast<RevisionReadAhead*>(self)->readAll();
  return 0;
}

void RevisionReadAhead::readAll() {
  const auto count = static_cast<int32_t>(entries_.size());
  int32_t i = 0;
  try {
    LogReader log(document_);
    std::string scratch;
    while (i < count && !cancel_.load(std::memory_order_relaxed)) {
      ReadRevisionEntry(log, entries_[i], read_[static_cast<size_t>(i)], scratch);
      if (i == failReadingAt_) throw std::bad_alloc();
      ++i;
      if (i % kHandOver == 0 || i == count) {
        ready_.store(i, std::memory_order_release);
        ready_.notify_one();
      }
    }
    if (i < count || !labels_) return;
    try {
      findLabels(log);
    } catch (...) {
      // The list stays incomplete and the label pass visits every entry.
    }
  } catch (...) {
    // A foundation exception or a failed allocation: nothing may leave the
    // thread, and the storing thread can do the reading itself.
    if (i >= count) return;  // every entry was handed over; only the reader's end failed
    // The storing thread reads from entry i on; what this thread had read
    // of it is dropped. A negative count says so, and is a change of value
    // that wakes a waiting storer even when i was just handed over.
    read_[static_cast<size_t>(i)] = RevisionEntry();
    ready_.store(-1 - i, std::memory_order_release);
    ready_.notify_one();
  }
}

void RevisionReadAhead::findLabels(LogReader& log) {
  LabelCandidates found;
  const auto count = static_cast<int64_t>(entries_.size());
  for (int64_t i = 0; i < count; ++i) {
    if (cancel_.load(std::memory_order_relaxed)) return;
    if (MayMakeLabel(log, log.entry(entries_[i]))) found.entries.push_back(i);
  }
  found.document = document_;
  found.entryCount = count;
  found.complete = true;
  // Read by the storing thread only after the join.
  *labels_ = std::move(found);
}

RevisionEntry& RevisionReadAhead::entry(int64_t i) {
  // The entry before this one is stored: its memory goes now, so that a
  // batch's entries are never all held at once.
  if (i > 0) read_[static_cast<size_t>(i - 1)] = RevisionEntry();
  asked_ = i + 1;
  RevisionEntry& out = read_[static_cast<size_t>(i)];
  if (thread_) {
    int32_t ready = ready_.load(std::memory_order_acquire);
    while (ready >= 0 && ready <= i) {
      ready_.wait(ready, std::memory_order_acquire);
      ready = ready_.load(std::memory_order_acquire);
    }
    if (ready > i || (ready < 0 && i < -1 - static_cast<int64_t>(ready))) return out;
    // The reader gave up before this entry and has ended; joined, it has
    // left the document's lock.
    stopThread(true);
  }
  if (!ownReader_) ownReader_ = std::make_unique<LogReader>(document_);
  ReadRevisionEntry(*ownReader_, entries_[i], out, scratch_);
  return out;
}

}  // namespace ingest
