// SPDX-License-Identifier: Apache-2.0
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "agent_log.h"
#include "route_feed.h"
#include "table_reader.h"

namespace v6agent {

namespace {

using std::chrono::steady_clock;

constexpr auto settle = std::chrono::milliseconds(100);  // from the last change of the file to its reading

class file_feed final : public route_feed {
 public:
  file_feed(event_loop &loop, route_sink &sink, const feed_settings &settings, const std::string &path)
      : loop_(loop), sink_(sink), settings_(settings), path_(path), watch_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    // The folder, since editors put a new file in the place of the old one.
    std::filesystem::path folder = path_.parent_path();
    folder = folder.empty() ? std::filesystem::path(".") : folder;
    if (watch_ < 0 || inotify_add_watch(watch_, folder.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE) < 0) {
      const std::string reason = strerror(errno);
      close(watch_);
      throw std::runtime_error(folder.string() + ": " + reason);
    }
    loop_.watch(watch_, EPOLLIN, [this](uint32_t) { note_events(); });
  }
  ~file_feed() override {
    loop_.forget(watch_);
    close(watch_);
  }

  steady_clock::time_point tick(steady_clock::time_point now) override {
    if (is_due_ && now >= due_) {
      is_due_ = false;
      load();
    }
    return is_due_ ? due_ : now + std::chrono::hours(1);
  }

 private:
  void note_events() {
    alignas(inotify_event) char events[4096];
    for (ssize_t n = read(watch_, events, sizeof events); n > 0; n = read(watch_, events, sizeof events)) {
      for (ssize_t at = 0; at < n;) {
        const auto *event = reinterpret_cast<const inotify_event *>(events + at);
        if (event->len != 0 && path_.filename() == event->name) {
          is_due_ = true;
          due_ = steady_clock::now() + settle;
        }
        at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      }
    }
  }

  void load() {
    v6tool::prefix_table table;
    v6tool::read_report report;
    v6tool::read_options options;
    options.rules.distinct = true;
    if (!v6tool::read_table(path_, options, table, report)) {
      for (const std::string &line : report.faults.lines()) {
        say(log_level::error, line);
      }
      sink_.bad_input("a table that cannot be read");
      sink_.lost();
      return;
    }
    sink_.begin_resync();
    for (const v6tool::table_row &row : table.rows) {
      sink_.announce(row.prefix, settings_.rules.egress.otherwise);
    }
    sink_.end_resync();
  }

  event_loop &loop_;
  route_sink &sink_;
  const feed_settings settings_;
  const std::filesystem::path path_;
  int watch_;
  bool is_due_ = true;
  steady_clock::time_point due_{};
};

}  // namespace

std::unique_ptr<route_feed> make_file_feed(event_loop &loop, route_sink &sink, const feed_settings &settings,
                                           const std::string &path) {
  return std::make_unique<file_feed>(loop, sink, settings, path);
}

}  // namespace v6agent
