// SPDX-License-Identifier: Apache-2.0
// table_plan_order.cpp - an order for changes in which space is given up and taken again.
//
// The tasks of all rows (A, K, V, D: table_plan.cpp) form a graph; whatever has nothing left to wait for is written,
// codes first, then keys, old codes last. Q contains P throughout; "both" means rows of both tables.
//
//   K_P waits for   A_P, and A_Q of both          the key begins with these codes
//                   D_R of strangers              whose old codes the new key begins with, too
//                   children's K, if P is new     new detail first
//                   the parent's K, if P goes     old detail last
//   A_R waits for   V_P of strangers              whose old keys begin with the new code, too
//   D_Q waits for   V_P                           while the old key is given, the old code is needed
//                   A_Q, if the codes overlap     keys inside that stay need one of them
//
// Parking. Two prefixes that change places wait for each other. Then one is parked: its entry gets a spare key, one
// that begins with no other code, and so that rules on it and on the prefixes around it go on matching, those of them
// whose codes change get the whole spare key as one more code. That does V, and whoever waited for the old place may
// go on. When K is done at last, the additional codes go again.
//
//   P: x -> y, R: y -> x       A_P needs V_R, A_R needs V_P
//   park P at z                +code P z, +code of those around it z, key P := z          V_P is done: A_R may go
//   then                       +code R x, key R := x, -code R y, +code P y, key P := y, -code P x, -code P z ...
//
// Once all old keys are parked no waiting in a circle is left: K waits for A and D, D for A, A for nothing, and the
// rules for new and old detail follow the prefixes' nesting. Where not even a spare key exists, an entry is taken out
// before its time, and counted.
#include "table_plan_order.h"
#include "table_array.h"

#include <string.h>

namespace {

struct order_run {
  const table_row_change *rows;
  uint32_t n;
  const table_spare_keys *spare;
  table_writes *writes;
  table_plan_counts *counts;
  table_conflicts graph;  // all pairs
  uint32_t *parent;       // by row: the nearest of the rows that contains it, or table_no_row
  uint32_t *first_after;  // by task: where its followers begin in `followers`; one more for the end
  uint32_t *followers;
  uint32_t *waits_for;  // by task: tasks that must come before it
  uint8_t *is_done;     // by task
  uint64_t *parked_at;  // by row, where is_parked says so
  uint8_t *is_parked;
  uint8_t *is_out;  // by row: its entry was taken out of stage 1 before its time
  uint64_t *ready;  // a heap: what comes first, and the task
  uint32_t n_ready;
  uint32_t n_left;
  uint32_t next_to_park;
  uint32_t codes;  // in stage 2 now
};

// ---- what there is to do

bool has_task(const table_row_change *row, table_task_kind kind) {
  switch (kind) {
    case TABLE_TASK_A:
      return table_adds_code(row);
    case TABLE_TASK_K:
      return table_writes_key(row);
    case TABLE_TASK_V:
      return row->was && table_writes_key(row);
    default:
      return table_removes_code(row);
  }
}

bool is_both(const table_row_change *row) { return row->was && row->is; }

// What comes first among tasks that could all be done: a small number.
uint64_t rank_of(const order_run *run, uint32_t task) {
  const table_row_change *row = &run->rows[task / TABLE_TASKS];
  switch (task % TABLE_TASKS) {
    case TABLE_TASK_A:
      return 0;
    case TABLE_TASK_K:
      return row->is ? uint64_t{256} + (TM_KEY_BITS - row->length) : uint64_t{512} + row->length;
    default:
      return 1024;
  }
}

// ---- the graph

bool add_pair(order_run *run, uint32_t first_row, table_task_kind first, uint32_t second_row, table_task_kind second) {
  return !has_task(&run->rows[first_row], first) || !has_task(&run->rows[second_row], second) ||
         table_add_conflict(&run->graph, table_task(first_row, first), table_task(second_row, second));
}

// New detail first, old detail last.
bool add_detail_pairs(order_run *run, uint32_t row) {
  const uint32_t around = run->parent[row];
  if (around == table_no_row || is_both(&run->rows[around]) || is_both(&run->rows[row])) {
    return true;
  }
  return run->rows[row].is ? add_pair(run, row, TABLE_TASK_K, around, TABLE_TASK_K)
                           : add_pair(run, around, TABLE_TASK_K, row, TABLE_TASK_K);
}

bool add_pairs_around(order_run *run, uint32_t row) {
  for (uint32_t q = run->parent[row]; q != table_no_row; q = run->parent[q]) {
    if (!is_both(&run->rows[q])) {
      continue;
    }
    if (run->rows[row].is && !add_pair(run, q, TABLE_TASK_A, row, TABLE_TASK_K)) {
      return false;
    }
    if (!add_pair(run, row, TABLE_TASK_V, q, TABLE_TASK_D)) {
      return false;
    }
  }
  return true;
}

// Prefixes inside that keep their keys need one of the two codes at any time. There are none when the codes lie apart.
bool may_cover_kept_keys(const table_row_change *row) {
  const uint8_t shared = row->before.length < row->after.length ? row->before.length : row->after.length;
  return is_both(row) && ((row->before.code ^ row->after.code) & table_leading_bits(shared)) == 0;
}

bool add_pairs_of(order_run *run, uint32_t row) {
  return add_pair(run, row, TABLE_TASK_A, row, TABLE_TASK_K) &&
         (!may_cover_kept_keys(&run->rows[row]) || add_pair(run, row, TABLE_TASK_A, row, TABLE_TASK_D)) &&
         add_pair(run, row, TABLE_TASK_V, row, TABLE_TASK_D) && add_detail_pairs(run, row) &&
         add_pairs_around(run, row);
}

// Turn the pairs into the followers of each task.
void link_followers(order_run *run) {
  const uint32_t n_tasks = run->n * TABLE_TASKS;
  for (size_t i = 0; i < run->graph.count; ++i) {
    ++run->first_after[run->graph.pairs[i].first];
    ++run->waits_for[run->graph.pairs[i].second];
  }
  uint32_t begin = 0;
  for (uint32_t task = 0; task <= n_tasks; ++task) {
    const uint32_t count = run->first_after[task];
    begin += count;
    run->first_after[task] = begin;  // the end; filling goes down to the beginning
  }
  for (size_t i = run->graph.count; i-- > 0;) {
    run->followers[--run->first_after[run->graph.pairs[i].first]] = run->graph.pairs[i].second;
  }
}

// ---- ready tasks

void push_ready(order_run *run, uint32_t task) {
  const uint64_t entry = rank_of(run, task) << 32 | task;
  uint32_t at = run->n_ready++;
  while (at > 0 && run->ready[(at - 1) / 2] > entry) {
    run->ready[at] = run->ready[(at - 1) / 2];
    at = (at - 1) / 2;
  }
  run->ready[at] = entry;
}

uint32_t pop_ready(order_run *run) {
  const uint64_t top = run->ready[0];
  const uint64_t entry = run->ready[--run->n_ready];
  uint32_t at = 0;
  for (uint32_t child = 1; child < run->n_ready; child = 2 * at + 1) {
    child += child + 1 < run->n_ready && run->ready[child + 1] < run->ready[child];
    if (run->ready[child] >= entry) {
      break;
    }
    run->ready[at] = run->ready[child];
    at = child;
  }
  run->ready[at] = entry;
  return static_cast<uint32_t>(top);
}

void finish(order_run *run, uint32_t task) {
  if (run->is_done[task] != 0) {
    return;
  }
  run->is_done[task] = 1;
  for (uint32_t at = run->first_after[task]; at < run->first_after[task + 1]; ++at) {
    const uint32_t follower = run->followers[at];
    // V is never written for itself: K or parking do it, and nothing has to come before it.
    if (--run->waits_for[follower] == 0 && run->is_done[follower] == 0) {
      push_ready(run, follower);
    }
  }
}

// ---- writing

bool put_code(order_run *run, uint32_t row, bool add, uint64_t code, uint8_t length) {
  if (!table_reserve_writes(run->writes, 1)) {
    return false;
  }
  table_put_code(run->writes, &run->rows[row], add ? ZEL_V6COMP_TABLE_ADD_CODE : ZEL_V6COMP_TABLE_REMOVE_CODE, code,
                 length);
  run->codes += add ? 1u : ~0u;
  if (run->codes > run->counts->peak_codes) {
    run->counts->peak_codes = run->codes;
  }
  return true;
}

bool put_key(order_run *run, uint32_t row, uint8_t kind, uint64_t key) {
  if (!table_reserve_writes(run->writes, 1)) {
    return false;
  }
  table_put_key(run->writes, &run->rows[row], kind, key);
  return true;
}

// Does a rule on rows[q], which stays or is the parked one itself, need a code for a spare key?
bool needs_spare_code(const order_run *run, uint32_t q, uint32_t parked, uint64_t key) {
  const table_row_change *row = &run->rows[q];
  if (!is_both(row)) {
    return q == parked;
  }
  return !table_same_code(&row->before, &row->after) || !table_covers_key(&row->after, key);
}

bool put_spare_codes(order_run *run, uint32_t parked, bool add, uint64_t key) {
  for (uint32_t q = parked; q != table_no_row; q = run->parent[q]) {
    if (needs_spare_code(run, q, parked, key) && !put_code(run, q, add, key, 64)) {
      return false;
    }
  }
  return true;
}

bool write_key(order_run *run, uint32_t row) {
  const table_row_change *r = &run->rows[row];
  bool done = true;
  if (r->is) {
    const bool is_there = r->was && run->is_out[row] == 0;
    done = put_key(run, row, is_there ? ZEL_V6COMP_TABLE_CHANGE_KEY : ZEL_V6COMP_TABLE_ADD_KEY, r->after.key);
  } else if (run->is_out[row] == 0) {
    const uint64_t last = run->is_parked[row] != 0 ? run->parked_at[row] : r->before.key;
    done = put_key(run, row, ZEL_V6COMP_TABLE_REMOVE_KEY, last);
  }
  return done && (run->is_parked[row] == 0 || put_spare_codes(run, row, false, run->parked_at[row]));
}

bool write_task(order_run *run, uint32_t task) {
  const uint32_t row = task / TABLE_TASKS;
  const table_row_change *r = &run->rows[row];
  bool done;
  switch (task % TABLE_TASKS) {
    case TABLE_TASK_A:
      done = put_code(run, row, true, r->after.code, r->after.length);
      break;
    case TABLE_TASK_K:
      done = write_key(run, row);
      if (has_task(r, TABLE_TASK_V)) {
        finish(run, table_task(row, TABLE_TASK_V));
      }
      break;
    default:
      done = put_code(run, row, false, r->before.code, r->before.length);
      break;
  }
  finish(run, task);
  --run->n_left;
  return done;
}

bool park(order_run *run, uint32_t row, uint64_t key) {
  if (!put_spare_codes(run, row, true, key) || !put_key(run, row, ZEL_V6COMP_TABLE_CHANGE_KEY, key)) {
    return false;
  }
  run->is_parked[row] = 1;
  run->parked_at[row] = key;
  ++run->counts->parked;
  return true;
}

bool take_out(order_run *run, uint32_t row) {
  run->is_out[row] = 1;
  ++run->counts->early;
  return put_key(run, row, ZEL_V6COMP_TABLE_REMOVE_KEY, run->rows[row].before.key);
}

// All that is left waits for something. Somebody's old key is in the way.
bool make_way(order_run *run) {
  uint32_t row = run->next_to_park;
  while (!has_task(&run->rows[row], TABLE_TASK_V) || run->is_done[table_task(row, TABLE_TASK_V)] != 0 ||
         run->first_after[table_task(row, TABLE_TASK_V)] == run->first_after[table_task(row, TABLE_TASK_V) + 1]) {
    if (++row == run->n) {
      return false;
    }
  }
  run->next_to_park = row;
  uint64_t key;
  const bool has_place = run->spare->find != nullptr && run->spare->find(run->spare->user, row, &key);
  const bool done = has_place ? park(run, row, key) : take_out(run, row);
  finish(run, table_task(row, TABLE_TASK_V));
  return done;
}

// ---- the run

bool allocate_arrays(order_run *run) {
  const size_t n_tasks = size_t{run->n} * TABLE_TASKS;
  return table_make_zeros(&run->parent, run->n) && table_make_zeros(&run->first_after, n_tasks + 1) &&
         table_make_zeros(&run->waits_for, n_tasks) && table_make_zeros(&run->is_done, n_tasks) &&
         table_make_zeros(&run->parked_at, run->n) && table_make_zeros(&run->is_parked, run->n) &&
         table_make_zeros(&run->is_out, run->n) && table_make_zeros(&run->ready, n_tasks);
}

void free_arrays(const order_run *run) {
  tm_free(run->parent);
  tm_free(run->first_after);
  tm_free(run->followers);
  tm_free(run->waits_for);
  tm_free(run->is_done);
  tm_free(run->parked_at);
  tm_free(run->is_parked);
  tm_free(run->is_out);
  tm_free(run->ready);
}

bool build_graph(order_run *run) {
  table_find_parents(run->rows, run->n, run->parent);
  for (uint32_t row = 0; row < run->n; ++row) {
    if (!add_pairs_of(run, row)) {
      return false;
    }
  }
  if (run->graph.count > UINT32_MAX || !table_make_zeros(&run->followers, run->graph.count)) {
    return false;
  }
  link_followers(run);
  return true;
}

void start(order_run *run) {
  for (uint32_t row = 0; row < run->n; ++row) {
    run->codes += run->rows[row].was;
    for (uint32_t kind = 0; kind < TABLE_TASKS; ++kind) {
      const uint32_t task = row * TABLE_TASKS + kind;
      if (kind != TABLE_TASK_V && has_task(&run->rows[row], static_cast<table_task_kind>(kind))) {
        ++run->n_left;
        if (run->waits_for[task] == 0) {
          push_ready(run, task);
        }
      }
    }
  }
  run->counts->peak_codes = run->codes;
}

}  // namespace

int32_t table_write_in_order(const table_row_change *rows, uint32_t n, table_conflicts *conflicts,
                             const table_spare_keys *spare, table_writes *writes, table_plan_counts *counts) {
  order_run run = {};
  run.rows = rows;
  run.n = n;
  run.spare = spare;
  run.writes = writes;
  run.counts = counts;
  run.graph = *conflicts;
  *conflicts = {};
  bool good = allocate_arrays(&run) && build_graph(&run);
  if (good) {
    start(&run);
    while (good && run.n_left > 0) {
      good = run.n_ready > 0 ? write_task(&run, pop_ready(&run)) : make_way(&run);
    }
  }
  free_arrays(&run);
  table_free_conflicts(&run.graph);
  return good ? TM_OK : TM_ENOMEM;
}
