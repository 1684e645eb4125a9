// SPDX-License-Identifier: Apache-2.0
#include "kernel_routes.h"

#include <algorithm>

namespace v6agent {

namespace {

bool is_lower(const route_path &a, const route_path &b) { return a.metric < b.metric; }

}  // namespace

void kernel_routes::begin_reading() {
  paths_.clear();
  gone_while_read_.clear();
  is_reading_ = true;
  is_in_doubt_ = false;
}

void kernel_routes::end_reading() {
  gone_while_read_.clear();
  is_reading_ = false;
}

void kernel_routes::come(std::vector<route_path> &paths, const route_message &message) {
  if (message.replaces) {
    const auto is_replaced = [&message](const route_path &path) { return path.metric == message.paths.front().metric; };
    // Next hops of one route go together. Routes without a gateway stand side by side, and one of them is replaced:
    // which, the kernel does not say.
    is_in_doubt_ |= std::count_if(paths.begin(), paths.end(), is_replaced) > 1 &&
                    std::any_of(paths.begin(), paths.end(), [&is_replaced](const route_path &path) {
                      return is_replaced(path) && path.gateway == route_path{}.gateway;
                    });
    std::erase_if(paths, is_replaced);
  }
  for (const route_path &path : message.paths) {
    if (std::find(paths.begin(), paths.end(), path) == paths.end()) {
      paths.push_back(path);
    }
  }
}

void kernel_routes::take(const route_message &message, bool in_reading) {
  if (is_reading_ && !in_reading && (!message.comes || message.replaces)) {
    gone_while_read_.insert(message.prefix);
  }
  // It may have been read before it went, and come to us after.
  is_in_doubt_ |= in_reading && gone_while_read_.contains(message.prefix);
  std::vector<route_path> &paths = paths_[message.prefix];
  if (message.comes) {
    come(paths, message);
  } else {
    std::erase_if(paths, [&message](const route_path &path) {
      return std::find(message.paths.begin(), message.paths.end(), path) != message.paths.end();
    });
  }
  if (paths.empty()) {
    paths_.erase(message.prefix);
    sink_.withdraw(message.prefix);
  } else {
    sink_.announce(message.prefix, std::min_element(paths.begin(), paths.end(), is_lower)->egress);
  }
}

}  // namespace v6agent
