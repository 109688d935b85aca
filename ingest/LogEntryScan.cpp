#include "ingest/LogEntryScan.h"

#include <cstring>
#include <string_view>

#include "platform/cmPlatformThread.h"
#include "xml/cmXPathAxes.h"
#include "xml/cmXPathOpcode.h"
#include "xml/tvXmlCfgHandleTable.h"

namespace ingest {
namespace {

// Below this many subtrees the second thread costs more than it saves.
constexpr size_t kThreadFrom = 256;

// The node tests of the query's step and of "paths/path[@kind…]": elements
// of either kind, attributes, names byte for byte.
bool isElementNamed(const cmMiniXmlNode* n, std::string_view name) {
  return (n->kind & CM_XPATH_MASK_ELEMENTS) && n->nameView() == name;
}

bool mayBeDirectory(const cmMiniXmlNode* path) {
  cmXPathAxes::Child attributes;
  for (cmMiniXmlNode* a = attributes.start(path); a; a = attributes.next()) {
    if (!(a->kind & CM_XPATH_MASK_ATTRIBUTE) || a->nameView() != "kind") continue;
    const std::string_view raw = a->rawValue();
    // An entity may decode to "dir": the pass's own test decides then.
    if (raw == "dir" || raw.find('&') != std::string_view::npos) return true;
  }
  return false;
}

bool mayAddDirectory(const cmMiniXmlNode* entry) {
  cmXPathAxes::Child paths, path;
  for (cmMiniXmlNode* c = paths.start(entry); c; c = paths.next()) {
    if (!isElementNamed(c, "paths")) continue;
    for (cmMiniXmlNode* p = path.start(c); p; p = path.next())
      if (isElementNamed(p, "path") && mayBeDirectory(p)) return true;
  }
  return false;
}

// A piece of the walk: one node alone, or a node with its whole subtree.
struct Unit {
  cmMiniXmlNode* node;
  bool subtree;
};

struct Found {
  std::vector<int> ids;
  std::vector<uint8_t> hints;

  void visit(const cmMiniXmlNode* n) {
    if (!isElementNamed(n, "logentry")) return;
    ids.push_back(n->id);
    hints.push_back(mayAddDirectory(n) ? 1 : 0);
  }
  void walk(const Unit* from, const Unit* to) {
    for (const Unit* u = from; u != to; ++u) {
      visit(u->node);
      if (!u->subtree) continue;
      cmXPathAxes::Descendant below;
      for (cmMiniXmlNode* n = below.start(u->node); n; n = below.next()) visit(n);
    }
  }
};

struct Half {
  const Unit* from;
  const Unit* to;
  Found found;
  bool done = false;

  static int32_t run(void* self) {
    auto* half = static_cast<Half*>(self);
    try {
      half->found.walk(half->from, half->to);
      half->done = true;
    } catch (...) {
      // Out of memory: the caller walks this half itself.
    }
    return 0;
  }
};

}  // namespace

void ScanLogEntries(int32_t document, LogEntries& out, bool useThread) {
  out.ids.clear(false);
  out.mayAddDirectory.clear();
  tvXmlCfgLock lock;
  tvXmlCfgEntry* entry = tvXmlCfgTable::entry(document);
  cmMiniXmlNode* root = entry ? entry->doc.root() : nullptr;
  if (!root) return;

  // The descendants of the document node in document order: each child,
  // then each of its children with everything below it.
  std::vector<Unit> units;
  size_t subtrees = 0;
  for (cmMiniXmlNode* c = cmXPathAxes::firstContent(root); c; c = cmXPathAxes::nextSibling(c)) {
    units.push_back({c, false});
    for (cmMiniXmlNode* d = cmXPathAxes::firstContent(c); d; d = cmXPathAxes::nextSibling(d)) {
      units.push_back({d, true});
      subtrees++;
    }
  }
  // The second half of the subtrees goes to the helper.
  size_t split = units.size();
  if (useThread && subtrees >= kThreadFrom) {
    size_t seen = 0;
    for (split = 0; split < units.size() && seen < subtrees / 2; split++)
      if (units[split].subtree) seen++;
  }
  const Unit* begin = units.data();
  const Unit* end = begin + units.size();
  Half second{begin + split, end, {}};
  platform::ThreadHandle helper = split < units.size() ? platform::startThread(&Half::run, &second) : nullptr;

  Found first;
  first.walk(begin, helper ? begin + split : end);
  if (helper) {
    platform::joinThread(helper);
    if (!second.done) {
      second.found = Found();
      second.found.walk(second.from, second.to);
    }
  }
  for (const Found* f : {&first, &second.found}) {
    for (int id : f->ids) out.ids.add(id);
    out.mayAddDirectory.insert(out.mayAddDirectory.end(), f->hints.begin(), f->hints.end());
  }
}

}  // namespace ingest
