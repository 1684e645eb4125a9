// SPDX-License-Identifier: Apache-2.0
#include "event_loop.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

namespace v6agent {

event_loop::event_loop() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
  if (epoll_ < 0) {
    throw std::runtime_error(std::string("epoll: ") + strerror(errno));
  }
}

event_loop::~event_loop() { close(epoll_); }

void event_loop::watch(int file, uint32_t events, ready call) {
  epoll_event event{};
  event.events = events;
  event.data.fd = file;
  if (epoll_ctl(epoll_, EPOLL_CTL_ADD, file, &event) != 0) {
    throw std::runtime_error(std::string("epoll: ") + strerror(errno));
  }
  calls_[file] = std::make_shared<ready>(std::move(call));
}

void event_loop::change(int file, uint32_t events) {
  epoll_event event{};
  event.events = events;
  event.data.fd = file;
  epoll_ctl(epoll_, EPOLL_CTL_MOD, file, &event);
}

void event_loop::forget(int file) {
  epoll_ctl(epoll_, EPOLL_CTL_DEL, file, nullptr);
  calls_.erase(file);
}

void event_loop::run_once(std::chrono::steady_clock::time_point end) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
  epoll_event events[32];
  const int n = epoll_wait(epoll_, events, 32, static_cast<int>(std::clamp<long long>(left, 0, 60000)));
  for (int i = 0; i < n; ++i) {
    // A call may forget others that are ready, and itself.
    if (const auto at = calls_.find(events[i].data.fd); at != calls_.end()) {
      const std::shared_ptr<ready> call = at->second;
      (*call)(events[i].events);
    }
  }
}

}  // namespace v6agent
