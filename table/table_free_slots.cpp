// SPDX-License-Identifier: Apache-2.0
#include "table_free_slots.h"

#include <stddef.h>

#include "tm_api.h"
#include "tm_memory.h"

namespace {

size_t words_of(uint32_t bits) { return (size_t{bits} + 63) / 64; }

uint64_t bit_of(uint32_t place) { return uint64_t{1} << (place % 64); }

}  // namespace

bool table_free_slots_begin(table_free_slots *free, uint32_t n) {
  *free = {};
  free->n = n;
  uint32_t bits = n;
  for (uint64_t *&words : free->words) {
    words = static_cast<uint64_t *>(zel_calloc_named(TM_MEM_TAG_LIST, words_of(bits), sizeof *words));
    if (words == nullptr) {
      return false;
    }
    for (uint32_t place = 0; place < bits; place += 64) {
      words[place / 64] = bits - place >= 64 ? ~uint64_t{0} : bit_of(bits) - 1;
    }
    bits = static_cast<uint32_t>(words_of(bits));
  }
  return true;
}

void table_free_slots_end(table_free_slots *free) {
  for (uint64_t *words : free->words) {
    tm_free(words);
  }
  *free = {};
}

void table_mark_free(table_free_slots *free, uint32_t slot) {
  for (uint64_t *words : free->words) {
    words[slot / 64] |= bit_of(slot);
    slot /= 64;
  }
}

void table_mark_used(table_free_slots *free, uint32_t slot) {
  for (uint64_t *words : free->words) {
    words[slot / 64] &= ~bit_of(slot);
    slot /= 64;
    if (words[slot] != 0) {
      return;
    }
  }
}

// Up until a word has a bit at or behind the place, then down along the lowest bits.
uint32_t table_next_free(const table_free_slots *free, uint32_t slot) {
  uint64_t place = slot;
  size_t words = words_of(free->n);
  uint32_t level = 0;
  for (; level < TABLE_FREE_LEVELS && place / 64 < words; ++level) {
    const uint64_t rest = free->words[level][place / 64] & ~uint64_t{0} << (place % 64);
    if (rest != 0) {
      place = place / 64 * 64 + static_cast<uint32_t>(__builtin_ctzll(rest));
      while (level-- > 0) {
        place = place * 64 + static_cast<uint32_t>(__builtin_ctzll(free->words[level][place]));
      }
      return static_cast<uint32_t>(place);
    }
    place = place / 64 + 1;
    words = (words + 63) / 64;
  }
  return table_no_slot;
}

uint32_t table_previous_free(const table_free_slots *free, uint32_t slot) {
  uint32_t place = slot;
  for (uint32_t level = 0; level < TABLE_FREE_LEVELS; ++level) {
    const uint64_t rest = free->words[level][place / 64] & ~uint64_t{0} >> (63 - place % 64);
    if (rest != 0) {
      place = place / 64 * 64 + 63 - static_cast<uint32_t>(__builtin_clzll(rest));
      while (level-- > 0) {
        place = place * 64 + 63 - static_cast<uint32_t>(__builtin_clzll(free->words[level][place]));
      }
      return place;
    }
    if (place < 64) {
      break;
    }
    place = place / 64 - 1;
  }
  return table_no_slot;
}
