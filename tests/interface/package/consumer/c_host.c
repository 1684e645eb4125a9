// SPDX-License-Identifier: Apache-2.0
/* A C11 host of the installed library: compresses two prefixes and asks for one of them. */
#include <stdio.h>
#include <string.h>
#include <zel_v6comp.h>

int main(void) {
  unsigned char bytes[sizeof(v6comp_pref_info) + 2 * sizeof(tcamv6_prefix)] = {0};
  const v6comp_pref_info head = {.processor = 0, .instance = 0, .n_prefixes = 2};
  const tcamv6_prefix prefixes[2] = {
      {.flags_tag = TM_PREFIX_FLAG_ADD, .weight = 1, .length = 32, .address = {0x20, 0x01, 0x0d, 0xb8}},
      {.flags_tag = TM_PREFIX_FLAG_ADD, .weight = 1, .length = 48, .address = {0x20, 0x01, 0x0d, 0xb8, 0, 7}}};
  tcamv6_cmpr_pref code;
  tcamv6_cmpr_addr address;

  memcpy(bytes, &head, sizeof head);
  memcpy(bytes + sizeof head, prefixes, sizeof prefixes);
  if (zel_v6comp_init_global_state(1, 1) != 0 || zel_v6comp_prefix_compress((const v6comp_pref_info *)bytes) != 0) {
    return 1;
  }
  if (tcamv6_lookup_prefix(zel_v6comp_instance(0, 0), &prefixes[1], &code, &address) != 0) {
    return 2;
  }
  printf("version %s: a /48 became a /%d\n", zel_v6comp_version(), code.length);
  return code.length > 0 && code.length < 48 ? 0 : 3;
}
