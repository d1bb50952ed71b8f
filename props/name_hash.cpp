#include "props/name_hash.h"

namespace XMLParse {

namespace {

inline void Mix64(uint64_t& a, uint64_t& b, uint64_t& c) {
  a -= b; a -= c; a ^= (c >> 43);
  b -= c; b -= a; b ^= (a << 9);
  c -= a; c -= b; c ^= (b >> 8);
  a -= b; a -= c; a ^= (c >> 38);
  b -= c; b -= a; b ^= (a << 23);
  c -= a; c -= b; c ^= (b >> 5);
  a -= b; a -= c; a ^= (c >> 35);
  b -= c; b -= a; b ^= (a << 49);
  c -= a; c -= b; c ^= (b >> 11);
  a -= b; a -= c; a ^= (c >> 12);
  b -= c; b -= a; b ^= (a << 18);
  c -= a; c -= b; c ^= (b >> 22);
}

}  // namespace

uint64_t NameHash(const wchar_t* name, size_t length, bool foldCase) {
  if (!name) return 0;
  uint64_t state[3] = {0xA518C95D1B2E3917ull, 0x9E3779B9A6C517EBull, 0x6A81C43A71D2E082ull};
  const uint64_t fold = foldCase ? 0x20 : 0;
  uint64_t word = 0;
  unsigned filled = 0;  // bytes in `word`
  unsigned slot = 0;    // state word that takes the next full word
  for (size_t i = 0; i < length && name[i] != 0; ++i) {
    word |= ((static_cast<uint64_t>(name[i]) & 0xFF) | fold) << (8 * filled);
    if (++filled < 8) continue;
    state[slot] += word;
    word = 0;
    filled = 0;
    if (++slot == 3) {
      Mix64(state[0], state[1], state[2]);
      slot = 0;
    }
  }
  // The tail word goes in even when empty, so every name ends with one more mix.
  state[slot] += word;
  Mix64(state[0], state[1], state[2]);
  return state[2];
}

}  // namespace XMLParse
