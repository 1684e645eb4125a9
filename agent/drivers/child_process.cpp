// SPDX-License-Identifier: Apache-2.0
#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace v6agent {

namespace {

using clock = std::chrono::steady_clock;

// Two ends of a pipe, each closed once.
struct pipe_ends {
  int read = -1;
  int write = -1;

  bool open() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
      return false;
    }
    read = ends[0];
    write = ends[1];
    return true;
  }
  static void close_end(int &end) {
    if (end >= 0) {
      close(end);
      end = -1;
    }
  }
  pipe_ends() = default;
  pipe_ends(const pipe_ends &) = delete;
  pipe_ends &operator=(const pipe_ends &) = delete;
  ~pipe_ends() {
    close_end(read);
    close_end(write);
  }
};

// Only calls that are safe between fork and exec, whatever other threads hold.
[[noreturn]] void become(char *const *arguments, int input, int output, int errors) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  signal(SIGPIPE, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  execvp(arguments[0], arguments);
  _exit(127);
}

void read_some(int &end, std::string &into) {
  char block[1 << 16];
  const ssize_t n = read(end, block, sizeof block);
  if (n > 0) {
    into.append(block, static_cast<size_t>(n));
  } else if (n == 0 || (errno != EAGAIN && errno != EINTR)) {
    pipe_ends::close_end(end);
  }
}

void write_some(int &end, std::string_view &rest) {
  const ssize_t n = rest.empty() ? 0 : write(end, rest.data(), rest.size());
  if (n > 0) {
    rest.remove_prefix(static_cast<size_t>(n));
  }
  if (rest.empty() || (n < 0 && errno != EAGAIN && errno != EINTR)) {
    pipe_ends::close_end(end);
  }
}

// Until both outputs are closed. False: the time is over.
bool converse(pipe_ends &input, pipe_ends &output, pipe_ends &errors, std::string_view rest, clock::time_point end,
              child_answer &answer) {
  while (output.read >= 0 || errors.read >= 0) {
    pollfd waits[3] = {{input.write, POLLOUT, 0}, {output.read, POLLIN, 0}, {errors.read, POLLIN, 0}};
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - clock::now()).count();
    if (left <= 0) {
      return false;
    }
    if (poll(waits, 3, static_cast<int>(std::min<long long>(left, 1000))) < 0 && errno != EINTR) {
      return false;
    }
    if (waits[0].revents != 0) {
      write_some(input.write, rest);
    }
    if (waits[1].revents != 0) {
      read_some(output.read, answer.output);
    }
    if (waits[2].revents != 0) {
      read_some(errors.read, answer.errors);
    }
  }
  return true;
}

}  // namespace

child_answer run_child(const std::vector<std::string> &command, std::string_view input,
                       std::chrono::milliseconds time_limit) {
  child_answer answer;
  pipe_ends in;
  pipe_ends out;
  pipe_ends err;
  std::vector<char *> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string &word : command) {
    arguments.push_back(const_cast<char *>(word.c_str()));
  }
  arguments.push_back(nullptr);
  const pid_t child = in.open() && out.open() && err.open() ? fork() : -1;
  if (child < 0) {
    answer.errors = strerror(errno);
    return answer;
  }
  if (child == 0) {
    become(arguments.data(), in.read, out.write, err.write);
  }
  pipe_ends::close_end(in.read);
  pipe_ends::close_end(out.write);
  pipe_ends::close_end(err.write);
  fcntl(in.write, F_SETFL, O_NONBLOCK);
  const auto before = signal(SIGPIPE, SIG_IGN);
  const bool in_time = converse(in, out, err, input, clock::now() + time_limit, answer);
  signal(SIGPIPE, before);
  if (!in_time) {
    kill(child, SIGKILL);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  answer.ran = in_time && WIFEXITED(status);
  answer.exit_status = answer.ran ? WEXITSTATUS(status) : 0;
  return answer;
}

}  // namespace v6agent
