// SPDX-License-Identifier: Apache-2.0
#include "decompressor.h"

namespace v6tool {

namespace {

class refusing_source : public byte_source {
 public:
  explicit refusing_source(const std::string &packing) {
    fault_ = packing + ": this build cannot unpack it; unpack it first";
  }
  std::string_view next() override { return {}; }
};

}  // namespace

std::unique_ptr<byte_source> open_decompressor(const std::string &packing, std::unique_ptr<byte_source> /*packed*/) {
  return std::make_unique<refusing_source>(packing);
}

}  // namespace v6tool
