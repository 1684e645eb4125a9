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
#include <optional>

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
  std::string bits;
  for (unsigned i = from; i < child.length; ++i) {
    bits += bit_at(child.key, i) ? '1' : '0';
  }
  return bits;
}

// A node of the picture, and the edge that leads to it.
struct drawn_node {
  std::string name;
  std::string kind;  // table, anchor, default, branch, rest
  std::optional<ip_prefix> prefix;
  std::optional<translation> result;  // of a rest its compressed address alone
  std::string parent;                 // "" = none
  std::string edge_bits;
};

class picture {
 public:
  explicit picture(const table_session &session) : stored_(session.stored()) {
    for (const ip_prefix &prefix : stored_.prefixes) {
      results_.push_back(session.translate_stored(prefix));
    }
  }

  std::vector<drawn_node> original() {
    draw_trie(stored_.prefixes, false);
    return std::move(nodes_);
  }

  std::vector<drawn_node> compressed() {
    std::vector<ip_prefix> codes;
    for (const translation &result : results_) {
      codes.push_back(result.code);
    }
    draw_trie(codes, true);
    return std::move(nodes_);
  }

  std::vector<drawn_node> ancestor() {
    for (const uint32_t i : stored_.forest.preorder()) {
      const uint32_t parent = stored_.forest.parent(i);
      draw_stored(fmt::format("p{}", i), i, parent == prefix_forest::none ? "" : fmt::format("p{}", parent), "");
      draw_rest(fmt::format("p{}", i), i);
    }
    return std::move(nodes_);
  }

 private:
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
      const uint32_t parent = forest.parent(i);
      const std::string above = parent == prefix_forest::none ? "" : fmt::format("n{}", parent);
      const std::string bits = above.empty() ? "" : edge_bits(places[i], places[parent].length);
      if (nodes[i].owner == prefix_forest::none) {
        nodes_.push_back({name, "branch", {}, {}, above, bits});
        continue;
      }
      draw_stored(name, nodes[i].owner, above, bits);
      if (with_rests) {
        draw_rest(name, nodes[i].owner);
      }
    }
  }

  void draw_stored(const std::string &name, uint32_t index, const std::string &parent, const std::string &bits) {
    nodes_.push_back({name, kind_name(stored_.kinds[index]), stored_.prefixes[index], results_[index], parent, bits});
  }

  // A prefix with others inside has an address other than its own compressed prefix.
  void draw_rest(const std::string &name, uint32_t index) {
    const auto inside = [&](uint32_t i) { return stored_.forest.parent(i) == index; };
    if (index + 1 < stored_.forest.size() && inside(index + 1)) {  // sorted: the first one inside comes next
      nodes_.push_back({name + "_rest", "rest", {}, results_[index], name, ""});
    }
  }

  const stored_prefixes &stored_;
  std::vector<translation> results_;
  std::vector<drawn_node> nodes_;
};

std::string graphviz_node(const drawn_node &node) {
  if (node.kind == "branch") {
    return fmt::format("  {} [shape=point, width=0.12];\n", node.name);
  }
  if (node.kind == "rest") {
    return fmt::format("  {} [shape=ellipse, label=\"{}\"];\n", node.name, format_code_address(node.result->address));
  }
  return fmt::format("  {} [shape=box{}, label=\"{}\\n{}\"];\n", node.name,
                     node.kind == "table" ? "" : ", style=dashed", format_prefix(*node.prefix),
                     format_code(node.result->code));
}

std::string shortened(const std::string &bits) {
  constexpr size_t most_shown = 16;
  return bits.size() > most_shown ? fmt::format("{}.. ({} bits)", bits.substr(0, most_shown), bits.size()) : bits;
}

std::string graphviz_edge(const drawn_node &node) {
  if (node.parent.empty()) {
    return "";
  }
  const std::string style = node.kind == "rest"      ? " [style=dashed]"
                            : node.edge_bits.empty() ? ""
                                                     : fmt::format(" [label=\"{}\"]", shortened(node.edge_bits));
  return fmt::format("  {} -> {}{};\n", node.parent, node.name, style);
}

std::string graphviz(const std::vector<drawn_node> &nodes, const char *title) {
  std::string text = fmt::format(
      "digraph v6comp {{\n  label=\"{}\";\n  node [fontname=monospace];\n  edge [fontname=monospace];\n", title);
  for (const drawn_node &node : nodes) {
    text += graphviz_node(node) + graphviz_edge(node);
  }
  return text + "}\n";
}

void write_nodes(const std::vector<drawn_node> &nodes, const output_options &output) {
  const auto text = [](const std::string &words) { return words.empty() ? cell() : cell(words); };
  row_writer writer(output, "dot");
  for (const drawn_node &node : nodes) {
    const bool is_stored = node.prefix.has_value();
    const cell cells[] = {node.name,
                          node.kind,
                          is_stored ? cell(*node.prefix) : cell(),
                          is_stored ? cell(format_code(node.result->code)) : cell(),
                          node.result ? cell(format_code_address(node.result->address)) : cell(),
                          text(node.parent),
                          text(node.edge_bits)};
    writer.row(cells);
  }
  writer.finish();
}

exit_code run_dot(const dot_options &options) {
  if (options.output.format == &text_format()) {
    check_plain_output(options.output, {options.common.table});
  } else {
    check_output(options.output, "dot", {options.common.table});
  }
  const prefix_table table = read_command_table(options.common);
  if (table.rows.size() > most_prefixes) {
    throw tool_failure{exit_no,
                       {fmt::format("{}: {} prefixes, a picture is drawn of {} at most", table.name, table.rows.size(),
                                    most_prefixes)}};
  }
  const table_session session(table, options.common);
  picture drawing(session);
  const bool is_original = options.what == "original";
  const bool is_compressed = options.what == "compressed";
  const std::vector<drawn_node> nodes = is_original     ? drawing.original()
                                        : is_compressed ? drawing.compressed()
                                                        : drawing.ancestor();
  if (options.output.format != &text_format()) {
    write_nodes(nodes, options.output);
  } else {
    write_output(options.output, graphviz(nodes, is_original     ? "original prefixes"
                                                 : is_compressed ? "compressed prefixes"
                                                                 : "containment of prefixes"));
  }
  return exit_good;
}

}  // namespace

void add_dot_command(command_line &line) {
  const auto options = std::make_shared<dot_options>();
  command_options command(line, "dot", [options] { return run_dot(*options); });
  add_common_options(command, options->common);
  command.check_choices("--what", {"original", "ancestor", "compressed"});
  command.text("--what", options->what);
  add_row_options(command, options->output);
}

}  // namespace v6tool
