// SPDX-License-Identifier: Apache-2.0
// table_stats.cpp - figures of a table.
#include "table_record.h"
#include "table_stored.h"

namespace {

struct tree_figures {
  uint32_t deepest;  // bits of the longest code
  uint32_t bits;     // that the tightest code of what is inside needs
};

// 2^bits, as far as it matters: 64 bits are the most that a code has.
tm_key_number block_of(uint32_t bits) { return tm_key_number{1} << (bits < 96 ? bits : 96); }

// Of a prefix whose parts fill so many blocks of one key: one more is its own.
uint32_t bits_for(tm_key_number blocks) {
  uint32_t bits = 0;
  while (block_of(bits) <= blocks) {
    ++bits;
  }
  return blocks == 0 ? 0 : bits;
}

// Prefixes nest at most 129 deep.
tree_figures walk_tree(const tm_n_ary_node *node) {
  const tcamv6_anc_data *data = tcamv6_anc_data_of(node);
  tree_figures figures = {tcamv6_cmpr_node(data)->len, 0};
  tm_key_number blocks = 0;
  for (const tm_n_ary_node *child = tcamv6_anc_first_child(node); child != nullptr; child = tcamv6_anc_next(child)) {
    if (tcamv6_anc_is_dummy(tcamv6_anc_data_of(child))) {
      continue;
    }
    const tree_figures inside = walk_tree(child);
    blocks += block_of(inside.bits);
    figures.deepest = inside.deepest > figures.deepest ? inside.deepest : figures.deepest;
  }
  figures.bits = bits_for(blocks);
  return figures;
}

void describe(const zel_v6comp_table *table, zel_v6comp_table_stats_record *figures) {
  *figures = ZEL_V6COMP_TABLE_STATS_INIT;
  figures->moves = table->moves;
  figures->changes = table->changes;
  figures->prefixes = table->n_rows;
  if (table->state->opt_done == 1) {
    const tree_figures tree = walk_tree(tcamv6_anc_node(table->state->anc_root));
    figures->anchors = table->state->n_prefs - table->n_rows;
    figures->bits_needed = tree.bits;
    figures->deepest_code = tree.deepest;
  }
  figures->indexed = table_is_ready(&table->ready, table->state) ? 1 : 0;
  for (uint32_t i = 0; i < ZEL_V6COMP_TABLE_POOLS; ++i) {
    const tm_chunk_info *info = &gbl_state->chunk_info[TM_V6_ANC_TREE + i];
    figures->pools[i] = {info->n_elems, info->allocated};
  }
}

}  // namespace

int32_t zel_v6comp_table_stats(const zel_v6comp_table *table, zel_v6comp_table_stats_record *figures) {
  return table_read_call(table, "zel_v6comp_table_stats", [&]() -> int32_t {
    if (figures == nullptr) {
      return ZEL_V6COMP_TABLE_E_NULL;
    }
    if (figures->struct_size != sizeof *figures) {
      return ZEL_V6COMP_TABLE_E_SIZE;
    }
    describe(table, figures);
    return ZEL_V6COMP_TABLE_OK;
  });
}
