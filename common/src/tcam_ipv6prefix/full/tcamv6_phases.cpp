// SPDX-License-Identifier: Apache-2.0
// tcamv6_phases.cpp - the phases of a compression that decide codes:
//
//   ancestor tree and path-compressed trie, costed -> limits -> compressed trie -> made sparse
//
// They are the same whether the trie of uncompressed prefixes is that of a new table or of a stored one.
#include "tcamv6_phases.h"

#include "tcamv6_cmpr_tree.h"
#include "tcamv6_fit.h"
#include "tcamv6_headroom.h"
#include "tcamv6_sparse.h"
#include "tm_debug.h"

namespace {

constexpr const char *caller = "tcamv6_optimized_compress";

int32_t report_layout(const char *format_tail, int32_t result) {
  TM_LOG(info, "%s: %s failed %d", caller, format_tail, result);
  return result;
}

// The cost of the tight code shows whether the table fits at all.
int32_t cost_table(tcamv6_phases *run) {
  const auto limit = static_cast<int32_t>(run->state->max_cmpr_len);
  const int32_t bits = tcamv6_compress_prefix_tree(run->state, run->orig_root, &run->cmpr_root, &run->anc_root, 1);
  if (bits < 0) {
    return report_layout("compress_prefix_tree()", bits);
  }
  if (bits > limit) {
    TM_LOG(info, "%s: Compression overflowed to %d bits, maximum allowed %d bit length", caller, bits, limit);
    return TM_EOVERFLOW;
  }
  return TM_OK;
}

int32_t set_limits(tcamv6_phases *run) {
  const int32_t result =
      tcamv6_opt_tree_for_updates(run->state, run->anc_root, static_cast<int32_t>(run->state->max_cmpr_len));
  return result == TM_OK ? TM_OK : report_layout("opt_tree_for_updates()", result);
}

int32_t build_compressed_trie(tcamv6_phases *run) {
  const auto limit = static_cast<int32_t>(run->state->max_cmpr_len);
  const int32_t bits = tcamv6_compress_prefix_tree(run->state, run->orig_root, &run->cmpr_root, &run->anc_root, 0);
  if (bits < 0) {
    return report_layout("compress_prefix_tree(final)", bits);
  }
  if (bits > limit) {
    TM_LOG(info, "%s: Final trie generation failed. Overflow to %d bits, maximum allowed %d bit length", caller, bits,
           limit);
    return TM_EFAULT;
  }
  return TM_OK;
}

int32_t make_sparse(tcamv6_phases *run) {
  const int32_t result = tcamv6_make_sparse_cmpr_trie(run->anc_root, static_cast<int32_t>(run->state->max_cmpr_len));
  if (result != TM_OK) {
    TM_LOG(error, "%s: Failed to make compressed trie sparse %d", caller, result);
  }
  return result;
}

// The documented passes.
int32_t place_as_documented(tcamv6_phases *run) {
  int32_t result = set_limits(run);
  if (result == TM_OK) {
    result = build_compressed_trie(run);
  }
  return result == TM_OK ? make_sparse(run) : result;
}

// Did these limits fail the table? They end with -14, or with a negative limit, which is -1.
bool failed_by_limits(int32_t result) { return result == TM_EFAULT || result == -1; }

}  // namespace

int32_t tcamv6_run_phases(tcamv6_phases *run) {
  const auto limit = static_cast<int32_t>(run->state->max_cmpr_len);
  int32_t result = cost_table(run);
  bool fits = run->fits;
  if (result == TM_EOVERFLOW) {
    fits = fits && tcamv6_fit_costs(run->anc_root) <= limit;
  } else if (result == TM_OK) {
    result = place_as_documented(run);
    fits = fits && failed_by_limits(result);
  } else {
    return result;
  }
  return fits ? tcamv6_fit(run->state, &run->cmpr_root) : result;
}
