// NameTable: the ordered table of a node's attributes or children. Entries keep insertion (document)
// order; an ordered map from name hash to position finds them without comparing strings. The attribute
// table allows one entry per hash, the child table any number, kept in table order per hash.
//
// Not thread safe: the owning node guards each table with its own lock. Entries hold strong references;
// the operations that drop entries hand them back, so the caller can release them after unlocking.
#pragma once

#include <cstdint>
#include <map>
#include <type_traits>
#include <vector>

#include "media/auto_obj.h"
#include "props/name_hash.h"
#include "props/tree_alloc.h"

namespace XMLParse {

template <class T, bool Multi>
class NameTable {
 public:
  using Ptr = TRefPtr<T>;
  static constexpr int32_t kMaxEntries = 0x0FFFFFFF;

  NameTable() = default;
  ~NameTable() {
    for (BSTR n : names_) SysFreeString(n);
  }
  NameTable(const NameTable&) = delete;
  NameTable& operator=(const NameTable&) = delete;

  int32_t Count() const { return static_cast<int32_t>(values_.size()); }
  BSTR Name(int32_t pos) const { return names_[pos]; }
  T* Value(int32_t pos) const { return values_[pos].Get(); }
  const Ptr& ValueRef(int32_t pos) const { return values_[pos]; }

  // The entry number `nth` (in table order) among those with this hash; -1 when there is none.
  int32_t Find(uint64_t hash, int32_t nth = 0) const {
    auto it = index_.find(hash);
    if (it == index_.end() || nth < 0) return -1;
    if constexpr (Multi) {
      return nth < static_cast<int32_t>(it->second.size()) ? it->second[nth] : -1;
    } else {
      return nth == 0 ? it->second : -1;
    }
  }
  int32_t Find(const wchar_t* name, size_t length) const { return Find(NameHash(name, length, foldCase_)); }

  int32_t PositionOf(const T* value) const {
    for (size_t i = 0; i < values_.size(); ++i)
      if (values_[i].Get() == value) return static_cast<int32_t>(i);
    return -1;
  }

  // Adds at the end (position < 0) or at `position` (at most Count()). -1 when the table is full, the
  // position lies beyond the end, or a single-index table already has this name; else the position.
  int32_t Add(const wchar_t* name, size_t length, Ptr value, int32_t position = -1) {
    const int32_t count = Count();
    if (count >= kMaxEntries || position > count) return -1;
    const uint64_t hash = NameHash(name, length, foldCase_);
    if constexpr (!Multi) {
      if (index_.count(hash)) return -1;
    }
    Reserve(count + 1);
    BSTR copy = TreeAllocString(name, BoundedLength(name, length));
    if (position < 0 || position == count) {
      names_.push_back(copy);
      values_.push_back(std::move(value));
      if constexpr (Multi)
        index_[hash].push_back(count);
      else
        index_[hash] = count;
      return count;
    }
    names_.insert(names_.begin() + position, copy);
    values_.insert(values_.begin() + position, std::move(value));
    RebuildIndex();
    return position;
  }

  Ptr Remove(int32_t pos) {
    Ptr value = std::move(values_[pos]);
    SysFreeString(names_[pos]);
    names_.erase(names_.begin() + pos);
    values_.erase(values_.begin() + pos);
    RebuildIndex();
    return value;
  }

  // The entry keeps its place and its value.
  void Rename(int32_t pos, const wchar_t* name, size_t length) {
    BSTR copy = TreeAllocString(name, BoundedLength(name, length));
    SysFreeString(names_[pos]);
    names_[pos] = copy;
    RebuildIndex();
  }

  // Empties the table and hands its values over.
  std::vector<Ptr> TakeAll() {
    std::vector<Ptr> out;
    out.swap(values_);
    for (BSTR n : names_) SysFreeString(n);
    names_.clear();
    index_.clear();
    return out;
  }

  bool FoldCase() const { return foldCase_; }

 private:
  // Capacity grows 1, 2, 4, ... entries: std::vector's own growth factor is not fixed.
  void Reserve(int32_t wanted) {
    size_t cap = names_.capacity();
    if (static_cast<size_t>(wanted) <= cap) return;
    size_t next = cap ? cap * 2 : 1;
    while (next < static_cast<size_t>(wanted)) next *= 2;
    names_.reserve(next);
    values_.reserve(next);
  }

  void RebuildIndex() {
    index_.clear();
    for (int32_t i = 0; i < Count(); ++i) {
      const uint64_t hash = NameHash(names_[i], static_cast<size_t>(-1), foldCase_);
      if constexpr (Multi)
        index_[hash].push_back(i);
      else
        index_.emplace(hash, i);
    }
  }

  using Index = std::conditional_t<Multi, std::map<uint64_t, std::vector<int32_t>>, std::map<uint64_t, int32_t>>;

  std::vector<BSTR> names_;
  std::vector<Ptr> values_;
  Index index_;
  bool foldCase_ = true;
};

}  // namespace XMLParse
