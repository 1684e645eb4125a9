// SPDX-License-Identifier: Apache-2.0
// The agent's process is killed two hundred times: before the N-th write to the journal's files or to the switch, for
// any N, and at any moment. What it had acknowledged is never lost, the codes are those of an agent that was never
// killed, and the next one finds nothing in the switch that the last batch does not explain.
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "agent_fixture.h"
#include "trace_driver.h"

namespace v6agent {
namespace {

constexpr int generations = 10;
constexpr int kills_of_a_generation = 20;

// Shared by the test and the processes that it kills.
struct progress {
  std::atomic<uint32_t> acknowledged;  // batches
  std::atomic<uint32_t> outstanding;   // recoveries that had something to do
};

class shared_progress {
 public:
  shared_progress()
      : page_(mmap(nullptr, sizeof(progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {}
  ~shared_progress() { munmap(page_, sizeof(progress)); }
  shared_progress(const shared_progress &) = delete;
  shared_progress &operator=(const shared_progress &) = delete;
  progress *operator->() { return static_cast<progress *>(page_); }

 private:
  void *page_;
};

// The write before which this process dies. 0: none.
int writes_to_live = 0;

void count_down() {
  if (writes_to_live > 0 && --writes_to_live == 0) {
    kill(getpid(), SIGKILL);
  }
}

ssize_t mortal_pwrite(int file, const void *bytes, size_t n, off_t at) {
  count_down();
  return pwrite(file, bytes, n, at);
}

// From here on this process's journals die before a write.
void make_journals_mortal() {
  sqlite3_vfs *files = sqlite3_vfs_find(nullptr);
  const auto call = reinterpret_cast<sqlite3_syscall_ptr>(mortal_pwrite);
  for (const char *name : {"pwrite", "pwrite64"}) {
    files->xSetSystemCall(files, name, call);
  }
}

class mortal_driver final : public switch_driver {
 public:
  explicit mortal_driver(const std::string &path) : trace_(path) {}
  driver_answer write(const switch_step &step) override {
    count_down();
    const driver_answer answer = trace_.write(step);
    count_down();
    return answer;
  }
  driver_answer read(switch_image &image) override { return trace_.read(image); }

 private:
  trace_driver trace_;
};

// An agent: recovers, then runs batches for ever. Returns why it cannot go on.
const char *live(const scratch_folder &folder, shared_progress &shared, int writes) {
  writes_to_live = writes;
  make_journals_mortal();
  table_pair tables({4096, 0});
  batch_journal journal(folder.file("journal"));
  mortal_driver driver(folder.file("trace"));
  switch_engine engine(tables, journal, driver);
  const reconcile_result recovered = engine.recover();
  if (recovered.status != driver_status::done) {
    return "recovery failed";
  }
  if (recovered.foreign != 0) {
    return "the switch holds what the last batch does not explain";
  }
  if (journal.batches() < shared->acknowledged) {
    return "an acknowledged batch is lost";
  }
  shared->outstanding += recovered.outstanding != 0 ? 1 : 0;
  for (;;) {
    const batch_result result = engine.run(random_batch(static_cast<uint32_t>(journal.batches())));
    if (result.status != batch_status::done) {
      return "a batch was refused";
    }
    shared->acknowledged = static_cast<uint32_t>(journal.batches());
  }
}

// An agent that nobody kills must come to the same. Returns what is wrong, or null.
const char *compare_with_twin(const scratch_folder &folder) {
  table_pair tables({4096, 0});
  switch_image recovered;
  uint64_t batches = 0;
  {
    batch_journal journal(folder.file("journal"));
    trace_driver driver(folder.file("trace"));
    switch_engine engine(tables, journal, driver);
    if (engine.recover().status != driver_status::done) {
      return "recovery failed";
    }
    recovered = engine.image();
    batches = journal.batches();
    switch_image in_switch;
    driver.read(in_switch);
    if (in_switch != recovered) {
      return "the switch is not what the tables say";
    }
  }
  const scratch_folder own;
  batch_journal journal(own.file("journal"));
  memory_driver driver;
  switch_engine twin(tables, journal, driver);
  twin.recover();
  for (uint32_t i = 0; i < batches; ++i) {
    if (twin.run(random_batch(i)).status != batch_status::done) {
      return "the twin was refused";
    }
  }
  return driver.held == recovered ? nullptr : "other codes than those of the twin";
}

// Runs `work` in a process of its own; a reason to end is printed and ends it with 1.
template <class Work>
pid_t in_process(Work work) {
  const pid_t child = fork();
  if (child == 0) {
    const char *reason = work();
    if (reason != nullptr) {
      fprintf(stderr, "%s\n", reason);
    }
    _exit(reason == nullptr ? 0 : 1);
  }
  return child;
}

TEST(KillLoop, two_hundred_kills_change_nothing) {
  std::mt19937 random(18);
  uint32_t with_work_left = 0;
  for (int generation = 0; generation < generations; ++generation) {
    const scratch_folder folder;
    shared_progress shared;
    for (int i = 0; i < kills_of_a_generation; ++i) {
      const bool at_any_moment = i % 4 == 3;
      const int writes = at_any_moment ? 0 : 1 + static_cast<int>(random() % 60);
      const pid_t child = in_process([&] { return live(folder, shared, writes); });
      ASSERT_GT(child, 0);
      if (at_any_moment) {
        usleep(static_cast<useconds_t>(random() % 20000));
        kill(child, SIGKILL);
      }
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      ASSERT_TRUE(WIFSIGNALED(status)) << "the agent ended by itself";
    }
    const pid_t check = in_process([&] { return compare_with_twin(folder); });
    int status = 0;
    ASSERT_EQ(waitpid(check, &status, 0), check);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_GT(shared->acknowledged, 0U);
    with_work_left += shared->outstanding;
  }
  RecordProperty("kills", generations * kills_of_a_generation);
  RecordProperty("recoveries_with_outstanding_writes", static_cast<int>(with_work_left));
  EXPECT_GT(with_work_left, 0U) << "no kill came between the journal and the switch";
}

}  // namespace
}  // namespace v6agent
