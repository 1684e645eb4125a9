// SPDX-License-Identifier: Apache-2.0
#include "explain_batch.h"

#include <map>

#include "prefix_text.h"
#include "room_table.h"

namespace v6tool {

namespace {

using codes_by_prefix = std::map<ip_prefix, ip_prefix>;

codes_by_prefix codes_of(const table_rows &rows) {
  codes_by_prefix codes;
  for (const zel_v6comp_table_row &row : rows) {
    codes.emplace(prefix_of(row), code_of(row));
  }
  return codes;
}

bool overlap(const ip_prefix &a, const ip_prefix &b) { return contains(a, b) || contains(b, a); }

// Of codes that overlap as their prefixes contain each other nothing follows; the others are in the way.
bool drives_out(const ip_prefix &prefix, const ip_prefix &code, const batch_move &move) {
  return prefix != move.prefix && overlap(code, move.from) && !overlap(prefix, move.prefix);
}

std::string reason_of(const batch_move &move, const codes_by_prefix &before, const codes_by_prefix &after,
                      const codes_by_prefix &moved) {
  for (const auto &[prefix, code] : after) {
    if (!before.contains(prefix) && drives_out(prefix, code, move)) {
      return "makes way for " + format_prefix(prefix) + ", which is new";
    }
  }
  for (const auto &[prefix, code] : moved) {
    if (drives_out(prefix, code, move)) {
      return "makes way for " + format_prefix(prefix) + ", which moves too";
    }
  }
  for (const auto &[prefix, code] : moved) {
    if (prefix != move.prefix && contains(prefix, move.prefix)) {
      return "moves with " + format_prefix(prefix) + " around it";
    }
  }
  for (const auto &[prefix, code] : after) {
    if (!before.contains(prefix) && (contains(prefix, move.prefix) || contains(move.prefix, prefix))) {
      return contains(prefix, move.prefix) ? "now lies inside " + format_prefix(prefix) + ", which is new"
                                           : "needs room inside for " + format_prefix(prefix) + ", which is new";
    }
  }
  return "a place nearer by was needed for what is stored around it";
}

}  // namespace

std::vector<batch_move> moves_between(const table_rows &before, const table_rows &after) {
  const codes_by_prefix old_codes = codes_of(before);
  const codes_by_prefix new_codes = codes_of(after);
  std::vector<batch_move> moves;
  codes_by_prefix moved;
  for (const auto &[prefix, from] : old_codes) {
    const auto found = new_codes.find(prefix);
    if (found != new_codes.end() && found->second != from) {
      moves.push_back({prefix, from, found->second, ""});
      moved.emplace(prefix, found->second);
    }
  }
  for (batch_move &move : moves) {
    move.reason = reason_of(move, old_codes, new_codes, moved);
  }
  return moves;
}

}  // namespace v6tool
