// cmSortedDictionary<K, V>: an ordered map, a red-black tree that owns
// copies of its keys and values. Keys are ordered by a user compare
// function when one is given, else by cmElementTraits<K>::compare. Setting
// a key that is present replaces the stored key and value in place.
// Iteration is in ascending key order. No operation recurses; the tree's
// height is at most twice the logarithm of its size.
//
// Not thread-safe; owners lock.
#pragma once

#include <cstdint>
#include <utility>

#include "runtime/cmCollection.h"
#include "runtime/cmElementTraits.h"

template <class K, class V>
class cmSortedDictionary : public cmI_Dictionary<K, V> {
  struct Node;

 public:
  using Pair = cmKeyValuePair<K, V>;
  // Negative, zero or positive as a orders before, with or after b.
  using CompareFunction = int (*)(const K& a, const K& b, void* context);

  cmSortedDictionary() = default;
  cmSortedDictionary(CompareFunction compare, void* context) : compare_(compare), context_(context) {}
  cmSortedDictionary(const cmSortedDictionary& other)
      : cmI_Dictionary<K, V>(), compare_(other.compare_), context_(other.context_) {
    for (Node* n = other.minimum(other.root_); n; n = successor(n)) add(n->pair.key, true, nullptr, &n->pair.value);
  }
  cmSortedDictionary(cmSortedDictionary&& other) noexcept { swap(other); }
  cmSortedDictionary& operator=(const cmSortedDictionary& other) {
    if (this != &other) {
      cmSortedDictionary copy(other);
      swap(copy);
    }
    return *this;
  }
  cmSortedDictionary& operator=(cmSortedDictionary&& other) noexcept {
    if (this != &other) {
      cmSortedDictionary gone(std::move(other));
      swap(gone);
    }
    return *this;
  }
  ~cmSortedDictionary() override { clear(true); }

  void swap(cmSortedDictionary& other) noexcept {
    std::swap(root_, other.root_);
    std::swap(count_, other.count_);
    std::swap(compare_, other.compare_);
    std::swap(context_, other.context_);
  }

  // Inserts or replaces; returns the value slot.
  V& set(const K& key, const V& value) { return add(key, true, nullptr, &value); }

  V& add(const K& key, bool replace, bool* existed = nullptr, const V* value = nullptr) override {
    Node* parent = nullptr;
    Node** link = &root_;
    while (*link) {
      int c = compareKeys(key, (*link)->pair.key);
      if (c == 0) {
        Node* found = *link;
        if (existed) *existed = true;
        if (replace) {
          found->pair.key = key;
          if (value) found->pair.value = *value;
        }
        return found->pair.value;
      }
      parent = *link;
      link = c < 0 ? &parent->link[kLeft] : &parent->link[kRight];
    }
    if (existed) *existed = false;
    Node* node = value ? new Node(key, *value) : new Node(key, V());
    node->parent = parent;
    *link = node;
    insertFixup(node);
    count_++;
    return node->pair.value;
  }
  V* find(const K& key) override {
    Node* n = findNode(key);
    return n ? &n->pair.value : nullptr;
  }
  const V* find(const K& key) const override {
    Node* n = findNode(key);
    return n ? &n->pair.value : nullptr;
  }
  const K* findKey(const K& key) const {
    Node* n = findNode(key);
    return n ? &n->pair.key : nullptr;
  }
  bool remove(const K& key) override {
    Node* n = findNode(key);
    if (!n) return false;
    erase(n);
    return true;
  }
  using cmI_Dictionary<K, V>::add;

  // First and last entries in key order, or null when empty.
  const Pair* first() const { return root_ ? &minimum(root_)->pair : nullptr; }
  const Pair* last() const {
    Node* n = root_;
    while (n && n->link[kRight]) n = n->link[kRight];
    return n ? &n->pair : nullptr;
  }
  // The first entry whose key is not below `key`, or null.
  const Pair* lowerBound(const K& key) const {
    Node* n = lowerBoundNode(key);
    return n ? &n->pair : nullptr;
  }

  // cmI_Collection
  int64_t count() const override { return count_; }
  void add(const Pair& pair) override { add(pair.key, true, nullptr, &pair.value); }
  void clear(bool) override {
    // Post-order without a stack: climb back through the parent links.
    Node* n = root_;
    while (n) {
      if (n->link[kLeft]) {
        Node* next = n->link[kLeft];
        n->link[kLeft] = nullptr;
        n = next;
      } else if (n->link[kRight]) {
        Node* next = n->link[kRight];
        n->link[kRight] = nullptr;
        n = next;
      } else {
        Node* up = n->parent;
        delete n;
        n = up;
      }
    }
    root_ = nullptr;
    count_ = 0;
  }
  bool contains(const Pair& pair) const override {
    const V* value = find(pair.key);
    return value && cmElementTraits<V>::equal(*value, pair.value);
  }
  void copyTo(cmI_Collection<Pair>& target, bool clearFirst) const override {
    if (clearFirst) target.clear(false);
    for (Node* n = minimum(root_); n; n = successor(n)) target.add(n->pair);
  }
  void reserve(int64_t, bool) override {}

  class const_iterator : public cmIterator<Pair> {
   public:
    explicit const_iterator(const cmSortedDictionary& d) : d_(&d) {}
    // Starts so that the first moveNext() lands on the first key not below
    // `from`.
    const_iterator(const cmSortedDictionary& d, const K& from) : d_(&d) {
      start_ = d.lowerBoundNode(from);
      seeked_ = true;
    }
    void reset() override {
      node_ = nullptr;
      started_ = false;
      seeked_ = false;
    }
    bool moveNext() override {
      if (!started_) {
        node_ = seeked_ ? start_ : minimum(d_->root_);
        started_ = true;
      } else if (node_) {
        node_ = successor(node_);
      }
      return node_ != nullptr;
    }
    const Pair& current() const override { return node_->pair; }
    bool isValid() const override { return node_ != nullptr; }

   private:
    const cmSortedDictionary* d_;
    Node* node_ = nullptr;
    Node* start_ = nullptr;
    bool started_ = false;
    bool seeked_ = false;
  };
  std::unique_ptr<cmIterator<Pair>> iterator() const override {
    return std::unique_ptr<cmIterator<Pair>>(new const_iterator(*this));
  }

  // Calls fn(key, value) for every entry in key order.
  template <class F>
  void forEach(F&& fn) const {
    for (Node* n = minimum(root_); n; n = successor(n)) fn(n->pair.key, n->pair.value);
  }

  // Checks the red-black rules and the order; returns the black height, or
  // -1 when the tree is broken. For tests.
  int verify() const {
    if (root_ && (root_->colour == kRed || root_->parent)) return -1;
    int height = -1;
    int64_t seen = 0;
    for (Node* n = minimum(root_); n; n = successor(n)) {
      seen++;
      Node* next = successor(n);
      if (next && compareKeys(n->pair.key, next->pair.key) >= 0) return -1;
      if (n->colour == kRed && (isRed(n->link[kLeft]) || isRed(n->link[kRight]))) return -1;
      if (n->link[kLeft] && n->link[kLeft]->parent != n) return -1;
      if (n->link[kRight] && n->link[kRight]->parent != n) return -1;
      if (!n->link[kLeft] || !n->link[kRight]) {
        // Every path to a missing child must carry the same black count.
        int blacks = 0;
        for (Node* up = n; up; up = up->parent) blacks += up->colour == kBlack;
        if (height < 0) height = blacks;
        if (blacks != height) return -1;
      }
    }
    if (seen != count_) return -1;
    return height < 0 ? 0 : height;
  }

 private:
  static constexpr uint32_t kBlack = 0, kRed = 1;
  static constexpr int kLeft = 0, kRight = 1;

  struct Node : cmMemory {
    Node(const K& k, const V& v) : pair(k, v) {}
    Pair pair;
    uint32_t colour = kRed;
    Node* link[2] = {nullptr, nullptr};  // kLeft, kRight
    Node* parent = nullptr;
  };

  static bool isRed(const Node* n) { return n && n->colour == kRed; }
  static bool isBlack(const Node* n) { return !isRed(n); }

  int compareKeys(const K& a, const K& b) const {
    if (compare_) return compare_(a, b, context_);
    return cmElementTraits<K>::compare(a, b);
  }

  Node* findNode(const K& key) const {
    Node* n = root_;
    while (n) {
      int c = compareKeys(key, n->pair.key);
      if (c == 0) return n;
      n = c < 0 ? n->link[kLeft] : n->link[kRight];
    }
    return nullptr;
  }
  Node* lowerBoundNode(const K& key) const {
    Node* n = root_;
    Node* best = nullptr;
    while (n) {
      if (compareKeys(n->pair.key, key) >= 0) {
        best = n;
        n = n->link[kLeft];
      } else {
        n = n->link[kRight];
      }
    }
    return best;
  }

  static Node* minimum(Node* n) {
    while (n && n->link[kLeft]) n = n->link[kLeft];
    return n;
  }
  static Node* successor(Node* n) {
    if (n->link[kRight]) return minimum(n->link[kRight]);
    Node* up = n->parent;
    while (up && n == up->link[kRight]) {
      n = up;
      up = up->parent;
    }
    return up;
  }

  // Turns x's child on side !d up into x's place; x goes down on side d.
  // d == kLeft is the usual left rotation.
  void rotate(Node* x, int d) {
    Node* y = x->link[!d];
    x->link[!d] = y->link[d];
    if (y->link[d]) y->link[d]->parent = x;
    y->parent = x->parent;
    if (!x->parent)
      root_ = y;
    else
      x->parent->link[x == x->parent->link[kRight]] = y;
    y->link[d] = x;
    x->parent = y;
  }

  // Both mirror cases at once: d is the side of p under g.
  void insertFixup(Node* z) {
    while (isRed(z->parent)) {
      Node* p = z->parent;
      Node* g = p->parent;  // exists: a red node is never the root
      int d = p == g->link[kRight];
      Node* uncle = g->link[!d];
      if (isRed(uncle)) {
        p->colour = kBlack;
        uncle->colour = kBlack;
        g->colour = kRed;
        z = g;
      } else {
        if (z == p->link[!d]) {
          z = p;
          rotate(z, d);
          p = z->parent;
        }
        p->colour = kBlack;
        g->colour = kRed;
        rotate(g, !d);
      }
    }
    root_->colour = kBlack;
  }

  void transplant(Node* u, Node* v) {
    if (!u->parent)
      root_ = v;
    else if (u == u->parent->link[kLeft])
      u->parent->link[kLeft] = v;
    else
      u->parent->link[kRight] = v;
    if (v) v->parent = u->parent;
  }

  void erase(Node* z) {
    Node* x;
    Node* xParent;
    uint32_t removedColour = z->colour;
    if (!z->link[kLeft]) {
      x = z->link[kRight];
      xParent = z->parent;
      transplant(z, z->link[kRight]);
    } else if (!z->link[kRight]) {
      x = z->link[kLeft];
      xParent = z->parent;
      transplant(z, z->link[kLeft]);
    } else {
      Node* y = minimum(z->link[kRight]);
      removedColour = y->colour;
      x = y->link[kRight];
      if (y->parent == z) {
        xParent = y;
      } else {
        xParent = y->parent;
        transplant(y, y->link[kRight]);
        y->link[kRight] = z->link[kRight];
        y->link[kRight]->parent = y;
      }
      transplant(z, y);
      y->link[kLeft] = z->link[kLeft];
      y->link[kLeft]->parent = y;
      y->colour = z->colour;
    }
    delete z;
    count_--;
    if (removedColour == kBlack) eraseFixup(x, xParent);
  }

  // d is the side of x under its parent; w is x's sibling.
  void eraseFixup(Node* x, Node* parent) {
    while (x != root_ && isBlack(x)) {
      int d = x != parent->link[kLeft];
      Node* w = parent->link[!d];
      if (isRed(w)) {
        w->colour = kBlack;
        parent->colour = kRed;
        rotate(parent, d);
        w = parent->link[!d];
      }
      if (isBlack(w->link[kLeft]) && isBlack(w->link[kRight])) {
        w->colour = kRed;
        x = parent;
        parent = x->parent;
      } else {
        if (isBlack(w->link[!d])) {
          w->link[d]->colour = kBlack;
          w->colour = kRed;
          rotate(w, !d);
          w = parent->link[!d];
        }
        w->colour = parent->colour;
        parent->colour = kBlack;
        if (w->link[!d]) w->link[!d]->colour = kBlack;
        rotate(parent, d);
        x = root_;
        parent = nullptr;
      }
    }
    if (x) x->colour = kBlack;
  }

  Node* root_ = nullptr;
  int64_t count_ = 0;
  CompareFunction compare_ = nullptr;
  void* context_ = nullptr;
};
