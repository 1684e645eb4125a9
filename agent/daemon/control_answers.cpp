// SPDX-License-Identifier: Apache-2.0
#include "control_answers.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "prefix_text.h"

namespace v6agent {

namespace {

using json = nlohmann::ordered_json;

json error_of(const std::string &reason) { return {{"error", reason}}; }

std::string key_text(uint64_t key) { return fmt::format("{:#018x}", key); }

json row_json(side which, const zel_v6comp_table_row &row) {
  json object{{"table", name_of(which)},
              {"prefix", v6tool::format_prefix(prefix_of(row.address, row.length))},
              {"code", key_text(row.code)},
              {"code_bits", row.code_length},
              {"key", key_text(row.key)}};
  if (which == side::destination) {
    object["egress"] = egress_of(row.word);
    object["route"] = is_route(row.word);
  }
  return object;
}

json table_json(const zel_v6comp_table_stats_record &figures) {
  return {{"prefixes", figures.prefixes},
          {"anchors", figures.anchors},
          {"bits_needed", figures.bits_needed},
          {"bits_left", 64 - figures.bits_needed},
          {"deepest_code_bits", figures.deepest_code},
          {"moves", figures.moves}};
}

json pools_json(const zel_v6comp_table_stats_record &figures) {
  json pools = json::object();
  for (int i = 0; i < ZEL_V6COMP_TABLE_POOLS; ++i) {
    pools[pool_names[i]] = {{"size", figures.pools[i].size}, {"in_use", figures.pools[i].in_use}};
  }
  return pools;
}

json counters_json(const agent_counters &counters) {
  return {{"batches", counters.batches},
          {"route_changes", counters.changes},
          {"writes", counters.writes},
          {"moved", counters.moved},
          {"early_removals", counters.early},
          {"library_refusals", counters.library_refusals},
          {"switch_refusals", counters.switch_refusals},
          {"switch_losses", counters.switch_losses},
          {"journal_faults", counters.journal_faults},
          {"reconciliations", counters.reconciliations},
          {"foreign_entries", counters.foreign_entries},
          {"compactions", counters.compactions},
          {"routes_over_limit", counters.routes_over_limit},
          {"policy_reloads", counters.policy_reloads},
          {"policy_refusals", counters.policy_refusals}};
}

json status_json(const switch_agent &agent) {
  const std::string trouble = agent.trouble();
  const switch_engine &engine = agent.engine();
  const zel_v6comp_table_stats_record source = engine.tables().figures(side::source);
  const zel_v6comp_table_stats_record destination = engine.tables().figures(side::destination);
  return {{"state", trouble.empty() ? "good" : "trouble"},
          {"trouble", trouble},
          {"feed", name_of(agent.feed())},
          {"routes", agent.book().routes()},
          {"pending", agent.book().pending()},
          {"set_aside", agent.set_aside()},
          {"rules", engine.policy().size()},
          {"switch",
           {{"in_step", engine.in_step()},
            {"lookup_entries", engine.image().lookups.size()},
            {"rule_entries", engine.image().rules.size()}}},
          {"journal",
           {{"batches", engine.journal().batches()}, {"changes_since_load", engine.journal().changes_since_load()}}},
          {"tables", {{"source", table_json(source)}, {"destination", table_json(destination)}}},
          {"pools", pools_json(source)},
          {"counters", counters_json(agent.counters())}};
}

// How much more there is room for.
json fit_json(const switch_agent &agent) {
  const zel_v6comp_table_stats_record source = agent.engine().tables().figures(side::source);
  const zel_v6comp_table_stats_record destination = agent.engine().tables().figures(side::destination);
  double fullest = 0;
  for (const zel_v6comp_table_pool &pool : source.pools) {
    fullest = std::max(fullest, pool.size == 0 ? 0 : 100.0 * pool.in_use / pool.size);
  }
  return {{"fits", agent.set_aside() == 0},         {"set_aside", agent.set_aside()},  {"source", table_json(source)},
          {"destination", table_json(destination)}, {"fullest_pool_percent", fullest}, {"pools", pools_json(source)}};
}

std::string rows_text(const switch_agent &agent) {
  std::string lines;
  for (const side which : both_sides) {
    agent.engine().tables().visit_rows(
        which, [&](const zel_v6comp_table_row &row) { lines += row_json(which, row).dump() + "\n"; });
  }
  return lines;
}

bool begins(uint64_t key, const code_match &match) { return (key & mask_of(match)) == match.code; }

// What the switch does with a packet of these addresses; rules that ask for more are said as such.
json verdict_json(const switch_image &image, uint64_t source, uint64_t destination) {
  for (auto rule = image.rules.rbegin(); rule != image.rules.rend(); ++rule) {
    if (begins(source, rule->first.source) && begins(destination, rule->first.destination)) {
      return {{"action", name_of(rule->second)},
              {"rule", most_rules - rule->first.rank + 1},
              {"any_packet", rule->first.packet == packet_match{}}};
    }
  }
  return {{"action", "deny"}, {"rule", nullptr}, {"any_packet", true}};
}

json lookup_json(const json &request, const switch_agent &agent) {
  const std::string first = request.value("address", "");
  const std::string second = request.value("destination", first);
  ip_key source;
  ip_key destination;
  if (!v6tool::parse_address(first, source) || !v6tool::parse_address(second, destination)) {
    return error_of(v6tool::printable(first == second ? first : first + " " + second) + ": not an IPv6 address");
  }
  json answer = json::object();
  zel_v6comp_table_row rows[2];
  bool found = true;
  for (const side which : both_sides) {
    zel_v6comp_table_row &row = rows[static_cast<int>(which)];
    const bool here = agent.engine().tables().lookup(which, which == side::source ? source : destination, row);
    answer[name_of(which)] = here ? row_json(which, row) : json(nullptr);
    found = found && here;
  }
  if (found && request.contains("destination")) {
    answer["verdict"] = verdict_json(agent.engine().image(), rows[0].key, rows[1].key);
  }
  return answer;
}

json reload_json(const control_actions &actions) {
  const std::vector<std::string> faults = actions.reload_rules();
  if (faults.empty()) {
    return {{"answer", "the rules are read again"}};
  }
  json answer = error_of("the rules cannot be read: the old ones stay in force");
  answer["faults"] = faults;
  return answer;
}

json answer_command(const json &request, switch_agent &agent, const control_actions &actions) {
  const std::string command = request.value("command", "");
  if (command == "status") {
    return status_json(agent);
  }
  if (command == "fit") {
    return fit_json(agent);
  }
  if (command == "lookup") {
    return lookup_json(request, agent);
  }
  if (command == "reload") {
    return reload_json(actions);
  }
  if (command == "reconcile") {
    agent.ask_reconciliation();
    return {{"answer", "the switch is read next, and put right"}};
  }
  if (command == "compact") {
    agent.ask_compaction();
    return {{"answer", "the tables are compacted next"}};
  }
  return error_of("no such command: " + v6tool::printable(command));
}

}  // namespace

std::string answer_request(std::string_view request, switch_agent &agent, const control_actions &actions) {
  try {
    const json asked = json::parse(request);
    if (asked.is_object() && asked.value("command", "") == "rows") {
      return rows_text(agent);
    }
    return (asked.is_object() ? answer_command(asked, agent, actions) : error_of("a request is an object")).dump() +
           "\n";
  } catch (const nlohmann::json::exception &) {
    return error_of("the request is not JSON").dump() + "\n";
  }
}

}  // namespace v6agent
