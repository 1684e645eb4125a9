// SPDX-License-Identifier: Apache-2.0
#include "byte_source.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace v6tool {

namespace {

class file_source : public byte_source {
 public:
  explicit file_source(const std::string &path)
      : owned_(path != "-"), fd_(owned_ ? open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO), block_(1U << 16) {
    if (fd_ < 0) {
      fault_ = std::strerror(errno);
    }
  }

  ~file_source() override {
    if (owned_ && fd_ >= 0) {
      close(fd_);
    }
  }

  std::string_view next() override {
    while (fault_.empty()) {
      const ssize_t got = read(fd_, block_.data(), block_.size());
      if (got >= 0) {
        return {block_.data(), static_cast<size_t>(got)};
      }
      if (errno != EINTR) {
        fault_ = std::strerror(errno);
      }
    }
    return {};
  }

 private:
  bool owned_;
  int fd_;
  std::vector<char> block_;
};

class memory_source : public byte_source {
 public:
  memory_source(std::string_view content, size_t block) : rest_(content), block_(block) {}

  std::string_view next() override {
    const std::string_view bytes = rest_.substr(0, block_);
    rest_.remove_prefix(bytes.size());
    return bytes;
  }

 private:
  std::string_view rest_;
  size_t block_;
};

}  // namespace

std::unique_ptr<byte_source> open_file(const std::string &path) { return std::make_unique<file_source>(path); }

std::unique_ptr<byte_source> open_memory(std::string_view content, size_t block) {
  return std::make_unique<memory_source>(content, block);
}

}  // namespace v6tool
