// SPDX-License-Identifier: Apache-2.0
// told_moves.h - do the moves that a request tells lead from the table before it to the table after it?
#ifndef TOLD_MOVES_H
#define TOLD_MOVES_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "prefix_text.h"
#include "prefix_value.h"
#include "zel_v6comp.h"

namespace told_moves {

// Where an entry is: its code, and its address in the first 64 bits.
struct form {
  v6tool::ip_prefix code;
  v6tool::ip_key address;
  bool operator==(const form &) const = default;
};

using form_map = std::map<v6tool::ip_prefix, form>;

inline v6tool::ip_key key_of(const uint8_t (&bytes)[8]) { return {v6tool::word_from_bytes(bytes), 0}; }

// The list of an instance now.
inline std::vector<zel_v6comp_move> list(int32_t processor, int32_t instance) {
  const zel_v6comp_move *moves = nullptr;
  uint32_t n = 0;
  return zel_v6comp_moves(processor, instance, &moves, &n) == 0 ? std::vector<zel_v6comp_move>(moves, moves + n)
                                                                : std::vector<zel_v6comp_move>();
}

// Follows the moves from the entries before: what the request did not make or take must end where they say. What it
// deletes (`deleted`) and adds again is placed like any other addition, and may have been anywhere meanwhile.
inline std::string fault(const form_map &before, const form_map &after, const std::set<v6tool::ip_prefix> &deleted,
                         const std::vector<zel_v6comp_move> &moves) {
  form_map told = before;
  for (const zel_v6comp_move &move : moves) {
    const v6tool::ip_prefix prefix = {v6tool::key_from_bytes(move.address), move.length};
    const form from = {{key_of(move.old_key), move.old_length}, key_of(move.old_address)};
    const form to = {{key_of(move.new_key), move.new_length}, key_of(move.new_address)};
    const auto at = told.find(prefix);
    if (at == told.end() || !after.contains(prefix)) {
      return v6tool::format_prefix(prefix) + " moved, and was not stored before and after";
    }
    if ((!(at->second == from) && !deleted.contains(prefix)) || from == to) {
      return v6tool::format_prefix(prefix) + " moved from where it was not";
    }
    at->second = to;
  }
  for (const auto &[prefix, where] : after) {
    const auto at = told.find(prefix);
    if (at != told.end() && !(at->second == where) && !deleted.contains(prefix)) {
      return v6tool::format_prefix(prefix) + " is not where the moves say";
    }
  }
  return "";
}

}  // namespace told_moves

#endif
