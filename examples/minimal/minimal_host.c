// SPDX-License-Identifier: Apache-2.0
/* The smallest host: compress two prefixes, ask what became of one. */
#include <stdio.h>
#include <string.h>

#include "zel_v6comp.h"

int main(void) {
  static const tcamv6_prefix table[2] = {
      {.flags_tag = TM_PREFIX_FLAG_ADD, .weight = 1, .length = 32, .address = {0x20, 0x01, 0x0d, 0xb8}},
      {.flags_tag = TM_PREFIX_FLAG_ADD, .weight = 1, .length = 48, .address = {0x20, 0x01, 0x0d, 0xb8, 0, 1}}};
  const v6comp_pref_info head = {.processor = 0, .instance = 0, .n_prefixes = 2};
  unsigned char request[sizeof head + sizeof table]; /* the records follow the three words without a gap */
  memcpy(request, &head, sizeof head);
  memcpy(request + sizeof head, table, sizeof table);
  tcamv6_cmpr_pref code;
  tcamv6_cmpr_addr address;
  if (zel_v6comp_init_global_state(TCAMV6_MAX_INSTANCES, TCAMV6_MAX_PROCESSORS) != 0 ||
      zel_v6comp_prefix_compress((const v6comp_pref_info *)(const void *)request) != 0 ||
      tcamv6_lookup_prefix(zel_v6comp_instance(0, 0), &table[1], &code, &address) != TM_OK) {
    return 1;
  }
  printf("2001:db8:1::/48 has %d bits now, the first byte is 0x%02x\n", code.length, address.bytes[0]);
  return 0;
}
