// SPDX-License-Identifier: Apache-2.0
// What this tool prints as text: a prefix, its compressed prefix and its compressed address.
#include "formats.h"
#include "prefix_text.h"
#include "text_words.h"

namespace v6tool {

namespace {

bool is_code(std::string_view word) { return word.starts_with("0x"); }

bool recognises(std::string_view head) {
  std::string_view line = trimmed(first_data_line(head));
  ip_prefix prefix;
  const bool has_prefix = parse_loose_prefix(take_word(line), prefix).empty();
  return has_prefix && is_code(take_word(line)) && is_code(take_word(line)) && line.empty();
}

void read(byte_input &input, table_builder &table) {
  text_line line;
  while (input.take_line(line)) {
    std::string_view rest = trimmed(line.text);
    if (rest.empty() || rest.front() == '#') {
      continue;
    }
    const std::string_view prefix = take_word(rest);
    const std::string_view code = take_word(rest);
    const std::string_view address = take_word(rest);
    if (is_code(code) && is_code(address) && rest.empty() && !line.cut) {
      table.listed(line.number, {prefix, "", ""});
    } else {
      table.bad(line.number, printable(line.text) + ": expected prefix, compressed prefix and compressed address");
    }
  }
}

}  // namespace

const table_format rows_format = {"rows", "what v6comp compress and dump print as text", repeats::add_up, recognises,
                                  read};

}  // namespace v6tool
