// SPDX-License-Identifier: Apache-2.0
#include "switch_entries.h"

#include <algorithm>

namespace v6agent {

namespace {

// Calls `visit(place, value of a or null, value of b or null)` wherever two maps differ.
template <class Map, class Visit>
void visit_differences(const Map &a, const Map &b, Visit visit) {
  auto left = a.begin();
  auto right = b.begin();
  while (left != a.end() || right != b.end()) {
    if (right == b.end() || (left != a.end() && left->first < right->first)) {
      visit(left->first, &left->second, static_cast<const typename Map::mapped_type *>(nullptr));
      ++left;
    } else if (left == a.end() || right->first < left->first) {
      visit(right->first, static_cast<const typename Map::mapped_type *>(nullptr), &right->second);
      ++right;
    } else {
      if (left->second != right->second) {
        visit(left->first, &left->second, &right->second);
      }
      ++left;
      ++right;
    }
  }
}

void append(switch_step &step, const switch_step &more) { step.insert(step.end(), more.begin(), more.end()); }

}  // namespace

switch_write put_lookup(const lookup_place &place, const lookup_value &value) {
  switch_write write;
  write.kind = write_kind::put_lookup;
  write.lookup = place;
  write.value = value;
  return write;
}

switch_write remove_lookup(const lookup_place &place) {
  switch_write write;
  write.kind = write_kind::remove_lookup;
  write.lookup = place;
  return write;
}

switch_write put_rule(const rule_place &place, rule_action action) {
  switch_write write;
  write.kind = write_kind::put_rule;
  write.rule = place;
  write.action = action;
  return write;
}

switch_write remove_rule(const rule_place &place) {
  switch_write write;
  write.kind = write_kind::remove_rule;
  write.rule = place;
  return write;
}

switch_write apply_write(switch_image &image, const switch_write &write) {
  if (write.kind == write_kind::put_lookup || write.kind == write_kind::remove_lookup) {
    const auto at = image.lookups.find(write.lookup);
    const switch_write inverse =
        at == image.lookups.end() ? remove_lookup(write.lookup) : put_lookup(write.lookup, at->second);
    if (write.kind == write_kind::put_lookup) {
      image.lookups.insert_or_assign(at, write.lookup, write.value);
    } else if (at != image.lookups.end()) {
      image.lookups.erase(at);
    }
    return inverse;
  }
  const auto at = image.rules.find(write.rule);
  const switch_write inverse = at == image.rules.end() ? remove_rule(write.rule) : put_rule(write.rule, at->second);
  if (write.kind == write_kind::put_rule) {
    image.rules.insert_or_assign(at, write.rule, write.action);
  } else if (at != image.rules.end()) {
    image.rules.erase(at);
  }
  return inverse;
}

switch_step difference(const switch_image &from, const switch_image &to) {
  switch_step keys;
  switch_step keys_gone;
  switch_step all;
  switch_step rules_gone;
  visit_differences(from.lookups, to.lookups,
                    [&](const lookup_place &place, const lookup_value *, const lookup_value *wanted) {
                      if (wanted != nullptr) {
                        keys.push_back(put_lookup(place, *wanted));
                      } else {
                        keys_gone.push_back(remove_lookup(place));
                      }
                    });
  visit_differences(from.rules, to.rules, [&](const rule_place &place, const rule_action *, const rule_action *wanted) {
    if (wanted != nullptr) {
      all.push_back(put_rule(place, *wanted));
    } else {
      rules_gone.push_back(remove_rule(place));
    }
  });
  const auto longer = [](const switch_write &a, const switch_write &b) {
    return a.lookup.prefix.length > b.lookup.prefix.length;
  };
  const auto shorter = [](const switch_write &a, const switch_write &b) {
    return a.lookup.prefix.length < b.lookup.prefix.length;
  };
  std::stable_sort(keys.begin(), keys.end(), longer);
  std::stable_sort(keys_gone.begin(), keys_gone.end(), shorter);
  append(all, keys);
  append(all, keys_gone);
  append(all, rules_gone);
  return all;
}

size_t count_differences(const switch_image &a, const switch_image &b) {
  size_t count = 0;
  visit_differences(a.lookups, b.lookups, [&](auto &&...) { ++count; });
  visit_differences(a.rules, b.rules, [&](auto &&...) { ++count; });
  return count;
}

}  // namespace v6agent
