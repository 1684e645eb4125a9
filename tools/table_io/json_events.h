// SPDX-License-Identifier: Apache-2.0
// json_events.h - JSON as it comes by: one document, or one after the other (ndjson). Nothing is kept.
#ifndef JSON_EVENTS_H
#define JSON_EVENTS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "byte_input.h"

namespace v6tool {

// Depth: how many arrays and objects are open around a key or value; 1 inside the outermost.
class json_visitor {
 public:
  json_visitor() = default;
  json_visitor(const json_visitor &) = delete;
  json_visitor &operator=(const json_visitor &) = delete;
  virtual ~json_visitor() = default;

  // The depth of `begin` and `end` is that inside what begins or ends.
  virtual void begin(bool /*object*/, size_t /*depth*/, uint64_t /*line*/) {}
  virtual void end(size_t /*depth*/) {}
  virtual void key(std::string_view /*text*/, size_t /*depth*/, uint64_t /*line*/) {}
  // A string or a number; other values pass unseen.
  virtual void value(std::string_view /*text*/, size_t /*depth*/, uint64_t /*line*/) {}
};

struct json_fault {
  uint64_t line = 0;
  std::string reason;  // "": none
};

// Visit all that is left. Texts of more than 1 MiB and nesting deeper than 64 are faults.
json_fault read_json(byte_input &input, json_visitor &visitor);

// What can be seen of JSON in the first bytes of a file.
struct json_outline {
  char outermost = '\0';                             // [ or {, or 0 for what is not JSON
  bool empty = false;                                // nothing between the outermost brackets
  bool begins_with_text = false;                     // an array whose first value is a string
  std::vector<std::pair<size_t, std::string>> keys;  // depth and name, as they come

  bool has_key(size_t depth, std::string_view name) const;
};

json_outline outline_json(std::string_view head);

}  // namespace v6tool

#endif
