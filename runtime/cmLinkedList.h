// cmLinkedList<E> (doubly linked) and cmLinkedListS<E> (singly linked, one
// pointer per node, for pools and block lists): lists that own copies of
// their elements and implement cmI_Collection. add() appends. Nodes come
// from the allocator through cmMemory. Not thread-safe; owners lock.
#pragma once

#include <cstdint>
#include <utility>

#include "runtime/cmCollection.h"
#include "runtime/cmElementTraits.h"

// What both lists do by walking `next` from the head.
namespace cmLinkedListWalk {

template <class E, class Node>
bool contains(const Node* head, const E& v) {
  for (const Node* n = head; n; n = n->next)
    if (cmElementTraits<E>::equal(n->value, v)) return true;
  return false;
}

template <class E, class Node>
void copyTo(const Node* head, cmI_Collection<E>& target, bool clearFirst) {
  if (clearFirst) target.clear(false);
  for (const Node* n = head; n; n = n->next) target.add(n->value);
}

// Reads the list's head at the first moveNext, so that it sees the list as
// it is when the walk starts.
template <class E, class Node>
class Iterator : public cmIterator<E> {
 public:
  explicit Iterator(Node* const* head) : head_(head) {}
  void reset() override {
    node_ = nullptr;
    started_ = false;
  }
  bool moveNext() override {
    node_ = started_ ? (node_ ? node_->next : nullptr) : *head_;
    started_ = true;
    return node_ != nullptr;
  }
  const E& current() const override { return node_->value; }
  bool isValid() const override { return node_ != nullptr; }

 private:
  Node* const* head_;
  Node* node_ = nullptr;
  bool started_ = false;
};

}  // namespace cmLinkedListWalk

template <class E>
class cmLinkedList : public cmI_Collection<E> {
  struct Node : cmMemory {
    explicit Node(const E& v) : value(v) {}
    E value;
    Node* next = nullptr;
    Node* previous = nullptr;
  };

 public:
  cmLinkedList() = default;
  cmLinkedList(const cmLinkedList& other) : cmI_Collection<E>() {
    for (Node* n = other.head_; n; n = n->next) addLast(n->value);
  }
  cmLinkedList& operator=(const cmLinkedList& other) {
    if (this != &other) {
      clear(true);
      for (Node* n = other.head_; n; n = n->next) addLast(n->value);
    }
    return *this;
  }
  ~cmLinkedList() override { clear(true); }

  void addFirst(const E& v) {
    Node* n = new Node(v);
    n->next = head_;
    if (head_)
      head_->previous = n;
    else
      tail_ = n;
    head_ = n;
    count_++;
  }
  void addLast(const E& v) {
    Node* n = new Node(v);
    n->previous = tail_;
    if (tail_)
      tail_->next = n;
    else
      head_ = n;
    tail_ = n;
    count_++;
  }
  bool removeFirst(E* out = nullptr) { return head_ ? (unlink(head_, out), true) : false; }
  bool removeLast(E* out = nullptr) { return tail_ ? (unlink(tail_, out), true) : false; }
  // Removes the first element equal to `v`.
  bool remove(const E& v) {
    for (Node* n = head_; n; n = n->next)
      if (cmElementTraits<E>::equal(n->value, v)) {
        unlink(n, nullptr);
        return true;
      }
    return false;
  }
  E* first() { return head_ ? &head_->value : nullptr; }
  E* last() { return tail_ ? &tail_->value : nullptr; }

  int64_t count() const override { return count_; }
  void add(const E& v) override { addLast(v); }
  void clear(bool) override {
    while (head_) unlink(head_, nullptr);
  }
  bool contains(const E& v) const override { return cmLinkedListWalk::contains(head_, v); }
  void copyTo(cmI_Collection<E>& target, bool clearFirst) const override {
    cmLinkedListWalk::copyTo(head_, target, clearFirst);
  }
  void reserve(int64_t, bool) override {}

  class const_iterator : public cmLinkedListWalk::Iterator<E, Node> {
   public:
    explicit const_iterator(const cmLinkedList& list) : cmLinkedListWalk::Iterator<E, Node>(&list.head_) {}
  };
  std::unique_ptr<cmIterator<E>> iterator() const override {
    return std::unique_ptr<cmIterator<E>>(new const_iterator(*this));
  }

 private:
  void unlink(Node* n, E* out) {
    if (out) *out = std::move(n->value);
    if (n->previous)
      n->previous->next = n->next;
    else
      head_ = n->next;
    if (n->next)
      n->next->previous = n->previous;
    else
      tail_ = n->previous;
    delete n;
    count_--;
  }

  Node* head_ = nullptr;
  Node* tail_ = nullptr;
  int64_t count_ = 0;
};

template <class E>
class cmLinkedListS : public cmI_Collection<E> {
  struct Node : cmMemory {
    explicit Node(const E& v) : value(v) {}
    E value;
    Node* next = nullptr;
  };

 public:
  cmLinkedListS() = default;
  cmLinkedListS(const cmLinkedListS& other) : cmI_Collection<E>() { copyFrom(other); }
  cmLinkedListS& operator=(const cmLinkedListS& other) {
    if (this != &other) {
      clear(true);
      copyFrom(other);
    }
    return *this;
  }
  ~cmLinkedListS() override { clear(true); }

  void addFirst(const E& v) {
    Node* n = new Node(v);
    n->next = head_;
    head_ = n;
    count_++;
  }
  bool removeFirst(E* out = nullptr) {
    if (!head_) return false;
    Node* n = head_;
    if (out) *out = std::move(n->value);
    head_ = n->next;
    delete n;
    count_--;
    return true;
  }
  E* first() { return head_ ? &head_->value : nullptr; }

  int64_t count() const override { return count_; }
  // Prepends: a singly linked list grows at its head.
  void add(const E& v) override { addFirst(v); }
  void clear(bool) override {
    while (removeFirst()) {
    }
  }
  bool contains(const E& v) const override { return cmLinkedListWalk::contains(head_, v); }
  void copyTo(cmI_Collection<E>& target, bool clearFirst) const override {
    cmLinkedListWalk::copyTo(head_, target, clearFirst);
  }
  void reserve(int64_t, bool) override {}

  class const_iterator : public cmLinkedListWalk::Iterator<E, Node> {
   public:
    explicit const_iterator(const cmLinkedListS& list) : cmLinkedListWalk::Iterator<E, Node>(&list.head_) {}
  };
  std::unique_ptr<cmIterator<E>> iterator() const override {
    return std::unique_ptr<cmIterator<E>>(new const_iterator(*this));
  }

 private:
  void copyFrom(const cmLinkedListS& other) {
    Node** tail = &head_;
    for (Node* n = other.head_; n; n = n->next) {
      *tail = new Node(n->value);
      tail = &(*tail)->next;
      count_++;
    }
  }

  Node* head_ = nullptr;
  int64_t count_ = 0;
};
