// SPDX-License-Identifier: Apache-2.0
// table_session.h - one table in the library, of either mode: compressed, and ready for questions.
#ifndef TABLE_SESSION_H
#define TABLE_SESSION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "compatible_instance.h"
#include "engine_view.h"
#include "room_table.h"
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
class table_session {
 public:
  table_session(const prefix_table &table, const common_options &options);

  const engine_view &view() const { return *view_; }
  const stored_prefixes &stored() const { return stored_; }
  double compress_ms() const { return compress_ms_; }

  // In room mode, the table; else null.
  const room_table *room() const { return room_ ? &*room_ : nullptr; }

  // The compressed prefix of table row `row` in the request's own result. Compatible mode only.
  const std::vector<ip_prefix> &result_codes() const { return result_codes_; }

  // What a prefix became that is known to be stored.
  translation translate_stored(const ip_prefix &prefix) const;

  // The key that an address is given for the second stage.
  ip_key key_of(ip_key address) const;

  // Code bits that the table needs.
  uint32_t required_bits() const;

  std::vector<pool_use> pools() const;

 private:
  void compress_in_room_mode(const prefix_table &table, const common_options &options);
  void compress_in_compatible_mode(const prefix_table &table, const common_options &options);

  stored_prefixes stored_;
  std::optional<room_table> room_;
  std::optional<engine_view> view_;  // once the library runs
  std::vector<ip_prefix> result_codes_;
  double compress_ms_ = 0;
};

}  // namespace v6tool

#endif
