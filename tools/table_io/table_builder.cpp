// SPDX-License-Identifier: Apache-2.0
#include "table_builder.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "prefix_text.h"

namespace v6tool {

namespace {

uint32_t row_line(uint64_t line) { return static_cast<uint32_t>(std::min<uint64_t>(line, UINT32_MAX)); }

}  // namespace

// ---- rows by prefix

uint32_t &table_builder::row_finder::slot_of(const ip_prefix &prefix) {
  uint64_t hash = (prefix.key.hi ^ std::rotl(prefix.key.lo, 29) ^ prefix.length) * 0x9E3779B97F4A7C15U;
  hash ^= hash >> 32;
  size_t at = hash & (slots_.size() - 1);
  while (slots_[at] != empty && rows_[slots_[at]].prefix != prefix) {
    at = (at + 1) & (slots_.size() - 1);
  }
  return slots_[at];
}

void table_builder::row_finder::make_room(size_t rows) {
  if (2 * rows >= slots_.size()) {
    grow(4 * slots_.size());
  }
}

void table_builder::row_finder::grow(size_t size) {
  const std::vector<uint32_t> old = std::exchange(slots_, std::vector<uint32_t>(size, empty));
  for (const uint32_t row : old) {
    if (row != empty) {
      slot_of(rows_[row].prefix) = row;
    }
  }
}

// ---- rows

table_builder::table_builder(prefix_table &table, const build_rules &rules, repeats what_repeats_are,
                             read_report &report)
    : table_(table), rules_(rules), repeats_(what_repeats_are), report_(report), seen_(table.rows) {
  table_.rows.clear();
}

void table_builder::take(uint64_t line, const std::string *place, const ip_prefix &loose, uint32_t weight) {
  ++plausible_;
  table_row row{loose, weight, row_line(line)};
  if (const std::string fault = host_bits_fault(loose); !fault.empty()) {
    if (!rules_.clear_host_bits) {
      const std::string reason = format_prefix(loose) + ": " + fault + " (--mask clears them)";
      place == nullptr ? bad(line, reason) : bad_at(*place, reason);
      return;
    }
    row.prefix.key = masked(loose.key, loose.length);
    ++masked_;
  }
  seen_.make_room(table_.rows.size());
  uint32_t &slot = seen_.slot_of(row.prefix);
  const bool first = slot == row_finder::empty;
  if (!first) {
    table_row &earlier = table_.rows[slot];
    repeat(earlier, row);
    if (repeats_ == repeats::are_paths) {
      return;
    }
    if (rules_.distinct) {
      earlier.weight += std::min(row.weight, UINT32_MAX - earlier.weight);
      return;
    }
  }
  // A prefix beyond the most that fit is kept all the same: what stands there again must not count twice.
  if (++found_ > rules_.max_rows && (!first || repeats_ == repeats::add_up)) {
    return;
  }
  if (first) {
    slot = static_cast<uint32_t>(table_.rows.size());
  }
  table_.rows.push_back(row);
}

void table_builder::repeat(const table_row &earlier, const table_row &row) {
  ++repeated_;
  if (repeats_ == repeats::add_up) {
    report_.warnings.add(table_.name + ':' + std::to_string(row.line) + ": " + format_prefix(row.prefix) +
                         ": also on line " + std::to_string(earlier.line) + "; the weights add up");
  }
}

void table_builder::listed(uint64_t line, const listed_words &words) {
  ip_prefix loose;
  uint32_t weight = 1;
  const std::string fault = parse_listed_words(words, loose, weight);
  if (fault.empty()) {
    take(line, nullptr, loose, weight);
    return;
  }
  const bool ipv4 = is_ipv4_prefix(words.prefix);
  plausible_ += ipv4 || words.prefix.find_first_of(":/") != std::string_view::npos ? 1 : 0;
  ipv4_lines_ += ipv4 ? 1 : 0;
  add_bad(line, fault);
}

void table_builder::route(uint64_t line, std::string_view destination) {
  if (is_ipv4_prefix(destination)) {
    other_family();
    return;
  }
  ip_prefix loose;
  if (destination != "default" && !parse_address(destination, loose.key)) {
    const std::string fault = parse_loose_prefix(destination, loose);
    if (!fault.empty()) {
      bad(line, printable(destination) + ": " + fault);
      return;
    }
  } else if (destination != "default") {
    loose.length = 128;
  }
  take(line, nullptr, loose, 1);
}

void table_builder::destination(uint64_t line, const ip_prefix &loose) { take(line, nullptr, loose, 1); }

void table_builder::binary(uint64_t record, const std::string &place, const ip_prefix &loose) {
  take(record, &place, loose, 1);
}

// ---- faults

void table_builder::bad(uint64_t line, const std::string &reason) {
  ++plausible_;
  add_bad(line, reason);
}

void table_builder::add_bad(uint64_t line, const std::string &reason) {
  bad_.add(table_.name + ':' + std::to_string(line) + ": " + reason);
}

void table_builder::bad_at(const std::string &place, const std::string &reason) {
  ++plausible_;
  bad_.add(table_.name + ": " + place + ": " + reason);
}

void table_builder::broken(const std::string &reason) { broken_.push_back(table_.name + ": " + reason); }

void table_builder::broken_at(uint64_t line, const std::string &reason) {
  broken_.push_back(table_.name + ':' + std::to_string(line) + ": " + reason);
}

void table_builder::settle_bad_lines() {
  if (bad_.total == 0) {
    return;
  }
  if (bad_.total > rules_.skip_bad || !broken_.empty()) {
    report_.faults = bad_;
    return;
  }
  for (const std::string &text : bad_.texts) {
    report_.warnings.add(text);
  }
  report_.warnings.total += bad_.total - bad_.texts.size();
  report_.notes.push_back(table_.name + ": " + std::to_string(bad_.total) +
                          (bad_.total == 1 ? " bad line skipped" : " bad lines skipped"));
}

bool table_builder::finish() {
  settle_bad_lines();
  for (const std::string &text : broken_) {
    report_.faults.add(text);
  }
  if (masked_ != 0) {
    report_.notes.push_back(table_.name + ": host bits of " + std::to_string(masked_) +
                            (masked_ == 1 ? " prefix cleared" : " prefixes cleared"));
  }
  const uint64_t ipv4 = left_out_ + ipv4_lines_;
  if (found_ == 0 && ipv4 != 0 && ipv4_lines_ == bad_.total && broken_.empty()) {
    report_.faults = {};
    report_.faults.add(table_.name + ": only IPv4 prefixes (" + std::to_string(ipv4) +
                       " of them), and IPv6 prefixes are wanted");
  } else if (found_ > rules_.max_rows) {
    ++report_.misfits;
    report_.faults.add(table_.name + ": " + std::to_string(found_) + " prefixes, at most " +
                       std::to_string(rules_.max_rows) + " fit into one request");
  } else if (found_ == 0 && report_.faults.total == 0) {
    report_.faults.add(table_.name + ": no prefixes");
  }
  return report_.faults.total == 0;
}

}  // namespace v6tool
