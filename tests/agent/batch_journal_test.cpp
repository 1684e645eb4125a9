// SPDX-License-Identifier: Apache-2.0
#include "batch_journal.h"

#include <sqlite3.h>
#include <sys/resource.h>

#include <csignal>
#include <stdexcept>

#include "agent_fixture.h"

namespace v6agent {
namespace {

bool same(const table_batch &a, const table_batch &b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const table_operation &x, const table_operation &y) {
    return x.kind == y.kind && x.table == y.table && x.policy == y.policy &&
           std::equal(x.changes.begin(), x.changes.end(), y.changes.begin(), y.changes.end(),
                      [](const zel_v6comp_table_change &c, const zel_v6comp_table_change &d) {
                        return prefix_of(c.address, c.length) == prefix_of(d.address, d.length) &&
                               c.operation == d.operation && c.word == d.word;
                      });
  });
}

std::vector<table_batch> all_of(const batch_journal &journal) {
  std::vector<table_batch> batches;
  journal.visit([&](const table_batch &batch, bool) { batches.push_back(batch); });
  return batches;
}

TEST(BatchJournal, gives_back_what_was_appended) {
  const scratch_folder folder;
  {
    batch_journal journal(folder.file("j"));
    for (uint32_t i = 0; i < 5; ++i) {
      EXPECT_EQ(journal.append(random_batch(i)), "");
    }
    EXPECT_EQ(journal.batches(), 5U);
  }
  const batch_journal journal(folder.file("j"));
  const std::vector<table_batch> batches = all_of(journal);
  ASSERT_EQ(batches.size(), 5U);
  for (uint32_t i = 0; i < 5; ++i) {
    EXPECT_TRUE(same(batches[i], random_batch(i))) << i;
  }
  EXPECT_EQ(journal.changes_since_load(), 4U + 4 * 24);  // ::/0 and another for each side, then two dozens a batch
}

TEST(BatchJournal, forgets_the_last_batch_and_replaces_all) {
  const scratch_folder folder;
  batch_journal journal(folder.file("j"));
  EXPECT_EQ(journal.remove_last(), "");
  for (uint32_t i = 0; i < 3; ++i) {
    journal.append(random_batch(i));
  }
  EXPECT_EQ(journal.changes_since_load(), 4U + 2 * 24);
  EXPECT_EQ(journal.remove_last(), "");
  EXPECT_EQ(journal.changes_since_load(), 4U + 24);
  EXPECT_EQ(journal.batches(), 2U);
  ASSERT_EQ(all_of(journal).size(), 2U);
  table_batch load{{operation_kind::load, side::source, random_batch(7)[0].changes, {}}};
  EXPECT_EQ(journal.replace_all(load), "");
  ASSERT_EQ(all_of(journal).size(), 1U);
  EXPECT_TRUE(same(all_of(journal)[0], load));
  EXPECT_EQ(journal.changes_since_load(), 0U);
  EXPECT_EQ(journal.append(random_batch(3)), "");
  EXPECT_EQ(journal.batches(), 2U);
  for (const uint64_t left : {1U, 0U, 0U}) {
    EXPECT_EQ(journal.remove_last(), "");
    EXPECT_EQ(journal.batches(), left);
    EXPECT_EQ(journal.changes_since_load(), 0U);
  }
  EXPECT_EQ(journal.append(random_batch(3)), "");
  ASSERT_EQ(all_of(journal).size(), 1U);
}

TEST(BatchJournal, is_one_process_s_alone) {
  const scratch_folder folder;
  const batch_journal journal(folder.file("j"));
  EXPECT_THROW(batch_journal(folder.file("j")), std::runtime_error);
}

TEST(BatchJournal, refuses_files_that_are_not_its_own) {
  const scratch_folder folder;
  FILE *file = fopen(folder.file("text").c_str(), "w");
  ASSERT_NE(file, nullptr);
  fputs(std::string(5000, 'x').c_str(), file);
  fclose(file);
  EXPECT_THROW(batch_journal(folder.file("text")), std::runtime_error);
  EXPECT_THROW(batch_journal(folder.file("no/such/folder/j")), std::runtime_error);
  { batch_journal journal(folder.file("newer")); }
  sqlite3 *database = nullptr;
  sqlite3_open(folder.file("newer").c_str(), &database);
  EXPECT_EQ(sqlite3_exec(database, "PRAGMA user_version=2", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(database);
  EXPECT_THROW(batch_journal(folder.file("newer")), std::runtime_error);
}

TEST(BatchJournal, says_when_rows_make_no_sense) {
  for (const char *damage :
       {"UPDATE operation SET kind=9 WHERE place=1", "UPDATE operation SET side=2 WHERE place=1",
        "UPDATE operation SET content=x'0102' WHERE place=1", "UPDATE operation SET content='[[' WHERE kind=4"}) {
    const scratch_folder folder;
    {
      batch_journal journal(folder.file("j"));
      journal.append(random_batch(0));
    }
    sqlite3 *database = nullptr;
    sqlite3_open(folder.file("j").c_str(), &database);
    EXPECT_EQ(sqlite3_exec(database, damage, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
    const batch_journal journal(folder.file("j"));
    EXPECT_THROW(all_of(journal), std::runtime_error) << damage;
  }
}

// Files may grow no further: to the database that is a disk without room.
class full_disk {
 public:
  full_disk() {
    getrlimit(RLIMIT_FSIZE, &before_);
    handler_ = signal(SIGXFSZ, SIG_IGN);
    const rlimit none{4096, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
  }
  ~full_disk() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, handler_);
  }
  full_disk(const full_disk &) = delete;
  full_disk &operator=(const full_disk &) = delete;

 private:
  rlimit before_{};
  void (*handler_)(int) = SIG_DFL;
};

TEST(BatchJournal, a_full_disk_stops_batches_and_changes_neither_tables_nor_switch) {
  const scratch_folder folder;
  table_pair tables({4096, 0});
  batch_journal journal(folder.file("j"));
  memory_driver driver;
  switch_engine engine(tables, journal, driver);
  engine.recover();
  for (uint32_t i = 0; i < 10; ++i) {
    ASSERT_EQ(engine.run(random_batch(i)).status, batch_status::done);
  }
  const switch_image before = driver.held;
  {
    const full_disk full;
    for (int i = 0; i < 3; ++i) {
      const batch_result result = engine.run(random_batch(10));
      EXPECT_EQ(result.status, batch_status::journal_failed);
      EXPECT_NE(result.reason, "");
    }
    EXPECT_EQ(driver.held, before);
    EXPECT_EQ(engine.image(), before);
    EXPECT_TRUE(engine.in_step());
  }
  EXPECT_EQ(engine.run(random_batch(10)).status, batch_status::done);
  EXPECT_EQ(journal.batches(), 11U);
  EXPECT_EQ(all_of(journal).size(), 11U);
  EXPECT_EQ(driver.held, engine.image());
}

}  // namespace
}  // namespace v6agent
