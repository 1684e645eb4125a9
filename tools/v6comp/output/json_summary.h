// SPDX-License-Identifier: Apache-2.0
// json_summary.h - figures of a whole, for programs.
//
// json_summary.cpp alone includes the JSON library, whose header takes seconds to compile.
#ifndef JSON_SUMMARY_H
#define JSON_SUMMARY_H

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "output_format.h"

namespace v6tool {

// A name and a value; in JSON the names stay in the order given.
struct figure {
  std::string name;
  std::variant<bool, uint64_t, double, std::string, std::vector<figure>> value;
};
using figure_list = std::vector<figure>;

// Counts under names that sort.
template <class Count>
figure_list figures_of(const std::map<std::string, Count> &counts) {
  figure_list figures;
  for (const auto &[name, count] : counts) {
    figures.push_back({name, uint64_t{count}});
  }
  return figures;
}

// json: one object; ndjson: the same on one line; csv: key,value with nested keys joined by dots. Not for text.
std::string format_summary(const figure_list &figures, const output_format &format);

// A string as JSON.
std::string json_text(const std::string &text);

}  // namespace v6tool

#endif
