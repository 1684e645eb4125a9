// SPDX-License-Identifier: Apache-2.0
// The library's calls do not return before their work is done, so the line is drawn from a timer signal. What the
// signal does is restricted to what a signal may do: it reads a few numbers, fills a buffer of its own and calls write.
#include "progress_note.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "terminal.h"

namespace v6tool {

namespace {

constexpr suseconds_t period_us = 200000;
constexpr uint64_t silence_ms = 500;

std::atomic<const char *> current_work = nullptr;
std::atomic<uint64_t> all_steps = 0;
std::atomic<uint64_t> steps_done = 0;
std::atomic<uint64_t> begun_ms = 0;
std::atomic<unsigned> width = 80;
std::atomic<bool> is_drawn = false;

uint64_t now_ms() {
  struct timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

void put(const char *text, size_t bytes) {
  const ssize_t ignored = write(STDERR_FILENO, text, bytes);
  static_cast<void>(ignored);
}

void wipe() {
  if (is_drawn.exchange(false)) {
    put("\r\x1b[K", 4);
  }
}

void on_tick(int /*signal*/) {
  const int saved = errno;
  const uint64_t elapsed = now_ms() - begun_ms;
  const char *what = current_work;
  if (what != nullptr && elapsed >= silence_ms) {
    char line[progress_line_bytes + 4] = "\r\x1b[K";
    const size_t bytes = progress_line({what, all_steps, steps_done, elapsed, width}, line + 4);
    put(line, bytes + 4);
    is_drawn = true;
  }
  errno = saved;
}

void set_timer(suseconds_t us) {
  struct itimerval timer = {};
  timer.it_interval.tv_usec = us;
  timer.it_value.tv_usec = us;
  setitimer(ITIMER_REAL, &timer, nullptr);
}

// A line that is cut where its buffer or the terminal ends.
struct line_buffer {
  char *text;
  size_t most;
  size_t used = 0;

  void put(char c) {
    if (used < most) {
      text[used++] = c;
    }
  }
  void put(const char *words) {
    for (; *words != '\0'; ++words) {
      put(*words);
    }
  }
  void put(uint64_t number, size_t places, char fill) {
    char digits[20];
    size_t n = 0;
    for (; n == 0 || number > 0; number /= 10) {
      digits[n++] = static_cast<char>('0' + number % 10);
    }
    for (size_t i = n; i < places; ++i) {
      put(fill);
    }
    while (n > 0) {
      put(digits[--n]);
    }
  }
};

size_t digits_of(uint64_t number) {
  size_t n = 1;
  for (; number > 9; number /= 10) {
    ++n;
  }
  return n;
}

void put_bar(line_buffer &line, uint64_t done, uint64_t steps, uint64_t places) {
  const uint64_t full = done * places / steps;
  line.put('[');
  for (uint64_t i = 0; i < places; ++i) {
    line.put(i < full ? '=' : i == full ? '>' : ' ');
  }
  line.put("] ");
}

}  // namespace

size_t progress_line(const progress_state &state, char out[progress_line_bytes]) {
  line_buffer line = {out, std::min<size_t>(progress_line_bytes, std::max(state.columns, 2U) - 1)};
  line.put("v6comp: ");
  line.put(state.what);
  line.put(' ');
  if (state.steps == 0) {
    line.put(state.elapsed_ms / 1000, 4, ' ');
    line.put(" s");
    return line.used;
  }
  const uint64_t done = std::min(state.done, state.steps);
  if (state.columns >= 72) {
    put_bar(line, done, state.steps, 20);
  }
  line.put(done * 100 / state.steps, 3, ' ');
  line.put("%, ");
  line.put(done, digits_of(state.steps), ' ');
  line.put(" of ");
  line.put(state.steps, 1, ' ');
  const uint64_t a_second = done * 1000 / std::max<uint64_t>(state.elapsed_ms, 1);
  line.put(", ");
  line.put(a_second, 1, ' ');
  line.put("/s");
  if (done > 0) {
    const uint64_t rest_s = (state.steps - done) * state.elapsed_ms / done / 1000;
    line.put(", ");
    line.put(rest_s / 60, 1, ' ');
    line.put(':');
    line.put(rest_s % 60, 2, '0');
    line.put(" left");
  }
  return line.used;
}

progress_note::progress_note(const char *what, bool quiet) : progress_note(what, 0, quiet) {}

progress_note::progress_note(const char *what, uint64_t steps, bool quiet)
    : active_(!quiet && is_terminal(STDERR_FILENO)) {
  if (!active_) {
    return;
  }
  current_work = what;
  all_steps = steps;
  steps_done = 0;
  begun_ms = now_ms();
  const unsigned columns = terminal_width(STDERR_FILENO);
  width = columns == 0 ? 80 : columns;
  struct sigaction action = {};
  action.sa_handler = on_tick;
  action.sa_flags = SA_RESTART;
  sigaction(SIGALRM, &action, nullptr);
  set_timer(period_us);
}

progress_note::~progress_note() {
  if (active_) {
    set_timer(0);
    current_work = nullptr;
    wipe();
  }
}

void progress_bar::at(uint64_t done) { steps_done = done; }

progress_pause::progress_pause() : saved_() {
  sigset_t alarm;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  sigprocmask(SIG_BLOCK, &alarm, &saved_);
  wipe();
}

progress_pause::~progress_pause() { sigprocmask(SIG_SETMASK, &saved_, nullptr); }

}  // namespace v6tool
