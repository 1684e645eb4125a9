// v6comp verify: is the compressed table right? Decided without the library's help.
#include <fmt/format.h>

#include <memory>
#include <random>

#include "containment_check.h"
#include "library_session.h"
#include "prefix_text.h"
#include "progress_note.h"
#include "tool_options.h"

namespace v6tool {

namespace {

struct verify_options {
  common_options common;
  output_options output;
  uint32_t random_probes = 10000;
  uint64_t seed = 1;
};

struct verdict {
  std::string counterexample;  // "" = all is right
  uint64_t lookups = 0;
};

std::vector<compressed_row> translate_all(const library_session &session) {
  std::vector<compressed_row> rows;
  rows.reserve(session.stored().prefixes.size());
  for (const ip_prefix &prefix : session.stored().prefixes) {
    const translation result = session.translate_stored(prefix);
    rows.push_back({prefix, result.code, result.address});
  }
  return rows;
}

// The request's results must say the same as the lookups.
std::string compare_results(const library_session &session, const prefix_table &table,
                            const std::vector<compressed_row> &rows) {
  for (size_t i = 0; i < table.rows.size(); ++i) {
    const ip_prefix &prefix = table.rows[i].prefix;
    const ip_prefix &looked_up = rows[session.stored().find(prefix)].code;
    if (session.result_code(i) != looked_up) {
      return format_prefix(prefix) + ": the request gave " + format_code(session.result_code(i)) +
             ", the lookup gives " + format_code(looked_up);
    }
  }
  return "";
}

// One address: the library must find the longest stored prefix, and what that became.
class address_prober {
 public:
  address_prober(const library_session &session, const std::vector<compressed_row> &rows)
      : session_(session), rows_(rows) {}

  bool probe(ip_key address, verdict &v) const {
    ++v.lookups;
    const std::optional<address_answer> found = session_.find(address);
    const uint32_t expected = session_.stored().forest.longest_match(address);
    if (!found) {
      v.counterexample = format_address(address) + ": the lookup finds nothing";
      return false;
    }
    const compressed_row &row = rows_[expected];
    if (found->match != row.original) {
      v.counterexample = format_address(address) + ": the lookup finds " + format_prefix(found->match) +
                         ", the longest match is " + format_prefix(row.original);
      return false;
    }
    if (found->result.code != row.code || found->result.address != row.address) {
      v.counterexample =
          format_address(address) + ": the lookup gives other results than that of " + format_prefix(row.original);
      return false;
    }
    return true;
  }

 private:
  const library_session &session_;
  const std::vector<compressed_row> &rows_;
};

verdict check_table(const library_session &session, const prefix_table &table, const verify_options &options) {
  verdict v;
  const std::vector<compressed_row> rows = translate_all(session);
  v.counterexample = containment_counterexample(rows);
  if (v.counterexample.empty()) {
    v.counterexample = compare_results(session, table, rows);
  }
  const address_prober prober(session, rows);
  const std::vector<ip_prefix> &stored = session.stored().prefixes;
  for (size_t i = 0; i < stored.size() && v.counterexample.empty(); ++i) {
    const ip_key first = first_address(stored[i]);
    const ip_key last = last_address(stored[i]);
    for (const ip_key address : {previous_key(first), first, last, next_key(last)}) {
      if (!prober.probe(address, v)) {
        break;
      }
    }
  }
  std::mt19937_64 random(options.seed);
  for (uint32_t i = 0; i < options.random_probes && v.counterexample.empty(); ++i) {
    const ip_prefix &prefix = stored[random() % stored.size()];
    const ip_key noise = {random(), random()};
    prober.probe(prefix.key | (noise & ~leading_ones(prefix.length)), v);
  }
  return v;
}

exit_code run_verify(const verify_options &options) {
  const prefix_table table = read_command_table(options.common);
  const library_session session(table, options.common);
  const progress_note note("verifying", options.common.quiet);
  const verdict v = check_table(session, table, options);
  const stored_prefixes &stored = session.stored();
  write_output(options.output,
               v.counterexample.empty()
                   ? fmt::format("right: {} prefixes and {} anchors keep their containment, {} addresses find their "
                                 "longest match\n",
                                 stored.n_table, stored.n_anchors, v.lookups)
                   : "wrong: " + v.counterexample + '\n');
  return v.counterexample.empty() ? exit_good : exit_no;
}

}  // namespace

void add_verify_command(CLI::App &app, command &chosen) {
  CLI::App *sub = app.add_subcommand("verify", "Compress a table and prove the result right");
  const auto options = std::make_shared<verify_options>();
  add_common_options(*sub, options->common);
  add_output_file(*sub, options->output);
  sub->add_option("--random-probes", options->random_probes, "random addresses inside stored prefixes to look up")
      ->capture_default_str();
  sub->add_option("--seed", options->seed, "of the random addresses")->capture_default_str();
  sub->footer(
      "For all stored prefixes P and Q the compressed prefix of Q must cover the compressed address of P exactly\n"
      "when Q contains P; all compressed prefixes must differ; and the first, the last and the two neighbouring\n"
      "addresses of every prefix must find their longest match.\n"
      "Exit: 0 right, 1 wrong (with a counterexample) or the table does not fit, 2 usage or bad input.");
  sub->callback([options, &chosen] { chosen = [options] { return run_verify(*options); }; });
}

}  // namespace v6tool
