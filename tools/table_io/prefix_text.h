// SPDX-License-Identifier: Apache-2.0
// prefix_text.h - addresses, prefixes and weights as people write them.
#ifndef PREFIX_TEXT_H
#define PREFIX_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

#include "prefix_value.h"

namespace v6tool {

// Read an address in any form that inet_pton takes. False: it is none, and `out` is untouched.
bool parse_address(std::string_view text, ip_key &out);

// Read `address/length`. Returns what is wrong with it in words, "" when it is good.
std::string parse_prefix(std::string_view text, ip_prefix &out);

// The same, but bits beyond the length are left standing.
std::string parse_loose_prefix(std::string_view text, ip_prefix &out);

// What is wrong in words when bits are set beyond the length, else "".
std::string host_bits_fault(const ip_prefix &loose);

bool is_ipv4_address(std::string_view text);
bool is_ipv4_prefix(std::string_view text);  // an address, perhaps with a length

// Read a weight, 1 .. 2^32 - 1. Returns what is wrong with it in words, "" when it is good.
std::string parse_weight(std::string_view text, uint32_t &out);

// As inet_ntop prints it.
std::string format_address(ip_key address);
std::string format_prefix(const ip_prefix &prefix);

// A compressed prefix, `0xHEX/LENGTH`: as many digits as hold its bits, at least one. /0 is `0x0/0`.
std::string format_code(const ip_prefix &code);

// A compressed address: its first 64 bits, `0x` and 16 digits.
std::string format_code_address(ip_key address);

// Text with its unprintable bytes, line ends too, as \xHH.
std::string escaped(std::string_view text);

// Text from outside, fit for a message: escaped, and cut after 60 characters. '' is none.
std::string printable(std::string_view text);

}  // namespace v6tool

#endif
