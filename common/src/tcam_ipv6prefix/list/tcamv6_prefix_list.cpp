// SPDX-License-Identifier: Apache-2.0
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
constexpr uint8_t anchor_lengths[] = {32, 48, 64, 96};
constexpr uint32_t keyed_from = 256;  // shorter lists are sorted by comparing

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

bool has_anchor(const record_source *source, uint32_t i, uint8_t length, uint8_t anchor_length) {
  return length > anchor_length && (source->without_anchors == nullptr || source->without_anchors[i] == 0);
}

// Records of the list. 0 when some record is too long, or the list is.
uint32_t count_records(const record_source *source) {
  uint64_t count = uint64_t{source->n} + source->full;
  for (uint32_t i = 0; i < source->n; ++i) {
    const uint8_t length = length_of(source, i);
    if (length > TM_KEY_BITS) {
      return 0;
    }
    for (const uint8_t anchor_length : anchor_lengths) {
      count += has_anchor(source, i, length, anchor_length);
    }
  }
  return count <= INT32_MAX ? static_cast<uint32_t>(count) : 0;
}

// Copy the caller's records, and go on with the copy: others may write to the original. Returns false when the copy
// does not make a list of the length that was counted.
bool take_copy(record_source *source, void *room, uint32_t count) {
  memcpy(room, source->records, source->n * sizeof(tcamv6_prefix));
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
void fill_list(tcamv6_prefix *list, const record_source *source, uint32_t count) {
  uint32_t tag = source->n;
  for (uint32_t i = 0; i < source->n; ++i) {
    list[i].anchor_ref = 0;
    set_tag(&list[i], i + 1);
    for (const uint8_t anchor_length : anchor_lengths) {
      if (has_anchor(source, i, list[i].length, anchor_length)) {
        tcamv6_prefix *anchor = &list[tag++];
        *anchor = list[i];
        make_anchor(anchor, anchor_length);
        set_tag(anchor, tag);
      }
    }
  }
  if (source->full) {
    make_default_prefix(&list[count - 1]);
    set_tag(&list[count - 1], count);
  }
}

// A list falls into a section for each length, longer ones first: where they begin, and where the last one ends.
using section_starts = uint32_t[TM_KEY_BITS + 2];

uint32_t section_of(uint32_t length) { return length < TM_KEY_BITS ? TM_KEY_BITS - length : 0; }

void find_sections(const record_source *source, uint32_t *starts) {
  memset(starts, 0, sizeof(section_starts));
  uint32_t *ends = starts + 1;
  for (uint32_t i = 0; i < source->n; ++i) {
    const uint8_t length = length_of(source, i);
    ++ends[section_of(length)];
    for (const uint8_t anchor_length : anchor_lengths) {
      ends[section_of(anchor_length)] += has_anchor(source, i, length, anchor_length);
    }
  }
  ends[section_of(0)] += source->full;
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
  const auto whole = static_cast<int32_t>(length / 8 * 8);
  const uint32_t partial = length % 8;
  tm_key_number compared = tm_key_number_leading(whole);
  if (partial != 0) {
    compared |= tm_key_number{(1u << partial) - 1u} << (TM_KEY_BITS - 8 - whole);
  }
  const tm_key_number bits = tm_key_load(record->address) & compared;
  return {static_cast<uint64_t>(bits >> 64), static_cast<uint64_t>(bits), is_anchor ? 0u : 1u, index};
}

// Enter the caller's records, and then their anchors, into the sections: a section is in the order of its tags, and
// those of a sorted table are two sorted runs at most.
void enter_records(const record_source *source, const sort_scratch *scratch, uint32_t *next) {
  for (uint32_t i = 0; i < source->n; ++i) {
    tcamv6_prefix record;
    load_record(source, i, &record);
    const uint32_t length = record.length < TM_KEY_BITS ? record.length : uint32_t{TM_KEY_BITS};
    scratch->origins[i] = i;
    scratch->entries[next[section_of(length)]++] = entry_of(&record, length, tm_prefix_is_anchor(&record), i);
  }
}

void enter_anchors(const record_source *source, const sort_scratch *scratch, uint32_t *next) {
  uint32_t index = source->n;
  for (uint32_t i = 0; i < source->n; ++i) {
    tcamv6_prefix record;
    load_record(source, i, &record);
    for (const uint8_t anchor_length : anchor_lengths) {
      if (has_anchor(source, i, record.length, anchor_length)) {
        scratch->origins[index] = i;
        scratch->entries[next[section_of(anchor_length)]++] = entry_of(&record, anchor_length, true, index);
        ++index;
      }
    }
  }
}

void enter_list(const record_source *source, const uint32_t *starts, uint32_t count, const sort_scratch *scratch) {
  section_starts next;
  memcpy(next, starts, sizeof next);
  enter_records(source, scratch, next);
  enter_anchors(source, scratch, next);
  if (source->full) {
    scratch->entries[next[section_of(0)]] = {0, 0, 1, count - 1};
  }
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
  enter_list(source, starts, count, scratch);
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
  fill_list(list, source, count);
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
