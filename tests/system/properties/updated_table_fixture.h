// SPDX-License-Identifier: Apache-2.0
// updated_table_fixture.h - a random table in the library, and the counting that follows it.
#ifndef UPDATED_TABLE_FIXTURE_H
#define UPDATED_TABLE_FIXTURE_H

#include <gtest/gtest.h>

#include "library_table.h"
#include "random_batches.h"

class updated_table_test : public ::testing::Test {
 protected:
  using change_list = updated_table::change_list;
  using stored_row = updated_table::stored_row;

  static void SetUpTestSuite() { library_table::start(); }

  void TearDown() override {
    zel_v6comp_set_safe_updates(0);
    updated_table::reset();
  }

  // A new table of the library and of the counting; tables that do not fit are passed over.
  void start_table(size_t most_prefixes) {
    do {
      updated_table::reset();
      space = random_batches::random_space(random);
      first = random_batches::random_table(random, space, 1 + random() % most_prefixes);
    } while (updated_table::request(first) != 0);
    table.compress(first);
    look("full compression");
  }

  void look(const std::string &when) {
    std::string fault;
    auto found = updated_table::look_up(table, &fault);
    ASSERT_TRUE(found) << when << ": " << fault;
    rows = *std::move(found);
  }

  std::string counterexample() const {
    std::vector<v6tool::compressed_row> plain;
    for (const stored_row &row : rows) {
      plain.push_back(row.row);
    }
    return v6tool::containment_counterexample(plain);
  }

  std::string story(const change_list &batch, uint32_t status) const {
    return "table " + updated_table::text_of(first) + "\nbatch " + updated_table::text_of(batch) + "\nstatus " +
           std::to_string(status);
  }

  // Room may lack where the counting accepts; what the counting refuses must be refused.
  static bool is_possible(uint32_t status, uint32_t counted) {
    const bool no_room = status == 28 || status == 2 || status == 14;
    return counted == 0 ? status == 0 || no_room : status == counted || no_room;
  }

  // A prefix of both tables that the batch did not name, nor any anchor of it, keeps its code and its address.
  static std::string first_moved(const std::vector<stored_row> &before, const std::vector<stored_row> &after,
                                 const change_list &batch) {
    std::map<v6tool::ip_prefix, v6tool::compressed_row> kept;
    for (const stored_row &row : before) {
      kept[row.row.original] = row.row;
    }
    for (const updated_table::change &c : batch) {
      kept.erase(c.prefix);
      for (const uint8_t length : {uint8_t{32}, uint8_t{48}, uint8_t{64}, uint8_t{96}}) {
        kept.erase({v6tool::masked(c.prefix.key, length), length});
      }
    }
    for (const stored_row &row : after) {
      const auto old = kept.find(row.row.original);
      if (old != kept.end() && (old->second.code != row.row.code || old->second.address != row.row.address)) {
        return updated_table::text_of({{true, row.row.original, 1}}) + " has moved";
      }
    }
    return "";
  }

  random_batches::random_source random{41};
  random_batches::dense_space space;
  change_list first;
  updated_table::counting table;
  std::vector<stored_row> rows;  // of the last look
};

#endif
