// SPDX-License-Identifier: Apache-2.0
// library_session.h - one table in the library: compressed, and ready for questions.
#ifndef LIBRARY_SESSION_H
#define LIBRARY_SESSION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "library_instance.h"
#include "stored_prefixes.h"
#include "table_reader.h"
#include "tool_options.h"

namespace v6tool {

struct pool_use {
  std::string name;
  uint32_t size;
  uint32_t in_use;
  uint64_t peak;
};

// One per process: it starts the library. Failures are thrown as tool_failure, in words.
class library_session {
 public:
  library_session(const prefix_table &table, const common_options &options);

  const library_instance &instance() const { return *instance_; }
  const stored_prefixes &stored() const { return stored_; }
  double compress_ms() const { return result_.ms; }

  // The compressed prefix of table row `row` in the request's own result.
  ip_prefix result_code(size_t row) const { return result_.codes[row]; }

  std::optional<translation> translate(const ip_prefix &prefix) const { return instance_->translate(prefix); }
  std::optional<address_answer> find(ip_key address) const { return instance_->find(address); }
  std::vector<dump_row> dump() const { return instance_->dump(); }

  // As translate, for a prefix that is known to be stored.
  translation translate_stored(const ip_prefix &prefix) const;

  std::vector<pool_use> pools() const;

 private:
  stored_prefixes stored_;
  std::optional<library_instance> instance_;  // once the library runs
  request_outcome result_;
};

}  // namespace v6tool

#endif
