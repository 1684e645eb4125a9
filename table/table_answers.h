// SPDX-License-Identifier: Apache-2.0
// table_answers.h - the answers of a read index, as rows. Anchors have answers, too; rows are found around them.
#ifndef TABLE_ANSWERS_H
#define TABLE_ANSWERS_H

#include "table_rows.h"
#include "tcamv6_read_index_find.h"
#include "zel_v6comp_table.h"

inline bool table_is_row(const tcamv6_read_answer *answer) {
  return static_cast<uint16_t>(answer->weight - answer->anchor_ref) > (answer->length == 0 ? 1 : 0);
}

// The number of a prefix of the index, or of the next one around it, that is a row; 0 = none.
inline uint32_t table_row_around(const tcamv6_read_index *index, uint32_t number) {
  while (number != 0 && !table_is_row(&index->answers[number])) {
    number = index->items[number].parent;
  }
  return number;
}

inline void table_read_row(const tcamv6_read_answer *answer, zel_v6comp_table_row *row) {
  tm_key_store(row->address, tm_key_load(answer->address) & tm_key_number_leading(answer->length));
  row->code = tm_key_load_word(answer->code) & table_leading_bits(answer->code_length);
  row->key = tm_key_load_word(answer->cmpr_addr.bytes);
  row->word = answer->handle;
  row->length = answer->length;
  row->code_length = answer->code_length;
  row->reserved[0] = 0;
  row->reserved[1] = 0;
}

#endif
