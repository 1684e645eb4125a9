// SPDX-License-Identifier: Apache-2.0
// v6comp acl: access rules on 128 + 128 bits as ternary entries of 64 + 64.
#include <fmt/core.h>

#include <memory>

#include "acl_check.h"
#include "acl_tables.h"
#include "json_summary.h"
#include "output_file.h"
#include "output_format.h"
#include "prefix_text.h"
#include "progress_note.h"
#include "row_writer.h"
#include "rule_flows.h"
#include "rules_reader.h"
#include "tool_options.h"

namespace v6tool {

namespace {

enum class acl_part : uint8_t { entries, sources, destinations, flows };

struct acl_options {
  std::string rules;
  rules_options reading;
  output_options output;
  acl_part part = acl_part::entries;
  bool summary = false;
  bool verify = false;
  std::string accept = "NORMAL";  // of flows
  acl_probes probes;
  bool quiet = false;
  bool verbose = false;
};

rule_set read_command_rules(const acl_options &options) {
  rule_set set;
  read_report report;
  read_rules(options.rules, options.reading, set, report);
  take_report(report, options.quiet);
  if (options.verbose) {
    say(report.summary);
  }
  return set;
}

cell masked_cell(uint32_t value, uint32_t mask) {
  return mask == 0 ? cell{} : cell{fmt::format("0x{:x}/0x{:x}", value, mask)};
}

std::string code_text(narrow_code code) { return format_code({{code.code, 0}, code.bits}); }
std::string word_text(uint64_t word) { return fmt::format("0x{:016x}", word); }

void write_entries(const rule_set &set, const std::vector<rule_entry> &entries, const output_options &output) {
  row_writer writer(output, "acl");
  uint64_t order = 0;
  for (const rule_entry &entry : entries) {
    const bool is_rule = entry.rule < set.rules.size();
    const cell cells[] = {++order,
                          code_text(entry.source),
                          code_text(entry.destination),
                          entry.protocol_mask == 0 ? cell{} : cell{uint64_t{entry.protocol}},
                          masked_cell(entry.source_port.value, entry.source_port.mask),
                          masked_cell(entry.destination_port.value, entry.destination_port.mask),
                          std::string(verdict_name(entry.verdict)),
                          is_rule ? cell{set.rules[entry.rule].place} : cell{},
                          word_text(entry.source.code),
                          word_text(mask_of(entry.source)),
                          word_text(entry.destination.code),
                          word_text(mask_of(entry.destination)),
                          is_rule ? cell{set.rules[entry.rule].name} : cell{}};
    writer.row(cells);
  }
  writer.finish();
}

void write_prefixes(const acl_table &table, const output_options &output) {
  row_writer writer(output, "acl-prefixes");
  for (const acl_row &row : table.rows()) {
    const cell cells[] = {row.prefix, code_text(row.code), uint64_t{row.code.bits}, word_text(row.key)};
    writer.row(cells);
  }
  writer.finish();
}

std::string flows(const acl_options &options, const acl_tables &tables, const std::vector<rule_entry> &entries) {
  if (entries.back().rule > max_flow_rules) {
    throw tool_failure{exit_no,
                       {fmt::format("{} rules: flows have priorities for {}", entries.back().rule, max_flow_rules)}};
  }
  std::string out;
  for (const acl_row &row : tables.sources.rows()) {
    out += prefix_flow(flow_side::source, row.prefix, row.key) + '\n';
  }
  for (const acl_row &row : tables.destinations.rows()) {
    out += prefix_flow(flow_side::destination, row.prefix, row.key) + '\n';
  }
  for (const rule_entry &entry : entries) {
    out += entry_flow(entry, flow_priority(entry), options.accept) + '\n';
  }
  return out;
}

// Bits of ternary matching: in an entry two addresses or two keys, and protocol and ports beside them.
struct acl_bits {
  static constexpr uint64_t others = 8 + 16 + 16;
  static constexpr uint64_t entry_before = 128 + 128 + others;
  static constexpr uint64_t entry_after = 64 + 64 + others;
  uint64_t entries;
  uint64_t prefixes;  // of both longest matches

  uint64_t before() const { return entries * entry_before; }
  uint64_t after() const { return entries * entry_after; }
  uint64_t stage_1() const { return prefixes * 128; }
};

figure_list side_figures(const acl_table &table) {
  return {{"prefixes", uint64_t{table.rows().size()}}, {"bits_needed", uint64_t{table.bits_needed()}}};
}

std::string summary(const rule_set &set, const acl_tables &tables, size_t entries, const output_format &format) {
  const uint64_t n_sources = tables.sources.rows().size();
  const uint64_t n_destinations = tables.destinations.rows().size();
  const acl_bits bits = {entries, n_sources + n_destinations};
  if (&format != &text_format()) {
    return format_summary({{"rules", set.name},
                           {"rule_count", uint64_t{set.rules.size()}},
                           {"otherwise", std::string(verdict_name(set.otherwise))},
                           {"entries", uint64_t{entries}},
                           {"sources", side_figures(tables.sources)},
                           {"destinations", side_figures(tables.destinations)},
                           {"entry_bits_before", bits.entry_before},
                           {"entry_bits_after", bits.entry_after},
                           {"total_bits_before", bits.before()},
                           {"total_bits_after", bits.after()},
                           {"longest_match_bits", bits.stage_1()}},
                          format);
  }
  return fmt::format(
      "rules          {}, then {}\n"
      "entries        {} (a range of ports takes one for each mask), before and after\n"
      "bits an entry  {} before: 128 + 128 of addresses, {} of protocol and ports\n"
      "               {} after: 64 + 64 of keys, {} of protocol and ports\n"
      "bits in all    {} before, {} after, {} fewer\n"
      "longest match  {} source prefixes and {} destination prefixes of 128 bits, {} bits in all\n"
      "bits needed    {} of 64 for sources, {} of 64 for destinations\n",
      set.rules.size(), verdict_name(set.otherwise), entries, bits.entry_before, bits.others, bits.entry_after,
      bits.others, bits.before(), bits.after(), bits.before() - bits.after(), n_sources, n_destinations, bits.stage_1(),
      tables.sources.bits_needed(), tables.destinations.bits_needed());
}

std::string verdict_sentence(const acl_verdict &verdict, uint64_t prefixes) {
  if (!verdict.counterexample.empty()) {
    return "wrong: " + verdict.counterexample + '\n';
  }
  return fmt::format(
      "right: the codes of {} prefixes keep their containment, {} addresses find their longest match; {} packets get "
      "the verdict of the rules, among them {} of {} at corners of rules\n",
      prefixes, verdict.addresses, verdict.packets, verdict.corners, verdict.all_corners);
}

figure_list verdict_figures(const acl_verdict &verdict, uint64_t prefixes, const rule_set &set) {
  return {{"rules", set.name},
          {"right", verdict.counterexample.empty()},
          {"prefixes", prefixes},
          {"addresses", verdict.addresses},
          {"packets", verdict.packets},
          {"corners", verdict.corners},
          {"all_corners", verdict.all_corners},
          {"counterexample", verdict.counterexample}};
}

exit_code verify(const acl_options &options, const rule_set &set, const acl_tables &tables,
                 const std::vector<rule_entry> &entries) {
  const progress_note note("verifying", options.quiet);
  const acl_verdict verdict = check_acl(set, tables, entries, options.probes);
  const uint64_t prefixes = tables.sources.rows().size() + tables.destinations.rows().size();
  const bool as_text = options.output.format == &text_format();
  write_output(options.output, as_text
                                   ? verdict_sentence(verdict, prefixes)
                                   : format_summary(verdict_figures(verdict, prefixes, set), *options.output.format));
  return verdict.counterexample.empty() ? exit_good : exit_no;
}

void write_part(const acl_options &options, const rule_set &set, const acl_tables &tables,
                const std::vector<rule_entry> &entries) {
  switch (options.part) {
    case acl_part::entries:
      write_entries(set, entries, options.output);
      break;
    case acl_part::sources:
      write_prefixes(tables.sources, options.output);
      break;
    case acl_part::destinations:
      write_prefixes(tables.destinations, options.output);
      break;
    case acl_part::flows:
      write_output(options.output, flows(options, tables, entries));
      break;
  }
}

void check_acl_output(const acl_options &options) {
  const bool has_figures = options.summary || options.verify;
  const bool plain = has_figures || options.part == acl_part::flows;
  if (plain && !has_figures && options.output.format != &text_format()) {
    throw tool_failure{exit_bad_input, {"--format: flows are text, for ovs-ofctl"}};
  }
  if (options.accept.empty()) {
    throw tool_failure{exit_bad_input, {"--accept: no actions given"}};
  }
  if (plain) {
    check_plain_output(options.output, {options.rules});
  } else {
    check_output(options.output, options.part == acl_part::entries ? "acl" : "acl-prefixes", {options.rules});
  }
}

void check_entry_count(const rule_set &set) {
  constexpr size_t most = size_t{1} << 24;
  if (const size_t entries = count_entries(set); entries > most) {
    throw tool_failure{exit_no,
                       {fmt::format("{}: {} rules would become {} entries, more than {}: a range of ports takes up to "
                                    "30, and two multiply",
                                    set.name, set.rules.size(), entries, most)}};
  }
}

exit_code run_acl(const acl_options &options) {
  check_acl_output(options);
  const rule_set set = read_command_rules(options);
  check_entry_count(set);
  const acl_tables tables(set);
  const std::vector<rule_entry> entries = acl_entries(set, tables);
  if (options.verify) {
    return verify(options, set, tables, entries);
  }
  if (options.summary) {
    write_output(options.output, summary(set, tables, entries.size(), *options.output.format));
  } else {
    write_part(options, set, tables, entries);
  }
  return exit_good;
}

}  // namespace

void add_acl_command(command_line &line) {
  const auto options = std::make_shared<acl_options>();
  command_options command(line, "acl", [options] { return run_acl(*options); });
  command.text("RULES", options->rules);
  command.choice("--input", options->reading.format,
                 {{"auto", rules_format::automatic},
                  {"nft", rules_format::nft},
                  {"ip6tables", rules_format::ip6tables},
                  {"csv", rules_format::csv}});
  command.text("--chain", options->reading.chain);
  command.flag("--mask", options->reading.clear_host_bits);
  command.number("--skip-bad", options->reading.skip_bad);
  command.choice("--what", options->part,
                 {{"entries", acl_part::entries},
                  {"sources", acl_part::sources},
                  {"destinations", acl_part::destinations},
                  {"flows", acl_part::flows}});
  command.flag("--summary", options->summary);
  command.flag("--verify", options->verify);
  command.text("--accept", options->accept);
  command.number("--corner-probes", options->probes.corners);
  command.number("--random-probes", options->probes.random);
  command.number("--seed", options->probes.seed);
  command.flag("--verbose", options->verbose);
  command.flag("--quiet", options->quiet);
  add_row_options(command, options->output);
}

}  // namespace v6tool
