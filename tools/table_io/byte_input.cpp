// SPDX-License-Identifier: Apache-2.0
#include "byte_input.h"

#include <algorithm>
#include <cstring>

namespace v6tool {

byte_input::byte_input(byte_source &source) : source_(source) {
  while (head_.size() < most_head) {
    const std::string_view block = source_.next();
    if (block.empty()) {
      break;
    }
    head_ += block;
  }
  block_ = head_;
  if (block_.starts_with("\xef\xbb\xbf")) {
    block_.remove_prefix(3);
  }
}

bool byte_input::fill() {
  if (block_.empty()) {
    block_ = source_.next();
  }
  return !block_.empty();
}

void byte_input::advance(size_t count) {
  taken_ += count;
  block_.remove_prefix(count);
}

bool byte_input::take_line(text_line &line) {
  if (!fill()) {
    return false;
  }
  line.number = ++lines_;
  line.cut = false;
  size_t end = block_.find('\n');
  if (end != std::string_view::npos) {
    line.text = block_.substr(0, end);
    advance(end + 1);
  } else {
    joined_.clear();
    while (fill()) {
      end = std::min(block_.find('\n'), block_.size());
      joined_ += block_.substr(0, std::min(end, text_line::most_kept + 1 - joined_.size()));
      const bool whole = end < block_.size();
      advance(end + (whole ? 1 : 0));
      if (whole) {
        break;
      }
    }
    line.text = joined_;
  }
  if (line.text.ends_with('\r')) {
    line.text.remove_suffix(1);
  }
  line.cut = line.text.size() > text_line::most_kept;
  line.text = line.text.substr(0, text_line::most_kept);
  return true;
}

bool byte_input::take_byte(char &byte) {
  if (!fill()) {
    return false;
  }
  byte = block_.front();
  lines_ += byte == '\n' ? 1 : 0;
  advance(1);
  return true;
}

size_t byte_input::take(char *bytes, size_t count) {
  size_t done = 0;
  while (done < count && fill()) {
    const size_t part = std::min(count - done, block_.size());
    std::memcpy(bytes + done, block_.data(), part);
    advance(part);
    done += part;
  }
  return done;
}

uint64_t byte_input::skip(uint64_t count) {
  uint64_t done = 0;
  while (done < count && fill()) {
    const auto part = static_cast<size_t>(std::min<uint64_t>(count - done, block_.size()));
    advance(part);
    done += part;
  }
  return done;
}

}  // namespace v6tool
