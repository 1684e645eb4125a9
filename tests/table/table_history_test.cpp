// SPDX-License-Identifier: Apache-2.0
// Real histories: every batch is one apply, both stages are looked at after every write, and each end is compared with
// a dump of the whole table. More histories: V6COMP_HISTORIES=dir, with NAME.base.txt and NAME.updates.txt.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "source_dir.h"
#include "table_twin.h"

namespace {

using table_test::parse;
using table_test::table_twin;
using table_test::wish;

std::vector<wish> read_table(const std::filesystem::path &path) {
  std::ifstream file(path);
  std::vector<wish> all;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line[0] != '#') {
      all.push_back({parse(line), true, static_cast<uint32_t>(all.size())});
    }
  }
  return all;
}

class history {
 public:
  explicit history(const std::filesystem::path &path) : file_(path) {}
  bool next(std::vector<wish> &batch) {
    batch.clear();
    for (std::string line; std::getline(file_, line);) {
      if (line == "---") {
        return true;
      }
      if (!line.empty() && line[0] != '#') {
        batch.push_back({parse(line.substr(1)), line[0] == '+', ++words_});
      }
    }
    return !batch.empty();
  }

 private:
  std::ifstream file_;
  uint32_t words_ = 1000000;
};

void run_history(const std::filesystem::path &base, const std::filesystem::path &updates) {
  table_twin twin(20000);
  ASSERT_EQ(twin.load(read_table(base)), ZEL_V6COMP_TABLE_OK);
  const uint64_t first_writes = twin.writes;
  twin.check_rows();
  twin.check_lookups();
  history batches(updates);
  std::vector<wish> batch;
  unsigned n = 0;
  unsigned refused = 0;
  while (batches.next(batch)) {
    ++n;
    if (twin.apply(batch) != ZEL_V6COMP_TABLE_OK) {
      ++refused;
      if (std::getenv("V6COMP_REFUSALS_FAIL") != nullptr) {
        ADD_FAILURE() << "batch " << n << ": " << twin.last.reason;
      }
      std::vector<wish> all;
      std::map<table_test::prefix, uint32_t> after = twin.wanted;
      for (const wish &w : batch) {
        if (w.add) {
          after[w.p] = w.word;
        } else {
          after.erase(w.p);
        }
      }
      for (const auto &[p, word] : after) {
        all.push_back({p, true, word});
      }
      ASSERT_EQ(twin.load({}), ZEL_V6COMP_TABLE_OK);
      ASSERT_EQ(twin.load(all), ZEL_V6COMP_TABLE_OK);
    }
    if (testing::Test::HasFailure()) {
      FAIL() << "batch " << n;
    }
  }
  twin.check_rows();
  twin.check_lookups();
  std::printf("%s: %u batches, %u refused, %llu writes after the first %llu, %llu moved, %llu parked, %llu early\n",
              base.filename().c_str(), n, refused, static_cast<unsigned long long>(twin.writes - first_writes),
              static_cast<unsigned long long>(first_writes), static_cast<unsigned long long>(twin.moved),
              static_cast<unsigned long long>(twin.parked), static_cast<unsigned long long>(twin.early));
  ASSERT_EQ(twin.compact(), ZEL_V6COMP_TABLE_OK);
  twin.check_rows();
  std::printf("compact: %u moved, %zu writes, %u parked, %u early\n", twin.last.moved, twin.last.n_writes,
              twin.last.parked, twin.last.early);
}

TEST(TableHistory, OfTheExamples) {
  const std::filesystem::path folder = source_path("examples/histories");
  for (const char *name : {"dc_wikimedia", "host128_vpn", "op_china_monthly"}) {
    run_history(folder / (std::string(name) + ".base.txt"), folder / (std::string(name) + ".updates.txt"));
  }
}

TEST(TableHistory, OfTheEnvironment) {
  const char *folder = std::getenv("V6COMP_HISTORIES");
  if (folder == nullptr) {
    GTEST_SKIP() << "V6COMP_HISTORIES names no folder";
  }
  for (const auto &entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename();
    const size_t at = name.find(".base.txt");
    if (at != std::string::npos) {
      run_history(entry.path(), entry.path().parent_path() / (name.substr(0, at) + ".updates.txt"));
    }
  }
}

}  // namespace
