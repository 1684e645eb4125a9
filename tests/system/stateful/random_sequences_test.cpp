// SPDX-License-Identifier: Apache-2.0
// Random sequences of everything that a host can call, on the eight instances that share the pools, beside a model of
// prefixes, counters, handles and moves, in each mode and with the mode changed in between. A sequence that fails is
// shrunk; keep it as a case of tests/regressions.
#include <rapidcheck.h>

#include "checked_library.h"
#include "prefix_text.h"
#include "test_host.h"

namespace {

using namespace instance_model;
using v6tool::ip_prefix;

enum class step_kind : uint8_t {
  add,
  remove,
  reset,
  refuse,
  lookup,
  address,
  attach,
  query,
  dump,
  recompress,
  limit,
  mode
};

struct step {
  step_kind kind = step_kind::add;
  place at;
  std::vector<change> changes;  // of a request; of the others the first one's prefix
  uint32_t handle = 0;
};

std::ostream &operator<<(std::ostream &out, const step &s) {
  static const char *const names[] = {"add",    "remove", "reset", "refuse",     "lookup",         "address",
                                      "attach", "query",  "dump",  "recompress", "limit of moves", "mode"};
  return out << '\n'
             << names[static_cast<size_t>(s.kind)] << " on " << s.at.processor << '/' << s.at.instance << ": "
             << text_of(s.changes);
}

// Ranges grow with the size of what is generated: without this, a short list has nothing but their first values.
template <class Value>
rc::Gen<Value> whole_range(rc::Gen<Value> gen) {
  return rc::gen::resize(rc::kNominalSize, std::move(gen));
}

// Few stems and lengths, so that prefixes nest, meet again and are deleted.
rc::Gen<ip_prefix> any_prefix() {
  return rc::gen::map(
      rc::gen::tuple(rc::gen::inRange(0, 4), rc::gen::inRange(0, 8), rc::gen::inRange(0, 4), rc::gen::inRange(0, 14)),
      [](const std::tuple<int, int, int, int> &parts) {
        static constexpr uint8_t lengths[] = {0, 3, 8, 16, 19, 20, 32, 33, 36, 44, 48, 56, 64, 128};
        const auto &[stem, middle, low, length] = parts;
        const v6tool::ip_key key = {static_cast<uint64_t>(stem) << 61 | static_cast<uint64_t>(middle) << 42 |
                                        static_cast<uint64_t>(middle) << 28 | static_cast<uint64_t>(low) << 16,
                                    static_cast<uint64_t>(low)};
        const uint8_t bits = lengths[length];
        return ip_prefix{v6tool::masked(key, bits), bits};
      });
}

rc::Gen<change> any_change(bool add) {
  return rc::gen::map(rc::gen::tuple(any_prefix(), rc::gen::weightedOneOf<uint32_t>(
                                                       {{8, rc::gen::just(1u)},
                                                        {1, rc::gen::element(2u, 7u, 100u)},
                                                        {1, rc::gen::element(0u, 65535u, 65536u, 65537u)}})),
                      [add](const std::tuple<ip_prefix, uint32_t> &parts) {
                        return change{add, std::get<0>(parts), std::get<1>(parts)};
                      });
}

rc::Gen<std::vector<change>> any_changes(bool mostly_add) {
  return rc::gen::resize(8, rc::gen::container<std::vector<change>>(
                                whole_range(rc::gen::oneOf(any_change(mostly_add), any_change(true)))));
}

// `room`: also what only room mode has; `modes`: also changes of the mode.
rc::Gen<step> any_step(bool room, bool modes) {
  const auto kind = rc::gen::weightedElement<step_kind>({{room ? 1 : 0, step_kind::recompress},
                                                         {room ? 1 : 0, step_kind::limit},
                                                         {modes ? 2 : 0, step_kind::mode},
                                                         {6, step_kind::add},
                                                         {6, step_kind::remove},
                                                         {1, step_kind::reset},
                                                         {1, step_kind::refuse},
                                                         {2, step_kind::lookup},
                                                         {2, step_kind::address},
                                                         {3, step_kind::attach},
                                                         {3, step_kind::query},
                                                         {2, step_kind::dump}});
  return rc::gen::mapcat(kind, [](step_kind k) {
    return rc::gen::map(rc::gen::tuple(rc::gen::inRange(0, 8), any_changes(k == step_kind::add),
                                       rc::gen::inRange<uint32_t>(1, 1000), any_prefix()),
                        [k](const std::tuple<int, std::vector<change>, uint32_t, ip_prefix> &parts) {
                          step s = {k, all_places[std::get<0>(parts)], std::get<1>(parts), std::get<2>(parts)};
                          if (k != step_kind::add && k != step_kind::remove) {
                            s.changes = {{true, std::get<3>(parts), 1}};
                          }
                          return s;
                        });
  });
}

std::string apply(checked_library &library, const step &s) {
  const ip_prefix prefix = s.changes.empty() ? ip_prefix{} : s.changes[0].prefix;
  switch (s.kind) {
    case step_kind::add:
    case step_kind::remove:
      return library.request(s.at, s.changes);
    case step_kind::reset:
      return library.reset(s.at);
    case step_kind::refuse:
      return library.refusals(s.at);
    case step_kind::lookup:
      return s.handle % 16 == 0 ? library.many_lookups(s.at) : library.lookup(s.at, prefix);
    case step_kind::address:
      return library.lookup_address(s.at, prefix.key);
    case step_kind::attach:
      return library.attach(s.at, prefix, s.handle);
    case step_kind::query:
      return library.query(s.at, prefix);
    case step_kind::dump:
      return library.dump(s.at);
    case step_kind::recompress:
      return library.recompress(s.at);
    case step_kind::limit:
      library.set_move_limit(s.handle % 2 == 0 ? UINT32_MAX : s.handle % 8);
      break;
    case step_kind::mode:
      library.set_mode(static_cast<update_mode>(s.handle % 3));
      break;
  }
  return "";
}

constexpr uint64_t roomy = 32768;

// `runs` sequences of `most_steps` at most; counts the elements that a pool did not have.
struct course {
  int runs;
  int most_steps;
  uint64_t pool_elements;
  update_mode mode;
  bool changes_mode;
};

bool hold(const char *what, const course &c, uint64_t *asked_in_vain) {
  rc::detail::TestParams params = rc::detail::configuration().testParams;
  params.maxSuccess = c.runs;
  params.maxSize = c.most_steps;
  rc::detail::TestMetadata metadata;
  metadata.id = what;
  metadata.description = what;
  *asked_in_vain = 0;
  const auto result = rc::detail::checkTestable(
      [&] {
        const bool room = c.mode == update_mode::room || c.changes_mode;
        const auto steps = *rc::gen::container<std::vector<step>>(whole_range(any_step(room, c.changes_mode)));
        checked_library library(c.pool_elements, true);
        library.set_mode(c.mode);
        library.expect_refusals(c.pool_elements < roomy);
        for (const step &s : steps) {
          const std::string fault = apply(library, s);
          RC_LOG() << s << '\n';
          RC_ASSERT(fault == "");
        }
        for (uint32_t type = 0; type < TM_CHUNK_TYPES; ++type) {
          *asked_in_vain += gbl_chunk_info[type].failed;
        }
        for (const place &at : all_places) {
          RC_ASSERT(library.full_check(at) == "");
          RC_ASSERT(library.reset(at) == "");
        }
        RC_ASSERT(allocated() == 0u);
        RC_ASSERT(library.memory_check() == "");
        RC_ASSERT(test_host::pool_damage() == "");
      },
      metadata, params);
  if (!result.template is<rc::detail::SuccessResult>()) {
    rc::detail::printResultMessage(result, std::cerr);
    return false;
  }
  return true;
}

class random_sequences : public testing::Test {
 protected:
  void TearDown() override {
    set_mode(update_mode::compatible);
    zel_v6comp_set_move_limit(UINT32_MAX);
    restore_pool_sizes();
  }

  uint64_t asked_in_vain = 77;
};

TEST_F(random_sequences, instances_agree_with_the_model_after_every_step) {
  EXPECT_TRUE(hold("safe updates", {150, 200, roomy, update_mode::safe, false}, &asked_in_vain));
  EXPECT_EQ(asked_in_vain, 0u);
}

TEST_F(random_sequences, instances_agree_with_the_model_while_pools_run_out) {
  EXPECT_TRUE(hold("safe updates, small pools", {150, 200, 1000, update_mode::safe, false}, &asked_in_vain));
  EXPECT_GT(asked_in_vain, 100u);
}

TEST_F(random_sequences, instances_agree_with_the_model_in_room_mode) {
  EXPECT_TRUE(hold("room mode", {100, 200, roomy, update_mode::room, false}, &asked_in_vain));
  EXPECT_EQ(asked_in_vain, 0u);
}

TEST_F(random_sequences, instances_agree_with_the_model_in_room_mode_while_pools_run_out) {
  EXPECT_TRUE(hold("room mode, small pools", {100, 200, 1000, update_mode::room, false}, &asked_in_vain));
  EXPECT_GT(asked_in_vain, 100u);
}

// Tables compressed in one mode, changed in another, and brought back by a recompression.
TEST_F(random_sequences, instances_agree_with_the_model_while_the_mode_changes) {
  EXPECT_TRUE(hold("changing modes", {150, 200, roomy, update_mode::compatible, true}, &asked_in_vain));
  EXPECT_EQ(asked_in_vain, 0u);
}

TEST_F(random_sequences, structures_are_sound_with_safe_updates_off) {
  EXPECT_TRUE(hold("updates in compatible mode", {100, 160, roomy, update_mode::compatible, false}, &asked_in_vain));
  EXPECT_EQ(asked_in_vain, 0u);
}

}  // namespace
