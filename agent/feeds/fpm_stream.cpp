// SPDX-License-Identifier: Apache-2.0
#include "fpm_stream.h"

#include <cstring>

namespace v6agent {

namespace {

constexpr size_t header_bytes = 4;
constexpr uint8_t version = 1;
constexpr uint8_t kind_netlink = 1;

}  // namespace

bool fpm_stream::take(std::span<const uint8_t> bytes) {
  if (!fault_.empty()) {
    return false;
  }
  rest_.insert(rest_.end(), bytes.begin(), bytes.end());
  size_t at = 0;
  while (rest_.size() - at >= header_bytes) {
    const uint8_t *frame = rest_.data() + at;
    const size_t length = static_cast<size_t>(frame[2]) << 8 | frame[3];
    if (frame[0] != version || length < header_bytes) {
      fault_ = "a frame of version " + std::to_string(frame[0]) + " and " + std::to_string(length) + " bytes";
      sink_.bad_input(fault_.c_str());
      return false;
    }
    if (rest_.size() - at < length) {
      break;
    }
    ++frames_;
    if (frame[1] != kind_netlink) {
      sink_.bad_input("a frame that is not netlink");
    } else if (!take_frame(frame + header_bytes, length - header_bytes)) {
      sink_.bad_input("a frame with a bad message");
    }
    at += length;
  }
  rest_.erase(rest_.begin(), rest_.begin() + static_cast<ptrdiff_t>(at));
  return true;
}

// Messages are read where numbers are aligned.
bool fpm_stream::take_frame(const uint8_t *frame, size_t bytes) {
  aligned_.assign(bytes / sizeof(uint64_t) + 1, 0);
  std::memcpy(aligned_.data(), frame, bytes);
  return take_route_block(aligned_.data(), bytes, rules_, sink_).malformed == 0;
}

}  // namespace v6agent
