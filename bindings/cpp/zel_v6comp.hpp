// SPDX-License-Identifier: Apache-2.0
// zel_v6comp.hpp - zel_v6comp_table.h for C++20: tables of IPv6 prefixes, their 64-bit codes, the writes for hardware.
//
//   v6comp::result<v6comp::table> table = v6comp::table::open();
//   v6comp::outcome loaded = table->load(prefixes);
//   for (const v6comp::write &write : loaded.writes()) program(write);      one by one, in this order
//   v6comp::outcome changed = table->apply(std::array{v6comp::add(branch), v6comp::remove(office)});
//   if (!changed) std::cerr << changed.reason() << '\n';                    refused: nothing has changed
//   if (auto row = table->lookup(address)) use(row->key);
//
// Conventions
// (1) Nothing throws, and run-time types are not needed. What may fail answers with a std::error_code, a result, or an
//     outcome; all of them are true when it worked. Errors are those of v6comp::status, in v6comp::category().
// (2) "Not there" is no error: a result that is false and whose error() is false too.
// (3) What a result holds is default-constructed when the call failed, and may be looked at.
// (4) Everything but the texts works without allocating; what the library itself allocates is said in its header.
// (5) Threads are as zel_v6comp_table.h has it: one call at a time may change tables, in the whole process, and const
//     functions may run at the same time as each other.
#ifndef ZEL_V6COMP_HPP
#define ZEL_V6COMP_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
#include <system_error>
#include <utility>

#include "zel_v6comp_prefix.hpp"
#include "zel_v6comp_table.h"
#include "zel_v6comp_write.hpp"

namespace v6comp {

/// What became of a load, an apply or a compact: true when it was accepted. Refused, it has changed nothing.
class [[nodiscard]] outcome {
 public:
  /// Was it accepted?
  explicit operator bool() const noexcept { return record_.status == ZEL_V6COMP_TABLE_OK; }
  /// Why not; false when it was.
  std::error_code error() const noexcept { return detail::error_of(record_.status); }

  /// Refused: the index of the record at fault, if it is one alone.
  std::optional<std::size_t> record() const {
    return record_.record == SIZE_MAX ? std::nullopt : std::optional(record_.record);
  }
  /// Refused: why, in words. Good as long as the outcome.
  const char *reason() const &noexcept { return record_.reason; }
  const char *reason() && = delete;

  /// In the order to follow. Good until the table's next changing call.
  write_list writes() const { return write_list({record_.writes, record_.n_writes}); }

  /// The counts: added, removed, present, absent, moved, rekeyed, parked, early, peak_codes.
  const zel_v6comp_table_outcome *operator->() const noexcept { return &record_; }

 private:
  friend class table;
  outcome() { record_.record = SIZE_MAX; }
  zel_v6comp_table_outcome record_ = ZEL_V6COMP_TABLE_OUTCOME_INIT;
};

/// The rows of a table, once: an input range. After the walk error() tells whether it came to the end.
class row_walk {
 public:
  class iterator {
   public:
    using iterator_concept = std::input_iterator_tag;
    using value_type = row;
    using difference_type = std::ptrdiff_t;

    iterator() = default;
    explicit iterator(row_walk *walk) : walk_(walk) {}

    row operator*() const { return row(walk_->rows_[walk_->at_]); }
    iterator &operator++() {
      walk_->advance();
      return *this;
    }
    void operator++(int) { walk_->advance(); }
    bool operator==(std::default_sentinel_t) const { return walk_->at_ >= walk_->n_; }

   private:
    row_walk *walk_ = nullptr;
  };

  /// The first row.
  iterator begin() {
    if (place_.begun == 0) {
      fetch();
    }
    return iterator(this);
  }
  /// The end of the walk.
  std::default_sentinel_t end() const { return {}; }
  /// Why the walk ended before its time; false when it came to the end.
  std::error_code error() const { return detail::error_of(answer_); }

 private:
  friend class table;
  explicit row_walk(const zel_v6comp_table *table) : table_(table) {}

  void advance() {
    if (++at_ == n_) {
      fetch();
    }
  }

  void fetch() {
    answer_ = zel_v6comp_table_rows(table_, &place_, rows_.data(), static_cast<std::uint32_t>(rows_.size()));
    n_ = answer_ > 0 ? static_cast<std::size_t>(answer_) : 0;
    at_ = 0;
  }

  const zel_v6comp_table *table_;
  zel_v6comp_table_place place_ = ZEL_V6COMP_TABLE_PLACE_INIT;
  std::array<zel_v6comp_table_row, 64> rows_{};
  std::size_t at_ = 0;
  std::size_t n_ = 0;
  std::int32_t answer_ = 0;
};

/// Figures of a table, as the library's header says.
using table_stats = zel_v6comp_table_stats_record;

/// How much a log line matters.
enum class log_level : std::int32_t {
  error = ZEL_V6COMP_TABLE_LOG_ERROR,      // a refused call
  warning = ZEL_V6COMP_TABLE_LOG_WARNING,  // it worked, but look at it
  info = ZEL_V6COMP_TABLE_LOG_INFO         // an accepted change and its counts
};

/// Where a table lives in the library's grid.
struct grid_place {
  std::int32_t processor = 0;  // 0..3
  std::int32_t instance = 0;   // 0..1
};

/// How to open a table.
struct options {
  std::optional<grid_place> place{};                       // none: the first free one
  std::uint32_t expected_prefixes = 0;                     // of all tables of the process together; 0 = 16,384
  std::uint32_t move_limit = 0;                            // most stored prefixes that one apply may move; 0 = no limit
  zel_v6comp_table_log log = nullptr;                      // takes one line; must not call the library
  void *log_user = nullptr;                                // handed to log
  v6comp::log_level log_level = v6comp::log_level::error;  // lines up to this one are passed on
};

/// A table. Moved, never copied; closes itself.
class table {
 public:
  table() = default;
  /// The other one is left without a table.
  table(table &&other) noexcept : table_(std::exchange(other.table_, nullptr)) {}
  /// Likewise; what was open here is closed.
  table &operator=(table &&other) noexcept {
    if (this != &other) {
      zel_v6comp_table_close(std::exchange(table_, std::exchange(other.table_, nullptr)));
    }
    return *this;
  }
  ~table() { zel_v6comp_table_close(table_); }

  /// An empty table. Errors: grid, taken (all eight places, if none was asked for), busy, memory.
  static result<table> open(const options &how = {});

  /// Before the end of its life, for those who want to know whether it worked. Without a table: nothing.
  std::error_code close() {
    const std::int32_t answer = zel_v6comp_table_close(table_);
    table_ = answer < 0 ? table_ : nullptr;
    return detail::error_of(answer);
  }

  /// Is there a table?
  bool is_open() const noexcept { return table_ != nullptr; }

  /// Make the table hold exactly these prefixes.
  outcome load(std::span<const entry> entries) {
    outcome what;
    return finish(what, zel_v6comp_table_load(table_, entries.data(), entries.size(), &what.record_));
  }

  /// Add and remove prefixes, all or nothing; of several changes of one prefix the last one counts.
  outcome apply(std::span<const change> changes) {
    outcome what;
    return finish(what, zel_v6comp_table_apply(table_, changes.data(), changes.size(), &what.record_));
  }

  /// Compress the table anew: short codes come back.
  outcome compact() {
    outcome what;
    return finish(what, zel_v6comp_table_compact(table_, &what.record_));
  }

  /// The row of exactly this prefix.
  result<row> find(const prefix &wanted) const {
    zel_v6comp_table_row record;
    return one_row(zel_v6comp_table_find(table_, wanted.address.bytes.data(), wanted.length, &record), record);
  }

  /// The row of the longest prefix that covers an address.
  result<row> lookup(const address &wanted) const {
    zel_v6comp_table_row record;
    return one_row(zel_v6comp_table_lookup(table_, wanted.bytes.data(), &record), record);
  }

  /// All rows, in the order of their addresses, containing prefixes first.
  row_walk rows() const { return row_walk(table_); }

  /// Addresses to keys. Both outputs need room for all of them (or status::count); `covered` may be left out and gets
  /// 1 where a prefix covers the address.
  std::error_code translate(std::span<const address> addresses, std::span<std::uint64_t> keys,
                            std::span<std::uint8_t> covered = {}) const {
    if (keys.size() < addresses.size() || (!covered.empty() && covered.size() < addresses.size())) {
      return status::count;
    }
    return detail::error_of(zel_v6comp_table_translate(table_, reinterpret_cast<const std::uint8_t *>(addresses.data()),
                                                       addresses.size(), keys.data(),
                                                       covered.empty() ? nullptr : covered.data()));
  }

  /// Figures of the table and of the pools.
  result<table_stats> stats() const {
    table_stats record = ZEL_V6COMP_TABLE_STATS_INIT;
    const std::int32_t answer = zel_v6comp_table_stats(table_, &record);
    return answer < 0 ? result<table_stats>(detail::error_of(answer)) : result<table_stats>(record);
  }

  /// Build the read index: quicker answers until the next change.
  std::error_code index() { return detail::error_of(zel_v6comp_table_index(table_)); }

  /// For calls of the C interface; stays the table's.
  zel_v6comp_table *handle() const noexcept { return table_; }

 private:
  explicit table(zel_v6comp_table *opened) : table_(opened) {}

  // A call that does not even begin may leave the outcome as it was.
  static outcome finish(outcome &what, std::int32_t answer) {
    what.record_.status = answer;
    return what;
  }

  static result<row> one_row(std::int32_t answer, const zel_v6comp_table_row &record) {
    if (answer < 0) {
      return detail::error_of(answer);
    }
    return answer > 0 ? result<row>(row(record)) : result<row>();
  }

  static std::int32_t open_at(grid_place place, const options &how, zel_v6comp_table **opened);
  static std::int32_t open_anywhere(const options &how, zel_v6comp_table **opened);

  zel_v6comp_table *table_ = nullptr;
};

inline std::int32_t table::open_at(grid_place place, const options &how, zel_v6comp_table **opened) {
  zel_v6comp_table_options record = ZEL_V6COMP_TABLE_OPTIONS_INIT;
  record.expected_prefixes = how.expected_prefixes;
  record.move_limit = how.move_limit;
  record.log = how.log;
  record.log_user = how.log_user;
  record.log_level = static_cast<std::int32_t>(how.log_level);
  return zel_v6comp_table_open(place.processor, place.instance, &record, opened);
}

// Places that are taken are no news: only the one that is free is opened with the log function.
inline std::int32_t table::open_anywhere(const options &how, zel_v6comp_table **opened) {
  options quiet = how;
  quiet.log = nullptr;
  for (std::int32_t at = 0; at < 8; ++at) {
    const grid_place place{at / 2, at % 2};
    std::int32_t answer = open_at(place, quiet, opened);
    if (answer == ZEL_V6COMP_TABLE_OK && how.log != nullptr) {
      zel_v6comp_table_close(*opened);
      answer = open_at(place, how, opened);
    }
    if (answer != ZEL_V6COMP_TABLE_E_TAKEN && answer != ZEL_V6COMP_TABLE_E_GRID) {
      return answer;
    }
  }
  return ZEL_V6COMP_TABLE_E_TAKEN;
}

inline result<table> table::open(const options &how) {
  zel_v6comp_table *opened = nullptr;
  const std::int32_t answer = how.place ? open_at(*how.place, how, &opened) : open_anywhere(how, &opened);
  return answer < 0 ? result<table>(detail::error_of(answer)) : result<table>(table(opened));
}

}  // namespace v6comp

#endif
