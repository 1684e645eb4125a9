// SPDX-License-Identifier: Apache-2.0
// Every format of access rules on any bytes: reading ends, a fault or a rule set comes out and never both, its rules
// say only what an entry can say, and written as CSV they read the same. The first byte chooses the format and the
// options.
#include "fuzz_target.h"
#include "prefix_text.h"
#include "rule_entries.h"
#include "rules_reader.h"

using namespace v6tool;
using fuzz_target::expect;

namespace {

rules_options options_of(uint8_t choice) {
  constexpr rules_format formats[] = {rules_format::automatic, rules_format::nft, rules_format::ip6tables,
                                      rules_format::csv};
  rules_options options;
  options.format = formats[choice & 3];
  options.clear_host_bits = (choice & 4) != 0;
  options.skip_bad = (choice & 8) != 0 ? 3 : 0;
  options.chain = (choice & 16) != 0 ? "input" : "";
  return options;
}

void check_match(const rule_match &match) {
  for (const ip_prefix &prefix : {match.source, match.destination}) {
    expect(prefix.length <= 128, "a prefix longer than 128 bits");
    expect(masked(prefix.key, prefix.length) == prefix.key, "host bits in " + format_prefix(prefix));
  }
  for (const port_range range : {match.source_ports, match.destination_ports}) {
    expect(range.first <= range.last, "a range of ports that ends before it begins");
    const bool is_single = range.first == range.last && range.last <= UINT8_MAX;
    expect(is_any(range) || (match.protocol && has_ports(*match.protocol)) ||
               (match.protocol == protocol_icmpv6 && is_single),
           "ports of a protocol that has none");
    uint64_t covered = 0;
    for (const masked_port mask : masks_of(range)) {
      covered += uint64_t{0x10000} - mask.mask;
    }
    expect(covered == uint64_t{range.last} - range.first + 1, "masks that are not the range");
  }
}

std::string ports_text(port_range range) {
  return is_any(range) ? "" : std::to_string(range.first) + '-' + std::to_string(range.last);
}

std::string csv_of(const rule_set &set) {
  std::string text = "source,destination,protocol,source_ports,destination_ports,verdict\n";
  for (const rule &each : set.rules) {
    text += format_prefix(each.match.source) + ',' + format_prefix(each.match.destination) + ',' +
            (each.match.protocol ? std::to_string(*each.match.protocol) : "") + ',' +
            ports_text(each.match.source_ports) + ',' + ports_text(each.match.destination_ports) + ',' +
            verdict_name(each.verdict) + '\n';
  }
  return text;
}

void check_again(const rule_set &set) {
  rule_set again;
  read_report report;
  expect(parse_rules("again", csv_of(set), {}, again, report), "its own rules were not taken");
  expect(again.rules.size() == set.rules.size(), "its own rules are others");
  for (size_t i = 0; i < set.rules.size(); ++i) {
    expect(again.rules[i].match == set.rules[i].match && again.rules[i].verdict == set.rules[i].verdict,
           "rule " + std::to_string(i) + " read differently");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::string_view content(reinterpret_cast<const char *>(data + 1), size - 1);
  rule_set set;
  read_report report;
  const bool good = parse_rules("input", content, options_of(data[0]), set, report);
  expect(good == (report.faults.total == 0), "good, and with faults");
  expect(good || set.rules.empty(), "faults, and rules");
  const size_t most = 1000;  // sets multiply: a few bytes can become a million rules
  if (set.rules.size() <= most) {
    for (const rule &each : set.rules) {
      check_match(each.match);
    }
    check_again(set);
  }
  return 0;
}
