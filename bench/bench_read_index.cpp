// What a read index beside the tries would give, and cost: a prototype, no part of the library.
//
// The trie of the uncompressed prefixes costs an address lookup a step per bit, each of them a likely cache miss. The
// index answers in steps of a byte: a root of 2^16 entries, then nodes of 2^8, prefixes pushed down to the leaves. It
// leads either to the trie node of the prefix, from where the answer is gathered as today (`chained`), or to a copy of
// the whole answer (`copied`).
#include <algorithm>
#include <array>
#include <cstring>

#include "bench_clock.h"
#include "library_use.h"

// To gather an answer as the library does.
#include "tcamv6_lookup.cpp"  // NOLINT(bugprone-suspicious-include)

namespace v6bench {
namespace {

constexpr size_t n_queries = 8192;

using key_bytes = std::array<uint8_t, 16>;

class read_index {
 public:
  read_index() : root_(size_t{1} << 16) {}

  // Shorter prefixes first. The value is not 0 and has 31 bits.
  void insert(const uint8_t *key, unsigned length, uint32_t value) {
    const unsigned start = unsigned{key[0]} << 8 | key[1];
    if (length <= 16) {
      fill(root_.data(), start, 16 - length, value);
      return;
    }
    uint32_t node = child_of(root_[start]);
    unsigned depth = 16;
    for (; length > depth + 8; depth += 8) {
      const uint32_t next = child_of(nodes_[node][key[depth / 8]]);
      node = next;
    }
    fill(nodes_[node].data(), key[depth / 8], depth + 8 - length, value);
  }

  uint32_t find(const uint8_t *key) const {
    uint32_t entry = root_[unsigned{key[0]} << 8 | key[1]];
    for (const uint8_t *byte = key + 2; (entry & is_node) != 0; ++byte) {
      entry = nodes_[entry & ~is_node][*byte];
    }
    return entry;
  }

  size_t bytes() const { return root_.size() * sizeof(root_[0]) + nodes_.size() * sizeof(nodes_[0]); }

 private:
  static constexpr uint32_t is_node = 0x80000000;

  // Keys of trie nodes may have bits set beyond their length.
  static void fill(uint32_t *entries, unsigned at, unsigned free_bits, uint32_t value) {
    std::fill_n(entries + (at >> free_bits << free_bits), size_t{1} << free_bits, value);
  }

  // The node below an entry, made of what the entry says when there is none. Entries may move.
  uint32_t child_of(uint32_t &entry) {
    if ((entry & is_node) != 0) {
      return entry & ~is_node;
    }
    const auto made = static_cast<uint32_t>(nodes_.size());
    const uint32_t inherited = entry;
    entry = made | is_node;
    nodes_.emplace_back().fill(inherited);
    return made;
  }

  std::vector<uint32_t> root_;
  std::vector<std::array<uint32_t, 256>> nodes_;
};

struct full_answer {
  tcamv6_prefix match;
  tcamv6_cmpr_pref code;
  tcamv6_cmpr_addr address;
};

// As the library's lookups, from the trie node on.
bool gather(const tm_util_trie_node *node, full_answer *answer) {
  tcamv6_anc_data *data = nullptr;
  if (tcamv6_anc_data_of_prefix(node, "read_index", &data) != TM_OK) {
    return false;
  }
  tcamv6_gen_trie_pref(node, &answer->match);
  translate(data, "read_index", &answer->code, &answer->address);
  return true;
}

struct indexed_table {
  read_index index;
  std::vector<const tm_util_trie_node *> nodes = {nullptr};
  std::vector<full_answer> answers = {full_answer{}};
};

// All tagged nodes of the trie of the uncompressed prefixes, which are what an address lookup can find.
void collect(const tm_util_trie_node *node, std::vector<const tm_util_trie_node *> &found) {
  if (node == nullptr) {
    return;
  }
  if (node->tag != 0) {
    found.push_back(node);
  }
  collect(tm_trie_child(node, 0), found);
  collect(tm_trie_child(node, 1), found);
}

void build(indexed_table &table, bool with_answers) {
  collect(tm_trie_node(instance()->orig_root), table.nodes);
  std::stable_sort(table.nodes.begin() + 1, table.nodes.end(),
                   [](const auto *a, const auto *b) { return a->len < b->len; });
  for (uint32_t i = 1; i < table.nodes.size(); ++i) {
    const tm_util_trie_node *node = table.nodes[i];
    table.index.insert(node->key, node->len, i);
    if (with_answers && !gather(node, &table.answers.emplace_back())) {
      give_up("gather", i);
    }
  }
}

std::vector<key_bytes> queries_of(const prefix_list &table) {
  std::vector<key_bytes> addresses;
  for (const v6tool::ip_key &key : covered_addresses(table, n_queries)) {
    v6tool::key_to_bytes(key, addresses.emplace_back().data());
  }
  return addresses;
}

bool ask_library(const key_bytes &address, full_answer *answer) {
  return tcamv6_lookup_address(instance(), address.data(), &answer->match, &answer->code, &answer->address) == 0;
}

// Every answer must be the library's, byte for byte.
template <class Ask>
void ask_all(benchmark::State &state, const prefix_list &prefixes, Ask ask) {
  const std::vector<key_bytes> addresses = queries_of(prefixes);
  for (const key_bytes &address : addresses) {
    full_answer wanted = {};
    full_answer given = {};
    if (!ask_library(address, &wanted) || !ask(address, &given) || std::memcmp(&wanted, &given, sizeof(given)) != 0) {
      give_up("the index and the library disagree", 0);
    }
  }
  full_answer answer = {};
  for (auto _ : state) {
    timed(state, [&] {
      for (const key_bytes &address : addresses) {
        benchmark::DoNotOptimize(ask(address, &answer));
        benchmark::DoNotOptimize(&answer);
        benchmark::ClobberMemory();
      }
    });
  }
  count_items(state, addresses.size());
}

prefix_list load_table(const benchmark::State &state) {
  const prefix_list prefixes = real_table(static_cast<size_t>(state.range(0)));
  load(request(prefixes));
  return prefixes;
}

void index_today(benchmark::State &state) {
  const prefix_list prefixes = load_table(state);
  ask_all(state, prefixes, ask_library);
}

void index_chained(benchmark::State &state) {
  const prefix_list prefixes = load_table(state);
  indexed_table table;
  build(table, false);
  ask_all(state, prefixes, [&](const key_bytes &address, full_answer *answer) {
    return gather(table.nodes[table.index.find(address.data())], answer);
  });
}

void index_copied(benchmark::State &state) {
  const prefix_list prefixes = load_table(state);
  indexed_table table;
  build(table, true);
  ask_all(state, prefixes, [&](const key_bytes &address, full_answer *answer) {
    *answer = table.answers[table.index.find(address.data())];
    return true;
  });
}

void index_build(benchmark::State &state, bool with_answers) {
  const prefix_list prefixes = load_table(state);
  size_t bytes = 0;
  for (auto _ : state) {
    indexed_table table;
    timed(state, [&] { build(table, with_answers); });
    bytes = table.index.bytes() + table.nodes.size() * sizeof(table.nodes[0]) +
            table.answers.size() * sizeof(table.answers[0]);
  }
  count_items(state, prefixes.size());
  state.counters["bytes_per_prefix"] = static_cast<double>(bytes) / static_cast<double>(prefixes.size());
}

void each_size(benchmark::internal::Benchmark *b) {
  b->Arg(1000)->Arg(10000)->Arg(60000)->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK(index_today)->Apply(each_size);
BENCHMARK(index_chained)->Apply(each_size);
BENCHMARK(index_copied)->Apply(each_size);
BENCHMARK_CAPTURE(index_build, chained, false)->Apply(each_size);
BENCHMARK_CAPTURE(index_build, copied, true)->Apply(each_size);

}  // namespace
}  // namespace v6bench
