// SPDX-License-Identifier: Apache-2.0
#include "terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <string_view>

namespace v6tool {

namespace {

std::string_view environment(const char *name) {
  const char *value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

bool is_terminal(int descriptor) { return isatty(descriptor) != 0; }

unsigned terminal_width(int descriptor) {
  if (!is_terminal(descriptor)) {
    return 0;
  }
  const std::string_view columns = environment("COLUMNS");
  unsigned width = 0;
  const auto [at, error] = std::from_chars(columns.data(), columns.data() + columns.size(), width);
  if (!columns.empty() && error == std::errc() && at == columns.data() + columns.size()) {
    return width;
  }
  struct winsize size = {};
  return ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

unsigned help_width() {
  const unsigned width = terminal_width(STDOUT_FILENO);
  return width == 0 ? 80 : std::clamp(width, 50U, 110U);
}

bool may_colour() {
  return is_terminal(STDOUT_FILENO) && environment("NO_COLOR").empty() && environment("TERM") != "dumb" &&
         !environment("TERM").empty();
}

}  // namespace v6tool
