#include "pdb/CHashTable.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "base/AutomationError.h"
#include "base/Text.h"

namespace pylon {
namespace {

// A chain of so many other hashes makes the buckets grow, up to so many for each entry: beyond
// that, more of them would not help either.
constexpr int32_t kLongChain = 8;
constexpr size_t kMaxBucketsPerEntry = 4;

// Primes half-way between powers of two. Close to a power of two, as 65,537 is, the remainder adds
// and subtracts the bytes of the hash, and those of digits meet in few sums.
constexpr size_t kPrimes[] = {1543,    3079,     6151,     12289,    24593,    49157,
                              98317,   196613,   393241,   786433,   1572869,  3145739,
                              6291469, 12582917, 25165843, 50331653, 100663319};

}  // namespace

CHashTable::CHashTable(const AnsiCodePage& code_page) : code_page_(&code_page) {
  SetSize(kHashSize, kListSize, kChunk);
}

void CHashTable::SetIgnoreCase(bool value) {
  if (used_ > 0) throw AutomationError(ErrorNumber::kNotEmpty, u"The Hash Table isn't empty");
  ignore_case_ = value;
}

void CHashTable::SetSize(int32_t hashSize, int32_t listSize, int32_t chunk) {
  if (used_ > 0) throw AutomationError(ErrorNumber::kNotEmpty, u"The Hash Table isn't empty");
  if (hashSize < 1 || listSize < 0 || chunk < 1) throw InvalidArgument();
  hash_size_ = hashSize;
  list_size_ = listSize;
  chunk_ = chunk;
  RemoveAll();
}

void CHashTable::RemoveAll() {
  buckets_ = std::vector<int32_t>(static_cast<size_t>(hash_size_), kNone);
  nodes_ = std::vector<Node>();
  free_ = kNone;
  used_ = 0;
}

int32_t CHashTable::HashOf(std::u16string_view key) const {
  uint32_t hash = 0;
  for (size_t i = 0; i < key.size(); ++i) {
    const char16_t c = ignore_case_ ? ToUpper(key[i]) : key[i];
    hash ^= uint32_t{code_page_->Encode(c)} << 8 * (i % 4);
  }
  return static_cast<int32_t>(hash);
}

// In 64 bits no divisor overflows, and the absolute value of the remainder is one that exists.
size_t CHashTable::BucketOf(int32_t hash) const {
  return static_cast<size_t>(std::abs(int64_t{hash} % static_cast<int64_t>(buckets_.size())));
}

bool CHashTable::Matches(const Node& node, std::u16string_view key, int32_t hash) const {
  if (node.hash != hash || node.key.size() != key.size()) return false;
  if (!ignore_case_) return node.key == key;
  return std::ranges::equal(node.key, key,
                            [](char16_t a, char16_t b) { return ToUpper(a) == ToUpper(b); });
}

int32_t CHashTable::Find(std::u16string_view key, int32_t hash) const {
  if (key.empty()) throw AutomationError(ErrorNumber::kInvalidKey, u"Invalid key");
  int32_t node = buckets_[BucketOf(hash)];
  while (node != kNone && !Matches(At(node), key, hash)) node = At(node).next;
  return node;
}

void CHashTable::Add(std::u16string_view key, TaggedValue value) {
  const int32_t hash = HashOf(key);
  int32_t node = Find(key, hash);
  if (node == kNone) {
    std::u16string own_key(key);
    if (IsCrowded(hash)) GrowBuckets();
    node = TakeNode();
    int32_t& first = buckets_[BucketOf(hash)];
    At(node).key = std::move(own_key);
    At(node).hash = hash;
    At(node).next = std::exchange(first, node);
    ++used_;
  }
  At(node).value = std::move(value);
}

const TaggedValue& CHashTable::Item(std::u16string_view key) const {
  static const TaggedValue kEmpty;
  const int32_t node = Find(key, HashOf(key));
  return node == kNone ? kEmpty : At(node).value;
}

bool CHashTable::Remove(std::u16string_view key) {
  const int32_t hash = HashOf(key);
  const int32_t node = Find(key, hash);
  if (node == kNone) return false;
  int32_t* link = &buckets_[BucketOf(hash)];
  while (*link != node) link = &At(*link).next;
  *link = At(node).next;
  At(node) = {.key = {}, .value = {}, .hash = 0, .next = std::exchange(free_, node)};
  --used_;
  return true;
}

std::vector<std::u16string_view> CHashTable::Keys() const {
  std::vector<std::u16string_view> keys;
  keys.reserve(static_cast<size_t>(used_));
  for (const Node& node : nodes_) {
    if (!node.key.empty()) keys.push_back(node.key);
  }
  return keys;
}

std::vector<TaggedValue> CHashTable::Values() const {
  std::vector<TaggedValue> values;
  values.reserve(static_cast<size_t>(used_));
  for (const Node& node : nodes_) {
    if (!node.key.empty()) values.push_back(node.value);
  }
  return values;
}

int32_t CHashTable::TakeNode() {
  // The first nodes come with the first entry: many tables never get one.
  const bool first = nodes_.empty() && list_size_ > 0;
  if (free_ == kNone) AddNodes(static_cast<size_t>(first ? list_size_ : chunk_));
  return std::exchange(free_, At(free_).next);
}

void CHashTable::AddNodes(size_t count) {
  const size_t old_count = nodes_.size();
  nodes_.resize(old_count + count);
  // The first of them is taken first.
  for (size_t i = nodes_.size(); i > old_count; --i) {
    nodes_[i - 1].next = std::exchange(free_, static_cast<int32_t>(i));
  }
}

bool CHashTable::IsCrowded(int32_t hash) const {
  const auto count = static_cast<size_t>(used_);
  if (buckets_.size() >= kMaxBucketsPerEntry * count) return false;
  if (buckets_.size() <= count) return true;
  int32_t others = 0;
  for (int32_t node = buckets_[BucketOf(hash)]; node != kNone; node = At(node).next) {
    if (At(node).hash != hash && ++others >= kLongChain) return true;
  }
  return false;
}

void CHashTable::GrowBuckets() {
  const auto* const size = std::ranges::upper_bound(kPrimes, buckets_.size());
  if (size == std::end(kPrimes)) return;
  buckets_ = std::vector<int32_t>(*size, kNone);
  for (size_t i = 0; i < nodes_.size(); ++i) {
    if (nodes_[i].key.empty()) continue;
    int32_t& first = buckets_[BucketOf(nodes_[i].hash)];
    nodes_[i].next = std::exchange(first, static_cast<int32_t>(i + 1));
  }
}

CHashTable::Shape CHashTable::Measure() const {
  Shape shape;
  shape.buckets = static_cast<int32_t>(buckets_.size());
  double steps = 0;
  for (const int32_t first : buckets_) {
    int32_t length = 0;
    for (int32_t node = first; node != kNone; node = At(node).next) steps += ++length;
    shape.longest_chain = std::max(shape.longest_chain, length);
  }
  if (used_ > 0) shape.mean_steps = steps / used_;
  return shape;
}

}  // namespace pylon
