// SPDX-License-Identifier: Apache-2.0
// What each step of room mode is worth: a history of batches with order and the nearest free place alone, with places
// beside the neighbours, and with repair. A batch that finds no room is refused; the table after it is then compressed
// in full, as a host would. One JSON object on standard output (scripts/update-figures makes a table of it).
//   room_steps BASE UPDATES
#include <cstdio>
#include <map>

#include "history_reader.h"
#include "library_use.h"
#include "table_reader.h"
#include "tcamv6_rules.h"

namespace {

using v6tool::ip_key;
using v6tool::ip_prefix;

struct step {
  const char *name;
  bool nearest;
  uint32_t most_moves;
};

constexpr step steps[] = {{"order", true, 0}, {"place", false, 0}, {"repair", false, TCAMV6_NO_MOVE_LIMIT}};

struct form {
  ip_prefix code;
  ip_key address;
  bool operator==(const form &) const = default;
};

using form_map = std::map<ip_prefix, form>;

struct tally {
  size_t batches = 0;
  size_t recompressed = 0;
  size_t rewritten = 0;
};

form_map stored_forms() {
  uint32_t n = 0;
  uint32_t written = 0;
  tcamv6_dump_n_prefixes(v6bench::instance(), &n);
  std::vector<tcamv6_prefix> prefixes(n);
  std::vector<tcamv6_cmpr_pref> codes(n);
  std::vector<tcamv6_cmpr_addr> addresses(n);
  if (tcamv6_dump_cmpr_tbl(v6bench::instance(), static_cast<int32_t>(n), prefixes.data(), codes.data(),
                           addresses.data(), &written) != 0) {
    v6bench::give_up("tcamv6_dump_cmpr_tbl", 0);
  }
  form_map forms;
  for (uint32_t i = 0; i < written; ++i) {
    const ip_key key = v6tool::key_from_bytes(prefixes[i].address);
    forms[{v6tool::masked(key, prefixes[i].length), prefixes[i].length}] = {
        {v6tool::key_from_bytes(codes[i].key), codes[i].length}, v6tool::key_from_bytes(addresses[i].bytes)};
  }
  return forms;
}

// Prefixes of both tables that the batch does not name and that are somewhere else now.
size_t count_rewritten(const form_map &before, const v6tool::history_batch &batch) {
  form_map kept = before;
  for (const v6tool::history_change &change : batch) {
    kept.erase(change.prefix);
  }
  size_t n = 0;
  for (const auto &[prefix, now] : stored_forms()) {
    const auto old = kept.find(prefix);
    n += old != kept.end() && !(old->second == now) ? 1 : 0;
  }
  return n;
}

std::vector<tcamv6_prefix> records_of(const v6tool::history_batch &batch) {
  std::vector<tcamv6_prefix> records;
  for (const v6tool::history_change &change : batch) {
    records.push_back(v6bench::record_of(change.prefix, change.add ? v6bench::change::add : v6bench::change::remove));
  }
  return records;
}

tally run(const v6bench::prefix_list &base, const v6tool::update_history &history, const step &with) {
  tcamv6_update_rules rules = {true, true, true, true, with.most_moves};
  rules.nearest = with.nearest;
  v6bench::load(v6bench::request(base));
  std::map<ip_prefix, bool> table;
  for (const ip_prefix &prefix : base) {
    table[prefix] = true;
  }
  tally result;
  for (const v6tool::history_batch &batch : history.batches) {
    for (const v6tool::history_change &change : batch) {
      table[change.prefix] = change.add;
    }
    std::erase_if(table, [](const auto &entry) { return !entry.second; });
    const form_map before = stored_forms();
    tcamv6_lend_rules(&rules);
    const uint32_t status = v6bench::request(records_of(batch)).run();
    tcamv6_lend_rules(nullptr);
    if (status != 0) {
      v6bench::prefix_list now;
      for (const auto &[prefix, is_there] : table) {
        now.push_back(prefix);
      }
      v6bench::load(v6bench::request(now));
    }
    ++result.batches;
    result.recompressed += status != 0 ? 1 : 0;
    result.rewritten += count_rewritten(before, batch);
  }
  return result;
}

}  // namespace

int main(int argc, char **argv) {
  constexpr size_t most_changes = 65534;
  v6tool::prefix_table table;
  v6tool::update_history history;
  v6tool::read_report report;
  if (argc != 3 || !v6tool::read_table(argv[1], {}, table, report) ||
      !v6tool::read_history(argv[2], most_changes, history, report)) {
    std::fprintf(stderr, "usage: %s BASE UPDATES, a table and a history without faults\n", argv[0]);
    return 2;
  }
  v6bench::prefix_list base;
  for (const v6tool::table_row &row : table.rows) {
    base.push_back(row.prefix);
  }
  v6bench::start_library();
  const char *separator = "{";
  for (const step &with : steps) {
    const tally result = run(base, history, with);
    std::printf("%s\"%s\": {\"batches\": %zu, \"recompressed\": %zu, \"rewritten\": %zu}", separator, with.name,
                result.batches, result.recompressed, result.rewritten);
    separator = ", ";
  }
  std::printf("}\n");
  return 0;
}
