// SPDX-License-Identifier: Apache-2.0
// The library announces the debug variables that it finds by a line end and a text, and leaves the line open. Lines of
// its log follow; so here, where a host's definition wins, every announcement becomes a line of its own.
#include <cstdarg>
#include <cstdio>
#include <string>

#include "tool_options.h"
#include "zel_platform.h"

extern "C" void zel_printf(const char *format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  std::string line = text;
  line.erase(0, line.find_first_not_of('\n'));
  line.erase(line.find_last_not_of('\n') + 1);
  v6tool::say(line);
}
