// SPDX-License-Identifier: Apache-2.0
// One row for each operation. The changes of an operation are 22 bytes each: length, 1 = added, word (least significant
// byte first), address.
#include "batch_journal.h"

#include <sqlite3.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace v6agent {

namespace {

constexpr size_t change_bytes = 22;
constexpr int schema_version = 1;

constexpr const char *make_table =
    "CREATE TABLE IF NOT EXISTS operation (place INTEGER PRIMARY KEY, batch INTEGER NOT NULL, kind INTEGER NOT NULL, "
    "side INTEGER NOT NULL, content BLOB NOT NULL)";
constexpr const char *opening_statements[] = {"PRAGMA locking_mode=EXCLUSIVE",
                                              "PRAGMA journal_mode=WAL",
                                              "PRAGMA synchronous=FULL",
                                              "BEGIN IMMEDIATE",
                                              make_table,
                                              "CREATE INDEX IF NOT EXISTS operation_batch ON operation (batch)",
                                              "COMMIT"};

constexpr const char *last_batch = "SELECT COALESCE(MAX(batch), 0) FROM operation";
constexpr const char *bytes_of_changes = "SELECT COALESCE(SUM(LENGTH(content)), 0) FROM operation WHERE kind = 1";
constexpr const char *bytes_of_last_changes =
    "SELECT COALESCE(SUM(LENGTH(content)), 0) FROM operation WHERE kind = 1 AND batch = (SELECT MAX(batch) FROM "
    "operation)";

using statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt *)>;

statement prepare(sqlite3 *database, const char *text) {
  sqlite3_stmt *prepared = nullptr;
  if (sqlite3_prepare_v2(database, text, -1, &prepared, nullptr) != SQLITE_OK) {
    throw std::runtime_error(std::string("journal: ") + sqlite3_errmsg(database));
  }
  return {prepared, sqlite3_finalize};
}

int64_t number_from(sqlite3 *database, const char *text) {
  const statement query = prepare(database, text);
  if (sqlite3_step(query.get()) != SQLITE_ROW) {
    throw std::runtime_error(std::string("journal: ") + sqlite3_errmsg(database));
  }
  return sqlite3_column_int64(query.get(), 0);
}

std::string packed(const std::vector<zel_v6comp_table_change> &changes) {
  std::string bytes;
  bytes.reserve(changes.size() * change_bytes);
  for (const zel_v6comp_table_change &change : changes) {
    bytes.push_back(static_cast<char>(change.length));
    bytes.push_back(static_cast<char>(change.operation));
    for (unsigned shift = 0; shift < 32; shift += 8) {
      bytes.push_back(static_cast<char>(change.word >> shift & 0xff));
    }
    bytes.append(reinterpret_cast<const char *>(change.address), sizeof change.address);
  }
  return bytes;
}

std::vector<zel_v6comp_table_change> unpacked(const uint8_t *bytes, size_t n) {
  std::vector<zel_v6comp_table_change> changes;
  changes.reserve(n / change_bytes);
  for (size_t at = 0; at + change_bytes <= n; at += change_bytes) {
    zel_v6comp_table_change change{};
    change.length = bytes[at];
    change.operation = bytes[at + 1];
    for (unsigned i = 0; i < 4; ++i) {
      change.word |= static_cast<uint32_t>(bytes[at + 2 + i]) << (8 * i);
    }
    std::copy_n(bytes + at + 6, sizeof change.address, change.address);
    changes.push_back(change);
  }
  return changes;
}

table_operation operation_from(sqlite3_stmt *row) {
  table_operation operation;
  const int kind = sqlite3_column_int(row, 1);
  const int table = sqlite3_column_int(row, 2);
  const auto *bytes = static_cast<const uint8_t *>(sqlite3_column_blob(row, 3));
  const auto size = static_cast<size_t>(sqlite3_column_bytes(row, 3));
  if (kind < static_cast<int>(operation_kind::apply) || kind > static_cast<int>(operation_kind::policy) || table < 0 ||
      table > 1) {
    throw std::runtime_error("journal: an operation that is not known");
  }
  operation.kind = static_cast<operation_kind>(kind);
  operation.table = static_cast<side>(table);
  if (operation.kind == operation_kind::policy) {
    if (!parse_policy_text({reinterpret_cast<const char *>(bytes), size}, operation.policy)) {
      throw std::runtime_error("journal: rules that cannot be read");
    }
  } else if (size % change_bytes != 0) {
    throw std::runtime_error("journal: changes that are cut off");
  } else {
    operation.changes = unpacked(bytes, size);
  }
  return operation;
}

}  // namespace

batch_journal::batch_journal(const std::string &path) {
  const int answer = sqlite3_open_v2(path.c_str(), &database_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  try {
    if (answer != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(database_));
    }
    set_up();
  } catch (const std::exception &error) {
    sqlite3_close(database_);
    throw std::runtime_error(path + ": " + error.what());
  }
}

batch_journal::~batch_journal() { sqlite3_close(database_); }

void batch_journal::set_up() {
  sqlite3_busy_timeout(database_, 2000);
  for (const char *text : opening_statements) {
    if (const std::string fault = run(text); !fault.empty()) {
      throw std::runtime_error(fault);
    }
  }
  const int64_t version = number_from(database_, "PRAGMA user_version");
  if (version == 0) {
    if (const std::string fault = run("PRAGMA user_version=1"); !fault.empty()) {
      throw std::runtime_error(fault);
    }
  } else if (version != schema_version) {
    throw std::runtime_error("written by another version of the agent");
  }
  count();
}

std::string batch_journal::run(const char *text) {
  return sqlite3_exec(database_, text, nullptr, nullptr, nullptr) == SQLITE_OK ? "" : sqlite3_errmsg(database_);
}

void batch_journal::count() {
  last_ = number_from(database_, last_batch);
  batches_ = static_cast<uint64_t>(number_from(database_, "SELECT COUNT(DISTINCT batch) FROM operation"));
  changes_since_load_ = static_cast<uint64_t>(number_from(database_, bytes_of_changes)) / change_bytes;
}

std::string batch_journal::insert(const table_batch &batch, int64_t number) {
  const statement insertion =
      prepare(database_, "INSERT INTO operation (batch, kind, side, content) VALUES (?, ?, ?, ?)");
  for (const table_operation &operation : batch) {
    const std::string content =
        operation.kind == operation_kind::policy ? policy_text(operation.policy) : packed(operation.changes);
    sqlite3_bind_int64(insertion.get(), 1, number);
    sqlite3_bind_int(insertion.get(), 2, static_cast<int>(operation.kind));
    sqlite3_bind_int(insertion.get(), 3, static_cast<int>(operation.table));
    sqlite3_bind_blob64(insertion.get(), 4, content.data(), content.size(), SQLITE_TRANSIENT);
    if (sqlite3_step(insertion.get()) != SQLITE_DONE) {
      return sqlite3_errmsg(database_);
    }
    sqlite3_reset(insertion.get());
  }
  return "";
}

// All of `work`, or nothing of it.
template <class Work>
std::string batch_journal::in_transaction(Work work) {
  std::string fault = run("BEGIN IMMEDIATE");
  try {
    fault = fault.empty() ? work() : fault;
  } catch (const std::exception &error) {
    fault = error.what();
  }
  if (fault.empty()) {
    fault = run("COMMIT");
  }
  if (!fault.empty()) {
    run("ROLLBACK");
  }
  return fault;
}

std::string batch_journal::append(const table_batch &batch) {
  const std::string fault = in_transaction([&] { return insert(batch, last_ + 1); });
  if (!fault.empty()) {
    return fault;
  }
  ++last_;
  ++batches_;
  for (const table_operation &operation : batch) {
    changes_since_load_ += operation.kind == operation_kind::apply ? operation.changes.size() : 0;
  }
  return "";
}

// Counts what goes instead of all that stays: many batches may be refused one after the other.
std::string batch_journal::remove_last() {
  uint64_t bytes = 0;
  int64_t before = 0;
  const std::string fault = in_transaction([&] {
    bytes = static_cast<uint64_t>(number_from(database_, bytes_of_last_changes));
    const std::string stays = run("DELETE FROM operation WHERE batch = (SELECT MAX(batch) FROM operation)");
    before = number_from(database_, last_batch);
    return stays;
  });
  if (fault.empty() && last_ != before) {
    last_ = before;
    --batches_;
    changes_since_load_ -= bytes / change_bytes;
  }
  return fault;
}

std::string batch_journal::replace_all(const table_batch &batch) {
  const std::string fault = in_transaction([&] {
    const std::string stays = run("DELETE FROM operation");
    return stays.empty() ? insert(batch, last_ + 1) : stays;
  });
  if (fault.empty()) {
    count();
  }
  return fault;
}

void batch_journal::visit(const std::function<void(const table_batch &, bool)> &visit) const {
  const statement query = prepare(database_, "SELECT batch, kind, side, content FROM operation ORDER BY place");
  table_batch batch;
  int64_t number = 0;
  int answer = sqlite3_step(query.get());
  for (; answer == SQLITE_ROW; answer = sqlite3_step(query.get())) {
    const int64_t here = sqlite3_column_int64(query.get(), 0);
    if (here != number && !batch.empty()) {
      visit(batch, false);
      batch.clear();
    }
    number = here;
    batch.push_back(operation_from(query.get()));
  }
  if (answer != SQLITE_DONE) {
    throw std::runtime_error(std::string("journal: ") + sqlite3_errmsg(database_));
  }
  if (!batch.empty()) {
    visit(batch, true);
  }
}

}  // namespace v6agent
