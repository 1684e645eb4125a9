// SPDX-License-Identifier: Apache-2.0
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "agent_log.h"
#include "kernel_routes.h"
#include "route_feed.h"

namespace v6agent {

namespace {

using std::chrono::steady_clock;

constexpr int receive_buffer = 8 << 20;  // bytes; a storm overruns the default one
constexpr int blocks_at_once = 256;

class kernel_feed final : public route_feed {
 public:
  kernel_feed(event_loop &loop, route_sink &sink, const feed_settings &settings)
      : loop_(loop), sink_(sink), settings_(settings), block_(size_t{1} << 17), routes_(sink) {}
  ~kernel_feed() override { hang_up(); }

  steady_clock::time_point tick(steady_clock::time_point now) override {
    if (has_to_read() && now >= retry_at_) {
      retry_at_ = now + settings_.retry;
      if (socket_ == nullptr) {
        connect();
      }
      read_table();
    }
    return has_to_read() ? std::max(retry_at_, now) : now + std::chrono::hours(1);
  }

 private:
  bool has_to_read() const { return socket_ == nullptr || (!is_reading_ && routes_.is_in_doubt()); }

  void connect() {
    socket_ = mnl_socket_open2(NETLINK_ROUTE, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (socket_ == nullptr) {
      say(log_level::error, std::string("netlink: ") + strerror(errno));
      return;
    }
    const int file = mnl_socket_get_fd(socket_);
    // Beyond what the system allows to everybody, where we may.
    if (setsockopt(file, SOL_SOCKET, SO_RCVBUFFORCE, &receive_buffer, sizeof receive_buffer) != 0) {
      setsockopt(file, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
    }
    if (mnl_socket_bind(socket_, RTMGRP_IPV6_ROUTE, MNL_SOCKET_AUTOPID) < 0) {
      lose(strerror(errno));
      return;
    }
    loop_.watch(file, EPOLLIN, [this](uint32_t) { take_some(); });
    is_watched_ = true;
  }

  // All routes; what changes meanwhile comes between them.
  void read_table() {
    if (socket_ == nullptr) {
      return;
    }
    if (!ask()) {
      lose(strerror(errno));
      return;
    }
    is_reading_ = true;
    routes_.begin_reading();
    sink_.begin_resync();
  }

  bool ask() {
    char message[MNL_NLMSG_HDRLEN + MNL_ALIGN(sizeof(rtmsg))] = {0};
    nlmsghdr *header = mnl_nlmsg_put_header(message);
    header->nlmsg_type = RTM_GETROUTE;
    header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    header->nlmsg_seq = 1;
    auto *route = static_cast<rtmsg *>(mnl_nlmsg_put_extra_header(header, sizeof(rtmsg)));
    route->rtm_family = AF_INET6;
    return mnl_socket_sendto(socket_, header, header->nlmsg_len) >= 0;
  }

  // Not all: in a storm others want their turn too.
  void take_some() {
    for (int i = 0; i < blocks_at_once && socket_ != nullptr; ++i) {
      const ssize_t n = mnl_socket_recvfrom(socket_, block_.data(), block_.size() * sizeof block_[0]);
      if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
      }
      if (n <= 0) {
        // Messages were lost when the buffer was full: what stands is not known any more.
        lose(strerror(errno));
        return;
      }
      take_block(static_cast<size_t>(n));
    }
  }

  void take_block(size_t bytes) {
    const auto *header = reinterpret_cast<const nlmsghdr *>(block_.data());
    auto left = static_cast<int>(bytes);
    for (; mnl_nlmsg_ok(header, left); header = mnl_nlmsg_next(header, &left)) {
      const bool is_ours = header->nlmsg_pid == mnl_socket_get_portid(socket_);
      was_interrupted_ |= is_ours && (header->nlmsg_flags & NLM_F_DUMP_INTR) != 0;
      if (header->nlmsg_type == NLMSG_ERROR || header->nlmsg_type == NLMSG_OVERRUN) {
        lose("the kernel refused a request");
        return;
      }
      if (header->nlmsg_type == NLMSG_DONE) {
        end_reading();
        continue;
      }
      const message_reading reading = read_route_message(header, settings_.rules, message_);
      if (reading == message_reading::route) {
        routes_.take(message_, is_ours);
      } else if (reading == message_reading::malformed) {
        sink_.bad_input("a bad netlink message");
      }
    }
  }

  void end_reading() {
    is_reading_ = false;
    routes_.end_reading();
    if (std::exchange(was_interrupted_, false)) {
      routes_.doubt();
    }
    sink_.end_resync();
  }

  void lose(const char *reason) {
    say(log_level::warning, std::string("netlink: ") + reason + "; the kernel's table is read anew");
    hang_up();
    sink_.lost();
  }

  void hang_up() {
    if (socket_ != nullptr) {
      if (is_watched_) {
        loop_.forget(mnl_socket_get_fd(socket_));
      }
      mnl_socket_close(socket_);
    }
    socket_ = nullptr;
    is_watched_ = false;
    is_reading_ = false;
    was_interrupted_ = false;
  }

  event_loop &loop_;
  route_sink &sink_;
  const feed_settings settings_;
  std::vector<uint64_t> block_;
  mnl_socket *socket_ = nullptr;
  kernel_routes routes_;
  route_message message_;
  bool is_watched_ = false;
  bool is_reading_ = false;
  bool was_interrupted_ = false;  // the table changed under the kernel's own reading
  steady_clock::time_point retry_at_{};
};

}  // namespace

std::unique_ptr<route_feed> make_kernel_feed(event_loop &loop, route_sink &sink, const feed_settings &settings) {
  return std::make_unique<kernel_feed>(loop, sink, settings);
}

}  // namespace v6agent
