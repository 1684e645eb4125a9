// SPDX-License-Identifier: Apache-2.0
// zel_v6comp_write.hpp - what goes into a table and comes out of it: prefixes to load, changes, rows, and the writes
// for hardware. Included by zel_v6comp.hpp.
#ifndef ZEL_V6COMP_WRITE_HPP
#define ZEL_V6COMP_WRITE_HPP

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>

#include "zel_v6comp_prefix.hpp"
#include "zel_v6comp_table.h"

namespace v6comp {

/// A prefix to load, with the host's own word.
using entry = zel_v6comp_table_prefix;
/// A prefix that comes or goes: add(), remove().
using change = zel_v6comp_table_change;

namespace detail {
template <class Record>
Record record_of(const prefix &from, std::uint32_t word) {
  Record record{};
  std::copy(from.address.bytes.begin(), from.address.bytes.end(), std::begin(record.address));
  record.length = from.length;
  record.word = word;
  return record;
}

template <class Record>
prefix prefix_of(const Record &record) {
  return {address_of(record.address), record.length};
}
}  // namespace detail

inline entry entry_of(const prefix &prefix, std::uint32_t word = 0) { return detail::record_of<entry>(prefix, word); }

/// An addition for table::apply, with a word of the host's own.
inline change add(const prefix &prefix, std::uint32_t word = 0) {
  change record = detail::record_of<change>(prefix, word);
  record.operation = ZEL_V6COMP_TABLE_ADD;
  return record;
}

/// A removal for table::apply.
inline change remove(const prefix &prefix) {
  change record = detail::record_of<change>(prefix, 0);
  record.operation = ZEL_V6COMP_TABLE_REMOVE;
  return record;
}

/// A stored prefix and what it became.
struct row {
  v6comp::prefix prefix{};  // as it is stored
  v6comp::code code{};      // what rules on the prefix match
  std::uint64_t key = 0;    // what stage 1 answers for addresses of which this is the longest prefix
  std::uint32_t word = 0;   // the host's own

  row() = default;
  /// From the C interface's record.
  explicit row(const zel_v6comp_table_row &record)
      : prefix(detail::prefix_of(record)), code{record.code, record.code_length}, key(record.key), word(record.word) {}

  /// Field by field.
  friend bool operator==(const row &, const row &) = default;
};

/// What a write does.
enum class write_kind : std::uint8_t {
  add_code = ZEL_V6COMP_TABLE_ADD_CODE,       // stage 2: rules on the prefix match this code too
  add_key = ZEL_V6COMP_TABLE_ADD_KEY,         // stage 1: a new entry, prefix -> key
  change_key = ZEL_V6COMP_TABLE_CHANGE_KEY,   // stage 1: the prefix's entry gets this key
  remove_key = ZEL_V6COMP_TABLE_REMOVE_KEY,   // stage 1: the prefix's entry goes
  remove_code = ZEL_V6COMP_TABLE_REMOVE_CODE  // stage 2: rules on the prefix no longer match this code
};

/// "add code", "change key" and so on.
inline const char *to_string(write_kind kind) {
  switch (kind) {
    case write_kind::add_code:
      return "add code";
    case write_kind::add_key:
      return "add key";
    case write_kind::change_key:
      return "change key";
    case write_kind::remove_key:
      return "remove key";
    case write_kind::remove_code:
      return "remove code";
  }
  return "unknown write";
}

/// One write to hardware.
struct write {
  write_kind kind{};        // what it does
  v6comp::prefix prefix{};  // whose code or key it is
  v6comp::code code{};      // add_code, remove_code; else empty
  std::uint64_t key = 0;    // add_key, change_key: to be written; remove_key: the last one; else 0
  std::uint32_t word = 0;   // the prefix's; of one that is removed the last one

  write() = default;
  /// From the C interface's record.
  explicit write(const zel_v6comp_table_write &record)
      : kind(static_cast<write_kind>(record.kind)),
        prefix(detail::prefix_of(record)),
        code{record.code, record.code_length},
        key(record.key),
        word(record.word) {}

  /// Which of the two lookup stages it goes to: 1 (prefix -> key) or 2 (codes).
  int stage() const { return kind == write_kind::add_code || kind == write_kind::remove_code ? 2 : 1; }

  /// Field by field.
  friend bool operator==(const write &, const write &) = default;
};

/// The writes of an outcome: a random-access range of v6comp::write, made as they are looked at.
class write_list {
 public:
  class iterator {
   public:
    using iterator_concept = std::random_access_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = write;
    using difference_type = std::ptrdiff_t;
    using reference = write;
    using pointer = void;

    iterator() = default;
    explicit iterator(const zel_v6comp_table_write *at) : at_(at) {}

    write operator*() const { return write(*at_); }
    write operator[](difference_type n) const { return write(at_[n]); }
    iterator &operator++() { return *this += 1; }
    iterator operator++(int) { return iterator(at_++); }
    iterator &operator--() { return *this -= 1; }
    iterator operator--(int) { return iterator(at_--); }
    iterator &operator+=(difference_type n) {
      at_ += n;
      return *this;
    }
    iterator &operator-=(difference_type n) {
      at_ -= n;
      return *this;
    }
    friend iterator operator+(iterator it, difference_type n) { return it += n; }
    friend iterator operator+(difference_type n, iterator it) { return it += n; }
    friend iterator operator-(iterator it, difference_type n) { return it -= n; }
    friend difference_type operator-(iterator a, iterator b) { return a.at_ - b.at_; }
    friend auto operator<=>(iterator, iterator) = default;

   private:
    const zel_v6comp_table_write *at_ = nullptr;
  };

  write_list() = default;
  /// Over records of the C interface, which it does not copy.
  explicit write_list(std::span<const zel_v6comp_table_write> records) : records_(records) {}

  /// The first write.
  iterator begin() const { return iterator(records_.data()); }
  /// Behind the last one.
  iterator end() const { return iterator(records_.data() + records_.size()); }
  /// Number of writes.
  std::size_t size() const { return records_.size(); }
  /// Is there none?
  bool empty() const { return records_.empty(); }
  /// Write n, from 0 on.
  write operator[](std::size_t n) const { return write(records_[n]); }

  /// The library's own records.
  std::span<const zel_v6comp_table_write> records() const { return records_; }

 private:
  std::span<const zel_v6comp_table_write> records_{};
};

}  // namespace v6comp

#endif
