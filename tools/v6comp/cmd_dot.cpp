// SPDX-License-Identifier: Apache-2.0
// v6comp dot: pictures of a small table, as text for Graphviz.
//
// Drawn from what the library answers, not from its insides: tries appear folded, with a node for each stored prefix
// and each branching point, and the bits between them on the edge.
//
//   box, solid    a prefix of the table           point    a branching point
//   box, dashed   an anchor, or the default ::/0  ellipse  the rest of a prefix: what none of those inside it covers
#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <memory>

#include "output_file.h"
#include "prefix_text.h"
#include "table_session.h"
#include "tool_options.h"

namespace v6tool {

namespace {

constexpr uint32_t most_prefixes = 2000;

struct dot_options {
  common_options common;
  output_options output;
  std::string what = "ancestor";
};

// A node of a folded trie: a prefix in the trie's own bits, and which stored prefix it belongs to.
struct folded_node {
  ip_prefix at;
  uint32_t owner = prefix_forest::none;  // none: a branching point
};

// All owners' nodes and the branching points between them, sorted.
std::vector<folded_node> fold(const std::vector<ip_prefix> &keys) {
  std::map<ip_prefix, uint32_t> nodes;
  for (uint32_t i = 0; i < keys.size(); ++i) {
    nodes.emplace(keys[i], i);
  }
  std::vector<ip_prefix> sorted = keys;
  std::sort(sorted.begin(), sorted.end());
  for (size_t i = 1; i < sorted.size(); ++i) {
    const unsigned shared = std::min(
        {common_bits(sorted[i - 1].key, sorted[i].key), unsigned{sorted[i - 1].length}, unsigned{sorted[i].length}});
    nodes.emplace(ip_prefix{masked(sorted[i].key, shared), static_cast<uint8_t>(shared)}, prefix_forest::none);
  }
  std::vector<folded_node> out;
  out.reserve(nodes.size());
  for (const auto &[at, owner] : nodes) {
    out.push_back({at, owner});
  }
  return out;
}

std::string edge_bits(const ip_prefix &child, unsigned from) {
  constexpr unsigned most_shown = 16;
  const unsigned n = child.length - from;
  std::string bits;
  for (unsigned i = 0; i < std::min(n, most_shown); ++i) {
    bits += bit_at(child.key, from + i) ? '1' : '0';
  }
  return n > most_shown ? fmt::format("{}.. ({} bits)", bits, n) : bits;
}

class picture {
 public:
  explicit picture(const table_session &session) : stored_(session.stored()) {
    for (const ip_prefix &prefix : stored_.prefixes) {
      results_.push_back(session.translate_stored(prefix));
    }
  }

  std::string original() {
    draw_trie(stored_.prefixes, false);
    return finish("original prefixes");
  }

  std::string compressed() {
    std::vector<ip_prefix> codes;
    for (const translation &result : results_) {
      codes.push_back(result.code);
    }
    draw_trie(codes, true);
    return finish("compressed prefixes");
  }

  std::string ancestor() {
    for (const uint32_t i : stored_.forest.preorder()) {
      draw_stored(fmt::format("p{}", i), i);
      if (stored_.forest.parent(i) != prefix_forest::none) {
        line("p{} -> p{}", stored_.forest.parent(i), i);
      }
      draw_rest(fmt::format("p{}", i), i);
    }
    return finish("containment of prefixes");
  }

 private:
  template <class... Arguments>
  void line(fmt::format_string<Arguments...> format, Arguments &&...arguments) {
    body_ += "  ";
    body_ += fmt::format(format, std::forward<Arguments>(arguments)...);
    body_ += ";\n";
  }

  void draw_trie(const std::vector<ip_prefix> &keys, bool with_rests) {
    const std::vector<folded_node> nodes = fold(keys);
    std::vector<ip_prefix> places;
    places.reserve(nodes.size());
    for (const folded_node &node : nodes) {
      places.push_back(node.at);
    }
    const prefix_forest forest(places);
    for (uint32_t i = 0; i < nodes.size(); ++i) {
      const std::string name = fmt::format("n{}", i);
      if (nodes[i].owner == prefix_forest::none) {
        line("{} [shape=point, width=0.12]", name);
      } else {
        draw_stored(name, nodes[i].owner);
      }
      if (const uint32_t parent = forest.parent(i); parent != prefix_forest::none) {
        line("n{} -> {} [label=\"{}\"]", parent, name, edge_bits(places[i], places[parent].length));
      }
      if (with_rests && nodes[i].owner != prefix_forest::none) {
        draw_rest(name, nodes[i].owner);
      }
    }
  }

  void draw_stored(const std::string &name, uint32_t index) {
    line("{} [shape=box{}, label=\"{}\\n{}\"]", name,
         stored_.kinds[index] == prefix_kind::table ? "" : ", style=dashed", format_prefix(stored_.prefixes[index]),
         format_code(results_[index].code));
  }

  // A prefix with others inside has an address other than its own compressed prefix.
  void draw_rest(const std::string &name, uint32_t index) {
    const auto inside = [&](uint32_t i) { return stored_.forest.parent(i) == index; };
    if (index + 1 < stored_.forest.size() && inside(index + 1)) {  // sorted: the first one inside comes next
      line("{}_rest [shape=ellipse, label=\"{}\"]", name, format_code_address(results_[index].address));
      line("{} -> {}_rest [style=dashed]", name, name);
    }
  }

  std::string finish(const char *title) const {
    return fmt::format(
        "digraph v6comp {{\n  label=\"{}\";\n  node [fontname=monospace];\n  edge [fontname=monospace];\n{}}}\n", title,
        body_);
  }

  const stored_prefixes &stored_;
  std::vector<translation> results_;
  std::string body_;
};

exit_code run_dot(const dot_options &options) {
  check_output_file(options.output.file, {options.common.table});
  const prefix_table table = read_command_table(options.common);
  if (table.rows.size() > most_prefixes) {
    throw tool_failure{exit_no,
                       {fmt::format("{}: {} prefixes, a picture is drawn of {} at most", table.name, table.rows.size(),
                                    most_prefixes)}};
  }
  const table_session session(table, options.common);
  picture drawing(session);
  write_output(options.output, options.what == "original"     ? drawing.original()
                               : options.what == "compressed" ? drawing.compressed()
                                                              : drawing.ancestor());
  return exit_good;
}

}  // namespace

void add_dot_command(command_line &line) {
  const auto options = std::make_shared<dot_options>();
  command_options command(line, "dot", [options] { return run_dot(*options); });
  add_common_options(command, options->common);
  command.check_choices("--what", {"original", "ancestor", "compressed"});
  command.text("--what", options->what);
  add_output_options(command, options->output);
}

}  // namespace v6tool
