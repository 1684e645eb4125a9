// SPDX-License-Identifier: Apache-2.0
// Random sequences of everything that can be asked of tables, on two of them side by side, beside a plain map and the
// hardware that follows each write. A sequence that fails is shrunk, and said with the RC_PARAMS that repeat it.
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/state.h>

#include <algorithm>
#include <sstream>

#include "followed_table.h"
#include "refused_calls.h"

namespace {

using namespace stateful_tables;
using table_model::text_of;

// ---- what the commands are made of

// Ranges grow with the size of what is generated: without this, a short sequence has nothing but their first values.
template <class Value>
Value any(rc::Gen<Value> gen) {
  return *rc::gen::resize(rc::kNominalSize, std::move(gen));
}

unsigned below(unsigned n) { return any(rc::gen::inRange(0U, n)); }

// Crowded inside one network, so that stored prefixes have to give way.
prefix any_crowded_prefix() {
  const tm_key_number address = tm_key_number{0x20010db8} << 96 | tm_key_number{below(256)} << 88;
  return prefix{address, TM_KEY_BITS}.cut(32 + below(9));
}

// Few stems and lengths, so that prefixes nest, meet again and are removed.
prefix any_prefix() {
  static constexpr std::array<unsigned, 12> lengths = {0, 3, 16, 32, 48, 52, 63, 64, 65, 96, 127, 128};
  if (below(3) != 0) {
    return any_crowded_prefix();
  }
  const tm_key_number stem = tm_key_number{below(3)} << 126 | tm_key_number{0x10db8} << 96;
  const tm_key_number low = tm_key_number{below(4)} << 78 | tm_key_number{below(4)} << 63 | below(3);
  return prefix{stem | low, TM_KEY_BITS}.cut(lengths[below(lengths.size())]);
}

prefix any_prefix_near(const words &wanted) {
  if (wanted.empty() || below(2) == 0) {
    return any_prefix();
  }
  return std::next(wanted.begin(), below(static_cast<unsigned>(wanted.size())))->first;
}

tm_key_number any_address_near(const words &wanted) {
  const prefix p = any_prefix_near(wanted);
  const tm_key_number last = p.address | ~tm_key_number_leading(static_cast<int32_t>(p.length));
  const tm_key_number choices[] = {p.address, last, p.address - 1, last + 1};
  return choices[below(4)];
}

uint32_t any_word() { return any(rc::gen::arbitrary<uint32_t>()); }

std::vector<change> any_changes(const words &wanted, unsigned most) {
  std::vector<change> changes;
  for (unsigned left = below(most + 1); left > 0; --left) {
    const bool is_new = below(2) == 0;
    const prefix p = is_new ? any_prefix() : any_prefix_near(wanted);
    const bool add = is_new ? below(wanted.size() > 80 ? 2 : 8) != 0 : below(4) == 0;
    changes.push_back({p, add, any_word()});
    if (below(6) == 0) {  // and the other way in the same call
      changes.push_back({p, !add, any_word()});
    }
  }
  return changes;
}

std::vector<change> any_load(const words &wanted) {
  std::vector<change> all;
  for (unsigned left = below(80); left > 0; --left) {
    all.push_back({any_prefix_near(wanted), true, any_word()});
  }
  return all;
}

std::string text_of(const std::vector<change> &changes) {
  std::string text;
  for (const change &c : changes) {
    text += (c.add ? " +" : " -") + text_of(c.p) + "=" + std::to_string(c.word);
  }
  return text;
}

// ---- commands

// One call on one of the two tables; after it both are looked at.
class command : public rc::state::Command<facts, two_tables> {
 public:
  explicit command(const char *name) : side_(below(2)), name_(name) {}

  void checkPreconditions(const facts &before) const override { RC_PRE(of(before).is_open); }
  void apply(facts &model) const override { take(model.tables[side_]); }
  void run(const facts &before, two_tables &system) const override {
    const facts after = nextState(before);
    act(of(before), of(after), system.tables[side_]);
    for (size_t i = 0; i < after.tables.size(); ++i) {
      system.tables[i].check(after.tables[i]);
    }
  }
  void show(std::ostream &out) const override { out << name_ << " on " << side_ << ':' << details() << '\n'; }

 protected:
  const table_facts &of(const facts &model) const { return model.tables[side_]; }
  virtual void take(table_facts &) const {}
  virtual void act(const table_facts &before, const table_facts &after, followed_table &system) const = 0;
  virtual std::string details() const { return ""; }

 private:
  unsigned side_;
  const char *name_;
};

class open_table : public command {
 public:
  explicit open_table(const facts &) : command("open") {}
  void checkPreconditions(const facts &before) const override { RC_PRE(!of(before).is_open); }

 protected:
  void take(table_facts &model) const override {
    model.is_open = model.was_open = true;
    model.move_limit = limit_;
    model.wanted.clear();
  }
  void act(const table_facts &, const table_facts &, followed_table &system) const override { system.open(limit_); }
  std::string details() const override { return " move limit " + std::to_string(limit_); }

 private:
  uint32_t limit_ = *rc::gen::element<uint32_t>(0, 0, 1, 3, ZEL_V6COMP_TABLE_NO_MOVES);
};

class close_table : public command {
 public:
  explicit close_table(const facts &) : command("close") {}

 protected:
  void take(table_facts &model) const override {
    model.is_open = false;
    model.wanted.clear();
  }
  void act(const table_facts &, const table_facts &, followed_table &system) const override { system.close(); }
};

class load : public command {
 public:
  explicit load(const facts &model) : command("load"), all_(any_load(of(model).wanted)) {}

 protected:
  void take(table_facts &model) const override { model.wanted = after_changes({}, all_); }
  void act(const table_facts &before, const table_facts &after, followed_table &system) const override {
    system.load(before, after, all_);
  }
  std::string details() const override { return text_of(all_); }

 private:
  std::vector<change> all_;
};

class apply_changes : public command {
 public:
  explicit apply_changes(const facts &model) : command("apply"), changes_(any_changes(of(model).wanted, 16)) {}

 protected:
  void take(table_facts &model) const override { model.wanted = after_changes(model.wanted, changes_); }
  void act(const table_facts &before, const table_facts &after, followed_table &system) const override {
    system.apply(before, after, changes_);
  }
  std::string details() const override { return text_of(changes_); }

 private:
  std::vector<change> changes_;
};

// Words change, and nothing is written.
class change_words : public command {
 public:
  explicit change_words(const facts &model) : command("words") {
    for (const auto &[p, word] : of(model).wanted) {
      changes_.push_back({p, true, below(2) == 0 ? any_word() : word});
    }
  }
  void checkPreconditions(const facts &before) const override {
    command::checkPreconditions(before);
    RC_PRE(std::all_of(changes_.begin(), changes_.end(),
                       [&](const change &c) { return of(before).wanted.contains(c.p); }));
  }

 protected:
  void take(table_facts &model) const override { model.wanted = after_changes(model.wanted, changes_); }
  void act(const table_facts &before, const table_facts &after, followed_table &system) const override {
    system.apply(before, after, changes_);
    RC_ASSERT(system.writes() == 0U);
  }
  std::string details() const override { return text_of(changes_); }

 private:
  std::vector<change> changes_;
};

class compact : public command {
 public:
  explicit compact(const facts &) : command("compact") {}

 protected:
  void act(const table_facts &, const table_facts &after, followed_table &system) const override {
    system.compact(after);
  }
};

class build_index : public command {
 public:
  explicit build_index(const facts &) : command("index") {}

 protected:
  void act(const table_facts &, const table_facts &after, followed_table &system) const override {
    system.index(after);
  }
};

class find : public command {
 public:
  explicit find(const facts &model) : command("find"), prefix_(any_prefix_near(of(model).wanted)) {}

 protected:
  void act(const table_facts &, const table_facts &after, followed_table &system) const override {
    system.find(after, prefix_);
  }
  std::string details() const override { return " " + text_of(prefix_); }

 private:
  prefix prefix_;
};

class look_up : public command {
 public:
  explicit look_up(const facts &model) : command("lookup"), address_(any_address_near(of(model).wanted)) {}

 protected:
  void act(const table_facts &, const table_facts &after, followed_table &system) const override {
    system.look_up(after, address_);
  }
  std::string details() const override { return " " + text_of(prefix{address_, TM_KEY_BITS}); }

 private:
  tm_key_number address_;
};

class translate : public command {
 public:
  explicit translate(const facts &model) : command("translate") {
    for (unsigned left = below(40); left > 0; --left) {
      addresses_.push_back(any_address_near(of(model).wanted));
    }
  }

 protected:
  void act(const table_facts &, const table_facts &after, followed_table &system) const override {
    system.translate(after, addresses_);
  }
  std::string details() const override {
    std::string text;
    for (const tm_key_number address : addresses_) {
      text += " " + text_of(prefix{address, TM_KEY_BITS});
    }
    return text;
  }

 private:
  std::vector<tm_key_number> addresses_;
};

// The walk goes on where it stands, whatever has changed since; at times it begins anew.
class walk : public command {
 public:
  explicit walk(const facts &) : command("walk") {}

 protected:
  void take(table_facts &model) const override {
    if (anew_) {
      model.place.reset();
    }
    const std::vector<prefix> rows = next_rows(model.wanted, model.place, most_);
    if (!rows.empty()) {
      model.place = rows.back();
    }
  }
  void act(const table_facts &before, const table_facts &, followed_table &system) const override {
    table_facts begun = before;
    if (anew_) {
      system.walk_anew();
      begun.place.reset();
    }
    system.walk(begun, most_);
  }
  std::string details() const override { return (anew_ ? " anew, " : " ") + std::to_string(most_) + " rows"; }

 private:
  bool anew_ = below(5) == 0;
  uint32_t most_ = 1 + below(5);
};

class stats : public command {
 public:
  explicit stats(const facts &) : command("stats") {}

 protected:
  void act(const table_facts &, const table_facts &after, followed_table &system) const override {
    system.stats(after);
  }
};

class diff : public command {
 public:
  explicit diff(const facts &) : command("diff") {}

 protected:
  void act(const table_facts &, const table_facts &, followed_table &system) const override { system.diff(); }
};

class refuse : public command {
 public:
  explicit refuse(const facts &model) : command("refuse"), good_{any_prefix_near(of(model).wanted), true, any_word()} {}

 protected:
  void act(const table_facts &, const table_facts &, followed_table &system) const override {
    const std::vector<int32_t> &statuses = call().statuses;
    const int32_t status = call().call(system, good_);
    system.may_lose_index();
    RC_ASSERT(std::find(statuses.begin(), statuses.end(), status) != statuses.end());
  }
  std::string details() const override { return std::string(" ") + call().name; }

 private:
  const refused_call &call() const { return refused_calls()[which_]; }

  size_t which_ = below(static_cast<unsigned>(refused_calls().size()));
  change good_;
};

class use_closed : public command {
 public:
  explicit use_closed(const facts &) : command("use of the closed table") {}
  void checkPreconditions(const facts &before) const override { RC_PRE(!of(before).is_open && of(before).was_open); }

 protected:
  void act(const table_facts &, const table_facts &, followed_table &system) const override {
    call_closed(system.table);
  }
};

// ---- the property

void close_all_and_look(two_tables &system) {
  for (followed_table &table : system.tables) {
    if (table.is_open()) {
      table.close();
    }
  }
  followed_table empty(0);
  empty.open(0);
  zel_v6comp_table_stats_record figures = ZEL_V6COMP_TABLE_STATS_INIT;
  RC_ASSERT(zel_v6comp_table_stats(empty.table, &figures) == ZEL_V6COMP_TABLE_OK);
  for (const zel_v6comp_table_pool &pool : figures.pools) {
    RC_ASSERT(pool.in_use == 0U);
  }
  empty.close();
}

void any_sequence_agrees_with_the_facts() {
  two_tables system;
  rc::state::check(facts{}, system,
                   rc::state::gen::execOneOfWithArgs<open_table, open_table, close_table, load, apply_changes,
                                                     apply_changes, apply_changes, apply_changes, change_words, compact,
                                                     build_index, build_index, find, look_up, look_up, translate, walk,
                                                     walk, stats, diff, refuse, refuse, use_closed>());
  close_all_and_look(system);
}

TEST(StatefulTables, AgreeWithThePlainMapAfterEveryCommand) {
  rc::detail::TestParams params = rc::detail::configuration().testParams;
  params.maxSuccess = 400;
  params.maxSize = 200;
  rc::detail::TestMetadata metadata;
  metadata.id = metadata.description = "StatefulTables";
  const auto result = rc::detail::checkTestable(any_sequence_agrees_with_the_facts, metadata, params);
  std::ostringstream text;
  rc::detail::printResultMessage(result, text);
  EXPECT_TRUE(result.template is<rc::detail::SuccessResult>())
      << text.str() << "\nto repeat it: RC_PARAMS=\"seed=" << params.seed << '"';
}

}  // namespace
