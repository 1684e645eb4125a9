// SPDX-License-Identifier: Apache-2.0
// byte_source.h - where bytes come from, a block at a time.
#ifndef BYTE_SOURCE_H
#define BYTE_SOURCE_H

#include <memory>
#include <string>
#include <string_view>

namespace v6tool {

class byte_source {
 public:
  byte_source() = default;
  byte_source(const byte_source &) = delete;
  byte_source &operator=(const byte_source &) = delete;
  virtual ~byte_source() = default;

  // The next bytes, at least one, good until the next call. Empty: the end, or a fault.
  virtual std::string_view next() = 0;

  // After an empty block: what went wrong in words, "" at a plain end.
  const std::string &fault() const { return fault_; }

 protected:
  std::string fault_;
};

// A file, `-` for standard input. A file that cannot be opened is a fault of the first block.
std::unique_ptr<byte_source> open_file(const std::string &path);

// Bytes in memory, which outlive the source; blocks of at most `block` bytes.
std::unique_ptr<byte_source> open_memory(std::string_view content, size_t block = size_t{1} << 16);

}  // namespace v6tool

#endif
