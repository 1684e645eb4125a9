// SPDX-License-Identifier: Apache-2.0
// progress_note.h - a sign of life for work that takes longer than a moment.
//
// On a terminal on standard error, and not if the user asked for quiet: what is being done, and for how many seconds
// (progress_note), or how much of it is done, how fast, and how long the rest takes (progress_bar). It appears after
// half a second and is wiped at the end. Anything else on standard error sees nothing. One at a time.
//
// Debian has no kept library for this that a C++ program could use; what there is besides draws from the thread that
// works, and so stands still while a call of the library takes its time.
#ifndef PROGRESS_NOTE_H
#define PROGRESS_NOTE_H

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <string>

namespace v6tool {

class progress_note {
 public:
  progress_note(const char *what, bool quiet);  // `what` stays valid
  ~progress_note();
  progress_note(const progress_note &) = delete;
  progress_note &operator=(const progress_note &) = delete;

 protected:
  progress_note(const char *what, uint64_t steps, bool quiet);

 private:
  bool active_;
};

class progress_bar : public progress_note {
 public:
  progress_bar(const char *what, uint64_t steps, bool quiet) : progress_note(what, steps, quiet) {}

  // So many steps are done.
  void at(uint64_t done);
};

// While one exists nothing is drawn, and the line is free for something else: rows on the same terminal.
class progress_pause {
 public:
  progress_pause();
  ~progress_pause();
  progress_pause(const progress_pause &) = delete;
  progress_pause &operator=(const progress_pause &) = delete;

 private:
  sigset_t saved_;
};

// What is drawn, without the carriage return: for the drawing itself, and for tests. `steps` 0: no bar.
struct progress_state {
  const char *what;
  uint64_t steps;
  uint64_t done;
  uint64_t elapsed_ms;
  unsigned columns;  // of the terminal
};
constexpr size_t progress_line_bytes = 256;
size_t progress_line(const progress_state &state, char out[progress_line_bytes]);

}  // namespace v6tool

#endif
