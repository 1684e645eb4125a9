// SPDX-License-Identifier: Apache-2.0
// control_server.h - a Unix socket: a client sends one line, gets its answer, and is let go.
#ifndef CONTROL_SERVER_H
#define CONTROL_SERVER_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "event_loop.h"

namespace v6agent {

class control_server {
 public:
  using answerer = std::function<std::string(std::string_view request)>;

  // Throws std::runtime_error when the socket cannot be made.
  control_server(event_loop &loop, const std::string &path, answerer answer);
  ~control_server();
  control_server(const control_server &) = delete;
  control_server &operator=(const control_server &) = delete;

 private:
  struct client {
    std::string request;
    std::string answer;
    size_t sent = 0;
    uint64_t number = 0;  // they are numbered as they come
    bool answered = false;
  };
  void accept_client();
  void serve(int file);
  bool read_request(int file, client &one);
  void let_go(int file);
  void make_room();

  event_loop &loop_;
  std::string path_;
  answerer answer_;
  int listener_ = -1;
  std::map<int, client> clients_;
  uint64_t accepted_ = 0;
};

}  // namespace v6agent

#endif
