// SPDX-License-Identifier: Apache-2.0
// updated_table.h - a table of the library under batches of changes, and what must be stored after each.
#ifndef UPDATED_TABLE_H
#define UPDATED_TABLE_H

#include <map>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "containment_check.h"
#include "prefix_value.h"
#include "zel_v6comp.h"

namespace updated_table {

// One record of a request.
struct change {
  bool add = true;
  v6tool::ip_prefix prefix;
  uint32_t weight = 1;
};

using change_list = std::vector<change>;

std::string text_of(const change_list &changes);  // "+2001:db8::/32 -::/8*3"

// Ask the library, on instance 0 of processor 0. The first request after reset() compresses in full.
uint32_t request(std::span<const change> changes);
void reset();

// The two sums that a stored prefix carries, modulo 2^16.
struct sums {
  uint16_t weight = 0;
  uint16_t anchors = 0;
  bool operator==(const sums &) const = default;
};

// What requests store, from the rules of counting alone: nothing here knows where a key goes. A batch that the
// counting refuses changes nothing here; one that finds no room must not be applied to it at all.
class counting {
 public:
  void compress(std::span<const change> changes);

  // 0, or 22 for a delete of more than there is.
  uint32_t apply(std::span<const change> changes, bool safe);

  const std::map<v6tool::ip_prefix, sums> &stored() const { return stored_; }
  uint16_t own_share(const v6tool::ip_prefix &prefix) const;

 private:
  uint32_t apply_list(const std::vector<tcamv6_prefix> &list, bool safe);
  bool remove(const tcamv6_prefix &record, bool safe);
  bool has_longer(const v6tool::ip_prefix &prefix) const;
  void forget_bare_paths();

  std::map<v6tool::ip_prefix, sums> stored_;
  // A prefix that left while longer ones were stored leaves its second sum on its node, as long as that is there.
  std::map<v6tool::ip_prefix, sums> bare_paths_;
};

// A stored prefix as the queries tell it.
struct stored_row {
  v6tool::compressed_row row;
  sums counters;
  bool operator==(const stored_row &other) const;
};

// Every prefix that must be stored, by lookup; nothing, with `fault` saying why, when one is not, has other sums, or
// when the dump is of another mind.
std::optional<std::vector<stored_row>> look_up(const counting &expected, std::string *fault);

// The dump as it stands, row order included.
std::vector<stored_row> dump();

// Elements in use, of every type.
std::vector<uint32_t> allocated();

}  // namespace updated_table

#endif
