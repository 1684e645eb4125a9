// SPDX-License-Identifier: Apache-2.0
#include "feed_fixture.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <cstring>

#include "prefix_value.h"

namespace v6agent {

std::vector<uint8_t> route_message_bytes(const route_text &route) {
  alignas(nlmsghdr) char buffer[512] = {0};
  nlmsghdr *header = mnl_nlmsg_put_header(buffer);
  header->nlmsg_type = route.add ? RTM_NEWROUTE : RTM_DELROUTE;
  header->nlmsg_flags = NLM_F_REQUEST | NLM_F_CREATE;
  auto *message = static_cast<rtmsg *>(mnl_nlmsg_put_extra_header(header, sizeof(rtmsg)));
  message->rtm_family = route.family;
  message->rtm_dst_len = route.prefix.length;
  message->rtm_table = static_cast<unsigned char>(route.table < 256 ? route.table : 0);
  message->rtm_type = route.type;
  uint8_t address[16];
  v6tool::key_to_bytes(route.prefix.key, address);
  mnl_attr_put(header, RTA_DST, sizeof address, address);
  if (route.table > 255) {
    mnl_attr_put_u32(header, RTA_TABLE, route.table);
  }
  if (route.interface) {
    mnl_attr_put_u32(header, RTA_OIF, *route.interface);
  }
  if (route.first_of_many) {
    rtnexthop hops[2]{};
    for (rtnexthop &hop : hops) {
      hop.rtnh_len = sizeof hop;
    }
    hops[0].rtnh_ifindex = static_cast<int>(*route.first_of_many);
    hops[1].rtnh_ifindex = static_cast<int>(*route.first_of_many + 1);
    mnl_attr_put(header, RTA_MULTIPATH, sizeof hops, hops);
  }
  const auto *bytes = reinterpret_cast<const uint8_t *>(buffer);
  return {bytes, bytes + header->nlmsg_len};
}

std::vector<uint8_t> fpm_frame(const std::vector<uint8_t> &content, uint8_t version, uint8_t kind) {
  const size_t length = content.size() + 4;
  std::vector<uint8_t> frame{version, kind, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length & 0xff)};
  frame.insert(frame.end(), content.begin(), content.end());
  return frame;
}

}  // namespace v6agent
