// SPDX-License-Identifier: Apache-2.0
#define _POSIX_C_SOURCE 200809L
#include "host_table.h"

#include <arpa/inet.h>
#include <stdlib.h>
#include <string.h>

static int bit_of(const uint8_t *address, int i) { return address[i / 8] >> (7 - i % 8) & 1; }

bool host_same_prefix(const host_prefix *a, const host_prefix *b) {
  return a->length == b->length && memcmp(a->address, b->address, sizeof a->address) == 0;
}

bool host_covers(const host_prefix *prefix, const uint8_t address[16]) {
  const size_t whole = prefix->length / 8;
  const int rest = prefix->length % 8;
  return memcmp(prefix->address, address, whole) == 0 &&
         (rest == 0 || (prefix->address[whole] ^ address[whole]) >> (8 - rest) == 0);
}

host_prefix host_cut(const host_prefix *prefix, uint8_t length) {
  host_prefix cut = {.length = length};
  for (int i = 0; i < length; ++i) {
    cut.address[i / 8] = (uint8_t)(cut.address[i / 8] | bit_of(prefix->address, i) << (7 - i % 8));
  }
  return cut;
}

host_row *host_find(host_table *table, const host_prefix *prefix) {
  for (uint32_t i = 0; i < table->n_rows; ++i) {
    if (host_same_prefix(&table->rows[i].prefix, prefix)) {
      return &table->rows[i];
    }
  }
  return NULL;
}

const host_row *host_longest_match(const host_table *table, const uint8_t address[16]) {
  const host_row *best = NULL;
  for (uint32_t i = 0; i < table->n_rows; ++i) {
    const host_row *row = &table->rows[i];
    if ((best == NULL || row->prefix.length > best->prefix.length) && host_covers(&row->prefix, address)) {
      best = row;
    }
  }
  return best;
}

bool host_apply(host_table *table, const host_change *change) {
  host_row *row = host_find(table, &change->prefix);
  if ((row != NULL) == change->add || (change->add && table->n_rows == HOST_MAX_ROWS)) {
    return false;
  }
  if (change->add) {
    table->rows[table->n_rows++] = (host_row){change->prefix, ++table->last_id};
  } else {
    *row = table->rows[--table->n_rows];
  }
  return true;
}

static bool parse_prefix(char *text, host_prefix *prefix) {
  char *slash = strchr(text, '/');
  if (slash == NULL) {
    return false;
  }
  *slash = '\0';
  const long length = strtol(slash + 1, NULL, 10);
  host_prefix whole = {.length = 128};
  if (length < 0 || length > 128 || inet_pton(AF_INET6, text, whole.address) != 1) {
    return false;
  }
  *prefix = host_cut(&whole, (uint8_t)length);
  return true;
}

/* The next line that says something, without its end. */
static char *next_line(FILE *file, char *line, int size) {
  while (fgets(line, size, file) != NULL) {
    line[strcspn(line, "\r\n")] = '\0';
    if (line[0] != '#' && line[0] != '\0') {
      return line;
    }
  }
  return NULL;
}

bool host_read_table(FILE *file, host_table *table) {
  char line[512];
  table->n_rows = 0;
  table->last_id = 0;
  while (next_line(file, line, sizeof line) != NULL) {
    host_change change = {.add = true};
    if (!parse_prefix(line, &change.prefix) || !host_apply(table, &change)) {
      return false;
    }
  }
  return true;
}

bool host_read_batch(FILE *file, host_batch *batch) {
  char line[512];
  batch->n_changes = 0;
  while (next_line(file, line, sizeof line) != NULL) {
    if (strcmp(line, "---") == 0) {
      return true;
    }
    host_change *change = &batch->changes[batch->n_changes];
    change->add = line[0] == '+';
    if (batch->n_changes == HOST_MAX_ROWS || strchr("+-", line[0]) == NULL ||
        !parse_prefix(line + 1, &change->prefix)) {
      fprintf(stderr, "bad change: %s\n", line);
      exit(2);
    }
    ++batch->n_changes;
  }
  return batch->n_changes != 0;
}
