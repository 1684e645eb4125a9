// SPDX-License-Identifier: Apache-2.0
#include "row_table.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>

namespace v6tool {

namespace {

using enum field_kind;

constexpr column batch_column = {"batch", 6, count, "number of the batch, from 1"};
constexpr column code_column = {"compressed_prefix", 21, code, "what it became"};
constexpr column code_length_column = {"compressed_length_bits", 0, count, "length of the compressed prefix"};
constexpr column key_column = {"compressed_address", 18, address,
                               "the key of a packet for this prefix and for none inside it"};

template <size_t N>
constexpr std::array<column, N + 1> columns_behind(const column &first, const column (&others)[N]) {
  std::array<column, N + 1> all = {first};
  std::copy(std::begin(others), std::end(others), all.begin() + 1);
  return all;
}

constexpr column list_columns[] = {
    {"prefix", 43, prefix, "the prefix"},
    {"weight", 0, count, "references to it, 1 where the table says nothing"},
};

constexpr column compress_columns[] = {
    {"prefix", 43, prefix, "the prefix"},
    {"weight", 0, count, "references to it"},
    code_column,
    code_length_column,
    key_column,
};

constexpr column dump_columns[] = {
    {"prefix", 43, prefix, "the prefix, ::/0 included"},
    code_column,
    code_length_column,
    key_column,
};

constexpr column lookup_columns[] = {
    {"query", 39, text, "the question"},
    {"found", 0, yes_no, "does a prefix of the table answer it?"},
    {"match", 43, prefix, "the prefix of the table that answers", true},
    {"compressed_prefix", 21, code, "what that became", true},
    {"compressed_length_bits", 0, count, "length of the compressed prefix", true},
    {"compressed_address", 18, address, "the compressed address of the question", true},
    {"stored_match", 0, prefix, "the longest stored prefix that covers it, anchors and ::/0 among them", true},
    {"stored_kind", 7, choice, "what that is", true, "table|anchor|default"},
    {"fault", 0, text, "why the question is none", true},
};

constexpr column dot_columns[] = {
    {"node", 8, text, "name of the node"},
    {"kind", 8, choice, "what it is: a stored prefix of one of three kinds, a branching point, or the rest of a prefix",
     false, "table|anchor|default|branch|rest"},
    {"prefix", 43, prefix, "the stored prefix", true},
    {"compressed_prefix", 21, code, "what it became", true},
    {"compressed_address", 18, address, "its compressed address", true},
    {"parent", 8, text, "the node above", true},
    {"edge_bits", 20, text, "in a trie: the bits between that node and this one", true},
};

constexpr column update_columns[] = {
    batch_column,
    {"adds", 6, count, "additions in it"},
    {"deletes", 7, count, "deletes in it"},
    {"present", 7, count, "additions of prefixes that are there already"},
    {"absent", 6, count, "deletes of prefixes that are not there"},
    {"changed", 7, count, "prefixes there before and after whose compressed prefix or address is another"},
    {"result", 12, choice, "what came of it", false, "accepted|split|recompressed|refused"},
    {"requests", 8, count, "requests sent to the library"},
    {"table_prefixes", 8, count, "prefixes in the table afterwards"},
    {"time_us", 9, count, "microseconds in the library"},
    {"right", 5, yes_no, "did the check find the table right? Empty: not checked", true},
    {"moved", 5, count, "prefixes moved out of the way"},
    {"refusals", 0, count, "requests that were refused"},
    {"refused_changes", 0, count, "changes left out"},
    {"kind", 0, text, "kind of the last refusal", true},
    {"reason", 40, text, "the refusal in words", true},
    {"violation", 0, text, "the counterexample of the check", true},
    {"held", 0, count, "deletes of less than a prefix's weight, which leave it in the table"},
};

constexpr column update_refusal_columns[] = {
    batch_column,
    {"kind", 10, text, "kind of the refusal"},
    {"prefix", 30, prefix, "the prefix that found no place", true},
    {"anchor", 6, yes_no, "is it an anchor?"},
    {"case", 10, text, "which case of an addition it is", true},
    {"enclosing", 30, prefix, "the prefix around it", true},
    {"enclosing_compressed_length_bits", 8, count, "length of what that became", true},
    {"free_bits", 9, count, "bits left below it", true},
    {"siblings", 8, count, "prefixes beside it"},
    {"result", 12, choice, "what came of the batch", false, "accepted|split|recompressed|refused"},
    {"reason", 0, text, "the refusal in words"},
};

constexpr column plan_columns[] = {
    {"step", 6, count, "number of the write in its plan, from 1; a batch has its own"},
    {"stage", 5, count, "the stage that is written: 1 (prefix to key) or 2 (codes)"},
    {"kind", 11, choice, "what is written", false, "add_code|remove_code|insert|update|remove|move"},
    {"slot", 6, count, "stage 1: the slot written to, the first searched first", true},
    {"from_slot", 6, count, "the slot that a moved row comes from", true},
    {"prefix", 43, prefix, "the prefix that it is about"},
    {"compressed_prefix", 21, code, "stage 2: the code that comes or goes", true},
    {"compressed_address", 18, address, "stage 1: the key that the slot answers from now on", true},
    {"early", 0, yes_no, "a remove that comes early, because no slot is free"},
};

constexpr auto plan_steps_columns = columns_behind(batch_column, plan_columns);

constexpr column plan_history_columns[] = {
    batch_column,
    {"removes", 7, count, "rows removed"},
    {"updates", 7, count, "rows given another key"},
    {"inserts", 7, count, "rows inserted"},
    {"moves", 6, count, "rows moved to another slot"},
    {"writes", 7, count, "writes to slots of the first stage in all"},
    {"code_writes", 7, count, "writes to the second stage"},
    {"unchanged", 9, count, "rows whose entry in the first stage stays as it is"},
    {"peak_slots", 10, count, "most slots in use at a time"},
    {"result", 12, choice, "what came of the batch", false, "accepted|recompressed|refused"},
    {"early_removes", 0, count, "removes that came early, because no slot was free"},
    {"third_answers", 13, count, "writes after which an address had neither its old nor its new answer", true},
    {"arrived", 7, yes_no, "does the model end as the new table?", true},
};

constexpr column explain_columns[] = {
    {"depth", 5, count, "stored prefixes around it"},
    {"prefix", 43, prefix, "the prefix"},
    {"kind", 7, choice, "why it is stored", false, "table|anchor|default"},
    {"code", 21, code, "its compressed prefix"},
    {"code_length_bits", 0, count, "length of that"},
    {"own_bits", 8, count, "bits of the code behind that of the prefix around"},
    {"tight_bits", 10, count, "fewest own bits that leave room for all beside it"},
    {"need_bits", 9, count, "bits that everything inside needs, packed tightly"},
    {"limit_bits", 10, count, "most bits that the code may have for that"},
    {"headroom_bits", 13, count, "of these, not in use"},
    {"siblings", 8, count, "other stored prefixes next inside the one around"},
    {"branches", 0, count, "points at which its path parts from those of siblings"},
    {"dummy", 0, yes_no, "does it keep a place for itself beside what lies inside?"},
    {"key", 18, address, "its compressed address"},
    {"reason", 0, text, "why the code is as long as it is"},
};

constexpr column explain_batch_columns[] = {
    {"prefix", 43, prefix, "a prefix that the batch moved"},
    {"from_code", 21, code, "its code before"},
    {"to_code", 21, code, "its code after"},
    {"reason", 40, text, "why it moved"},
};

constexpr column generate_columns[] = {
    {"prefix", 43, prefix, "the prefix"},
};

constexpr column acl_columns[] = {
    {"order", 6, count, "entries are tried in this order, from 1"},
    {"source_code", 21, code, "what the source key begins with; 0x0/0: any"},
    {"destination_code", 21, code, "what the destination key begins with; 0x0/0: any"},
    {"protocol", 8, count, "number of the protocol; none: any", true},
    {"source_port", 13, text, "value and mask, of ICMPv6 the type; none: any", true},
    {"destination_port", 16, text, "value and mask, of ICMPv6 the code; none: any", true},
    {"verdict", 7, choice, "what becomes of the packet", false, "accept|drop|reject"},
    {"rule", 20, text, "where the rule stands in its file; none: what holds when no rule matches", true},
    {"source_value", 0, address, "the source code as 64 bits"},
    {"source_mask", 0, address, "which of them are matched"},
    {"destination_value", 0, address, "the destination code as 64 bits"},
    {"destination_mask", 0, address, "which of them are matched"},
    {"name", 0, text, "the rule's name or comment", true},
};

constexpr column acl_prefix_columns[] = {
    {"prefix", 43, prefix, "the prefix, ::/0 included"},
    {"code", 21, code, "what entries match"},
    {"code_length_bits", 0, count, "length of the code"},
    {"key", 18, address, "what an address gets whose longest match this is"},
};

constexpr column history_columns[] = {
    batch_column,
    {"change", 6, choice, "what is done", false, "add|remove"},
    {"prefix", 43, prefix, "the prefix"},
    {"weight", 6, count, "references that come or go"},
};

constexpr row_kind kinds[] = {
    {"list", "list", "", "a prefix of the table", 1, false, list_columns},
    {"compress", "compress", "", "a line of the table", 1, false, compress_columns},
    {"lookup", "lookup", "", "a question", 1, false, lookup_columns},
    {"dump", "dump", "", "a prefix for the hardware", 1, false, dump_columns},
    {"dot", "dot", "not as text", "a node of the picture", 1, false, dot_columns},
    {"update", "update", "", "a batch", 1, true, update_columns},
    {"update-headroom", "update", "--headroom", "a refused batch", 1, true, update_refusal_columns},
    {"plan", "plan", "", "a write from one table to another", 1, false, plan_columns},
    {"plan-history", "plan", "with a history", "a batch", 1, true, plan_history_columns},
    {"diff", "diff", "--format of json, ndjson or csv", "a change", 1, false, history_columns},
    {"churn", "churn", "--format of json, ndjson or csv", "a change", 1, false, history_columns},
    {"plan-steps", "plan", "with a history and --steps", "a write of a batch", 1, true, plan_steps_columns},
    {"explain", "explain", "", "a prefix of the chain, the outermost first", 1, false, explain_columns},
    {"explain-batch", "explain", "--update", "a moved prefix", 1, false, explain_batch_columns},
    {"generate", "generate", "", "a prefix of the table, by address", 1, false, generate_columns},
    {"acl", "acl", "", "a ternary entry", 1, false, acl_columns},
    {"acl-prefixes", "acl", "--what sources, --what destinations", "a prefix of that side", 1, false,
     acl_prefix_columns},
};

}  // namespace

std::span<const row_kind> row_kinds() { return kinds; }

const row_kind &find_row_kind(std::string_view name) {
  const auto *found =
      std::find_if(std::begin(kinds), std::end(kinds), [&](const row_kind &kind) { return kind.name == name; });
  if (found == std::end(kinds)) {
    throw std::logic_error("row table: no rows " + std::string(name));
  }
  return *found;
}

std::vector<const row_kind *> row_kinds_of(std::string_view command) {
  std::vector<const row_kind *> of_command;
  for (const row_kind &kind : kinds) {
    if (kind.command == command) {
      of_command.push_back(&kind);
    }
  }
  return of_command;
}

}  // namespace v6tool
