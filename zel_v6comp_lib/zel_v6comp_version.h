// SPDX-License-Identifier: Apache-2.0
/* zel_v6comp_version.h - the version of these headers. The one place where it stands: the build reads it from here.
 *
 * The shared library's own version can be another: zel_v6comp_version() tells which one is loaded. The same major
 * number means that a program built with the older headers runs with the newer library.
 */
#ifndef ZEL_V6COMP_VERSION_H
#define ZEL_V6COMP_VERSION_H

#include "tm_api.h"

/** The three numbers.
 *  @{ */
#define ZEL_V6COMP_VERSION_MAJOR 1
#define ZEL_V6COMP_VERSION_MINOR 0
#define ZEL_V6COMP_VERSION_PATCH 0
/** @} */

/** "1.0.0" */
#define ZEL_V6COMP_VERSION_STRING                   \
  ZEL_V6COMP_VERSION_TEXT(ZEL_V6COMP_VERSION_MAJOR) \
  "." ZEL_V6COMP_VERSION_TEXT(ZEL_V6COMP_VERSION_MINOR) "." ZEL_V6COMP_VERSION_TEXT(ZEL_V6COMP_VERSION_PATCH)

/** One number to compare by: 1.2.3 is 10203. */
#define ZEL_V6COMP_VERSION_NUMBER \
  (ZEL_V6COMP_VERSION_MAJOR * 10000 + ZEL_V6COMP_VERSION_MINOR * 100 + ZEL_V6COMP_VERSION_PATCH)

/** A number as text.
 *  @{ */
#define ZEL_V6COMP_VERSION_TEXT(number) ZEL_V6COMP_VERSION_TEXT_OF(number)
#define ZEL_V6COMP_VERSION_TEXT_OF(number) #number
/** @} */

#endif
