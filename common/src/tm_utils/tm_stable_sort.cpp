// SPDX-License-Identifier: Apache-2.0
// tm_stable_sort.cpp - a merge sort that is stable with and without scratch memory.
#include "tm_stable_sort.h"

#include <stdint.h>
#include <string.h>

#include "tm_api.h"
#include "tm_memory.h"

namespace {

using compare_fn = int (*)(const void *, const void *);

struct sort_job {
  uint8_t *array;
  size_t elem_size;
  compare_fn cmp;

  uint8_t *at(size_t i) const { return array + i * elem_size; }
};

constexpr size_t run_length = 8;     // shorter runs are sorted by insertion
constexpr size_t largest_cell = 64;  // largest element that insertion keeps on the stack

void swap_elements(const sort_job &job, size_t a, size_t b) {
  uint8_t *x = job.at(a);
  uint8_t *y = job.at(b);
  for (size_t k = 0; k < job.elem_size; ++k) {
    const uint8_t byte = x[k];
    x[k] = y[k];
    y[k] = byte;
  }
}

void insertion_sort(const sort_job &job, size_t first, size_t last) {
  uint8_t cell[largest_cell];
  for (size_t i = first + 1; i < last; ++i) {
    if (job.cmp(job.at(i - 1), job.at(i)) <= 0) {
      continue;
    }
    size_t place = i;
    if (job.elem_size > largest_cell) {
      for (; place > first && job.cmp(job.at(place - 1), job.at(place)) > 0; --place) {
        swap_elements(job, place - 1, place);
      }
      continue;
    }
    memcpy(cell, job.at(i), job.elem_size);
    while (place > first && job.cmp(job.at(place - 1), cell) > 0) {
      --place;
    }
    memmove(job.at(place + 1), job.at(place), (i - place) * job.elem_size);
    memcpy(job.at(place), cell, job.elem_size);
  }
}

// Merge two neighbouring sorted runs through scratch memory that holds the left one.
void merge_with_scratch(const sort_job &job, size_t first, size_t middle, size_t last, uint8_t *scratch) {
  const size_t size = job.elem_size;
  memcpy(scratch, job.at(first), (middle - first) * size);
  const uint8_t *left = scratch;
  const uint8_t *left_end = scratch + (middle - first) * size;
  const uint8_t *right = job.at(middle);
  const uint8_t *right_end = job.at(last);
  uint8_t *out = job.at(first);
  while (left != left_end && right != right_end) {
    const uint8_t **from = job.cmp(left, right) <= 0 ? &left : &right;
    memcpy(out, *from, size);
    *from += size;
    out += size;
  }
  memcpy(out, left, static_cast<size_t>(left_end - left));
}

void reverse(const sort_job &job, size_t first, size_t last) {
  while (last - first >= 2) {
    swap_elements(job, first++, --last);
  }
}

// Exchange the neighbouring blocks first..middle-1 and middle..last-1.
void rotate(const sort_job &job, size_t first, size_t middle, size_t last) {
  reverse(job, first, middle);
  reverse(job, middle, last);
  reverse(job, first, last);
}

// First place in first..last-1 whose element does not sort before (or, with after_equals, sorts after) `pivot`.
size_t partition_point(const sort_job &job, size_t first, size_t last, size_t pivot, bool after_equals) {
  while (first < last) {
    const size_t probe = first + (last - first) / 2;
    const bool before =
        after_equals ? job.cmp(job.at(pivot), job.at(probe)) >= 0 : job.cmp(job.at(probe), job.at(pivot)) < 0;
    if (before) {
      first = probe + 1;
    } else {
      last = probe;
    }
  }
  return first;
}

// Merge in place: split the longer run in the middle, find the same place in the other, rotate, recurse.
void merge_in_place(const sort_job &job, size_t first, size_t middle, size_t last) {
  if (first == middle || middle == last || job.cmp(job.at(middle - 1), job.at(middle)) <= 0) {
    return;
  }
  if (last - first == 2) {
    swap_elements(job, first, middle);
    return;
  }
  size_t left_cut;
  size_t right_cut;
  if (middle - first > last - middle) {
    left_cut = first + (middle - first) / 2;
    right_cut = partition_point(job, middle, last, left_cut, false);
  } else {
    right_cut = middle + (last - middle) / 2;
    left_cut = partition_point(job, first, middle, right_cut, true);
  }
  rotate(job, left_cut, middle, right_cut);
  const size_t new_middle = left_cut + (right_cut - middle);
  merge_in_place(job, first, left_cut, new_middle);
  merge_in_place(job, new_middle, right_cut, last);
}

}  // namespace

void tm_stable_sort(void *array, size_t count, size_t elem_size, compare_fn cmp) {
  const sort_job job = {static_cast<uint8_t *>(array), elem_size, cmp};
  for (size_t first = 0; first < count; first += run_length) {
    insertion_sort(job, first, first + run_length < count ? first + run_length : count);
  }
  if (count <= run_length) {
    return;
  }
  auto *scratch = static_cast<uint8_t *>(zel_malloc_named(TM_MEM_TAG_LIST, count * elem_size));
  for (size_t width = run_length; width < count; width *= 2) {
    for (size_t first = 0; count - first > width; first += 2 * width) {
      const size_t middle = first + width;
      const size_t last = count - middle < width ? count : middle + width;
      if (cmp(job.at(middle - 1), job.at(middle)) > 0) {
        if (scratch != nullptr) {
          merge_with_scratch(job, first, middle, last, scratch);
        } else {
          merge_in_place(job, first, middle, last);
        }
      }
      if (last == count) {
        break;
      }
    }
  }
  tm_free(scratch);
}
