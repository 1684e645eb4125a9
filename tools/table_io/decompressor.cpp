// SPDX-License-Identifier: Apache-2.0
#include "decompressor.h"

#include <archive.h>

#include <cstdint>
#include <utility>

namespace v6tool {

namespace {

constexpr uint64_t free_growth = uint64_t{16} << 20;  // bytes that any input may become
constexpr uint64_t most_growth = 256;                 // times its own size, beyond that

int enable(const std::string &packing, archive *in) {
  return packing == "gzip"    ? archive_read_support_filter_gzip(in)
         : packing == "bzip2" ? archive_read_support_filter_bzip2(in)
         : packing == "xz"    ? archive_read_support_filter_xz(in)
                              : archive_read_support_filter_zstd(in);
}

class decompressor : public byte_source {
 public:
  decompressor(const std::string &packing, std::unique_ptr<byte_source> packed)
      : packing_(packing), packed_(std::move(packed)), archive_(archive_read_new()), block_(size_t{1} << 16, '\0') {
    // Anything but OK would mean that libarchive runs another program for it.
    const bool good = archive_ != nullptr && enable(packing, archive_) == ARCHIVE_OK &&
                      archive_read_support_format_raw(archive_) == ARCHIVE_OK &&
                      archive_read_support_format_empty(archive_) == ARCHIVE_OK &&
                      archive_read_open(archive_, this, nullptr, give_packed, nullptr) == ARCHIVE_OK;
    archive_entry *entry = nullptr;
    const int first = good ? archive_read_next_header(archive_, &entry) : ARCHIVE_FATAL;
    empty_ = first == ARCHIVE_EOF;
    if (first != ARCHIVE_OK && !empty_) {
      fail();
    }
  }

  ~decompressor() override { archive_read_free(archive_); }

  std::string_view next() override {
    if (empty_ || !fault_.empty()) {
      return {};
    }
    const la_ssize_t got = archive_read_data(archive_, block_.data(), block_.size());
    if (got < 0) {
      fail();
      return {};
    }
    unpacked_ += static_cast<uint64_t>(got);
    if (unpacked_ > free_growth + most_growth * taken_) {
      fault_ = packing_ + ": grows more than " + std::to_string(most_growth) +
               " times when it is unpacked, which no table does; unpack it by hand if you trust it";
      return {};
    }
    return {block_.data(), static_cast<size_t>(got)};
  }

 private:
  static la_ssize_t give_packed(archive * /*archive*/, void *self, const void **bytes) {
    auto *source = static_cast<decompressor *>(self);
    const std::string_view block = source->packed_->next();
    *bytes = block.data();
    source->taken_ += block.size();
    return source->packed_->fault().empty() ? static_cast<la_ssize_t>(block.size()) : ARCHIVE_FATAL;
  }

  void fail() {
    if (!packed_->fault().empty()) {
      fault_ = packed_->fault();
      return;
    }
    const char *reason = archive_ == nullptr ? nullptr : archive_error_string(archive_);
    fault_ = packing_ + ": cut off or damaged (" + (reason == nullptr ? "no reason given" : reason) + ")";
  }

  std::string packing_;
  std::unique_ptr<byte_source> packed_;
  archive *archive_;
  std::string block_;
  uint64_t taken_ = 0;     // bytes, compressed
  uint64_t unpacked_ = 0;  // bytes given
  bool empty_ = false;
};

}  // namespace

std::unique_ptr<byte_source> open_decompressor(const std::string &packing, std::unique_ptr<byte_source> packed) {
  return std::make_unique<decompressor>(packing, std::move(packed));
}

}  // namespace v6tool
