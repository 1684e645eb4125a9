// SPDX-License-Identifier: Apache-2.0
// tcamv6_prefix_list.cpp - from what a caller sends to what the engine works on.
//
// A prefix finds its place in a table by the prefix around it, and a later one finds room if that one is near. So
// each record brings shorter ones along that nobody asked for, its anchors: itself, cut at 32, 48, 64 and 96 bits. A
// full request also gets the default prefix, which everything lies in. Five records:
//
//   tag                            anchors, tagged on from there
//    1  2001:db8::/32              (none: it is not longer than 32 bits)
//    2  2001:db8:1::/48             6  2001:db8::/32
//    3  2001:db8:2::/48             7  2001:db8::/32
//    4  2001:db8:2:3::/64           8  2001:db8::/32    9  2001:db8:2::/48
//    5  2001:db8:ffff::1/128       10  2001:db8::/32   11  :ffff::/48   12  its /64   13  its /96
//   14  ::/0, weight 1             (made, not cut)
//
// and sorted, longest first, by address within a length, anchors before others of the same prefix:
//
//   5 | 13 | 4 12 | 2 9 3 11 | 6 7 8 10 1 | 14          sections: /128, /96, /64, /48, /32, /0
//
// (within /48 the order is that of the addresses; 9 and 3 are one prefix, the anchor first). Equal prefixes stay
// side by side: they meet on one node of the trie later, and their weights are summed there. An anchor's anchor_ref
// is the weight of the record that it was cut from, so that a prefix knows how much of its sum came from anchors
// alone.
//
// Invariants: the record with tag t was number t - 1 before sorting, so that results go back by tag; the sort is
// stable; list and counts come from one copy of the caller's records, which may change while they are read.
//
// Two ways lead to the same order. A short list is filled and sorted by comparing. From `keyed_from` records on the
// list is never moved while it is sorted: 24 bytes a record, with the compared bits up front, are put into sections
// by length and sorted there, and each record is then written once, at its place. Without memory for that the short
// way serves. Cost: a few passes over the records, and per section a sort that a sorted table hardly notices.
//
// Corner cases: the last, partial byte of an address is compared by its low bits (tm_cmp_v6_pref says why), so
// different prefixes can compare equal; a record of weight 0 looks like an anchor, since its weight equals its
// anchor_ref; a tag has 20 bits, and lists of more records wrap.
#include "tcamv6_prefix_list.h"

#include <string.h>

#include "tcamv6_prefix_list_internal.h"
#include "tm_debug.h"
#include "tm_key.h"
#include "tm_keyed_sort.h"
#include "tm_memory.h"
#include "tm_prefix_internal.h"
#include "tm_stable_sort.h"

namespace {

constexpr const char *builder = "tcamv6_build_prefix_list";
constexpr uint32_t n_anchor_lengths = 4;
constexpr uint8_t anchor_lengths[n_anchor_lengths] = {32, 48, 64, 96};  // ascending
constexpr uint32_t keyed_from = 256;                                    // shorter lists are sorted by comparing

// The caller's records, and what becomes of them.
struct record_source {
  const uint8_t *records;  // 40 bytes each, may be unaligned
  uint32_t n;
  bool full;                       // the list ends with the default prefix
  const uint8_t *without_anchors;  // a byte per record that is not 0 when it gets none; null = all do
};

uint8_t length_of(const record_source *source, uint32_t i) {
  return source->records[i * sizeof(tcamv6_prefix) + offsetof(tcamv6_prefix, length)];
}

// What a record of the working list is made from.
enum class list_kind { own, anchor, default_prefix };

struct working_record {
  list_kind kind;
  uint32_t index;   // its place before sorting: its tag less one
  uint32_t origin;  // the caller's record that it comes from
  uint8_t length;
};

// Visit the records of the list in the order of their tags: the caller's, then the anchors of each of them, then the
// default prefix. The one place that knows which record gets which anchors.
template <class Visit>
inline void for_each_working_record(const record_source *source, Visit visit) {
  for (uint32_t i = 0; i < source->n; ++i) {
    visit(working_record{list_kind::own, i, i, length_of(source, i)});
  }
  uint32_t index = source->n;
  for (uint32_t i = 0; i < source->n; ++i) {
    if (source->without_anchors != nullptr && source->without_anchors[i] != 0) {
      continue;
    }
    const uint8_t length = length_of(source, i);
    for (uint32_t k = 0; k < n_anchor_lengths && length > anchor_lengths[k]; ++k) {
      visit(working_record{list_kind::anchor, index++, i, anchor_lengths[k]});
    }
  }
  if (source->full) {
    visit(working_record{list_kind::default_prefix, index, 0, 0});
  }
}

// Records of the list. 0 when some record is too long, or the list is.
uint32_t count_records(const record_source *source) {
  uint64_t count = 0;
  bool too_long = false;
  for_each_working_record(source, [&](const working_record &record) {
    ++count;
    too_long = too_long || record.length > TM_KEY_BITS;
  });
  return !too_long && count <= INT32_MAX ? static_cast<uint32_t>(count) : 0;
}

// Copy the caller's records, and go on with the copy: others may write to the original. Returns false when the copy
// does not make a list of the length that was counted.
bool take_copy(record_source *source, void *room, uint32_t count) {
  if (source->n != 0) {
    memcpy(room, source->records, source->n * sizeof(tcamv6_prefix));
  }
  __asm__ volatile("" : : "r"(room) : "memory");  // nothing is read from the original after this
  source->records = static_cast<const uint8_t *>(room);
  return count_records(source) == count;
}

void load_record(const record_source *source, uint32_t i, tcamv6_prefix *record) {
  memcpy(record, source->records + i * sizeof *record, sizeof *record);
  record->anchor_ref = 0;
}

// Address bits beyond the anchor's length stay.
void make_anchor(tcamv6_prefix *record, uint32_t length) {
  record->length = static_cast<uint8_t>(length);
  record->anchor_ref = record->weight;
}

void make_default_prefix(tcamv6_prefix *record) {
  *record = {};
  record->flags_tag = TM_PREFIX_FLAG_ADD;
  record->weight = 1;
}

void set_tag(tcamv6_prefix *record, uint32_t tag) { record->flags_tag = tm_prefix_with_tag(record->flags_tag, tag); }

// The caller's records stand at the front of the list already.
void fill_list(tcamv6_prefix *list, const record_source *source) {
  for_each_working_record(source, [&](const working_record &record) {
    tcamv6_prefix *made = &list[record.index];
    if (record.kind == list_kind::own) {
      made->anchor_ref = 0;
    } else if (record.kind == list_kind::anchor) {
      *made = list[record.origin];
      make_anchor(made, record.length);
    } else {
      make_default_prefix(made);
    }
    set_tag(made, record.index + 1);
  });
}

// A list falls into a section for each length, longer ones first: where they begin, and where the last one ends.
using section_starts = uint32_t[TM_KEY_BITS + 2];

uint32_t section_of(uint32_t length) { return length < TM_KEY_BITS ? TM_KEY_BITS - length : 0; }

void find_sections(const record_source *source, uint32_t *starts) {
  memset(starts, 0, sizeof(section_starts));
  uint32_t *ends = starts + 1;
  for_each_working_record(source, [&](const working_record &record) { ++ends[section_of(record.length)]; });
  for (uint32_t section = 0; section <= TM_KEY_BITS; ++section) {
    ends[section] += starts[section];
  }
}

// What sorting a long list by keys takes.
struct sort_scratch {
  tm_keyed_entry *entries;  // one for each record of the list, and room for as many more
  uint32_t *origins;        // the number of the caller's record that it comes from, by its tag less one
  void *records;            // room for a copy of the caller's records
};

bool allocate_scratch(sort_scratch *scratch, uint32_t n, uint32_t count) {
  const size_t entries_bytes = size_t{count} * 2 * sizeof(tm_keyed_entry);
  const size_t origins_bytes = count * sizeof(uint32_t);
  const size_t bytes = entries_bytes + origins_bytes + n * sizeof(tcamv6_prefix);
  auto *memory = static_cast<uint8_t *>(zel_malloc_named(TM_MEM_TAG_LIST, bytes));
  if (memory == nullptr) {
    return false;
  }
  *scratch = {reinterpret_cast<tm_keyed_entry *>(memory), reinterpret_cast<uint32_t *>(memory + entries_bytes),
              memory + entries_bytes + origins_bytes};
  return true;
}

// The order of tcamv6_cmp_prefix_list within a section: whole bytes, the low bits of the partial byte, anchors first.
tm_keyed_entry entry_of(const tcamv6_prefix *record, uint32_t length, bool is_anchor, uint32_t index) {
  const tm_key_number bits = tm_key_load(record->address) & tm_prefix_compared.of[length];
  return {static_cast<uint64_t>(bits >> 64), static_cast<uint64_t>(bits), is_anchor ? 0u : 1u, index};
}

// Enter the records into the sections. In the order of tags: a section of a sorted table is two sorted runs at most.
void enter_list(const record_source *source, const uint32_t *starts, const sort_scratch *scratch) {
  section_starts next;
  memcpy(next, starts, sizeof next);
  for_each_working_record(source, [&](const working_record &record) {
    tm_keyed_entry *entry = &scratch->entries[next[section_of(record.length)]++];
    if (record.kind == list_kind::default_prefix) {
      *entry = {0, 0, 1, record.index};
      return;
    }
    tcamv6_prefix origin;
    load_record(source, record.origin, &origin);
    const bool is_anchor = record.kind == list_kind::anchor || tm_prefix_is_anchor(&origin);
    *entry = entry_of(&origin, record.length, is_anchor, record.index);
    scratch->origins[record.index] = record.origin;
  });
}

// Write the sorted records of a section.
void write_section(const record_source *source, const sort_scratch *scratch, uint32_t begin, uint32_t end,
                   uint32_t length, tcamv6_prefix *list, uint32_t count) {
  for (uint32_t i = begin; i < end; ++i) {
    const uint32_t index = scratch->entries[i].index;
    if (source->full && index == count - 1) {
      make_default_prefix(&list[i]);
    } else {
      load_record(source, scratch->origins[index], &list[i]);
      if (index >= source->n) {
        make_anchor(&list[i], length);
      }
    }
    set_tag(&list[i], index + 1);
  }
}

void fill_list_sorted(tcamv6_prefix *list, const record_source *source, uint32_t count, const sort_scratch *scratch) {
  section_starts starts;
  find_sections(source, starts);
  enter_list(source, starts, scratch);
  tm_keyed_entry *room = scratch->entries + count;
  for (uint32_t section = 0; section <= TM_KEY_BITS; ++section) {
    const uint32_t begin = starts[section];
    const uint32_t end = starts[section + 1];
    const uint32_t length = TM_KEY_BITS - section;
    if (begin != end) {
      tm_keyed_sort(&scratch->entries[begin], room, end - begin, (length + 7) / 8);
      write_section(source, scratch, begin, end, length, list, count);
    }
  }
}

// Put results whose tags are 1..count, each once, in their places. Returns false when they are not, or without memory.
bool place_by_tag(tcamv6_cmpr_pref *cmpr_prefs, uint32_t count) {
  auto *placed = static_cast<tcamv6_cmpr_pref *>(zel_calloc_named(TM_MEM_TAG_LIST, count, sizeof *cmpr_prefs));
  if (placed == nullptr) {
    return false;
  }
  bool all_placed = true;
  for (uint32_t i = 0; all_placed && i < count; ++i) {
    const uint32_t tag = tm_prefix_tag(cmpr_prefs[i].flags_tag);
    all_placed = tag >= 1 && tag <= count && tm_prefix_tag(placed[tag - 1].flags_tag) == 0;
    if (all_placed) {
      placed[tag - 1] = cmpr_prefs[i];
    }
  }
  if (all_placed) {
    memcpy(cmpr_prefs, placed, count * sizeof *cmpr_prefs);
  }
  zel_free_named(placed);
  return all_placed;
}

// Fill a list of `count` records. Returns false when the caller's records have changed since they were counted.
bool make_list(tcamv6_prefix *list, record_source *source, uint32_t count) {
  sort_scratch scratch;
  if (count >= keyed_from && allocate_scratch(&scratch, source->n, count)) {
    const bool unchanged = take_copy(source, scratch.records, count);
    if (unchanged) {
      fill_list_sorted(list, source, count, &scratch);
    }
    zel_free_named(scratch.entries);
    return unchanged;
  }
  if (!take_copy(source, list, count)) {
    return false;
  }
  fill_list(list, source);
  tm_stable_sort(list, count, sizeof *list, tcamv6_cmp_prefix_list);
  return true;
}

int32_t refuse_records(tcamv6_prefix **list_out, uint32_t *count_out) {
  tm_free(*list_out);
  *list_out = nullptr;
  *count_out = 0;
  TM_LOG(info, "%s: Bad arguments", builder);
  return TM_EINVAL;
}

}  // namespace

int32_t tcamv6_build_list(const uint8_t *records, tcamv6_prefix **list_out, uint32_t n, uint32_t *count_out, bool full,
                          const uint8_t *without_anchors) {
  record_source source = {records, n, full, without_anchors};
  const uint32_t count = count_records(&source);
  *list_out = nullptr;
  *count_out = count;
  if (count == 0 && (n != 0 || full)) {
    return refuse_records(list_out, count_out);
  }
  *list_out = static_cast<tcamv6_prefix *>(zel_calloc_named(TM_MEM_TAG_LIST, count, sizeof(tcamv6_prefix)));
  if (*list_out == nullptr) {
    TM_LOG(info, "%s: malloc(%zu bytes) failed", builder, count * sizeof(tcamv6_prefix));
    return TM_ENOMEM;
  }
  return make_list(*list_out, &source, count) ? TM_OK : refuse_records(list_out, count_out);
}

int32_t tcamv6_build_prefix_list(const tcamv6_prefix *prefixes, tcamv6_prefix **list_out, uint32_t n,
                                 uint32_t *count_out, int32_t full) {
  if (list_out == nullptr || count_out == nullptr || (prefixes == nullptr && n != 0)) {
    TM_LOG(info, "%s: Bad arguments", builder);
    return TM_EINVAL;
  }
  return tcamv6_build_list(reinterpret_cast<const uint8_t *>(prefixes), list_out, n, count_out, full != 0, nullptr);
}

int tcamv6_cmp_prefix_list(const void *a, const void *b) {
  const int order = tm_cmp_v6_pref(a, b);
  if (order != 0) {
    return order;
  }
  return static_cast<int>(tm_prefix_is_anchor(static_cast<const tcamv6_prefix *>(b))) -
         static_cast<int>(tm_prefix_is_anchor(static_cast<const tcamv6_prefix *>(a)));
}

void tcamv6_prepare_return_cmpr_prefs(tcamv6_cmpr_pref *cmpr_prefs, uint32_t count) {
  if (cmpr_prefs == nullptr || count == 0) {
    return;
  }
  if (count < keyed_from || !place_by_tag(cmpr_prefs, count)) {
    tm_stable_sort(cmpr_prefs, count, sizeof *cmpr_prefs, tm_cmpr_pref_tag_cmp);
  }
}

uint32_t tcamv6_check_no_of_prefixes_in_array(uint32_t count, const tcamv6_prefix *list) {
  constexpr const char *function = "tcamv6_check_no_of_prefixes_in_array";
  uint32_t distinct = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const bool last_of_run = i + 1 == count || tm_cmp_v6_pref(&list[i], &list[i + 1]) != 0;
    distinct += last_of_run && !tm_prefix_is_anchor(&list[i]);
  }
  TM_LOG(trace, "%s ends retval=%d", function, static_cast<int>(distinct));
  return distinct;
}
