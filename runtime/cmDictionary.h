// cmDictionary<K, V>: a hash map with chained buckets that owns copies of
// its keys and values.
//
// Keys hash and compare through cmElementTraits<K> unless user functions
// are set (setHashFunction, setCompareFunction); each node caches its hash,
// so a rehash never hashes a key again. A dictionary starts with no bucket
// array and gets 103 buckets on its first insertion; it grows to
// 4 * buckets + 1 when an insertion finds more than buckets / 2 collisions
// (nodes with a successor in their bucket) and more entries than buckets,
// unless automatic rehash was switched off. Out of memory is fatal (-102692)
// except in rehash, which then reports it and leaves the table as it was.
//
// Not thread-safe; owners lock.
#pragma once

#include <cstdint>
#include <cstring>
#include <utility>

#include "runtime/cmAlloc.h"
#include "runtime/cmCollection.h"
#include "runtime/cmElementTraits.h"
#include "runtime/cmErrors.h"
#include "runtime/cmFatal.h"

template <class K, class V>
class cmDictionary : public cmI_Dictionary<K, V> {
  struct Node;

 public:
  using Pair = cmKeyValuePair<K, V>;
  using HashFunction = uint64_t (*)(const K& key, void* context);
  // Returns 0 when the keys are equal.
  using CompareFunction = int (*)(const K& a, const K& b, void* context);

  static constexpr int64_t kInitialBuckets = 103;

  cmDictionary() = default;
  cmDictionary(const cmDictionary& other) : cmI_Dictionary<K, V>() { copyFrom(other); }
  cmDictionary(cmDictionary&& other) noexcept { swap(other); }
  cmDictionary& operator=(const cmDictionary& other) {
    if (this != &other) {
      cmDictionary copy(other);
      swap(copy);
    }
    return *this;
  }
  cmDictionary& operator=(cmDictionary&& other) noexcept {
    if (this != &other) {
      cmDictionary gone(std::move(other));
      swap(gone);
    }
    return *this;
  }
  ~cmDictionary() override {
    clear(true);
    if (hooks_) cmFree(hooks_);
  }

  void swap(cmDictionary& other) noexcept {
    std::swap(buckets_, other.buckets_);
    std::swap(bucketCount_, other.bucketCount_);
    std::swap(collisions_, other.collisions_);
    std::swap(count_, other.count_);
    std::swap(hooks_, other.hooks_);
  }

  // cmI_Dictionary
  V& add(const K& key, bool replace, bool* existed = nullptr, const V* value = nullptr) override {
    uint64_t h = hashOf(key);
    if (Node* node = findNode(key, h)) {
      if (existed) *existed = true;
      if (replace) {
        node->pair.key = key;
        if (value) node->pair.value = *value;
      }
      return node->pair.value;
    }
    if (existed) *existed = false;
    Node* node = value ? new Node(key, *value, h) : new Node(key, V(), h);
    link(node);
    return node->pair.value;
  }
  V* find(const K& key) override {
    Node* node = findNode(key, hashOf(key));
    return node ? &node->pair.value : nullptr;
  }
  const V* find(const K& key) const override {
    Node* node = findNode(key, hashOf(key));
    return node ? &node->pair.value : nullptr;
  }
  // The stored key equal to `key`, or null.
  const K* findKey(const K& key) const {
    Node* node = findNode(key, hashOf(key));
    return node ? &node->pair.key : nullptr;
  }
  bool remove(const K& key) override {
    if (!bucketCount_) return false;
    uint64_t h = hashOf(key);
    Node** slot = &buckets_[h % uint64_t(bucketCount_)];
    Node* head = *slot;
    for (Node* node = *slot; node; slot = &node->next, node = node->next) {
      if (node->hash == h && keysEqual(node->pair.key, key)) {
        if (node != head || node->next) collisions_--;
        *slot = node->next;
        delete node;
        count_--;
        return true;
      }
    }
    return false;
  }
  using cmI_Dictionary<K, V>::add;

  // cmI_Collection
  int64_t count() const override { return count_; }
  void add(const Pair& pair) override { add(pair.key, true, nullptr, &pair.value); }
  void clear(bool freeStorage) override {
    for (int64_t b = 0; b < bucketCount_; ++b) {
      Node* node = buckets_[b];
      while (node) {
        Node* next = node->next;
        delete node;
        node = next;
      }
      buckets_[b] = nullptr;
    }
    count_ = 0;
    collisions_ = 0;
    if (freeStorage && buckets_) {
      cmFree(buckets_);
      buckets_ = nullptr;
      bucketCount_ = 0;
    }
  }
  bool contains(const Pair& pair) const override {
    const V* value = find(pair.key);
    return value && cmElementTraits<V>::equal(*value, pair.value);
  }
  void copyTo(cmI_Collection<Pair>& target, bool clearFirst) const override {
    if (clearFirst) target.clear(false);
    for (int64_t b = 0; b < bucketCount_; ++b)
      for (Node* node = buckets_[b]; node; node = node->next) target.add(node->pair);
  }
  // Sizes the bucket array for `count` entries ahead of time.
  void reserve(int64_t count, bool) override {
    if (count > bucketCount_ && rehash(count | 1) != 0) cmFatalError(CM_ERR_OUT_OF_MEMORY, "cmDictionary");
  }

  class const_iterator : public cmIterator<Pair> {
   public:
    explicit const_iterator(const cmDictionary& d) : d_(&d) {}
    void reset() override {
      bucket_ = -1;
      node_ = nullptr;
    }
    bool moveNext() override {
      if (node_) node_ = node_->next;
      while (!node_ && bucket_ + 1 < d_->bucketCount_) node_ = d_->buckets_[++bucket_];
      if (!node_) bucket_ = d_->bucketCount_;
      return node_ != nullptr;
    }
    const Pair& current() const override { return node_->pair; }
    bool isValid() const override { return node_ != nullptr; }

   private:
    const cmDictionary* d_;
    int64_t bucket_ = -1;
    Node* node_ = nullptr;
  };
  std::unique_ptr<cmIterator<Pair>> iterator() const override {
    return std::unique_ptr<cmIterator<Pair>>(new const_iterator(*this));
  }

  // Calls fn(key, value) for every entry, in bucket order.
  template <class F>
  void forEach(F&& fn) const {
    for (int64_t b = 0; b < bucketCount_; ++b)
      for (Node* node = buckets_[b]; node; node = node->next) fn(node->pair.key, node->pair.value);
  }

  // Moves every node into `newBucketCount` buckets (0: 103 at first, then
  // 4 * buckets + 1). Returns 0, or -102692 with the table unchanged.
  int32_t rehash(int64_t newBucketCount = 0) {
    if (newBucketCount <= 0) newBucketCount = bucketCount_ ? 4 * bucketCount_ + 1 : kInitialBuckets;
    if (uint64_t(newBucketCount) > SIZE_MAX / sizeof(Node*)) return CM_ERR_OUT_OF_MEMORY;
    auto** fresh = static_cast<Node**>(cmAlloc(size_t(newBucketCount) * sizeof(Node*)));
    if (!fresh) return CM_ERR_OUT_OF_MEMORY;
    std::memset(static_cast<void*>(fresh), 0, size_t(newBucketCount) * sizeof(Node*));
    int64_t collisions = 0;
    for (int64_t b = 0; b < bucketCount_; ++b) {
      Node* node = buckets_[b];
      while (node) {
        Node* next = node->next;
        Node*& head = fresh[node->hash % uint64_t(newBucketCount)];
        if (head) collisions++;
        node->next = head;
        head = node;
        node = next;
      }
    }
    if (buckets_) cmFree(buckets_);
    buckets_ = fresh;
    bucketCount_ = newBucketCount;
    collisions_ = collisions;
    return 0;
  }

  // Sets the bucket count; with autoRehash off the table keeps it however
  // full it gets.
  int32_t setBucketCount(int64_t buckets, bool autoRehash) {
    if (!autoRehash || hooks_) hooks().autoRehash = autoRehash;
    return rehash(buckets);
  }
  void setHashFunction(HashFunction fn, void* context) {
    hooks().hash = fn;
    hooks().hashContext = context;
  }
  void setCompareFunction(CompareFunction fn, void* context) {
    hooks().compare = fn;
    hooks().compareContext = context;
  }

  int64_t bucketCount() const { return bucketCount_; }
  int64_t collisions() const { return collisions_; }

 private:
  struct Node : cmMemory {
    Node(const K& k, const V& v, uint64_t h) : pair(k, v), hash(h) {}
    Pair pair;
    Node* next = nullptr;
    uint64_t hash;
  };
  struct Hooks {
    HashFunction hash;
    void* hashContext;
    CompareFunction compare;
    void* compareContext;
    bool autoRehash;
  };

  Hooks& hooks() {
    if (!hooks_) {
      hooks_ = static_cast<Hooks*>(cmAlloc(sizeof(Hooks)));
      if (!hooks_) cmFatalError(CM_ERR_OUT_OF_MEMORY, "cmDictionary");
      *hooks_ = Hooks{nullptr, nullptr, nullptr, nullptr, true};
    }
    return *hooks_;
  }

  uint64_t hashOf(const K& key) const {
    if (hooks_ && hooks_->hash) return hooks_->hash(key, hooks_->hashContext);
    return cmElementTraits<K>::hash(key);
  }
  bool keysEqual(const K& a, const K& b) const {
    if (hooks_ && hooks_->compare) return hooks_->compare(a, b, hooks_->compareContext) == 0;
    return cmElementTraits<K>::equal(a, b);
  }

  Node* findNode(const K& key, uint64_t h) const {
    if (!bucketCount_) return nullptr;
    for (Node* node = buckets_[h % uint64_t(bucketCount_)]; node; node = node->next)
      if (node->hash == h && keysEqual(node->pair.key, key)) return node;
    return nullptr;
  }

  void link(Node* node) {
    bool autoRehash = !hooks_ || hooks_->autoRehash;
    if (bucketCount_ == 0) {
      if (rehash() != 0) cmFatalError(CM_ERR_OUT_OF_MEMORY, "cmDictionary");
    } else if (autoRehash && collisions_ > bucketCount_ / 2 && count_ > bucketCount_) {
      rehash();  // a failed growth only costs speed
    }
    Node*& head = buckets_[node->hash % uint64_t(bucketCount_)];
    if (head) collisions_++;
    node->next = head;
    head = node;
    count_++;
  }

  void copyFrom(const cmDictionary& other) {
    if (other.hooks_) {
      hooks() = *other.hooks_;
    }
    if (!other.bucketCount_) return;
    if (rehash(other.bucketCount_) != 0) cmFatalError(CM_ERR_OUT_OF_MEMORY, "cmDictionary");
    for (int64_t b = 0; b < other.bucketCount_; ++b) {
      Node** tail = &buckets_[b];
      for (Node* node = other.buckets_[b]; node; node = node->next) {
        *tail = new Node(node->pair.key, node->pair.value, node->hash);
        tail = &(*tail)->next;
      }
    }
    count_ = other.count_;
    collisions_ = other.collisions_;
  }

  Node** buckets_ = nullptr;
  int64_t bucketCount_ = 0;
  int64_t collisions_ = 0;
  int64_t count_ = 0;
  Hooks* hooks_ = nullptr;
};
