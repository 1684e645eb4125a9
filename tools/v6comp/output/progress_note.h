// SPDX-License-Identifier: Apache-2.0
// progress_note.h - a sign of life for work that takes longer than a second.
#ifndef PROGRESS_NOTE_H
#define PROGRESS_NOTE_H

#include <cstddef>
#include <string>

namespace v6tool {

// While one exists, a terminal on standard error shows what is being done and for how many seconds, from the first
// second on; the line is wiped at the end. Anything else on standard error sees nothing. One at a time.
class progress_note {
 public:
  progress_note(const char *what, bool quiet);  // `what` stays valid
  ~progress_note();
  progress_note(const progress_note &) = delete;
  progress_note &operator=(const progress_note &) = delete;

 private:
  bool active_;
};

// Take the line away for a moment, for something else to be printed where it stood; it comes back by itself.
void wipe_progress();

// The same for work in steps: it shows which one is being done.
class counted_note {
 public:
  counted_note(const char *what, size_t steps, bool quiet);
  void at(size_t step);

 private:
  std::string text_;  // what the note shows; written to in place
  size_t digits_;
  progress_note note_;
};

}  // namespace v6tool

#endif
