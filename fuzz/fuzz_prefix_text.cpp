// SPDX-License-Identifier: Apache-2.0
// Addresses, prefixes and weights as text, against the C library's own reading of them.
#include <arpa/inet.h>

#include <cstring>

#include "fuzz_target.h"
#include "prefix_text.h"

using namespace v6tool;
using fuzz_target::expect;

namespace {

void check_address(const std::string &text) {
  ip_key key = {1, 2};
  const bool taken = parse_address(text, key);
  uint8_t bytes[16];
  const bool expected = text.find('\0') == std::string::npos && inet_pton(AF_INET6, text.c_str(), bytes) == 1;
  expect(taken == expected, "an address is taken otherwise than by the C library: " + printable(text));
  if (!taken) {
    expect((key == ip_key{1, 2}), "a refused address was written");
    return;
  }
  expect(key == key_from_bytes(bytes), "an address has another value");
  ip_key again;
  expect(parse_address(format_address(key), again) && again == key, "an address does not survive printing");
}

void check_prefix(const std::string &text) {
  ip_prefix prefix;
  if (!parse_prefix(text, prefix).empty()) {
    return;
  }
  expect(prefix.length <= 128 && masked(prefix.key, prefix.length) == prefix.key, "bits beyond the length");
  ip_prefix again;
  expect(parse_prefix(format_prefix(prefix), again).empty() && again == prefix, "a prefix does not survive printing");
}

void check_weight(const std::string &text) {
  uint32_t weight = 0;
  const bool taken = parse_weight(text, weight).empty();
  const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  expect(!taken || (digits && weight != 0), "a weight that is none");
  if (taken) {
    const size_t first = text.find_first_not_of('0');
    expect(text.substr(first) == std::to_string(weight), "a weight has another value");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text(reinterpret_cast<const char *>(data), size);
  check_address(text);
  check_prefix(text);
  check_weight(text);
  for (const char c : printable(text)) {
    expect(c >= 0x20 && c < 0x7F, "printable() is not");
  }
  return 0;
}
