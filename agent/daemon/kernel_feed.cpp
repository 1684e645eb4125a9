// SPDX-License-Identifier: Apache-2.0
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "agent_log.h"
#include "route_feed.h"

namespace v6agent {

namespace {

using std::chrono::steady_clock;

constexpr int receive_buffer = 8 << 20;  // bytes; a storm overruns the default one

class kernel_feed final : public route_feed {
 public:
  kernel_feed(event_loop &loop, route_sink &sink, const feed_settings &settings)
      : loop_(loop), sink_(sink), settings_(settings), block_(size_t{1} << 17) {}
  ~kernel_feed() override { hang_up(); }

  steady_clock::time_point tick(steady_clock::time_point now) override {
    if (socket_ == nullptr && now >= retry_at_) {
      retry_at_ = now + settings_.retry;
      connect();
    }
    return socket_ == nullptr ? retry_at_ : now + std::chrono::hours(1);
  }

 private:
  void connect() {
    socket_ = mnl_socket_open2(NETLINK_ROUTE, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (socket_ == nullptr || mnl_socket_bind(socket_, RTMGRP_IPV6_ROUTE, MNL_SOCKET_AUTOPID) < 0 || !ask()) {
      say(log_level::error, std::string("netlink: ") + strerror(errno));
      hang_up();
      return;
    }
    const int file = mnl_socket_get_fd(socket_);
    setsockopt(file, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
    loop_.watch(file, EPOLLIN, [this](uint32_t) { take_all(); });
    watched_ = true;
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

  void take_all() {
    while (socket_ != nullptr) {
      const ssize_t n = mnl_socket_recvfrom(socket_, block_.data(), block_.size() * sizeof block_[0]);
      if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
      }
      if (n <= 0) {
        // Messages were lost when the buffer was full: what stands is not known any more.
        say(log_level::warning, std::string("netlink: ") + strerror(errno) + "; the kernel's table is read anew");
        hang_up();
        sink_.lost();
        return;
      }
      take_block(static_cast<size_t>(n));
    }
  }

  void take_block(size_t bytes) {
    const auto *header = reinterpret_cast<const nlmsghdr *>(block_.data());
    auto left = static_cast<int>(bytes);
    for (; mnl_nlmsg_ok(header, left); header = mnl_nlmsg_next(header, &left)) {
      if (header->nlmsg_type == NLMSG_DONE) {
        sink_.end_resync();
      } else if (header->nlmsg_type == NLMSG_ERROR) {
        sink_.bad_input("the kernel refused a netlink request");
      } else if (take_route_message(header, settings_.rules, sink_) == message_reading::malformed) {
        sink_.bad_input("a bad netlink message");
      }
    }
  }

  void hang_up() {
    if (socket_ != nullptr) {
      if (watched_) {
        loop_.forget(mnl_socket_get_fd(socket_));
      }
      mnl_socket_close(socket_);
    }
    socket_ = nullptr;
    watched_ = false;
  }

  event_loop &loop_;
  route_sink &sink_;
  const feed_settings settings_;
  std::vector<uint64_t> block_;
  mnl_socket *socket_ = nullptr;
  bool watched_ = false;
  steady_clock::time_point retry_at_{};
};

}  // namespace

std::unique_ptr<route_feed> make_kernel_feed(event_loop &loop, route_sink &sink, const feed_settings &settings) {
  return std::make_unique<kernel_feed>(loop, sink, settings);
}

}  // namespace v6agent
