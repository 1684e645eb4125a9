// SPDX-License-Identifier: Apache-2.0
// table_open.cpp - opening and closing tables, and starting the library for the first of them.
#include <string.h>

#include "table_engine.h"
#include "table_pools.h"
#include "zel_v6comp.h"
#include "zel_v6comp_dbg.h"

namespace {

enum { default_expected = 16384 };

constexpr zel_v6comp_table_options defaults = ZEL_V6COMP_TABLE_OPTIONS_INIT;

uint32_t expected_of(const zel_v6comp_table_options *options) {
  return options->expected_prefixes != 0 ? options->expected_prefixes : uint32_t{default_expected};
}

// The pools are made by the table of rows that the host may have written into: only its sizes are replaced.
int32_t start_library(const zel_v6comp_table_options *options) {
  const table_pool_sizes sizes = table_size_pools(expected_of(options));
  uint64_t kept[TM_CHUNK_TYPES];
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    kept[type] = raw_blk[type].n_elems;
    if (sizes.elements[type] > kept[type]) {
      raw_blk[type].n_elems = sizes.elements[type];
    }
  }
  const uint32_t status = zel_v6comp_init_global_state(TCAMV6_MAX_INSTANCES, TCAMV6_MAX_PROCESSORS);
  if (status == 0) {
    zel_v6comp_dbg_error_set(0);  // a table speaks through its log function; the environment's words stay
    return ZEL_V6COMP_TABLE_OK;
  }
  for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
    raw_blk[type].n_elems = kept[type];
  }
  zel_free_named(gbl_state);  // nothing refers to it: no instance works without pools
  gbl_state = nullptr;
  return ZEL_V6COMP_TABLE_E_MEMORY;
}

bool is_in_use(const tcamv6_state *state) { return state->opt_done != 0 || state->orig_root != 0; }

void warn_of_small_pools(const zel_v6comp_table *table, const zel_v6comp_table_options *options) {
  const table_pool_sizes sizes = table_size_pools(expected_of(options));
  const tm_chunk_info *info = &gbl_state->chunk_info[TM_V6_TRIE_NODE];
  if (info->n_elems < sizes.elements[TM_V6_TRIE_NODE]) {
    table_log(table, ZEL_V6COMP_TABLE_LOG_WARNING,
              "zel_v6comp_table_open: the pools were made for fewer than %u prefixes: %u trie nodes, %u are in use",
              expected_of(options), info->n_elems, info->allocated);
  }
}

void fill_record(zel_v6comp_table *table, int32_t processor, int32_t instance,
                 const zel_v6comp_table_options *options) {
  *table = {};
  table->processor = processor;
  table->instance = instance;
  table->block = gbl_state;
  table->state = zel_v6comp_instance(processor, instance);
  table->move_limit = options->move_limit;
  table->log = options->log;
  table->log_user = options->log_user;
  table->log_level = options->log_level != 0 ? options->log_level : int32_t{ZEL_V6COMP_TABLE_LOG_ERROR};
  table->is_open = true;
}

int32_t open_record(int32_t processor, int32_t instance, const zel_v6comp_table_options *options,
                    zel_v6comp_table **table) {
  zel_v6comp_table *record = table_record_at(processor, instance);
  if (record == nullptr) {
    return ZEL_V6COMP_TABLE_E_GRID;
  }
  if (record->is_open && record->block == gbl_state) {
    return ZEL_V6COMP_TABLE_E_TAKEN;
  }
  const int32_t started = gbl_state == nullptr ? start_library(options) : int32_t{ZEL_V6COMP_TABLE_OK};
  if (started != ZEL_V6COMP_TABLE_OK) {
    return started;
  }
  const tcamv6_state *state = zel_v6comp_instance(processor, instance);
  if (state == nullptr) {
    return ZEL_V6COMP_TABLE_E_GRID;
  }
  if (tcamv6_state_unusable(state) || is_in_use(state)) {
    return ZEL_V6COMP_TABLE_E_TAKEN;
  }
  table_free_writes(&record->writes);  // of a table whose library was started anew
  table_free_writes(&record->spare_writes);
  table_drop_ready(&record->ready);
  fill_record(record, processor, instance, options);
  warn_of_small_pools(record, options);
  *table = record;
  return ZEL_V6COMP_TABLE_OK;
}

// Say it to the log function that was to be the table's.
int32_t refuse_open(const zel_v6comp_table_options *options, int32_t status) {
  if (status != ZEL_V6COMP_TABLE_OK && status != ZEL_V6COMP_TABLE_E_BUSY) {
    zel_v6comp_table nobody = {};
    nobody.log = options->log;
    nobody.log_user = options->log_user;
    nobody.log_level = ZEL_V6COMP_TABLE_LOG_ERROR;
    table_log(&nobody, ZEL_V6COMP_TABLE_LOG_ERROR, "zel_v6comp_table_open: %s", zel_v6comp_table_text(status));
  }
  return status;
}

}  // namespace

int32_t zel_v6comp_table_open(int32_t processor, int32_t instance, const zel_v6comp_table_options *options,
                              zel_v6comp_table **table) {
  if (table == nullptr) {
    return ZEL_V6COMP_TABLE_E_NULL;
  }
  *table = nullptr;
  if (options == nullptr) {
    options = &defaults;
  }
  if (options->struct_size != sizeof *options) {
    return ZEL_V6COMP_TABLE_E_SIZE;
  }
  int32_t status = table_begin_open();
  if (status == ZEL_V6COMP_TABLE_OK) {
    status = open_record(processor, instance, options, table);
    refuse_open(options, status);
    table_end_change();
  }
  return status;
}

int32_t zel_v6comp_table_close(zel_v6comp_table *table) {
  if (table == nullptr) {
    return ZEL_V6COMP_TABLE_OK;
  }
  const int32_t status = table_begin_change(table);
  const bool is_foreign = status == ZEL_V6COMP_TABLE_E_FOREIGN;
  if (status != ZEL_V6COMP_TABLE_OK && !(is_foreign && table_begin_open() == ZEL_V6COMP_TABLE_OK)) {
    return table_refuse(table, "zel_v6comp_table_close", status);
  }
  if (gbl_state == table->block) {
    zel_v6comp_reset_instance(table->processor, table->instance);
  }
  table_free_writes(&table->writes);
  table_free_writes(&table->spare_writes);
  table_drop_ready(&table->ready);
  table->is_open = false;
  table_end_change();
  return ZEL_V6COMP_TABLE_OK;
}
