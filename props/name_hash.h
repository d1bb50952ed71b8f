// The one notion of name equality in the tree: a 64-bit hash of the name's low bytes. Two names with
// the same hash are the same name; the strings themselves are never compared. With foldCase, bit 5 of
// every byte is forced on, so "A" and "a" hash alike (and so do a few non-letters, e.g. "@" and "`").
#pragma once

#include <cstddef>
#include <cstdint>

namespace XMLParse {

// Reads up to `length` code units and stops early at a NUL. A null name hashes to 0.
uint64_t NameHash(const wchar_t* name, size_t length, bool foldCase);

inline uint64_t NameHash(const wchar_t* name, bool foldCase = true) {
  return NameHash(name, static_cast<size_t>(-1), foldCase);
}

}  // namespace XMLParse
