#include "database/index/btBtreeEngine.h"

#include <vector>

#include "database/btBlockStorage.h"
#include "database/btDatabase.h"
#include "database/btIndexDefinition.h"
#include "database/btStatus.h"
#include "database/index/btBtreeNode.h"
#include "database/index/btIndexStructure.h"

namespace {

bool isRealRecord(btSeek r) { return r != BT_FIND_ANY && r != BT_FIND_NONE && r != BT_FIND_CHAIN_END; }

// Where record `r` stands in a unique leaf, or -1. Its entry lies among the
// entries with its key's summary, which a binary search finds without
// reading records; only a record stored under another summary (a key that
// compares equal but summarises differently) costs the walk of the leaf.
int32_t positionOfRecord(const btBtreeNode& n, const btKeySummary& sum, btSeek r) {
  int32_t c = n.count;
  if (n.childAt(0) == r) return 0;
  int32_t lo = 1, hi = c;
  while (lo < hi) {
    int32_t mid = lo + (hi - lo) / 2;
    if (compareSummaries(n.summaryAt(mid), sum) < 0) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  for (int32_t p = lo; p < c && n.summaryAt(p) == sum; p++)
    if (n.childAt(p) == r) return p;
  for (int32_t p = 1; p < c; p++)
    if (n.childAt(p) == r) return p;
  return -1;
}

}  // namespace

btBtreeEngine::btBtreeEngine(btIndexDefinition* definition, btDatabase* database,
                             btBtreeKeys* keys)
    : def_(definition),
      db_(database),
      cf_(database ? database->getCacheFile() : nullptr),
      keys_(keys) {}

int32_t btBtreeEngine::create(btDatabase* database, btIndexDefinition* definition) {
  if (!definition) return BT_STATUS_NO_INDEX_ROOT;
  if (!database || !database->isOpen()) return BT_STATUS_NO_DATABASE;
  definition->setConversionCount(btBtreeNode::orderFor(definition, database->blockSize()));
  btBtreeNode root(definition);
  int32_t status = 0;
  btSeek seek = allocateNode(database, database->getCacheFile(), &root, true, true, &status);
  if (!seek) return status;
  definition->setRoot(seek);
  definition->setFirstNode(seek);
  definition->setLastNode(seek);
  return 0;
}

int32_t btBtreeEngine::ready() const {
  if (!def_) return BT_STATUS_NO_INDEX_ROOT;
  if (def_->root == 0) return BT_STATUS_NO_TABLE;
  if (!db_ || !cf_) return BT_STATUS_NO_DATABASE;
  return 0;
}

void btBtreeEngine::place(btIndexIterator* it, btSeek node, uint32_t position,
                          btSeek record) const {
  it->node = node;
  it->position = position;
  it->record = record;
  it->chainHead = static_cast<int32_t>(record);
  it->chainPosition = 0;
  it->compare = 0;
  it->found = btIndexIterator::FoundKey();
}

bool btBtreeEngine::isEmpty() {
  if (ready() < 0) return true;
  btBtreeNode root(def_);
  if (loadNode(&root, cf_, def_->root) < 0) return true;
  return root.count == 0;
}

// ---- Search -----------------------------------------------------------------

int32_t btBtreeEngine::find(btIndexIterator* it, const btStoredRecord* key, btSeek r, bool exact) {
  int32_t rc = ready();
  if (rc < 0) return rc;
  bool dups = def_->allowsDuplicates();
  bool exactSummary = def_->summaryIsExact();
  // The last insert position is reused when it still names the record.
  if (it->node && isRealRecord(r)) {
    btBtreeNode n(def_);
    if (loadNode(&n, cf_, it->node) == 0 && n.leaf && it->position < n.count &&
        n.childAt(static_cast<uint32_t>(it->position)) == r) {
      place(it, it->node, static_cast<uint32_t>(it->position), r);
      return 0;
    }
  }
  btKeySummary sum = keys_->summaryOfKey(key);
  btSeek seek = def_->root;
  for (int depth = 0;; depth++) {
    if (depth > kMaxHeight) return BT_STATUS_BAD_NODE;
    btBtreeNode n(def_);
    rc = loadNode(&n, cf_, seek);
    if (rc < 0) {
      it->clearPosition();
      return rc;
    }
    int32_t c = n.count;
    if (c == 0) {
      it->clearPosition();
      return BT_STATUS_NOT_FOUND;
    }
    int32_t pos = 0;
    bool decided = false;
    if (c > 1) {
      if (compareSummaries(sum, n.summaryAt(c - 1)) > 0) {
        pos = c - 1;
      } else if (compareSummaries(sum, n.summaryAt(1)) < 0) {
        pos = 0;
      } else {
        bool scanned = false;
        if (n.leaf && !dups && isRealRecord(r)) {
          int32_t p = positionOfRecord(n, sum, r);
          if (p >= 0) {
            pos = p;
            decided = scanned = true;
          }
        }
        int32_t lo = 1, hi = c - 1;
        while (!scanned && lo <= hi) {
          int32_t mid = (lo + hi) / 2;
          int sc = compareSummaries(n.summaryAt(mid), sum);
          if (sc > 0) {
            hi = mid - 1;
            continue;
          }
          if (sc < 0) {
            pos = mid;
            lo = mid + 1;
            continue;
          }
          if (exactSummary) {
            pos = mid;
            decided = true;
            break;
          }
          btSeek sep = n.separatorAt(mid);
          if (sep == r) {
            pos = mid;
            decided = true;
            break;
          }
          int kc = 0;
          rc = keys_->compareWithRecord(key, sep, &kc);
          if (rc < 0) return rc;
          if (kc < 0) {
            hi = mid - 1;
          } else {
            pos = mid;
            if (kc == 0) {
              decided = true;
              break;
            }
            lo = mid + 1;
          }
        }
      }
    }
    if (!n.leaf) {
      seek = n.childAt(pos);
      if (!seek) return BT_STATUS_BAD_NODE;
      continue;
    }
    btSeek rec = n.childAt(pos);
    int cmp = 0;
    // A new key usually differs from its neighbour within the summary;
    // then the record need not be read to say on which side it goes.
    if (!decided && !(pos > 0 && btSummariesOrderKeys(def_, sum, n.summaryAt(pos), &cmp))) {
      rc = keys_->compareWithRecord(key, rec, &cmp);
      if (rc < 0) return rc;
    }
    place(it, seek, static_cast<uint32_t>(pos), rec);
    it->compare = cmp;
    it->found = {key, seek, static_cast<uint64_t>(pos), sum.hi, sum.lo};
    if (cmp != 0) return BT_STATUS_NOT_FOUND;
    if (!dups) return 0;
    if (r == BT_FIND_CHAIN_END) return keys_->chainTail(it);
    if (exact && isRealRecord(r) && r != rec) {
      rc = keys_->chainSeek(it, r);
      if (rc < 0) {
        place(it, seek, static_cast<uint32_t>(pos), rec);
        return rc;
      }
    }
    return 0;
  }
}

// ---- Insert -----------------------------------------------------------------

int32_t btBtreeEngine::setParentOf(btSeek child, btSeek parent) {
  btBtreeNode n(def_);
  int32_t rc = loadNode(&n, cf_, child);
  if (rc < 0) return rc;
  n.setParent(parent);
  return 0;
}

int32_t btBtreeEngine::rewriteAncestor(btSeek child, btSeek parent, btSeek separator,
                                       const btKeySummary* summary, btSeek onlyIfNames) {
  for (int depth = 0; parent; depth++) {
    if (depth > kMaxHeight) return BT_STATUS_BAD_NODE;
    btBtreeNode p(def_);
    int32_t rc = loadNode(&p, cf_, parent);
    if (rc < 0) return rc;
    int32_t q = p.positionOfChild(child);
    if (q < 0) return q;
    if (q > 0) {
      if (onlyIfNames && p.separatorAt(q) != onlyIfNames) return 0;
      p.setSeparator(q, separator);
      if (summary) p.setSummary(q, *summary);
      return 0;
    }
    child = parent;
    parent = p.parent;
  }
  return 0;
}

int32_t btBtreeEngine::insertKey(btIndexIterator* it, const btStoredRecord* record, btSeek s) {
  int32_t rc = ready();
  if (rc < 0) return rc;
  // A positioned iterator stands in a leaf with entries, so the tree is not
  // empty; only an unpositioned one needs the root looked at.
  if (!it->node) {
    btBtreeNode root(def_);
    rc = loadNode(&root, cf_, def_->root);
    if (rc < 0) return rc;
    if (root.count == 0) {
      rc = root.insertAt(0, s, s, btKeySummary{});
      if (rc < 0) return rc;
      place(it, def_->root, 0, s);
      return 0;
    }
  }
  if (!it->node) {
    rc = find(it, record, BT_FIND_ANY, false);
    if (rc < 0 && rc != BT_STATUS_NOT_FOUND) return rc;
  }
  btSeek leafSeek = it->node;
  uint32_t p = static_cast<uint32_t>(it->position);
  Item item;
  uint32_t at = p + 1;
  bool atFront = false;
  // Loaded once: the insert below starts on this very node.
  btBtreeNode leaf(def_);
  {
    rc = loadNode(&leaf, cf_, leafSeek);
    if (rc < 0) return rc;
    if (!leaf.leaf) return BT_STATUS_BAD_FIELD;
    if (p >= leaf.count) return BT_STATUS_KEY_VIOLATION;
    if (it->compare == 0 && def_->allowsDuplicates()) {
      btSeek head = leaf.childAt(p);
      place(it, leafSeek, p, head);
      return keys_->chainAdd(it, s);
    }
    const btIndexIterator::FoundKey& f = it->found;
    btKeySummary sum;
    if (f.key == record && f.node == leafSeek && f.position == p) {
      sum.hi = f.summaryHi;
      sum.lo = f.summaryLo;
    } else {
      sum = keys_->summaryOfKey(record);
    }
    item.child = item.separator = s;
    item.summary = sum;
    if (it->compare < 0 && p == 0) {
      // A new smallest key of this leaf: it takes child 0 and the old first
      // record moves into entry 1; an ancestor naming the leaf gets the key.
      rc = rewriteAncestor(leafSeek, leaf.parent, s, &sum, 0);
      if (rc < 0) return rc;
      btSeek old = leaf.childAt(0);
      btKeySummary oldSum;
      rc = keys_->summaryOfRecord(old, &oldSum);
      if (rc < 0) return rc;
      leaf.setChild(0, s);
      item.child = item.separator = old;
      item.summary = oldSum;
      atFront = true;
    } else if (it->compare < 0) {
      at = p;
    }
  }
  btSeek landedNode = 0;
  uint32_t landedPos = 0;
  rc = insertUpward(leafSeek, at, item, &landedNode, &landedPos, &leaf);
  if (rc < 0) return rc;
  if (atFront) {
    // Position 0 never moves in a split.
    place(it, leafSeek, 0, s);
  } else {
    place(it, landedNode, landedPos, s);
  }
  return 0;
}

int32_t btBtreeEngine::insertUpward(btSeek seek, uint32_t at, Item item, btSeek* landedNode,
                                    uint32_t* landedPosition, btBtreeNode* loaded) {
  bool leafLevel = true;
  for (int depth = 0;; depth++) {
    if (depth > kMaxHeight) return BT_STATUS_BAD_NODE;
    btBtreeNode local(def_);
    bool reuse = depth == 0 && loaded;
    btBtreeNode& n = reuse ? *loaded : local;
    int32_t rc = reuse ? 0 : loadNode(&local, cf_, seek);
    if (rc < 0) return rc;
    if (!n.isFull()) {
      rc = n.insertAt(at, item.child, item.separator, item.summary);
      if (rc < 0) return rc;
      if (leafLevel) {
        *landedNode = seek;
        *landedPosition = at;
      } else {
        rc = setParentOf(item.child, seek);
      }
      return rc;
    }
    SplitResult sr;
    rc = split(&n, at, item, &sr);
    if (rc < 0) return rc;
    if (leafLevel) {
      *landedNode = sr.landedNode;
      *landedPosition = sr.landedPosition;
    }
    leafLevel = false;
    if (n.parent == 0) {
      btBtreeNode root(def_);
      btSeek rootSeek = allocateNode(db_, cf_, &root, false, false, &rc);
      if (!rootSeek) return rc;
      if ((rc = root.insertAt(0, seek, 0, btKeySummary{})) < 0) return rc;
      if ((rc = root.insertAt(1, sr.right, sr.pushed.separator, sr.pushed.summary)) < 0) return rc;
      n.setParent(rootSeek);
      if ((rc = setParentOf(sr.right, rootSeek)) < 0) return rc;
      def_->setRoot(rootSeek);
      return 0;
    }
    btSeek parentSeek = n.parent;
    btBtreeNode parent(def_);
    if ((rc = loadNode(&parent, cf_, parentSeek)) < 0) return rc;
    int32_t q = parent.positionOfChild(seek);
    if (q < 0) return q;
    item = sr.pushed;
    item.child = sr.right;
    at = static_cast<uint32_t>(q) + 1;
    seek = parentSeek;
  }
}

int32_t btBtreeEngine::split(btBtreeNode* n, uint32_t at, const Item& item, SplitResult* out) {
  uint32_t cap = n->capacity();
  if (n->count != cap || cap < 3) return BT_STATUS_BAD_FIELD;
  uint32_t half = cap >> 1, rest = cap - half;
  int32_t rc = 0;
  btSeek ns;
  {
    btBtreeNode nw(def_);
    ns = allocateNode(db_, cf_, &nw, n->leaf != 0, n->compact != 0, &rc);
    if (!ns) return rc;
    nw.setParent(n->parent);
    if (n->leaf) {
      nw.setNext(n->next);
      nw.setPrevious(n->seek);
      if (n->next) {
        btBtreeNode following(def_);
        if ((rc = loadNode(&following, cf_, n->next)) < 0) return rc;
        following.setPrevious(ns);
      }
      n->setNext(ns);
      if (def_->lastNode == n->seek) def_->setLastNode(ns);
    }
    if (at == rest) {
      if ((rc = copyEntries(&nw, n, rest, 1, half)) < 0) return rc;
      nw.setChild(0, item.child);
      n->setCount(rest);
      out->pushed = item;
      out->landedNode = ns;
      out->landedPosition = 0;
    } else if (at < rest) {
      out->pushed.separator = n->separatorAt(half);
      out->pushed.summary = n->summaryAt(half);
      if ((rc = copyEntries(&nw, n, half, 0, rest)) < 0) return rc;
      n->setCount(half);
      if ((rc = n->insertAt(at, item.child, item.separator, item.summary)) < 0) return rc;
      out->landedNode = n->seek;
      out->landedPosition = at;
    } else {
      out->pushed.separator = n->separatorAt(rest);
      out->pushed.summary = n->summaryAt(rest);
      if ((rc = copyEntries(&nw, n, rest, 0, half)) < 0) return rc;
      n->setCount(rest);
      if ((rc = nw.insertAt(at - rest, item.child, item.separator, item.summary)) < 0) return rc;
      out->landedNode = ns;
      out->landedPosition = at - rest;
    }
    out->right = ns;
    if (!n->leaf) {
      std::vector<btSeek> moved;
      for (uint32_t p = 0; p < nw.count; p++) moved.push_back(nw.childAt(p));
      nw.releaseImage();
      for (btSeek c : moved) {
        if ((rc = setParentOf(c, ns)) < 0) return rc;
      }
      if (out->landedNode == n->seek && (rc = setParentOf(item.child, n->seek)) < 0) return rc;
    }
  }
  return 0;
}

// ---- Delete -----------------------------------------------------------------

int32_t btBtreeEngine::removeCurrent(btIndexIterator* it) {
  int32_t rc = ready();
  if (rc < 0) return rc;
  if (!it->node || !it->record) return BT_STATUS_NOT_FOUND;
  btSeek leafSeek = it->node;
  btSeek d = it->record;
  uint32_t p = static_cast<uint32_t>(it->position);
  bool dups = def_->allowsDuplicates();
  btSeek successor = 0;
  bool remembered = false;
  btSeek remSep = 0;
  btKeySummary remSum;
  {
    btBtreeNode leaf(def_);
    if ((rc = loadNode(&leaf, cf_, leafSeek)) < 0) return rc;
    if (!leaf.leaf) return BT_STATUS_BAD_FIELD;
    if (p >= leaf.count || (!dups && leaf.childAt(p) != d)) {
      // A stale position: look for the record in its leaf.
      int32_t found = -1;
      if (!dups) {
        for (uint32_t i = 0; i < leaf.count; i++) {
          if (leaf.childAt(i) == d) {
            found = static_cast<int32_t>(i);
            break;
          }
        }
      }
      if (found < 0) return BT_STATUS_NOT_FOUND;
      p = static_cast<uint32_t>(found);
    }
    if (dups) {
      btSeek head = leaf.childAt(p);
      it->chainHead = static_cast<int32_t>(head);
      btSeek newHead = 0;
      rc = keys_->unlinkDuplicate(it, d, false, &newHead);
      if (rc < 0) return rc;
      if (newHead) {
        if (head == d) {
          leaf.setChild(p, newHead);
          leaf.setSeparator(p, newHead);
          if (p == 0 && (rc = rewriteAncestor(leafSeek, leaf.parent, newHead, nullptr, d)) < 0)
            return rc;
        }
        it->node = leafSeek;
        it->position = p;
        return 0;
      }
    }
    if (p + 1u < leaf.count) {
      successor = leaf.childAt(p + 1);
    } else if (leaf.next) {
      btBtreeNode following(def_);
      if ((rc = loadNode(&following, cf_, leaf.next)) < 0) return rc;
      if (following.count) successor = following.childAt(0);
    }
    if (p == 0 && leaf.count > 1) {
      remembered = true;
      remSep = leaf.childAt(1);
      remSum = leaf.summaryAt(1);
    }
    if ((rc = leaf.removeAt(p)) < 0) return rc;
  }
  btSeek hint = leafSeek;
  rc = rebalance(leafSeek, remembered, remSep, remSum, &hint);
  if (rc < 0) return rc;
  if (!successor) {
    it->clearPosition();
    return 0;
  }
  return locate(it, successor, hint);
}

int32_t btBtreeEngine::rebalance(btSeek seek, bool remembered, btSeek remSep,
                                 btKeySummary remSum, btSeek* leafHint) {
  bool fixing = true;  // cleared once a redistribution settles the sizes
  bool leafLevel = true;
  for (int depth = 0;; depth++) {
    if (depth > kMaxHeight) return BT_STATUS_BAD_NODE;
    btBtreeNode n(def_);
    int32_t rc = loadNode(&n, cf_, seek);
    if (rc < 0) return rc;
    bool under = fixing && n.inUnderflow();
    if (n.parent == 0) return 0;
    if (!under && !remembered) return 0;
    btSeek parentSeek = n.parent;
    n.releaseImage();
    btBtreeNode parent(def_);
    if ((rc = loadNode(&parent, cf_, parentSeek)) < 0) return rc;
    int32_t q = parent.positionOfChild(seek);
    if (q < 0) return q;
    if (remembered && q > 0) {
      parent.setSeparator(static_cast<uint32_t>(q), remSep);
      parent.setSummary(static_cast<uint32_t>(q), remSum);
      remembered = false;
    }
    if (!under || parent.count < 2) {
      seek = parentSeek;
      leafLevel = false;
      continue;
    }
    uint32_t lp = q == 0 ? 0 : static_cast<uint32_t>(q) - 1;
    uint32_t rp = lp + 1;
    btBtreeNode left(def_), right(def_);
    if ((rc = loadNode(&left, cf_, parent.childAt(lp))) < 0) return rc;
    if ((rc = loadNode(&right, cf_, parent.childAt(rp))) < 0) return rc;
    if (left.count + right.count > left.capacity()) {
      if ((rc = redistribute(&left, &right, &parent, rp)) < 0) return rc;
      fixing = false;
    } else {
      btSeek leftSeek = left.seek;
      if ((rc = merge(&left, &right, &parent, rp)) < 0) return rc;
      if (leafLevel) *leafHint = leftSeek;
      if (parent.parent == 0 && parent.count == 1) {
        // The root keeps one child: that child becomes the root.
        left.setParent(0);
        def_->setRoot(leftSeek);
        left.releaseImage();
        parent.releaseImage();
        return freeBlock(db_, cf_, parentSeek);
      }
    }
    seek = parentSeek;
    leafLevel = false;
  }
}

int32_t btBtreeEngine::redistribute(btBtreeNode* left, btBtreeNode* right, btBtreeNode* parent,
                                    uint32_t rp) {
  uint32_t lc = left->count, rc = right->count;
  if ((lc > rc ? lc - rc : rc - lc) <= 1) return 0;
  btSeek pSep = parent->separatorAt(rp);
  btKeySummary pSum = parent->summaryAt(rp);
  if (right->isCompact()) pSep = right->childAt(0);
  btSeek newSep;
  btKeySummary newSum;
  std::vector<btSeek> moved;
  btSeek target = 0;
  int32_t st;
  if (rc > lc) {
    target = left->seek;
    uint32_t m = (rc - lc) / 2;
    if ((st = left->insertAt(lc, right->childAt(0), pSep, pSum)) < 0) return st;
    if (m > 1 && (st = copyEntries(left, right, 1, lc + 1, m - 1)) < 0) return st;
    newSep = right->separatorAt(m);
    newSum = right->summaryAt(m);
    if (!left->leaf)
      for (uint32_t i = 0; i < m; i++) moved.push_back(right->childAt(i));
    right->dropFront(m);
  } else {
    target = right->seek;
    uint32_t m = (lc - rc) / 2;
    newSep = left->separatorAt(lc - m);
    newSum = left->summaryAt(lc - m);
    if ((st = right->prependFrom(left, lc - m, m, pSep, pSum)) < 0) return st;
    if (!left->leaf)
      for (uint32_t i = 0; i < m; i++) moved.push_back(right->childAt(i));
    left->setCount(lc - m);
  }
  parent->setSeparator(rp, newSep);
  parent->setSummary(rp, newSum);
  for (btSeek c : moved) {
    if ((st = setParentOf(c, target)) < 0) return st;
  }
  return 0;
}

int32_t btBtreeEngine::merge(btBtreeNode* left, btBtreeNode* right, btBtreeNode* parent,
                             uint32_t rp) {
  uint32_t lc = left->count, rc = right->count;
  int32_t st;
  if (rc > 0) {
    btSeek pSep = right->isCompact() ? right->childAt(0) : parent->separatorAt(rp);
    if ((st = left->insertAt(lc, right->childAt(0), pSep, parent->summaryAt(rp))) < 0) return st;
    if (rc > 1 && (st = copyEntries(left, right, 1, lc + 1, rc - 1)) < 0) return st;
  }
  btSeek rightSeek = right->seek;
  if (left->leaf) {
    left->setNext(right->next);
    if (right->next) {
      btBtreeNode following(def_);
      if ((st = loadNode(&following, cf_, right->next)) < 0) return st;
      following.setPrevious(left->seek);
    }
    if (def_->lastNode == rightSeek) def_->setLastNode(left->seek);
  }
  right->releaseImage();
  if (!left->leaf) {
    for (uint32_t i = lc; i < left->count; i++) {
      if ((st = setParentOf(left->childAt(i), left->seek)) < 0) return st;
    }
  }
  if ((st = parent->removeAt(rp)) < 0) return st;
  return freeBlock(db_, cf_, rightSeek);
}

int32_t btBtreeEngine::locate(btIndexIterator* it, btSeek record, btSeek hint) {
  btSeek candidates[3] = {hint, 0, 0};
  {
    btBtreeNode n(def_);
    int32_t rc = loadNode(&n, cf_, hint);
    if (rc < 0) return rc;
    candidates[1] = n.next;
    candidates[2] = n.previous;
  }
  for (btSeek c : candidates) {
    if (!c) continue;
    btBtreeNode n(def_);
    int32_t rc = loadNode(&n, cf_, c);
    if (rc < 0) return rc;
    for (uint32_t p = 0; p < n.count; p++) {
      if (n.childAt(p) == record) {
        place(it, c, p, record);
        return 0;
      }
    }
  }
  it->clearPosition();
  return 0;
}

int32_t btBtreeEngine::unlinkDuplicate(btIndexIterator* it, btSeek seek) {
  int32_t rc = ready();
  if (rc < 0) return rc;
  if (!def_->allowsDuplicates()) return BT_STATUS_NOT_FOUND;
  it->record = seek;
  return removeCurrent(it);
}

int32_t btBtreeEngine::freeSubtree(btSeek seek, int depth) {
  if (depth > kMaxHeight) return BT_STATUS_BAD_NODE;
  std::vector<btSeek> children;
  {
    btBtreeNode n(def_);
    int32_t rc = loadNode(&n, cf_, seek);
    if (rc < 0) return rc;
    if (!n.leaf)
      for (uint32_t p = 0; p < n.count; p++) children.push_back(n.childAt(p));
  }
  for (btSeek c : children) {
    int32_t rc = freeSubtree(c, depth + 1);
    if (rc < 0) return rc;
  }
  return freeBlock(db_, cf_, seek);
}

int32_t btBtreeEngine::removeAll(btIndexIterator* it) {
  int32_t rc = ready();
  if (rc < 0) return rc;
  if (it) it->clearPosition();
  std::vector<btSeek> children;
  {
    btBtreeNode root(def_);
    if ((rc = loadNode(&root, cf_, def_->root)) < 0) return rc;
    if (!root.leaf)
      for (uint32_t p = 0; p < root.count; p++) children.push_back(root.childAt(p));
  }
  for (btSeek c : children) {
    if ((rc = freeSubtree(c, 1)) < 0) return rc;
  }
  btBtreeNode root(def_);
  if ((rc = loadNode(&root, cf_, def_->root)) < 0) return rc;
  root.format(true, true);
  def_->setFirstNode(def_->root);
  def_->setLastNode(def_->root);
  return 0;
}

// ---- Scans ------------------------------------------------------------------

int32_t btBtreeEngine::first(btIndexIterator* it) {
  int32_t rc = ready();
  if (rc < 0) return rc;
  btSeek seek = def_->firstNode ? def_->firstNode : def_->root;
  btBtreeNode n(def_);
  if ((rc = loadNode(&n, cf_, seek)) < 0) return rc;
  if (n.count == 0) {
    it->clearPosition();
    return BT_STATUS_NOT_FOUND;
  }
  place(it, seek, 0, n.childAt(0));
  return 0;
}

int32_t btBtreeEngine::last(btIndexIterator* it) {
  int32_t rc = ready();
  if (rc < 0) return rc;
  btSeek seek = def_->lastNode ? def_->lastNode : def_->root;
  btBtreeNode n(def_);
  if ((rc = loadNode(&n, cf_, seek)) < 0) return rc;
  if (n.count == 0) {
    it->clearPosition();
    return BT_STATUS_NOT_FOUND;
  }
  place(it, seek, n.count - 1u, n.childAt(n.count - 1u));
  if (def_->allowsDuplicates()) return keys_->chainTail(it);
  return 0;
}

int32_t btBtreeEngine::nextKey(btIndexIterator* it) {
  int32_t rc = ready();
  if (rc < 0) return rc;
  if (!it->node) return BT_STATUS_NOT_FOUND;
  btSeek seek = it->node;
  uint64_t p = it->position + 1;
  for (uint64_t hops = 0;; hops++) {
    btBtreeNode n(def_);
    if ((rc = loadNode(&n, cf_, seek)) < 0) {
      it->clearPosition();
      return rc;
    }
    if (!n.leaf) {
      it->clearPosition();
      return BT_STATUS_BAD_NODE;
    }
    if (p < n.count) {
      place(it, seek, static_cast<uint32_t>(p), n.childAt(static_cast<uint32_t>(p)));
      return 0;
    }
    // Empty leaves exist only as the root, so one hop normally suffices.
    if (!n.next || hops > kMaxHeight) {
      it->clearPosition();
      return BT_STATUS_NOT_FOUND;
    }
    seek = n.next;
    p = 0;
  }
}

int32_t btBtreeEngine::previousKey(btIndexIterator* it) {
  int32_t rc = ready();
  if (rc < 0) return rc;
  if (!it->node) return BT_STATUS_NOT_FOUND;
  btSeek seek = it->node;
  uint64_t p = it->position;
  for (uint64_t hops = 0;; hops++) {
    btBtreeNode n(def_);
    if ((rc = loadNode(&n, cf_, seek)) < 0) {
      it->clearPosition();
      return rc;
    }
    if (!n.leaf) {
      it->clearPosition();
      return BT_STATUS_BAD_NODE;
    }
    if (p > n.count) p = n.count;
    if (p > 0) {
      place(it, seek, static_cast<uint32_t>(p - 1), n.childAt(static_cast<uint32_t>(p - 1)));
      return 0;
    }
    if (!n.previous || hops > kMaxHeight) {
      it->clearPosition();
      return BT_STATUS_NOT_FOUND;
    }
    seek = n.previous;
    p = UINT64_MAX;
  }
}

int32_t btBtreeEngine::next(btIndexIterator* it) {
  if (!it->node) return BT_STATUS_NOT_FOUND;
  if (def_ && def_->allowsDuplicates() && it->chainHead > 0) {
    int32_t rc = keys_->chainNext(it);
    if (rc != BT_STATUS_NOT_FOUND) return rc;
  }
  return nextKey(it);
}

int32_t btBtreeEngine::previous(btIndexIterator* it) {
  if (!it->node) return BT_STATUS_NOT_FOUND;
  bool dups = def_ && def_->allowsDuplicates();
  if (dups && it->chainHead > 0) {
    int32_t rc = keys_->chainPrevious(it);
    if (rc != BT_STATUS_NOT_FOUND) return rc;
  }
  int32_t rc = previousKey(it);
  if (rc < 0 || !dups) return rc;
  return keys_->chainTail(it);
}

int32_t btBtreeEngine::seekAtLeast(btIndexIterator* it, const btStoredRecord* key) {
  int32_t rc = find(it, key, BT_FIND_ANY, false);
  if (rc < 0 && rc != BT_STATUS_NOT_FOUND) return rc;
  if (!it->node) return BT_STATUS_NOT_FOUND;
  int c = it->compare;
  while (c > 0) {
    if ((rc = nextKey(it)) < 0) return rc;
    if ((rc = keys_->compareWithRecord(key, it->record, &c)) < 0) return rc;
  }
  it->compare = c;
  return 0;
}

int32_t btBtreeEngine::seekAtMost(btIndexIterator* it, const btStoredRecord* key) {
  int32_t rc = find(it, key, BT_FIND_NONE, false);
  if (rc < 0 && rc != BT_STATUS_NOT_FOUND) return rc;
  if (!it->node) return BT_STATUS_NOT_FOUND;
  int c = it->compare;
  while (c < 0) {
    if ((rc = previousKey(it)) < 0) return rc;
    if ((rc = keys_->compareWithRecord(key, it->record, &c)) < 0) return rc;
  }
  it->compare = c;
  return 0;
}

int32_t btBtreeEngine::seekAbove(btIndexIterator* it, const btStoredRecord* key) {
  int32_t rc = find(it, key, BT_FIND_NONE, false);
  if (rc < 0 && rc != BT_STATUS_NOT_FOUND) return rc;
  if (!it->node) return BT_STATUS_NOT_FOUND;
  int c = it->compare;
  while (c >= 0) {
    if ((rc = nextKey(it)) < 0) return rc;
    if ((rc = keys_->compareWithRecord(key, it->record, &c)) < 0) return rc;
  }
  it->compare = c;
  return 0;
}

int32_t btBtreeEngine::seekBelow(btIndexIterator* it, const btStoredRecord* key) {
  int32_t rc = find(it, key, BT_FIND_ANY, false);
  if (rc < 0 && rc != BT_STATUS_NOT_FOUND) return rc;
  if (!it->node) return BT_STATUS_NOT_FOUND;
  int c = it->compare;
  while (c <= 0) {
    if ((rc = previousKey(it)) < 0) return rc;
    if ((rc = keys_->compareWithRecord(key, it->record, &c)) < 0) return rc;
  }
  it->compare = c;
  return 0;
}

int32_t btBtreeEngine::collectNeighbours(btIndexIterator* it, uint32_t* seeks, uint32_t* count,
                                         uint32_t maxCount) {
  int32_t rc = ready();
  if (rc < 0) return rc;
  if (!it->node || !it->record) return BT_STATUS_NOT_FOUND;
  uint32_t n = *count;
  if (n < maxCount) seeks[n++] = it->record;
  if (def_->allowsDuplicates()) {
    btIndexIterator walk(*it);
    while (n < maxCount && keys_->chainNext(&walk) == 0) seeks[n++] = walk.record;
  }
  btBtreeNode leaf(def_);
  if ((rc = loadNode(&leaf, cf_, it->node)) < 0) return rc;
  uint32_t p = static_cast<uint32_t>(it->position);
  for (uint32_t q = p + 1; q < leaf.count && n < maxCount; q++) seeks[n++] = leaf.childAt(q);
  for (uint32_t q = p < leaf.count ? p : leaf.count; q > 0 && n < maxCount; q--)
    seeks[n++] = leaf.childAt(q - 1);
  *count = n;
  return 0;
}

// ---- Structure check ----------------------------------------------------------

int32_t btBtreeEngine::checkNode(btSeek seek, btSeek parentSeek, int depth, btSeek* firstRecord,
                                 uint64_t* entries, uint32_t* height, btSeek* lastLeaf) {
  if (depth > kMaxHeight) return BT_STATUS_BAD_NODE;
  btBtreeNode n(def_);
  int32_t rc = loadNode(&n, cf_, seek);
  if (rc < 0) return rc;
  if (n.parent != parentSeek) return BT_STATUS_BAD_NODE;
  if (parentSeek && n.count == 0) return BT_STATUS_BAD_NODE;
  for (uint32_t p = 2; p < n.count; p++) {
    if (compareSummaries(n.summaryAt(p - 1), n.summaryAt(p)) > 0) return BT_STATUS_BAD_NODE;
  }
  if (n.leaf) {
    if (*height == 0) *height = static_cast<uint32_t>(depth) + 1;
    if (*height != static_cast<uint32_t>(depth) + 1) return BT_STATUS_BAD_NODE;
    if (n.previous != *lastLeaf) return BT_STATUS_BAD_NODE;
    if (*lastLeaf == 0 && def_->firstNode != seek) return BT_STATUS_BAD_NODE;
    *lastLeaf = seek;
    for (uint32_t p = 1; p < n.count; p++) {
      btKeySummary s;
      if ((rc = keys_->summaryOfRecord(n.childAt(p), &s)) < 0) return rc;
      if (!(s == n.summaryAt(p))) return BT_STATUS_BAD_NODE;
      if (!n.isCompact() && n.separatorAt(p) != n.childAt(p)) return BT_STATUS_BAD_NODE;
    }
    *entries += n.count;
    *firstRecord = n.childAt(0);
    return 0;
  }
  if (n.count < 2 && !parentSeek) return BT_STATUS_BAD_NODE;
  for (uint32_t p = 0; p < n.count; p++) {
    btSeek childFirst = 0;
    rc = checkNode(n.childAt(p), seek, depth + 1, &childFirst, entries, height, lastLeaf);
    if (rc < 0) return rc;
    if (p == 0) {
      *firstRecord = childFirst;
    } else {
      if (n.separatorAt(p) != childFirst) return BT_STATUS_BAD_NODE;
      btKeySummary s;
      if ((rc = keys_->summaryOfRecord(childFirst, &s)) < 0) return rc;
      if (!(s == n.summaryAt(p))) return BT_STATUS_BAD_NODE;
    }
  }
  return 0;
}

int32_t btBtreeEngine::checkTree(uint64_t* entries, uint32_t* height) {
  int32_t rc = ready();
  if (rc < 0) return rc;
  uint64_t count = 0;
  uint32_t h = 0;
  btSeek firstRecord = 0, lastLeaf = 0;
  rc = checkNode(def_->root, 0, 0, &firstRecord, &count, &h, &lastLeaf);
  if (rc < 0) return rc;
  if (def_->lastNode != lastLeaf) return BT_STATUS_BAD_NODE;
  {
    btBtreeNode n(def_);
    if ((rc = loadNode(&n, cf_, lastLeaf)) < 0) return rc;
    if (n.next != 0) return BT_STATUS_BAD_NODE;
  }
  if (entries) *entries = count;
  if (height) *height = h;
  return 0;
}
