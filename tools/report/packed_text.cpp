// SPDX-License-Identifier: Apache-2.0
#include "packed_text.h"

#include <zlib.h>

#include <cstdint>
#include <new>

namespace v6tool {

namespace {

constexpr int gzip_window = 15 + 16;  // the largest window, with gzip's header
constexpr int default_memory = 8;

}  // namespace

std::string packed_text(std::string_view text) {
  z_stream stream = {};
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, gzip_window, default_memory, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  std::string packed(deflateBound(&stream, text.size()), '\0');
  // zlib reads through a pointer to what it calls mutable, and takes 32 bits of length: the page is far smaller.
  stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef *>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return base64(packed);
}

std::string base64(std::string_view bytes) {
  static constexpr char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t n = bytes.size() - i < 3 ? bytes.size() - i : 3;
    uint32_t three = 0;
    for (size_t j = 0; j < 3; ++j) {
      three = three << 8 | (j < n ? static_cast<uint8_t>(bytes[i + j]) : 0U);
    }
    for (size_t j = 0; j < 4; ++j) {
      text += j <= n ? letters[three >> (18 - 6 * j) & 63] : '=';
    }
  }
  return text;
}

}  // namespace v6tool
