// SPDX-License-Identifier: Apache-2.0
// decompressor.h - one compression undone. decompressor.cpp asks libarchive; a build for a machine without it, which is
// one without the tool, has decompressor_absent.cpp instead.
#ifndef DECOMPRESSOR_H
#define DECOMPRESSOR_H

#include <memory>
#include <string>

#include "byte_source.h"

namespace v6tool {

// The unpacked bytes of a source that is packed with `packing`: gzip, bzip2, xz or zstd.
std::unique_ptr<byte_source> open_decompressor(const std::string &packing, std::unique_ptr<byte_source> packed);

}  // namespace v6tool

#endif
