// SPDX-License-Identifier: Apache-2.0
#include "trace_driver.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "number_text.h"
#include "prefix_text.h"

namespace v6agent {

namespace {

using v6tool::format_prefix;

std::string code_text(const code_match &match) { return fmt::format("{:#018x}/{}", match.code, match.length); }

std::string rule_text(const rule_place &place) {
  const packet_match &packet = place.packet;
  return fmt::format("rule {} source {} destination {} protocol {} sport {}/{:#x} dport {}/{:#x}", place.rank,
                     code_text(place.source), code_text(place.destination), packet.protocol, packet.source_port.value,
                     packet.source_port.mask, packet.destination_port.value, packet.destination_port.mask);
}

std::vector<std::string_view> words_of(std::string_view line) {
  std::vector<std::string_view> words;
  while (!line.empty()) {
    const size_t end = line.find(' ');
    words.push_back(line.substr(0, end));
    line = end == std::string_view::npos ? "" : line.substr(end + 1);
  }
  return words;
}

// Two numbers with a slash between them.
template <class First, class Second>
bool parse_pair(std::string_view text, First &first, Second &second) {
  const size_t slash = text.find('/');
  return slash != std::string_view::npos && parse_number(text.substr(0, slash), first) &&
         parse_number(text.substr(slash + 1), second);
}

bool parse_rule(const std::vector<std::string_view> &words, rule_place &place) {
  packet_match &packet = place.packet;
  return words.size() >= 13 && words[1] == "rule" && parse_number(words[2], place.rank) && words[3] == "source" &&
         parse_pair(words[4], place.source.code, place.source.length) && words[5] == "destination" &&
         parse_pair(words[6], place.destination.code, place.destination.length) && words[7] == "protocol" &&
         parse_number(words[8], packet.protocol) && words[9] == "sport" &&
         parse_pair(words[10], packet.source_port.value, packet.source_port.mask) && words[11] == "dport" &&
         parse_pair(words[12], packet.destination_port.value, packet.destination_port.mask);
}

bool parse_lookup(const std::vector<std::string_view> &words, lookup_place &place) {
  if (words.size() < 3 || (words[1] != name_of(side::source) && words[1] != name_of(side::destination))) {
    return false;
  }
  place.table = words[1] == name_of(side::source) ? side::source : side::destination;
  return v6tool::parse_prefix(words[2], place.prefix).empty();
}

bool parse_value(const std::vector<std::string_view> &words, side table, lookup_value &value) {
  const bool has_egress = table == side::destination;
  return words.size() == (has_egress ? 7U : 5U) && words[3] == "key" && parse_number(words[4], value.key) &&
         (!has_egress || (words[5] == "egress" && parse_number(words[6], value.egress)));
}

driver_answer failed(const char *what) { return {driver_status::unreachable, std::string(what) + strerror(errno)}; }

bool read_all(int file, std::string &content) {
  char block[1 << 16];
  off_t at = 0;
  for (;;) {
    const ssize_t n = pread(file, block, sizeof block, at);
    if (n < 0) {
      return false;
    }
    if (n == 0) {
      return true;
    }
    content.append(block, static_cast<size_t>(n));
    at += n;
  }
}

}  // namespace

std::string trace_line(const switch_write &write) {
  switch (write.kind) {
    case write_kind::put_lookup:
      return fmt::format("put {} {} key {:#018x}", name_of(write.lookup.table), format_prefix(write.lookup.prefix),
                         write.value.key) +
             (write.lookup.table == side::destination ? fmt::format(" egress {}", write.value.egress) : "");
    case write_kind::remove_lookup:
      return fmt::format("remove {} {}", name_of(write.lookup.table), format_prefix(write.lookup.prefix));
    case write_kind::put_rule:
      return fmt::format("put {} {}", rule_text(write.rule), name_of(write.action));
    case write_kind::remove_rule:
      return "remove " + rule_text(write.rule);
  }
  return "";
}

bool parse_trace_line(std::string_view line, switch_write &write) {
  const std::vector<std::string_view> words = words_of(line);
  if (words.size() < 3 || (words[0] != "put" && words[0] != "remove")) {
    return false;
  }
  const bool put = words[0] == "put";
  write = {};
  if (words[1] == "rule") {
    write.kind = put ? write_kind::put_rule : write_kind::remove_rule;
    if (put && words.back() != "permit" && words.back() != "deny") {
      return false;
    }
    write.action = put && words.back() == "permit" ? rule_action::permit : rule_action::deny;
    return words.size() == (put ? 14U : 13U) && parse_rule(words, write.rule);
  }
  write.kind = put ? write_kind::put_lookup : write_kind::remove_lookup;
  return parse_lookup(words, write.lookup) &&
         (put ? parse_value(words, write.lookup.table, write.value) : words.size() == 3);
}

trace_driver::trace_driver(const std::string &path) : remembers_(path != "-") {
  file_ = remembers_ ? open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0640) : dup(STDOUT_FILENO);
  if (file_ < 0) {
    throw std::runtime_error(path + ": " + strerror(errno));
  }
}

trace_driver::~trace_driver() { close(file_); }

driver_answer trace_driver::write(const switch_step &step) {
  std::string lines;
  for (const switch_write &write : step) {
    lines += trace_line(write);
    lines += '\n';
  }
  lines += fmt::format("done {}\n", step.size());
  size_t at = 0;
  while (at < lines.size()) {
    const ssize_t n = ::write(file_, lines.data() + at, lines.size() - at);
    if (n < 0 && errno != EINTR) {
      return failed("trace: ");
    }
    at += n < 0 ? 0 : static_cast<size_t>(n);
  }
  if (!remembers_) {
    for (const switch_write &write : step) {
      apply_write(printed_, write);
    }
  }
  return {};
}

driver_answer trace_driver::read(switch_image &image) {
  if (!remembers_) {
    image = printed_;
    return {};
  }
  std::string content;
  if (!read_all(file_, content)) {
    return failed("trace: ");
  }
  switch_step step;
  size_t whole = 0;  // bytes of finished steps
  size_t at = 0;
  for (size_t end = content.find('\n'); end != std::string::npos; end = content.find('\n', at)) {
    const std::string_view line = std::string_view(content).substr(at, end - at);
    at = end + 1;
    switch_write write;
    if (parse_trace_line(line, write)) {
      step.push_back(write);
    } else if (line == fmt::format("done {}", step.size())) {
      for (const switch_write &done : step) {
        apply_write(image, done);
      }
      step.clear();
      whole = at;
    } else {
      return {driver_status::unreachable, "trace: a line that is no write: " + v6tool::printable(line)};
    }
  }
  if (whole != content.size() && ftruncate(file_, static_cast<off_t>(whole)) != 0) {
    return failed("trace: ");
  }
  return {};
}

}  // namespace v6agent
