// SPDX-License-Identifier: Apache-2.0
// openflow_text.h - entries as OpenFlow flows in the text of ovs-ofctl, and back.
//
//   table 0   ipv6_src, longest match (priority = length + 1)   -> xreg0 = key, go to table 1
//   table 1   ipv6_dst, longest match                            -> xreg1 = key, reg4 = egress, go to table 2
//   table 2   xreg0 and xreg1 under masks, protocol, ports       -> out by the port in reg4, or nothing
//
// All flows carry one cookie, by which the agent knows its own.
#ifndef OPENFLOW_TEXT_H
#define OPENFLOW_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>

#include "switch_entries.h"

namespace v6agent {

constexpr uint64_t flow_cookie = 0x7636636f6d70;

// One line for a bundle, without its line end.
std::string flow_line(const switch_write &write);

enum class flow_reading { own, foreign, not_understood };

// One line of `ovs-ofctl --no-stats dump-flows`. Own: `write` puts it. Not understood: `removal` is the line of a
// bundle that removes it. Lines that are no flows are foreign.
flow_reading read_flow(std::string_view line, switch_write &write, std::string &removal);

}  // namespace v6agent

#endif
