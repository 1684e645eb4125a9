// SPDX-License-Identifier: Apache-2.0
// tcamv6_outcome.h - what became of an addition, by name, and the one place that makes the interface's number of it.
#ifndef TCAMV6_OUTCOME_H
#define TCAMV6_OUTCOME_H

#include "tm_api.h"

enum class tcamv6_outcome : int32_t {
  placed = TM_OK,           // it is stored now
  present = TM_EEXIST,      // it was stored: its counters have grown
  no_room = TM_ENOSPC,      // no code is free, or none without more moves than are allowed
  needs_level = TM_ENOENT,  // it would come above stored prefixes, where no right place is
  too_long = TM_EOVERFLOW,  // the table needs more bits than a code has
  no_memory = TM_ENOMEM,    // pools or heap are exhausted
  broken = TM_EFAULT,       // a link that must be there is not
  bad_request = TM_EINVAL,
  vanished = 1  // compatible mode: it failed, and the release of what it had made is taken for its success
};

// Number by which the engine answers.
inline int32_t tcamv6_status_of(tcamv6_outcome outcome) {
  return outcome == tcamv6_outcome::vanished ? int32_t{TM_OK} : static_cast<int32_t>(outcome);
}

// Outcome of a step that answers by such a number.
inline tcamv6_outcome tcamv6_outcome_of(int32_t result) { return static_cast<tcamv6_outcome>(result); }

#endif
