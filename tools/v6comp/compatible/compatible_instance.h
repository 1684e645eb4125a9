// SPDX-License-Identifier: Apache-2.0
// compatible_instance.h - a table instance in compatible mode, changed by requests.
#ifndef COMPATIBLE_INSTANCE_H
#define COMPATIBLE_INSTANCE_H

#include <cstdint>
#include <span>
#include <vector>

#include "engine_view.h"
#include "pool_sizing.h"
#include "table_reader.h"
#include "tool_options.h"

namespace v6tool {

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

// Start the library in compatible mode, with pools for that many prefixes' needs; once per process.
void start_compatible(const common_options &options, const pool_needs &needs, bool safe_updates);

tcamv6_prefix record_of(const request_row &row);

// The rows of a table as a request.
std::vector<request_row> request_rows(const prefix_table &table);

class compatible_instance {
 public:
  // Of the processor and number that the options name; the library has been started.
  explicit compatible_instance(const common_options &options);

  const engine_view &view() const { return view_; }

  // The first request after the start or a reset is a full compression, every other one a batch.
  request_outcome request(std::span<const request_row> rows) const;

  // A full compression of a table that fits into one request.
  request_outcome compress(const prefix_table &table) const { return request(request_rows(table)); }

  void reset() const;

 private:
  int32_t processor_;
  int32_t instance_;
  engine_view view_;
};

}  // namespace v6tool

#endif
