// SPDX-License-Identifier: Apache-2.0
// zel_v6comp_prefix.hpp - what zel_v6comp.hpp speaks of: errors, results, addresses, prefixes and codes, and their
// texts.
#ifndef ZEL_V6COMP_PREFIX_HPP
#define ZEL_V6COMP_PREFIX_HPP

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

#include "zel_v6comp_table.h"

namespace v6comp {

/// Why a call was refused. A text that is no address or prefix is std::errc::invalid_argument instead.
enum class status : std::int32_t {
  null = ZEL_V6COMP_TABLE_E_NULL,  // a table that was moved from, closed, or not opened
  length = ZEL_V6COMP_TABLE_E_LENGTH,
  host_bits = ZEL_V6COMP_TABLE_E_HOST_BITS,
  operation = ZEL_V6COMP_TABLE_E_OPERATION,
  count = ZEL_V6COMP_TABLE_E_COUNT,
  size = ZEL_V6COMP_TABLE_E_SIZE,
  row = ZEL_V6COMP_TABLE_E_ROW,
  no_table = ZEL_V6COMP_TABLE_E_NO_TABLE,
  grid = ZEL_V6COMP_TABLE_E_GRID,
  taken = ZEL_V6COMP_TABLE_E_TAKEN,
  busy = ZEL_V6COMP_TABLE_E_BUSY,
  foreign = ZEL_V6COMP_TABLE_E_FOREIGN,
  bits = ZEL_V6COMP_TABLE_E_BITS,
  moves = ZEL_V6COMP_TABLE_E_MOVES,
  room = ZEL_V6COMP_TABLE_E_ROOM,
  pools = ZEL_V6COMP_TABLE_E_POOLS,
  memory = ZEL_V6COMP_TABLE_E_MEMORY,
  internal = ZEL_V6COMP_TABLE_E_INTERNAL
};

namespace detail {
class status_category final : public std::error_category {
 public:
  const char *name() const noexcept override { return "v6comp"; }
  std::string message(int value) const override {
    return value == ZEL_V6COMP_TABLE_E_NULL ? "no table: moved from, closed, or never opened"
                                            : zel_v6comp_table_text(value);
  }
};
}  // namespace detail

inline const std::error_category &category() noexcept {
  static const detail::status_category the_category;
  return the_category;
}

/// Lets a status be compared with error codes.
inline std::error_code make_error_code(status value) noexcept { return {static_cast<int>(value), category()}; }

namespace detail {
inline std::error_code error_of(std::int32_t answer) noexcept {
  return answer < 0 ? std::error_code(answer, category()) : std::error_code();
}
}  // namespace detail
}  // namespace v6comp

template <>
struct std::is_error_code_enum<v6comp::status> : std::true_type {};

namespace v6comp {

/// A value, or none: because of an error, or because it is not there (then error() is false).
template <class T>
class [[nodiscard]] result {
 public:
  result() = default;
  /// It is there.
  result(T value) : value_(std::move(value)), has_value_(true) {}
  /// There is none, and why.
  result(std::error_code error) : error_(error) {}

  /// Is there one?
  bool has_value() const noexcept { return has_value_; }
  /// Likewise.
  explicit operator bool() const noexcept { return has_value_; }
  /// Why there is none; false when it is there, or simply is not.
  std::error_code error() const noexcept { return error_; }

  /// The value; default-constructed when there is none.
  /// @{
  T &operator*() &noexcept { return value_; }
  const T &operator*() const &noexcept { return value_; }
  T &&operator*() &&noexcept { return std::move(value_); }
  T *operator->() noexcept { return &value_; }
  const T *operator->() const noexcept { return &value_; }
  /// @}

 private:
  T value_{};
  std::error_code error_{};
  bool has_value_ = false;
};

/// An address.
struct address {
  std::array<std::uint8_t, 16> bytes{};  // most significant first

  /// As inet_pton reads it.
  static result<address> parse(std::string_view text);

  /// By their bytes, the first one first.
  friend auto operator<=>(const address &, const address &) = default;
};
static_assert(sizeof(address) == 16);

namespace detail {
inline std::uint8_t leading_ones(std::uint32_t n) { return static_cast<std::uint8_t>(n >= 8 ? 0xffu : 0xff00u >> n); }

/// Are the first `length` bits of both the same?
inline bool agree(const address &a, const address &b, std::uint32_t length) {
  for (std::uint32_t i = 0; i < 16 && i * 8 < length; ++i) {
    const auto differing = static_cast<std::uint32_t>(a.bytes[i] ^ b.bytes[i]);
    if ((differing & leading_ones(length - i * 8)) != 0) {
      return false;
    }
  }
  return true;
}

inline std::uint64_t leading_bits(std::uint64_t bits, std::uint32_t length) {
  return length == 0 ? 0 : length >= 64 ? bits : bits & (~std::uint64_t{0} << (64 - length));
}

inline address address_of(const std::uint8_t (&bytes)[16]) {
  address copy;
  std::copy(std::begin(bytes), std::end(bytes), copy.bytes.begin());
  return copy;
}
}  // namespace detail

/// A prefix. Ordered as tables are walked: by address, containing prefixes first.
struct prefix {
  v6comp::address address{};  // bits beyond length are 0
  std::uint8_t length = 0;    // 0..128

  /// "2001:db8::/32". Errors: std::errc::invalid_argument (no such text), status::length, status::host_bits.
  static result<prefix> parse(std::string_view text);

  /// Does an address lie in it?
  bool covers(const v6comp::address &other) const { return detail::agree(address, other, length); }
  /// Is another one equal to it, or inside it?
  bool covers(const prefix &other) const { return length <= other.length && covers(other.address); }

  /// By address, then length.
  friend auto operator<=>(const prefix &, const prefix &) = default;
};

/// The beginning that a rule matches in keys.
struct code {
  std::uint64_t bits = 0;   // the highest bit comes first; what is beyond length is 0
  std::uint8_t length = 0;  // 0..64

  /// Does a key begin with it?
  bool covers(std::uint64_t key) const { return detail::leading_bits(key, length) == bits; }
  /// Does another one begin with it?
  bool covers(const code &other) const { return length <= other.length && covers(other.bits); }

  /// By bits, then length.
  friend auto operator<=>(const code &, const code &) = default;
};

inline result<address> address::parse(std::string_view text) {
  char digits[INET6_ADDRSTRLEN] = {};
  address parsed;
  if (text.size() >= sizeof digits || text.find('\0') != text.npos) {
    return std::make_error_code(std::errc::invalid_argument);
  }
  text.copy(digits, text.size());
  if (inet_pton(AF_INET6, digits, parsed.bytes.data()) != 1) {
    return std::make_error_code(std::errc::invalid_argument);
  }
  return parsed;
}

inline result<prefix> prefix::parse(std::string_view text) {
  const std::size_t slash = text.find('/');
  const result<v6comp::address> parsed = v6comp::address::parse(text.substr(0, slash));
  const std::string_view digits = slash == text.npos ? std::string_view() : text.substr(slash + 1);
  unsigned length = 0;
  const auto [end, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  const bool is_number = problem == std::errc() && end == digits.data() + digits.size();
  if (!parsed || !is_number || digits.size() > 3 || (digits.size() > 1 && digits.front() == '0')) {
    return std::make_error_code(std::errc::invalid_argument);
  }
  if (length > 128) {
    return make_error_code(status::length);
  }
  for (std::uint32_t i = 0; i < 16; ++i) {
    const std::uint8_t host = static_cast<std::uint8_t>(i * 8 >= length ? 0xff : ~detail::leading_ones(length - i * 8));
    if ((parsed->bytes[i] & host) != 0) {
      return make_error_code(status::host_bits);
    }
  }
  return prefix{*parsed, static_cast<std::uint8_t>(length)};
}

/// As inet_ntop writes it.
inline std::string to_string(const address &value) {
  char digits[INET6_ADDRSTRLEN] = {};
  inet_ntop(AF_INET6, value.bytes.data(), digits, sizeof digits);
  return digits;
}

/// "2001:db8::/32".
inline std::string to_string(const prefix &value) {
  return to_string(value.address) + '/' + std::to_string(unsigned{value.length});
}

/// "0xHEX/LENGTH", with as many digits as the length needs.
inline std::string to_string(const code &value) {
  static constexpr char hex[] = "0123456789abcdef";
  std::string text = "0x";
  for (std::uint32_t bit = 0; bit < std::max<std::uint32_t>(value.length, 1); bit += 4) {
    text += hex[value.bits >> (60 - bit) & 0xf];
  }
  return text + '/' + std::to_string(unsigned{value.length});
}

}  // namespace v6comp

#endif
