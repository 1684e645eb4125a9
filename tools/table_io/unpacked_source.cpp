// SPDX-License-Identifier: Apache-2.0
#include "unpacked_source.h"

#include <utility>

#include "decompressor.h"

namespace v6tool {

namespace {

struct packing_kind {
  const char *name;
  std::string_view magic;
};

const packing_kind packings[] = {
    {"gzip", "\x1f\x8b"},
    {"bzip2", "BZh"},
    {"xz", std::string_view("\xfd"
                            "7zXZ\0",
                            6)},
    {"zstd", "\x28\xb5\x2f\xfd"},
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
  return open_decompressor(kind->name, std::move(replayed));
}

}  // namespace v6tool
