// SPDX-License-Identifier: Apache-2.0
// A record is printed as "%s", 16 address bytes, " / %d" and often " %s"; its parts are taken from the arguments
// themselves, since to print thousands of records only to read them again would show in the times of batches.
#include "batch_watch.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "zel_v6comp.h"

namespace v6tool {

namespace {

batch_watch *current = nullptr;

bool begins_with(const char *text, std::string_view start) {
  return std::strncmp(text, start.data(), start.size()) == 0;
}

}  // namespace

batch_watch::batch_watch() : saved_error_(tcamv6_debug_flags.error), saved_result_(tcamv6_debug_flags.result) {
  tcamv6_debug_flags.error = 1;
  tcamv6_debug_flags.result = 1;
  current = this;
}

batch_watch::~batch_watch() {
  current = nullptr;
  tcamv6_debug_flags.error = saved_error_;
  tcamv6_debug_flags.result = saved_result_;
}

void batch_watch::take_record(const char *label, ip_key key, int length, const char *anchor_text) {
  const auto bits = static_cast<uint8_t>(length);
  if (std::strcmp(label, "tcamv6_incr_compress") == 0) {
    seen_.last = ip_prefix{masked(key, bits), bits};
    seen_.last_is_anchor = anchor_text[0] != '\0';
    seen_.no_path = false;
  } else if (std::strcmp(label, "Incr_cmpr: compressed:") == 0 && seen_.last) {
    seen_.added_lengths.emplace_back(*seen_.last, bits);
  }
}

bool batch_watch::take(const char *format, va_list arguments) {
  constexpr std::string_view record_start = "%s %02x%02x:";
  if (begins_with(format, record_start)) {
    const char *label = va_arg(arguments, const char *);
    uint8_t bytes[16];
    for (uint8_t &byte : bytes) {
      byte = static_cast<uint8_t>(va_arg(arguments, int));
    }
    const bool has_length = std::strstr(format, "/ %d") != nullptr;
    const int length = has_length ? va_arg(arguments, int) : 0;
    const char *anchor_text =
        has_length && std::strstr(format, "%d %s") != nullptr ? va_arg(arguments, const char *) : "";
    const bool is_result = begins_with(label, "Incr_cmpr:") || std::strcmp(label, "tcamv6_incr_compress") == 0;
    if (has_length && !undoing_) {
      take_record(label, key_from_bytes(bytes), length, anchor_text);
    }
    return (is_result ? saved_result_ : saved_error_) != 0;
  }
  if (begins_with(format, "%s starts statep")) {
    undoing_ = true;
  } else if (begins_with(format, "%s: No extending path") && !undoing_) {
    seen_.no_path = true;
  }
  return saved_error_ != 0 || tcamv6_debug_flags.info != 0 || tcamv6_debug_flags.trace != 0;
}

}  // namespace v6tool

extern "C" void zel_buginf(const char *format, ...) {
  static auto *const next = reinterpret_cast<decltype(zel_buginf) *>(dlsym(RTLD_NEXT, "zel_buginf"));
  static bool shown = true;  // the line end, a call of its own, shares the fate of its line
  va_list arguments;
  va_start(arguments, format);
  if (v6tool::current == nullptr) {
    shown = true;
  } else if (std::strcmp(format, "\n") != 0) {
    va_list copy;
    va_copy(copy, arguments);
    shown = v6tool::current->take(format, copy);
    va_end(copy);
  }
  if (shown && next != nullptr) {
    char text[1024];
    std::vsnprintf(text, sizeof text, format, arguments);
    next("%s", text);
  }
  va_end(arguments);
}
