// SPDX-License-Identifier: Apache-2.0
// Messages of the stand-alone host: all of them go to standard error, so that standard output stays free
// for a program's data.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "zel_standalone.h"

extern "C" {

ZEL_STANDALONE void zel_buginf(const char *format, ...) {
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
}

ZEL_STANDALONE void zel_printf(const char *format, ...) {
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
}

ZEL_STANDALONE void zel_fatal(const char *format, ...) {
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
  std::fputc('\n', stderr);
  std::abort();
}

}  // extern "C"
