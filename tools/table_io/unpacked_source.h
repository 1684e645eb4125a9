// SPDX-License-Identifier: Apache-2.0
// unpacked_source.h - gzip, bzip2, xz and zstd undone while reading, known by their first bytes.
#ifndef UNPACKED_SOURCE_H
#define UNPACKED_SOURCE_H

#include <memory>
#include <string>

#include "byte_source.h"

namespace v6tool {

// The bytes of `packed` without their compression; the same bytes if they are not compressed. `packing` gets the name
// of the compression, "" for none.
//
// Input that grows beyond all measure (more than 256 times its size, and 16 MiB) is a fault, and so is one that is cut
// off or damaged. Memory: the decompressor's own, and one block.
std::unique_ptr<byte_source> open_unpacked(std::unique_ptr<byte_source> packed, std::string &packing);

}  // namespace v6tool

#endif
