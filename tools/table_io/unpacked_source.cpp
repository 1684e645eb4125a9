// SPDX-License-Identifier: Apache-2.0
#include "unpacked_source.h"

#include <archive.h>

#include <cstdint>
#include <utility>

namespace v6tool {

namespace {

constexpr uint64_t free_growth = uint64_t{16} << 20;  // bytes that any input may become
constexpr uint64_t most_growth = 256;                 // times its own size, beyond that

struct packing_kind {
  const char *name;
  std::string_view magic;
  int (*enable)(archive *);
};

const packing_kind packings[] = {
    {"gzip", "\x1f\x8b", archive_read_support_filter_gzip},
    {"bzip2", "BZh", archive_read_support_filter_bzip2},
    {"xz",
     std::string_view("\xfd"
                      "7zXZ\0",
                      6),
     archive_read_support_filter_xz},
    {"zstd", "\x28\xb5\x2f\xfd", archive_read_support_filter_zstd},
};

const packing_kind *packing_of(std::string_view head) {
  for (const packing_kind &kind : packings) {
    if (head.starts_with(kind.magic)) {
      return &kind;
    }
  }
  return nullptr;
}

// A source whose first bytes have been looked at.
class replayed_source : public byte_source {
 public:
  replayed_source(std::string head, std::unique_ptr<byte_source> rest)
      : head_(std::move(head)), rest_(std::move(rest)) {}

  std::string_view next() override {
    if (!std::exchange(replayed_, true) && !head_.empty()) {
      return head_;
    }
    const std::string_view bytes = rest_->next();
    fault_ = rest_->fault();
    return bytes;
  }

 private:
  std::string head_;
  std::unique_ptr<byte_source> rest_;
  bool replayed_ = false;
};

class unpacked_source : public byte_source {
 public:
  unpacked_source(const packing_kind &kind, std::unique_ptr<byte_source> packed)
      : kind_(kind), packed_(std::move(packed)), archive_(archive_read_new()), block_(size_t{1} << 16, '\0') {
    // Anything but OK would mean that libarchive runs another program for it.
    const bool good = archive_ != nullptr && kind.enable(archive_) == ARCHIVE_OK &&
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

  ~unpacked_source() override { archive_read_free(archive_); }

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
      fault_ = std::string(kind_.name) + ": grows more than " + std::to_string(most_growth) +
               " times when it is unpacked, which no table does; unpack it by hand if you trust it";
      return {};
    }
    return {block_.data(), static_cast<size_t>(got)};
  }

 private:
  static la_ssize_t give_packed(archive * /*archive*/, void *self, const void **bytes) {
    auto *source = static_cast<unpacked_source *>(self);
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
    fault_ =
        std::string(kind_.name) + ": cut off or damaged (" + (reason == nullptr ? "no reason given" : reason) + ")";
  }

  const packing_kind &kind_;
  std::unique_ptr<byte_source> packed_;
  archive *archive_;
  std::string block_;
  uint64_t taken_ = 0;     // bytes, compressed
  uint64_t unpacked_ = 0;  // bytes given
  bool empty_ = false;
};

}  // namespace

std::unique_ptr<byte_source> open_unpacked(std::unique_ptr<byte_source> packed, std::string &packing) {
  constexpr size_t longest_magic = 6;
  std::string head;
  while (head.size() < longest_magic) {
    const std::string_view block = packed->next();
    if (block.empty()) {
      break;
    }
    head += block;
  }
  const packing_kind *kind = packing_of(head);
  packing = kind == nullptr ? "" : kind->name;
  auto replayed = std::make_unique<replayed_source>(std::move(head), std::move(packed));
  if (kind == nullptr) {
    return replayed;
  }
  return std::make_unique<unpacked_source>(*kind, std::move(replayed));
}

}  // namespace v6tool
