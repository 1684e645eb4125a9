// SPDX-License-Identifier: Apache-2.0
#include "made_history.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>
#include <tuple>

#include "prefix_crowd.h"
#include "prefix_text.h"

namespace v6tool {

namespace {

std::string no_place(const prefix_wish &wish, const ip_prefix &within) {
  return "no place is left in " + format_prefix(within) + " for a /" + std::to_string(wish.length) + " that is " +
         (wish.nested ? "nested" : "not nested") + " and " + (wish.clustered ? "clustered" : "not clustered");
}

// Changes up to the end of a batch that are additions, of all: each batch gets its due.
uint64_t additions_until(uint64_t changes, share part) { return (changes * part + whole_share / 2) / whole_share; }

class history_maker {
 public:
  history_maker(const std::vector<ip_prefix> &table, const history_order &order)
      : order_(order), crowd_(order.within), random_(order.seed) {
    for (const ip_prefix &prefix : table) {
      crowd_.insert(prefix);
      ++there_[prefix.length];
    }
  }

  std::string make(std::vector<history_batch> &batches) {
    const uint64_t changes = order_.batches * order_.batch_size;
    std::string fault = make_wishes(order_.shares, additions_until(changes, order_.additions), there_, wishes_);
    random_.shuffle(wishes_);
    for (uint64_t i = 0; i < order_.batches && fault.empty(); ++i) {
      const uint64_t before = additions_until(i * order_.batch_size, order_.additions);
      const uint64_t after = additions_until((i + 1) * order_.batch_size, order_.additions);
      batches.emplace_back();
      fault = fill(batches.back(), after - before);
    }
    return fault;
  }

 private:
  std::string fill(history_batch &batch, uint64_t additions) {
    std::vector<uint8_t> is_addition(order_.batch_size, 0);
    std::fill_n(is_addition.begin(), additions, uint8_t{1});
    random_.shuffle(is_addition);
    touched_.clear();
    for (const uint8_t add : is_addition) {
      const std::string fault = add != 0 ? append_addition(batch) : append_delete(batch);
      if (!fault.empty()) {
        return fault;
      }
    }
    return "";
  }

  // The next wish that can be met: one to stand beside a prefix waits until there is one.
  std::string append_addition(history_batch &batch) {
    std::set<std::tuple<uint8_t, bool, bool>> in_vain;
    for (size_t i = wishes_.size(); i-- > 0;) {
      const prefix_wish wish = wishes_[i];
      if (in_vain.insert({wish.length, wish.nested, wish.clustered}).second && fulfil(i, wish, batch)) {
        return "";
      }
    }
    const size_t last = wishes_.size() - 1;
    for (const prefix_wish &other : near_wishes(wishes_[last])) {
      if (fulfil(last, other, batch)) {
        return "";
      }
    }
    return no_place(wishes_[last], order_.within);
  }

  // What may come instead, where nobody asked for what was wished.
  std::vector<prefix_wish> near_wishes(const prefix_wish &wish) const {
    std::vector<prefix_wish> near;
    for (const bool nested : {wish.nested, !wish.nested}) {
      for (const bool clustered : {wish.clustered, !wish.clustered}) {
        if ((nested == wish.nested || !order_.shares.must_nest) &&
            (clustered == wish.clustered || !order_.shares.must_cluster)) {
          near.push_back({wish.length, nested, clustered});
        }
      }
    }
    near.erase(near.begin());  // the wish itself
    return near;
  }

  bool fulfil(size_t at, const prefix_wish &wish, history_batch &batch) {
    const std::optional<ip_prefix> place = untouched_place(wish);
    if (place) {
      wishes_.erase(wishes_.begin() + static_cast<std::ptrdiff_t>(at));
      touched_.insert(*place);
      crowd_.insert(*place);
      batch.push_back({*place, 1, true, 0});
    }
    return place.has_value();
  }

  std::optional<ip_prefix> untouched_place(const prefix_wish &wish) {
    for (int attempt = 0; attempt < 100; ++attempt) {
      const std::optional<ip_prefix> place = crowd_.find_place(wish, random_);
      if (!place || !touched_.contains(*place)) {
        return place;
      }
    }
    return std::nullopt;
  }

  std::string append_delete(history_batch &batch) {
    for (int attempt = 0; attempt < 10000 && crowd_.size() != 0; ++attempt) {
      const ip_prefix prefix = crowd_.any(random_);
      if (touched_.insert(prefix).second) {
        crowd_.erase(prefix);
        batch.push_back({prefix, 1, false, 0});
        return "";
      }
    }
    return "no prefix is left that a batch could delete";
  }

  const history_order &order_;
  prefix_crowd crowd_;
  length_mix there_;  // lengths of the table
  fixed_random random_;
  std::vector<prefix_wish> wishes_;
  std::set<ip_prefix> touched_;  // by this batch
};

}  // namespace

std::string make_table(const table_order &order, std::vector<ip_prefix> &prefixes) {
  std::vector<prefix_wish> wishes;
  if (std::string fault = make_wishes(order.shares, order.count, {}, wishes); !fault.empty()) {
    return fault;
  }
  prefix_crowd crowd(order.within);
  fixed_random random(order.seed);
  for (const prefix_wish &wish : wishes) {  // shorter ones first: what comes later covers nothing that is there
    const std::optional<ip_prefix> place = crowd.find_place(wish, random);
    if (!place) {
      return no_place(wish, order.within);
    }
    crowd.insert(*place);
  }
  prefixes = crowd.sorted();
  return "";
}

std::string make_history(const std::vector<ip_prefix> &table, const history_order &order,
                         std::vector<history_batch> &batches) {
  return history_maker(table, order).make(batches);
}

wish_shares shares_of(const std::vector<ip_prefix> &prefixes) {
  wish_shares shares;
  shares.must_nest = shares.must_cluster = false;
  prefix_crowd crowd({});
  for (const ip_prefix &prefix : prefixes) {
    crowd.insert(prefix);
    ++shares.mix[prefix.length];
  }
  uint64_t nested = 0;
  uint64_t clustered = 0;
  for (const ip_prefix &prefix : crowd.sorted()) {
    nested += crowd.is_nested(prefix) ? 1 : 0;
    clustered += crowd.is_clustered(prefix) ? 1 : 0;
  }
  const uint64_t count = crowd.size() == 0 ? 1 : crowd.size();
  shares.nested = static_cast<share>(nested * whole_share / count);
  shares.clustered = static_cast<share>(clustered * whole_share / count);
  return shares;
}

}  // namespace v6tool
