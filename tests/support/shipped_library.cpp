// SPDX-License-Identifier: Apache-2.0
// What test programs ask of the library's insides, for those that are linked with the shared library as it is shipped:
// it shows its exported functions only. Each test there is a process of its own, and initialising abandons all that
// came before, so that there is nothing to forget by hand.
#include <cstddef>

#include "tcamv6_leftovers.h"
#include "tcamv6_read_index.h"
#include "tcamv6_state_internal.h"
#include "tm_journal.h"
#include "zel_v6comp.h"

// Follows the library's own pointer, which is hidden: the block that the first instance's pools lie in.
gbl_state_block *gbl_state = nullptr;

extern "C" {
uint32_t __real_zel_v6comp_init_global_state(int32_t n_instances, int32_t n_processors);
uint32_t __wrap_zel_v6comp_init_global_state(int32_t n_instances, int32_t n_processors);

uint32_t __wrap_zel_v6comp_init_global_state(int32_t n_instances, int32_t n_processors) {
  const uint32_t status = __real_zel_v6comp_init_global_state(n_instances, n_processors);
  gbl_state = nullptr;
  if (zel_v6comp_instance(0, 0) != nullptr) {
    auto *pools = reinterpret_cast<unsigned char *>(gbl_chunk_info);
    gbl_state = reinterpret_cast<gbl_state_block *>(pools - offsetof(gbl_state_block, chunk_info));
  }
  return status;
}
}

void tm_journal_discard() {}
void tcamv6_forget_leftovers() {}

// Lookups after which an index is there for certain; the tables of these tests are small.
uint32_t tcamv6_read_index_threshold(uint32_t n_prefixes) { return 2048 + n_prefixes; }

// How much of the rollback was noted without room: the library does not show it.
uint64_t tm_journal_unreserved(void) { return 0; }
