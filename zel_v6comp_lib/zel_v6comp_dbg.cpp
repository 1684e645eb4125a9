// SPDX-License-Identifier: Apache-2.0
#include "zel_v6comp_dbg.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr uint32_t level_errors = 3;
constexpr uint32_t level_everything = 7;

struct environment_switch {
  const char *variable;
  const char *banner;
  void (*set)(uint32_t on);
};

constexpr environment_switch environment_switches[] = {
    {"ZEL_V6COMP_DBG_TRACE", "\nZEL V6COMP LIB: enable trace debugging messages", zel_v6comp_dbg_trace_set},
    {"ZEL_V6COMP_DBG_INFO", "\nZEL V6COMP LIB: enable info debugging messages", zel_v6comp_dbg_info_set},
    {"ZEL_V6COMP_DBG_RESULT", "\nZEL V6COMP LIB: enable result debugging messages", zel_v6comp_dbg_result_set},
};

void set_default() {
  zel_memset(&tcamv6_debug_flags, 0, sizeof tcamv6_debug_flags);
  zel_v6comp_dbg_error_set(1);
}

}  // namespace

void zel_v6comp_dbg_init() {
  set_default();
  for (const environment_switch &entry : environment_switches) {
    if (zel_getenv(entry.variable) != nullptr) {
      zel_printf("%s", entry.banner);
      entry.set(1);
    }
  }
  zel_debug_all_register_cb(zel_v6comp_debug_all);
}

void zel_v6comp_dbg_trace_set(uint32_t on) { tcamv6_debug_flags.trace = on; }

void zel_v6comp_dbg_info_set(uint32_t on) {
  tcamv6_debug_flags.info = on;
  tcamv6_debug_flags.stats = on;
}

void zel_v6comp_dbg_error_set(uint32_t on) { tcamv6_debug_flags.error = on; }

void zel_v6comp_dbg_warning_set(uint32_t on) { tcamv6_debug_flags.error = on; }

void zel_v6comp_dbg_result_set(uint32_t on) {
  tcamv6_debug_flags.result = on;
  tcamv6_debug_flags.result_hw = on;
}

void zel_v6comp_dbg_set_by_level(uint32_t level) {
  const uint32_t all = level >= level_everything;
  tcamv6_debug_flags = {all, all, static_cast<uint32_t>(level >= level_errors), all, all, all};
}

void zel_v6comp_debug_all(int32_t on) {
  if (on == 0) {
    set_default();
  }
}

void tcamv6_write_to_file(int fd, const char *format, ...) {
  constexpr const char *function = "tcamv6_write_to_file";
  constexpr size_t most_characters = 255;
  if (format == nullptr) {
    TM_LOG(info, "%s: Bad arguments", function);
    return;
  }
  char line[most_characters + 2] = {};  // and the line end, and the terminator
  va_list args;
  va_start(args, format);
  vsnprintf(line, most_characters + 1, format, args);
  va_end(args);
  strcat(line, "\n");
  if (write(fd, line, strlen(line)) == -1) {
    syslog(LOG_ERR, "%s:%d write failed", function, 319);
  }
}
