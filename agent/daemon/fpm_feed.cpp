// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>
#include <stdexcept>

#include "agent_log.h"
#include "fpm_stream.h"
#include "route_feed.h"

namespace v6agent {

namespace {

using std::chrono::steady_clock;

// Where routes never stop changing, the table has ended when for so many quiet times none came that was awaited.
constexpr int most_quiets = 10;
constexpr size_t most_bytes_at_once = size_t{1} << 20;  // then others have their turn

struct listen_address {
  sockaddr_storage storage{};
  socklen_t length = 0;
};

listen_address parse_listen_address(const std::string &text) {
  listen_address address;
  const size_t colon = text.rfind(':');
  std::string host = text.substr(0, colon);
  uint16_t port = 0;
  const char *last = text.data() + text.size();
  if (colon == std::string::npos || std::from_chars(text.data() + colon + 1, last, port).ptr != last || port == 0) {
    throw std::runtime_error(text + ": an address and a port are expected, as 127.0.0.1:2620");
  }
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  auto *v4 = reinterpret_cast<sockaddr_in *>(&address.storage);
  auto *v6 = reinterpret_cast<sockaddr_in6 *>(&address.storage);
  if (inet_pton(AF_INET, host.c_str(), &v4->sin_addr) == 1) {
    v4->sin_family = AF_INET;
    v4->sin_port = htons(port);
    address.length = sizeof *v4;
  } else if (inet_pton(AF_INET6, host.c_str(), &v6->sin6_addr) == 1) {
    v6->sin6_family = AF_INET6;
    v6->sin6_port = htons(port);
    address.length = sizeof *v6;
  } else {
    throw std::runtime_error(text + ": not an address");
  }
  return address;
}

int open_listener(const std::string &text) {
  const listen_address address = parse_listen_address(text);
  const int file = socket(address.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  const int on = 1;
  if (file >= 0) {
    setsockopt(file, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  }
  if (file < 0 || bind(file, reinterpret_cast<const sockaddr *>(&address.storage), address.length) != 0 ||
      listen(file, 4) != 0) {
    const std::string reason = strerror(errno);
    close(file);
    throw std::runtime_error(text + ": " + reason);
  }
  return file;
}

class fpm_feed final : public route_feed {
 public:
  fpm_feed(event_loop &loop, route_sink &sink, const feed_settings &settings, const std::string &address)
      : loop_(loop), sink_(sink), settings_(settings), listener_(open_listener(address)) {
    loop_.watch(listener_, EPOLLIN, [this](uint32_t) { accept_peer(); });
    say(log_level::notice, "waiting for a routing daemon at " + address);
  }
  ~fpm_feed() override {
    hang_up();
    loop_.forget(listener_);
    close(listener_);
  }

  steady_clock::time_point tick(steady_clock::time_point now) override {
    if (!syncing_) {
      return now + std::chrono::hours(1);
    }
    if (sink_.awaited() != awaited_) {
      awaited_ = sink_.awaited();
      last_progress_ = now;
    }
    const auto end = std::min(last_route_ + settings_.quiet, last_progress_ + most_quiets * settings_.quiet);
    if (now >= end) {
      syncing_ = false;
      sink_.end_resync();
      return now;
    }
    return end;
  }

 private:
  // One daemon at a time: a new connection takes the place of the old one.
  void accept_peer() {
    const int file = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (file < 0) {
      return;
    }
    hang_up();
    peer_ = file;
    stream_.emplace(settings_.rules, sink_);
    syncing_ = true;
    last_route_ = steady_clock::now();
    last_progress_ = last_route_;
    say(log_level::notice, "a routing daemon has connected");
    sink_.begin_resync();
    awaited_ = sink_.awaited();
    loop_.watch(peer_, EPOLLIN, [this](uint32_t) { read_peer(); });
  }

  void read_peer() {
    static uint8_t block[1 << 16];
    for (size_t total = 0; total < most_bytes_at_once;) {
      const ssize_t n = read(peer_, block, sizeof block);
      if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
      }
      if (n <= 0) {
        lose(n == 0 ? "the routing daemon has closed the connection" : strerror(errno));
        return;
      }
      total += static_cast<size_t>(n);
      last_route_ = steady_clock::now();
      if (!stream_->take({block, static_cast<size_t>(n)})) {
        lose("the connection is given up: " + stream_->fault());
        return;
      }
    }
  }

  void lose(const std::string &why) {
    say(log_level::warning, why);
    hang_up();
    syncing_ = false;
    sink_.lost();
  }

  void hang_up() {
    if (peer_ >= 0) {
      loop_.forget(peer_);
      close(peer_);
      peer_ = -1;
    }
  }

  event_loop &loop_;
  route_sink &sink_;
  const feed_settings settings_;
  int listener_;
  int peer_ = -1;
  std::optional<fpm_stream> stream_;
  bool syncing_ = false;
  steady_clock::time_point last_route_{};
  steady_clock::time_point last_progress_{};  // when a route came that was awaited
  size_t awaited_ = 0;
};

}  // namespace

std::unique_ptr<route_feed> make_fpm_feed(event_loop &loop, route_sink &sink, const feed_settings &settings,
                                          const std::string &address) {
  return std::make_unique<fpm_feed>(loop, sink, settings, address);
}

}  // namespace v6agent
