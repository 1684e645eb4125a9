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
    default_prefix->flags_tag = TM_PREFIX_FLAG_ADD;
    default_prefix->weight = 1;
    set_tag(default_prefix, count);
  }
}

// The order of tcamv6_cmp_prefix_list as a number: length, longer first; whole bytes; the low bits of the partial byte;
// anchors first.
void set_sort_key(const tcamv6_prefix *record, tm_keyed_entry *entry) {
  const uint32_t length = record->length > TM_KEY_BITS ? uint32_t{TM_KEY_BITS} : record->length;
  const uint32_t whole = length / 8;
  uint8_t bytes[8 * TM_SORT_KEY_WORDS] = {static_cast<uint8_t>(TM_KEY_BITS - length)};
  memcpy(bytes + 1, record->address, whole);
  if (length % 8 != 0) {
    bytes[1 + whole] = static_cast<uint8_t>(record->address[whole] & ((1u << (length % 8)) - 1u));
  }
  bytes[1 + TM_KEY_BYTES] = !tm_prefix_is_anchor(record);
  memcpy(entry->key, bytes, sizeof bytes);
  for (uint64_t &word : entry->key) {
    word = __builtin_bswap64(word);
  }
}

// Sort a long list by keys. Returns false, and does nothing, when there is no memory for them.
bool sort_by_keys(tcamv6_prefix *list, uint32_t count) {
  const size_t bytes = count * (2 * sizeof(tm_keyed_entry) + sizeof *list);
  auto *entries = static_cast<tm_keyed_entry *>(zel_malloc_named(TM_MEM_TAG_LIST, bytes));
  if (entries == nullptr) {
    return false;
  }
  for (uint32_t i = 0; i < count; ++i) {
    set_sort_key(&list[i], &entries[i]);
    entries[i].index = i;
  }
  tm_keyed_sort(entries, entries + count, count);
  auto *sorted = reinterpret_cast<tcamv6_prefix *>(entries + 2 * size_t{count});
  for (uint32_t i = 0; i < count; ++i) {
    sorted[i] = list[entries[i].index];
  }
  memcpy(list, sorted, count * sizeof *list);
  zel_free_named(entries);
  return true;
}

void sort_list(tcamv6_prefix *list, uint32_t count) {
  if (count < keyed_from || !sort_by_keys(list, count)) {
    tm_stable_sort(list, count, sizeof *list, tcamv6_cmp_prefix_list);
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
  fill_list(*list_out, records, n, count, full, without_anchors);
  sort_list(*list_out, count);
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
