// SPDX-License-Identifier: Apache-2.0
// event_loop.h - waits for files to become ready and for a time to come, one thread, nothing else.
#ifndef EVENT_LOOP_H
#define EVENT_LOOP_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

namespace v6agent {

class event_loop {
 public:
  // `events`: EPOLLIN, EPOLLOUT, ...
  using ready = std::function<void(uint32_t events)>;

  event_loop();
  ~event_loop();
  event_loop(const event_loop &) = delete;
  event_loop &operator=(const event_loop &) = delete;

  // Call `call` whenever `file` is ready. The caller closes the file, after forget().
  void watch(int file, uint32_t events, ready call);
  void change(int file, uint32_t events);
  void forget(int file);

  // Wait until `end` at most, then answer what is ready.
  void run_once(std::chrono::steady_clock::time_point end);

 private:
  int epoll_ = -1;
  std::map<int, std::shared_ptr<ready>> calls_;
};

}  // namespace v6agent

#endif
