// progress_note.h - a sign of life for work that takes longer than a second.
#ifndef PROGRESS_NOTE_H
#define PROGRESS_NOTE_H

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

}  // namespace v6tool

#endif
