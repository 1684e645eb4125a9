// SPDX-License-Identifier: Apache-2.0
#include "control_server.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

namespace v6agent {

namespace {

constexpr size_t most_clients = 32;
constexpr size_t longest_request = 4096;  // bytes

// The socket of a process that was killed; the journal's lock keeps a living one away. Anything else is not ours.
void remove_socket(const std::string &path) {
  struct stat found {};
  if (lstat(path.c_str(), &found) == 0 && S_ISSOCK(found.st_mode)) {
    unlink(path.c_str());
  }
}

}  // namespace

control_server::control_server(event_loop &loop, const std::string &path, answerer answer)
    : loop_(loop), path_(path), answer_(std::move(answer)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    throw std::runtime_error(path + ": too long for a socket");
  }
  path.copy(address.sun_path, path.size());
  remove_socket(path);
  listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (listener_ < 0 || bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
      chmod(path.c_str(), 0660) != 0 || listen(listener_, 16) != 0) {
    const std::string reason = strerror(errno);
    close(listener_);
    throw std::runtime_error(path + ": " + reason);
  }
  loop_.watch(listener_, EPOLLIN, [this](uint32_t) { accept_client(); });
}

control_server::~control_server() {
  while (!clients_.empty()) {
    let_go(clients_.begin()->first);
  }
  loop_.forget(listener_);
  close(listener_);
  remove_socket(path_);
}

void control_server::accept_client() {
  const int file = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (file < 0) {
    return;
  }
  if (clients_.size() >= most_clients) {
    make_room();
  }
  clients_[file].number = ++accepted_;
  loop_.watch(file, EPOLLIN, [this, file](uint32_t) { serve(file); });
}

// Who says nothing must not keep others away: the one that has been here longest goes.
void control_server::make_room() {
  const auto oldest = std::min_element(clients_.begin(), clients_.end(),
                                       [](const auto &a, const auto &b) { return a.second.number < b.second.number; });
  let_go(oldest->first);
}

// True: the request is whole.
bool control_server::read_request(int file, client &one) {
  char block[longest_request];
  const ssize_t n = read(file, block, sizeof block);
  if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
    return false;
  }
  if (n <= 0 || one.request.size() > longest_request) {
    let_go(file);
    return false;
  }
  one.request.append(block, static_cast<size_t>(n));
  return one.request.find('\n') != std::string::npos;
}

void control_server::serve(int file) {
  client &one = clients_.at(file);
  if (!one.answered) {
    if (!read_request(file, one)) {
      return;
    }
    one.answer = answer_(std::string_view(one.request).substr(0, one.request.find('\n')));
    one.answered = true;
    loop_.change(file, EPOLLOUT);
  }
  while (one.sent < one.answer.size()) {
    const ssize_t n = send(file, one.answer.data() + one.sent, one.answer.size() - one.sent, MSG_NOSIGNAL);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
      return;
    }
    if (n <= 0) {
      break;
    }
    one.sent += static_cast<size_t>(n);
  }
  let_go(file);
}

void control_server::let_go(int file) {
  loop_.forget(file);
  close(file);
  clients_.erase(file);
}

}  // namespace v6agent
