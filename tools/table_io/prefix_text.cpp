// SPDX-License-Identifier: Apache-2.0
#include "prefix_text.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstring>

namespace v6tool {

namespace {

constexpr char hex_digits[] = "0123456789abcdef";

void append_hex(std::string &text, uint64_t word, unsigned digits) {
  for (unsigned i = 0; i < digits; ++i) {
    text += hex_digits[word >> (60 - 4 * i) & 0xF];
  }
}

// Digits only, at most `max`. Unlike plain from_chars, text that is too large differs from text that is no number.
enum class number_fault { none, not_a_number, too_large };

number_fault parse_number(std::string_view text, uint32_t max, uint32_t &out) {
  uint32_t value = 0;
  const char *end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, value);
  if (at != end || error == std::errc::invalid_argument) {
    return number_fault::not_a_number;
  }
  if (error == std::errc::result_out_of_range || value > max) {
    return number_fault::too_large;
  }
  out = value;
  return number_fault::none;
}

// inet_pton on text that ends where it ends.
bool to_address_bytes(int family, std::string_view text, uint8_t *bytes) {
  char terminated[INET6_ADDRSTRLEN];
  if (text.size() >= sizeof terminated || text.find('\0') != std::string_view::npos) {
    return false;
  }
  std::memcpy(terminated, text.data(), text.size());
  terminated[text.size()] = '\0';
  return inet_pton(family, terminated, bytes) == 1;
}

}  // namespace

bool parse_address(std::string_view text, ip_key &out) {
  uint8_t bytes[16];
  if (!to_address_bytes(AF_INET6, text, bytes)) {
    return false;
  }
  out = key_from_bytes(bytes);
  return true;
}

bool is_ipv4_address(std::string_view text) {
  uint8_t bytes[4];
  return to_address_bytes(AF_INET, text, bytes);
}

bool is_ipv4_prefix(std::string_view text) {
  const size_t slash = std::min(text.find('/'), text.size());
  uint32_t length = 0;
  return is_ipv4_address(text.substr(0, slash)) &&
         (slash == text.size() || parse_number(text.substr(slash + 1), 32, length) == number_fault::none);
}

std::string parse_loose_prefix(std::string_view text, ip_prefix &out) {
  const size_t slash = text.find('/');
  if (slash == std::string_view::npos) {
    return "no /length";
  }
  ip_prefix prefix;
  if (!parse_address(text.substr(0, slash), prefix.key)) {
    return "not an IPv6 address";
  }
  const std::string_view length_text = text.substr(slash + 1);
  if (length_text.size() > 1 && length_text.front() == '0') {
    return "bad prefix length, expected 0 to 128 without a leading zero";
  }
  uint32_t length = 0;
  switch (parse_number(length_text, 128, length)) {
    case number_fault::not_a_number:
      return "bad prefix length, expected 0 to 128";
    case number_fault::too_large:
      return "prefix length above 128";
    case number_fault::none:
      break;
  }
  prefix.length = static_cast<uint8_t>(length);
  out = prefix;
  return "";
}

std::string host_bits_fault(const ip_prefix &loose) {
  return masked(loose.key, loose.length) == loose.key ? "" : "bits set beyond /" + std::to_string(loose.length);
}

std::string parse_prefix(std::string_view text, ip_prefix &out) {
  ip_prefix prefix;
  std::string fault = parse_loose_prefix(text, prefix);
  if (fault.empty()) {
    fault = host_bits_fault(prefix);
  }
  if (fault.empty()) {
    out = prefix;
  }
  return fault;
}

std::string parse_weight(std::string_view text, uint32_t &out) {
  uint32_t weight = 0;
  switch (parse_number(text, UINT32_MAX, weight)) {
    case number_fault::not_a_number:
      return "bad weight, expected a whole number from 1 to 4294967295";
    case number_fault::too_large:
      return "weight above 4294967295";
    case number_fault::none:
      break;
  }
  if (weight == 0) {
    return "a weight of 0 would make the prefix an anchor; the least is 1";
  }
  out = weight;
  return "";
}

std::string format_address(ip_key address) {
  uint8_t bytes[16];
  char text[INET6_ADDRSTRLEN];
  key_to_bytes(address, bytes);
  return inet_ntop(AF_INET6, bytes, text, sizeof text);
}

std::string format_prefix(const ip_prefix &prefix) {
  return format_address(prefix.key) + '/' + std::to_string(prefix.length);
}

std::string format_code(const ip_prefix &code) {
  std::string text = "0x";
  const unsigned digits = std::max(1U, (code.length + 3U) / 4U);
  append_hex(text, code.key.hi, std::min(digits, 16U));
  append_hex(text, code.key.lo, digits > 16 ? digits - 16 : 0);
  return text + '/' + std::to_string(code.length);
}

std::string format_code_address(ip_key address) {
  std::string text = "0x";
  append_hex(text, address.hi, 16);
  return text;
}

std::string escaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7F) {
      out += c;
    } else {
      out += "\\x";
      out += hex_digits[byte >> 4];
      out += hex_digits[byte & 0xF];
    }
  }
  return out;
}

std::string printable(std::string_view text) {
  constexpr size_t most = 60;
  if (text.empty()) {
    return "''";
  }
  return text.size() > most ? escaped(text.substr(0, most)) + "..." : escaped(text);
}

}  // namespace v6tool
