// SPDX-License-Identifier: Apache-2.0
// Frames from a routing daemon: the first byte says in which pieces the rest arrives. Whatever the pieces, the same
// routes come out, and all of them are prefixes.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <span>

#include "fpm_stream.h"
#include "fuzz_target.h"

namespace {

class strict_sink final : public v6agent::route_sink {
 public:
  void announce(const v6tool::ip_prefix &prefix, uint32_t egress) override {
    check(prefix);
    routes[prefix] = egress;
  }
  void withdraw(const v6tool::ip_prefix &prefix) override {
    check(prefix);
    routes.erase(prefix);
  }
  void begin_resync() override {}
  void end_resync() override {}
  void lost() override {}
  void bad_input(const char *what) override { bad += *what != '\0' ? 1 : 0; }

  std::map<v6tool::ip_prefix, uint32_t> routes;
  size_t bad = 0;

 private:
  static void check(const v6tool::ip_prefix &prefix) {
    if (prefix.length > 128 || v6tool::masked(prefix.key, prefix.length) != prefix.key) {
      abort();
    }
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) {
    return 0;
  }
  const size_t piece = size_t{data[0]} + 1;
  const std::span<const uint8_t> bytes(data + 1, size - 1);
  const v6agent::message_rules rules;
  strict_sink whole;
  v6agent::fpm_stream at_once(rules, whole);
  const bool good = at_once.take(bytes);
  strict_sink parts;
  v6agent::fpm_stream in_pieces(rules, parts);
  bool good_too = true;
  for (size_t at = 0; at < bytes.size(); at += piece) {
    good_too = in_pieces.take(bytes.subspan(at, std::min(piece, bytes.size() - at))) && good_too;
  }
  if (good != good_too || whole.routes != parts.routes || whole.bad != parts.bad ||
      at_once.frames() != in_pieces.frames()) {
    abort();
  }
  return 0;
}
