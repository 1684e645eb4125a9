// SPDX-License-Identifier: Apache-2.0
// tcamv6_dump.cpp - the post-order walk of the ancestor tree that yields the table's rows.
#include "tcamv6_dump.h"

#include "tcamv6_dump_internal.h"
#include "tcamv6_output.h"
#include "tcamv6_state_internal.h"
#include "tm_debug.h"

namespace {

constexpr const char *walk = "tcamv6_dump_tree_int";

// The three tables at the current row; null tables when rows are only counted.
struct row_cursor {
  tcamv6_prefix *orig;
  tcamv6_cmpr_pref *cmpr;
  tcamv6_cmpr_addr *addr;
};

void log_row(const row_cursor *row) {
  const bool is_anchor = row->orig->weight == row->orig->anchor_ref;
  TM_LOG(result, "%s " TM_ADDR_FORMAT " / %d %s", "original prefix:", TM_ADDR_ARGS(row->orig->address),
         row->orig->length, tm_anchor_text(is_anchor));
  TM_LOG(result, "%s " TM_ADDR_FORMAT " / %d", "compressed prefix:", TM_ADDR_ARGS(row->cmpr->key), row->cmpr->length);
  TM_LOG(result, "%s " TM_ADDR_FORMAT, "compressed address:", TM_ADDR_ARGS(row->addr->bytes));
}

void write_row(tcamv6_anc_data *data, row_cursor *row) {
  tcamv6_gen_trie_pref(tcamv6_cmpr_node(data), row->cmpr);
  const tcamv6_anc_data *address_data = data;
  if (data->dummy != TM_CHUNK_IDX_NULL) {
    TM_LOG(trace, "%s: Following prefix uses dummy node ...", walk);
    address_data = tcamv6_address_data(data, walk);
  }
  tcamv6_gen_trie_addr(tcamv6_cmpr_node(address_data), row->addr);
  log_row(row);
}

// Rows that a node itself adds: 0 or 1.
int32_t row_of_node(const tm_n_ary_node *node, row_cursor *row, bool is_written) {
  tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  if (data == nullptr) {
    zel_fatal("\n%s: node_data is NULL", walk);
  }
  if (tcamv6_anc_is_dummy(data) || !tcamv6_anc_is_created(data)) {
    return 0;
  }
  const tm_util_trie_node *orig = tm_trie_node(data->orig);
  if (is_written) {
    tcamv6_gen_trie_pref(orig, row->orig);
  }
  if (orig == nullptr) {
    zel_fatal("\n%s: node is NULL", "tcamv6_gen_trie_pref");
  }
  if (tcamv6_is_anchor_only(orig)) {
    return 0;
  }
  if (is_written) {
    write_row(data, row);
  }
  return 1;
}

int32_t walk_tree(int32_t max_prefs, const tm_n_ary_node *node, row_cursor row, int32_t total_only) {
  TM_LOG(trace,
         "%s: Starting max_prefs %d, node %p, orig_pref %p, cmpr_pref %p, cmpr_addr %p total_no_of_prefixes_only %s",
         walk, max_prefs, static_cast<const void *>(node), static_cast<void *>(row.orig), static_cast<void *>(row.cmpr),
         static_cast<void *>(row.addr), total_only != 0 ? "TRUE" : "FALSE");
  if (max_prefs == 0 || node == nullptr) {
    TM_LOG(info, "%s: Bad arguments", walk);
    return TM_EINVAL;
  }
  int32_t remaining = max_prefs;
  int32_t count = 0;
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    const int32_t rows = walk_tree(remaining, child, row, total_only);
    if (rows < 0) {
      return rows;
    }
    if (rows > remaining) {
      TM_LOG(info, "%s: ERROR tree contains extra prefix", walk);
      return TM_EFAULT;
    }
    count += rows;
    remaining -= rows;
    if (total_only == 0) {
      row.orig += rows;
      row.cmpr += rows;
      row.addr += rows;
    }
  }
  // A row too many is counted, so that it is noticed, but the tables end here.
  const int32_t own = row_of_node(node, &row, total_only == 0 && remaining > 0);
  if (own != 0 && total_only == 0) {
    TM_LOG(trace, "%s: Complete %d", walk, count + own);
  }
  return count + own;
}

}  // namespace

int32_t tcamv6_dump_tree_int(int32_t max_prefs, const tm_n_ary_node *anc_node, tcamv6_prefix *orig_prefs,
                             tcamv6_cmpr_pref *cmpr_prefs, tcamv6_cmpr_addr *cmpr_addrs, int32_t total_only) {
  return walk_tree(max_prefs, anc_node, {orig_prefs, cmpr_prefs, cmpr_addrs}, total_only);
}

int32_t tcamv6_dump_n_prefixes(const tcamv6_state *state, uint32_t *n_out) {
  constexpr const char *function = "tcamv6_dump_n_prefixes";
  if (tcamv6_state_unusable(state) || n_out == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
    return TM_EINVAL;
  }
  *n_out = state->n_prefs;
  return TM_OK;
}

int32_t tcamv6_dump_cmpr_tbl(tcamv6_state *state, int32_t n, tcamv6_prefix *orig_prefs, tcamv6_cmpr_pref *cmpr_prefs,
                             tcamv6_cmpr_addr *cmpr_addrs, uint32_t *count_out) {
  constexpr const char *function = "tcamv6_dump_cmpr_tbl";
  TM_LOG(trace, "%s: Starting handle %p, n_prefs %d, orig_prefs %p, cmpr_prefs %p, cmpr_addrs %p, ", function,
         static_cast<void *>(state), n, static_cast<void *>(orig_prefs), static_cast<void *>(cmpr_prefs),
         static_cast<void *>(cmpr_addrs));
  int32_t result = TM_EINVAL;
  if (tcamv6_state_unusable(state) || (state->marks & TCAMV6_MARK_FAILED) != 0 || orig_prefs == nullptr ||
      cmpr_prefs == nullptr || cmpr_addrs == nullptr || count_out == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
  } else if (static_cast<uint32_t>(n) != state->n_prefs) {
    TM_LOG(info, "%s: n_prefixes %d != state->n_prefs %d", function, n, static_cast<int>(state->n_prefs));
  } else {
    int32_t rows =
        tcamv6_dump_tree_int(n, tm_ptr<tm_n_ary_node>(state->anc_root), orig_prefs, cmpr_prefs, cmpr_addrs, 0);
    if (rows > n) {  // of the root itself: nobody above it looked
      TM_LOG(info, "%s: ERROR tree contains extra prefix", walk);
      rows = TM_EFAULT;
    }
    if (rows >= 0) {
      *count_out = static_cast<uint32_t>(rows);
      result = TM_OK;
    } else {
      TM_LOG(info, "%s: internal table dump failed %d", function, rows);
      result = rows;
    }
  }
  TM_LOG(trace, "%s: Complete %d", function, result);
  return result;
}
