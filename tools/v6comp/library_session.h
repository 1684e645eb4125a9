// library_session.h - one table in the library: compressed, and ready for questions.
#ifndef LIBRARY_SESSION_H
#define LIBRARY_SESSION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "stored_prefixes.h"
#include "table_reader.h"
#include "tool_options.h"
#include "zel_v6comp.h"

namespace v6tool {

// What a prefix became.
struct translation {
  ip_prefix code;  // the compressed prefix, bits beyond its length cleared
  ip_key address;  // the compressed address
};

struct address_answer {
  ip_prefix match;  // the longest stored prefix, anchors and /0 included
  translation result;
};

struct dump_row {
  ip_prefix prefix;
  translation result;
};

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

  const stored_prefixes &stored() const { return stored_; }
  double compress_ms() const { return compress_ms_; }

  // The compressed prefix of table row `row` in the request's own result.
  ip_prefix result_code(size_t row) const { return result_codes_[row]; }

  // Ask the library. Nothing: it does not store the prefix, or no stored prefix covers the address.
  std::optional<translation> translate(const ip_prefix &prefix) const;
  std::optional<address_answer> find(ip_key address) const;

  // As translate, for a prefix that is known to be stored.
  translation translate_stored(const ip_prefix &prefix) const;

  // The library's walk of its table: prefixes of the table and /0, each after all that lie inside it.
  std::vector<dump_row> dump() const;

  std::vector<pool_use> pools() const;

 private:
  void start(const common_options &options);
  void compress(const prefix_table &table, const common_options &options);
  std::vector<std::string> explain(uint32_t status) const;
  std::vector<std::string> explain_pools() const;

  stored_prefixes stored_;
  tcamv6_state *state_ = nullptr;
  std::vector<ip_prefix> result_codes_;
  double compress_ms_ = 0;
};

}  // namespace v6tool

#endif
