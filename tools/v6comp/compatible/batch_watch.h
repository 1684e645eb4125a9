// SPDX-License-Identifier: Apache-2.0
// batch_watch.h - where in a batch the library was when it gave up.
//
// Results say that a batch was refused, not by which record: a batch also holds the anchors that the library adds, and
// is applied in an order of its own. But the library prints every record before it applies it, and a host may define
// the call that prints.
#ifndef BATCH_WATCH_H
#define BATCH_WATCH_H

#include <cstdarg>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "prefix_value.h"

namespace v6tool {

struct watched_batch {
  std::optional<ip_prefix> last;                             // the record that was begun last
  bool last_is_anchor = false;                               // was it one that the library added?
  bool no_path = false;                                      // did it find no free bits?
  std::vector<std::pair<ip_prefix, uint8_t>> added_lengths;  // of the records added before it: compressed length, bits
};

// Watches while it exists; one at a time. Messages that only the watch turned on are not shown.
class batch_watch {
 public:
  batch_watch();
  ~batch_watch();
  batch_watch(const batch_watch &) = delete;
  batch_watch &operator=(const batch_watch &) = delete;

  const watched_batch &seen() const { return seen_; }

  // A message of the library. True: show it.
  bool take(const char *format, va_list arguments);

 private:
  void take_record(const char *label, ip_key key, int length, const char *anchor_text);

  watched_batch seen_;
  uint32_t saved_error_;
  uint32_t saved_result_;
  bool undoing_ = false;
};

}  // namespace v6tool

#endif
