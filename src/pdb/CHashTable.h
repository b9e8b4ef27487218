#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/AnsiCodePage.h"
#include "base/TaggedValue.h"

namespace pylon {

// The map behind the sync index: text to value, by chains of nodes that hang from buckets.
//
// The hash of a key is the exclusive-or of its ANSI bytes taken as 32-bit words, least significant
// byte first; its bucket is the remainder of the hash by the number of buckets. That hash is fixed,
// and it is weak: digits vary in four bits of a byte, so with 1,024 buckets numbers as text reach
// 64 of them. Buckets therefore grow, to primes that spread such hashes, when a chain of different
// hashes gets long, and not only when entries outnumber them. Keys whose words are the same in
// another order share one hash and stay in one chain, as do all that repeat their words: a table of
// nothing but such keys is a list.
//
// Every member that takes a key raises error 1001, "Invalid key", for an empty one.
class CHashTable {
 public:
  static constexpr int32_t kHashSize = 1024;
  static constexpr int32_t kListSize = 2048;
  static constexpr int32_t kChunk = 1024;

  // The code page outlives the table.
  explicit CHashTable(const AnsiCodePage& code_page = AnsiCodePage::Windows1252());

  bool IgnoreCase() const { return ignore_case_; }
  // These two raise error 1002, "The Hash Table isn't empty", on a table that holds entries.
  void SetIgnoreCase(bool value);
  // The buckets to begin with, the nodes to begin with and to add when they are used up. The table
  // never has fewer buckets. Sizes below 1 (0 nodes to begin with are fine) raise error 5.
  void SetSize(int32_t hashSize, int32_t listSize, int32_t chunk);

  bool Exists(std::u16string_view key) const { return Find(key, HashOf(key)) != kNone; }
  // Both replace the value of a key that is there.
  void Add(std::u16string_view key, TaggedValue value);
  void SetItem(std::u16string_view key, TaggedValue value) { Add(key, std::move(value)); }
  const TaggedValue& Item(std::u16string_view key) const;  // the empty value for an unknown key
  bool Remove(std::u16string_view key);                    // false for an unknown key
  void RemoveAll();                                        // gives back the memory that it grew to
  int32_t Count() const { return used_; }
  // In the same order: that of adding, except for nodes that a removal set free. The keys live
  // until the next change.
  std::vector<std::u16string_view> Keys() const;
  std::vector<TaggedValue> Values() const;

  int32_t HashOf(std::u16string_view key) const;

  // How the entries are spread, for measuring.
  struct Shape {
    int32_t buckets = 0;
    int32_t longest_chain = 0;
    double mean_steps = 0;  // nodes looked at to find an entry
  };
  Shape Measure() const;

 private:
  static constexpr int32_t kNone = 0;  // nodes count from 1

  struct Node {
    std::u16string key;  // empty: the node is free
    TaggedValue value;
    int32_t hash = 0;
    int32_t next = kNone;  // in the chain, or in the list of free nodes
  };

  Node& At(int32_t node) { return nodes_[static_cast<size_t>(node) - 1]; }
  const Node& At(int32_t node) const { return nodes_[static_cast<size_t>(node) - 1]; }
  size_t BucketOf(int32_t hash) const;
  bool Matches(const Node& node, std::u16string_view key, int32_t hash) const;
  int32_t Find(std::u16string_view key, int32_t hash) const;
  int32_t TakeNode();
  void AddNodes(size_t count);
  bool IsCrowded(int32_t hash) const;
  void GrowBuckets();

  const AnsiCodePage* code_page_;
  bool ignore_case_ = false;
  int32_t hash_size_ = kHashSize;
  int32_t list_size_ = kListSize;
  int32_t chunk_ = kChunk;
  std::vector<int32_t> buckets_;  // first node of each chain
  std::vector<Node> nodes_;
  int32_t free_ = kNone;  // first of the free nodes
  int32_t used_ = 0;
};

}  // namespace pylon
