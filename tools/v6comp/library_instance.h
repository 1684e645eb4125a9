// SPDX-License-Identifier: Apache-2.0
// library_instance.h - the running library, and one table instance of it: requests and questions.
#ifndef LIBRARY_INSTANCE_H
#define LIBRARY_INSTANCE_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "pool_sizing.h"
#include "prefix_value.h"
#include "tool_options.h"
#include "zel_v6comp.h"

namespace v6tool {

// What a prefix became.
struct translation {
  ip_prefix code;  // the compressed prefix, bits beyond its length cleared
  ip_key address;  // the compressed address
  bool operator==(const translation &) const = default;
};

struct address_answer {
  ip_prefix match;  // the longest stored prefix, anchors and /0 included
  translation result;
};

struct dump_row {
  ip_prefix prefix;
  translation result;
};

// One record of a request.
struct request_row {
  ip_prefix prefix;
  uint32_t weight = 1;
  bool add = true;  // false: a delete, in batches only
};

struct request_outcome {
  uint32_t status = 0;           // 0, or a positive error number
  std::vector<ip_prefix> codes;  // of the rows, in their order; empty unless status is 0
  double ms = 0;
};

// Once per process, before anything else. `needs` is what --pool-elements auto makes room for.
void start_library(const common_options &options, const pool_needs &needs);

tcamv6_prefix record_of(const ip_prefix &prefix);
tcamv6_prefix record_of(const request_row &row);

// The rows of a table as a request.
std::vector<request_row> request_rows(const prefix_table &table);

class library_instance {
 public:
  // Of the processor and number that the options name.
  explicit library_instance(const common_options &options);

  // What the last accepted request moved.
  std::span<const zel_v6comp_move> moves() const;

  // The first request after the start or a reset is a full compression, every other one a batch.
  request_outcome request(std::span<const request_row> rows) const;

  void reset() const;

  // Ask the library. Nothing: it does not store the prefix, or no stored prefix covers the address.
  std::optional<translation> translate(const ip_prefix &prefix) const;
  std::optional<address_answer> find(ip_key address) const;

  // Distinct prefixes stored, anchors and /0 included.
  uint32_t count_stored() const;

  // The library's walk of its table: prefixes of the table and /0, each after all that lie inside it.
  std::vector<dump_row> dump() const;

 private:
  int32_t processor_;
  int32_t instance_;
  tcamv6_state *state_;
};

}  // namespace v6tool

#endif
