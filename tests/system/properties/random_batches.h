// SPDX-License-Identifier: Apache-2.0
// random_batches.h - crowded tables in a few bits of address space, and batches that change them.
#ifndef RANDOM_BATCHES_H
#define RANDOM_BATCHES_H

#include <algorithm>
#include <random>

#include "updated_table.h"

namespace random_batches {

using random_source = std::mt19937_64;

// All prefixes of a network that are 1 to `width` bits longer than it.
struct dense_space {
  v6tool::ip_prefix network;
  unsigned width;
};

// Spaces that begin at the top, or lie across the lengths at which anchors are cut.
inline dense_space random_space(random_source &random, unsigned most_width = 12) {
  constexpr uint8_t starts[] = {0, 0, 26, 42, 58, 90, 116};
  const uint8_t start = starts[random() % std::size(starts)];
  return {{v6tool::masked({random(), random()}, start), start}, 2 + static_cast<unsigned>(random() % (most_width - 1))};
}

inline v6tool::ip_prefix random_prefix(random_source &random, const dense_space &space) {
  const auto length = static_cast<uint8_t>(space.network.length + 1 + random() % space.width);
  return {space.network.key | (v6tool::ip_key{random(), random()} & v6tool::leading_ones(length) &
                               ~v6tool::leading_ones(space.network.length)),
          length};
}

inline updated_table::change random_addition(random_source &random, const dense_space &space) {
  return {true, random_prefix(random, space), random() % 4 == 0 ? 1 + static_cast<uint32_t>(random() % 5) : 1};
}

inline updated_table::change_list random_table(random_source &random, const dense_space &space, size_t n) {
  updated_table::change_list table;
  for (size_t i = 0; i < n; ++i) {
    table.push_back(random_addition(random, space));
  }
  return table;
}

// Additions, and deletes: most of what is stored, some of what is not, few of more than there is.
inline updated_table::change_list random_batch(random_source &random, const dense_space &space,
                                               const updated_table::counting &table, size_t most) {
  updated_table::change_list batch;
  const size_t n = 1 + random() % most;
  for (size_t i = 0; i < n; ++i) {
    const auto kind = random() % 16;
    if (kind < 8) {
      batch.push_back(random_addition(random, space));
      continue;
    }
    updated_table::change removal = {false, random_prefix(random, space), 1};
    if (kind < 15) {
      auto at = table.stored().begin();
      std::advance(at, static_cast<long>(random() % table.stored().size()));
      removal.prefix = at->first;
      removal.weight = std::max<uint32_t>(1, table.own_share(at->first));
      removal.weight -= removal.weight > 1 && random() % 4 == 0 ? 1 : 0;
      removal.weight += random() % 64 == 0 ? 1 : 0;
    }
    batch.push_back(removal);
  }
  return batch;
}

}  // namespace random_batches

#endif
