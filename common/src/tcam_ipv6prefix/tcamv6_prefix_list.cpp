#include "tcamv6_prefix_list.h"

#include <string.h>

#include "tm_array.h"
#include "tm_bits.h"
#include "tm_debug.h"
#include "tm_keyed_sort.h"

namespace {

constexpr const char *builder = "tcamv6_build_prefix_list";
constexpr uint8_t anchor_lengths[] = {32, 48, 64, 96};
constexpr uint32_t keyed_from = 256;  // shorter lists are sorted by comparing

bool has_anchors(const uint8_t *without_anchors, uint32_t i) {
  return without_anchors == nullptr || without_anchors[i] == 0;
}

uint32_t count_anchors(const uint8_t *records, uint32_t n, const uint8_t *without_anchors) {
  uint32_t count = 0;
  for (uint32_t i = 0; i < n; ++i) {
    const uint8_t length = records[i * sizeof(tcamv6_prefix) + offsetof(tcamv6_prefix, length)];
    for (const uint8_t anchor_length : anchor_lengths) {
      count += length > anchor_length && has_anchors(without_anchors, i);
    }
  }
  return count;
}

void set_tag(tcamv6_prefix *record, uint32_t tag) { record->flags_tag = tm_prefix_with_tag(record->flags_tag, tag); }

void fill_list(tcamv6_prefix *list, const uint8_t *records, uint32_t n, uint32_t count, bool full,
               const uint8_t *without_anchors) {
  if (n != 0) {
    memcpy(list, records, n * sizeof *list);
  }
  uint32_t tag = n;
  for (uint32_t i = 0; i < n; ++i) {
    list[i].anchor_ref = 0;
    set_tag(&list[i], i + 1);
    for (const uint8_t anchor_length : anchor_lengths) {
      if (list[i].length > anchor_length && has_anchors(without_anchors, i)) {
        tcamv6_prefix *anchor = &list[tag++];
        *anchor = list[i];
        anchor->length = anchor_length;  // address bits beyond it stay
        anchor->anchor_ref = list[i].weight;
        set_tag(anchor, tag);
      }
    }
  }
  if (full) {
    tcamv6_prefix *default_prefix = &list[count - 1];
    *default_prefix = {};
    default_prefix->flags_tag = TM_PREFIX_FLAG_ADD;
    default_prefix->weight = 1;
    set_tag(default_prefix, count);
  }
}

// The order of tcamv6_cmp_prefix_list as a number of three words: length, longer first; whole bytes; the low bits of
// the partial byte; anchors first.
constexpr uint32_t sort_key_words = 3;

uint64_t sort_key_word(const tcamv6_prefix *record, uint32_t word) {
  const int32_t length = record->length > TM_KEY_BITS ? int32_t{TM_KEY_BITS} : record->length;
  const int32_t whole = length / 8 * 8;
  tm_key_number compared = tm_key_number_leading(whole);
  if (length != whole) {
    compared |= tm_key_number{(1u << (length - whole)) - 1u} << (TM_KEY_BITS - 8 - whole);
  }
  const tm_key_number bits = tm_key_load(record->address) & compared;
  switch (word) {
    case 0:
      return static_cast<uint64_t>(TM_KEY_BITS - length) << 56 | static_cast<uint64_t>(bits >> 72);
    case 1:
      return static_cast<uint64_t>(bits >> 8);
    default:
      return static_cast<uint64_t>(bits & 0xFF) << 1 | !tm_prefix_is_anchor(record);
  }
}

// What sorting a long list by keys takes: the list as it was, and an entry for each record, twice.
struct sort_scratch {
  tcamv6_prefix *unsorted;
  tm_keyed_entry *entries;
};

bool allocate_scratch(sort_scratch *scratch, uint32_t count) {
  const size_t entries_bytes = size_t{count} * 2 * sizeof(tm_keyed_entry);
  auto *memory =
      static_cast<uint8_t *>(zel_malloc_named(TM_MEM_TAG_LIST, entries_bytes + count * sizeof(tcamv6_prefix)));
  if (memory == nullptr) {
    return false;
  }
  *scratch = {reinterpret_cast<tcamv6_prefix *>(memory + entries_bytes), reinterpret_cast<tm_keyed_entry *>(memory)};
  return true;
}

void sort_by_keys(tcamv6_prefix *list, const sort_scratch *scratch, uint32_t count) {
  tm_keyed_entry *entries = scratch->entries;
  for (uint32_t i = 0; i < count; ++i) {
    entries[i].index = i;
  }
  for (uint32_t word = sort_key_words; word-- > 0;) {
    for (uint32_t i = 0; i < count; ++i) {
      entries[i].key = sort_key_word(&scratch->unsorted[entries[i].index], word);
    }
    tm_keyed_sort(entries, entries + count, count);
  }
  for (uint32_t i = 0; i < count; ++i) {
    list[i] = scratch->unsorted[entries[i].index];
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

}  // namespace

int32_t tcamv6_build_list(const uint8_t *records, tcamv6_prefix **list_out, uint32_t n, uint32_t *count_out, bool full,
                          const uint8_t *without_anchors) {
  const uint32_t count = n + full + count_anchors(records, n, without_anchors);
  *count_out = count;
  *list_out = static_cast<tcamv6_prefix *>(zel_calloc_named(TM_MEM_TAG_LIST, count, sizeof(tcamv6_prefix)));
  if (*list_out == nullptr) {
    TM_LOG(info, "%s: malloc(%zu bytes) failed", builder, count * sizeof(tcamv6_prefix));
    return TM_ENOMEM;
  }
  sort_scratch scratch;
  if (count >= keyed_from && allocate_scratch(&scratch, count)) {
    fill_list(scratch.unsorted, records, n, count, full, without_anchors);
    sort_by_keys(*list_out, &scratch, count);
    zel_free_named(scratch.entries);
  } else {
    fill_list(*list_out, records, n, count, full, without_anchors);
    tm_stable_sort(*list_out, count, sizeof(tcamv6_prefix), tcamv6_cmp_prefix_list);
  }
  return TM_OK;
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
  uint32_t distinct = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const bool last_of_run = i + 1 == count || tm_cmp_v6_pref(&list[i], &list[i + 1]) != 0;
    distinct += last_of_run && !tm_prefix_is_anchor(&list[i]);
  }
  TM_LOG(trace, "%s ends retval=%d", __func__, static_cast<int>(distinct));
  return distinct;
}
