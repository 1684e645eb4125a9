// SPDX-License-Identifier: Apache-2.0
// The library's calls do not return before their work is done, so the note is written from a timer signal: it
// touches nothing but its own few words and calls nothing but write.
#include "progress_note.h"

#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace v6tool {

namespace {

const char *volatile current_work = nullptr;
volatile sig_atomic_t seconds = 0;

void put(const char *text) {
  const ssize_t ignored = write(STDERR_FILENO, text, std::strlen(text));
  static_cast<void>(ignored);
}

void on_second(int /*signal*/) {
  const int saved = errno;
  const int passed = seconds + 1;
  seconds = passed;
  char count[] = "    s";
  for (int i = 3, rest = passed; i >= 0 && rest > 0; --i, rest /= 10) {
    count[i] = static_cast<char>('0' + rest % 10);
  }
  put("\rv6comp: ");
  put(current_work);
  put(count);
  errno = saved;
}

void set_timer(time_t period) {
  struct itimerval timer = {};
  timer.it_interval.tv_sec = period;
  timer.it_value.tv_sec = period;
  setitimer(ITIMER_REAL, &timer, nullptr);
}

}  // namespace

progress_note::progress_note(const char *what, bool quiet) : active_(!quiet && isatty(STDERR_FILENO) != 0) {
  if (!active_) {
    return;
  }
  current_work = what;
  seconds = 0;
  struct sigaction action = {};
  action.sa_handler = on_second;
  action.sa_flags = SA_RESTART;
  sigaction(SIGALRM, &action, nullptr);
  set_timer(1);
}

progress_note::~progress_note() {
  if (!active_) {
    return;
  }
  set_timer(0);
  wipe_progress();
  current_work = nullptr;
}

void wipe_progress() {
  if (current_work != nullptr && seconds > 0) {
    put("\r\x1b[K");
  }
}

counted_note::counted_note(const char *what, size_t steps, bool quiet)
    : text_(std::string(what) + ", step " + std::string(std::to_string(steps).size(), ' ') + " of " +
            std::to_string(steps)),
      digits_(std::to_string(steps).size()),
      note_(text_.c_str(), quiet) {}

void counted_note::at(size_t step) {
  size_t place = text_.rfind(" of ");
  for (size_t i = 0; i < digits_; ++i, step /= 10) {
    text_[--place] = step == 0 ? ' ' : static_cast<char>('0' + step % 10);
  }
}

}  // namespace v6tool
