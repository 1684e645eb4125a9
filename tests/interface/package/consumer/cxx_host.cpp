// SPDX-License-Identifier: Apache-2.0
// A C++20 host of the installed library: compresses two prefixes and asks for one of them.
#include <zel_v6comp.h>

#include <array>
#include <cstring>
#include <iostream>
#include <vector>

int main() {
  const v6comp_pref_info head{.processor = 0, .instance = 0, .n_prefixes = 2};
  std::array<tcamv6_prefix, 2> prefixes{};
  for (tcamv6_prefix &prefix : prefixes) {
    prefix.flags_tag = TM_PREFIX_FLAG_ADD;
    prefix.weight = 1;
    prefix.length = 32;
    const std::array<unsigned char, 4> start{0x20, 0x01, 0x0d, 0xb8};
    std::memcpy(prefix.address, start.data(), start.size());
  }
  prefixes[1].length = 48;
  prefixes[1].address[5] = 7;

  std::vector<unsigned char> bytes(sizeof head + sizeof prefixes);
  std::memcpy(bytes.data(), &head, sizeof head);
  std::memcpy(bytes.data() + sizeof head, prefixes.data(), sizeof prefixes);
  if (zel_v6comp_init_global_state(1, 1) != 0 ||
      zel_v6comp_prefix_compress(reinterpret_cast<const v6comp_pref_info *>(bytes.data())) != 0) {
    return 1;
  }
  tcamv6_cmpr_pref code{};
  tcamv6_cmpr_addr address{};
  if (tcamv6_lookup_prefix(zel_v6comp_instance(0, 0), &prefixes[1], &code, &address) != 0) {
    return 2;
  }
  std::cout << "version " << zel_v6comp_version() << ": a /48 became a /" << int{code.length} << '\n';
  return code.length > 0 && code.length < 48 ? 0 : 3;
}
