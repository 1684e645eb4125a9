// SPDX-License-Identifier: Apache-2.0
// zel_standalone.h - what the files of the stand-alone host share.
//
// Every definition here is weak and visible, and the library's own calls of it go through the dynamic
// linker: a host that defines the function itself wins. Do not mark any of them inline, do not bind them
// at link time and do not optimise across this border.
#ifndef ZEL_STANDALONE_H
#define ZEL_STANDALONE_H

#include "zel_platform.h"

#define ZEL_STANDALONE __attribute__((weak, visibility("default")))

// The stand-alone host's global debug switch: calls whoever registered with zel_debug_all_register_cb.
void zel_standalone_debug_all(int32_t on);

#endif
