// SPDX-License-Identifier: Apache-2.0
#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tool_failure.h"

namespace v6tool {

namespace {

bool is_standard_output(const std::string &path) { return path.empty() || path == "-"; }

[[noreturn]] void fail(const std::string &what, int error) {
  throw tool_failure{exit_undone, {what + ": " + std::strerror(error)}};
}

// 0, or an error number.
int write_all(int fd, const std::string &data) {
  size_t done = 0;
  while (done < data.size()) {
    const ssize_t wrote = write(fd, data.data() + done, data.size() - done);
    if (wrote < 0 && errno != EINTR) {
      return errno;
    }
    done += wrote > 0 ? static_cast<size_t>(wrote) : 0;
  }
  return 0;
}

// The mode of the file that is replaced, or that of a new one.
mode_t mode_for(const std::string &path) {
  struct stat info = {};
  if (stat(path.c_str(), &info) == 0) {
    return info.st_mode & 07777;
  }
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// Devices and pipes stay what they are.
bool stays_in_place(const std::string &path) {
  struct stat info = {};
  return stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode);
}

void write_in_place(const std::string &path, const std::string &data) {
  const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) {
    fail(path, errno);
  }
  const int write_error = write_all(fd, data);
  const int close_error = close(fd) == 0 ? 0 : errno;
  if (write_error != 0 || close_error != 0) {
    fail(path, write_error != 0 ? write_error : close_error);
  }
}

void write_beside(const std::string &path, const std::string &data) {
  std::string beside = path + ".XXXXXX";
  const int fd = mkostemp(beside.data(), O_CLOEXEC);
  if (fd < 0) {
    fail(path, errno);
  }
  int error = write_all(fd, data);
  if (error == 0 && (fchmod(fd, mode_for(path)) != 0 || fsync(fd) != 0)) {
    error = errno;
  }
  if (close(fd) != 0 && error == 0) {
    error = errno;
  }
  if (error == 0 && std::rename(beside.c_str(), path.c_str()) != 0) {
    error = errno;
  }
  if (error != 0) {
    unlink(beside.c_str());
    fail(path, error);
  }
}

// A regular file is made anew in its folder.
void check_writable(const std::string &path) {
  struct stat info = {};
  if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
    fail(path, EISDIR);
  }
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  if (stays_in_place(path) ? access(path.c_str(), W_OK) != 0 : access(folder.c_str(), W_OK | X_OK) != 0) {
    fail(path, errno);
  }
}

bool is_same_file(const std::string &input, const struct stat &output) {
  struct stat info = {};
  const bool known = input == "-" ? fstat(STDIN_FILENO, &info) == 0 : stat(input.c_str(), &info) == 0;
  return known && info.st_dev == output.st_dev && info.st_ino == output.st_ino;
}

}  // namespace

void check_files(const std::string &output, const std::vector<std::string> &inputs) {
  if (std::count(inputs.begin(), inputs.end(), "-") > 1) {
    throw tool_failure{exit_bad_input, {"- (standard input) can be only one of the files that are read"}};
  }
  if (is_standard_output(output)) {
    return;
  }
  struct stat link = {};
  const bool exists = lstat(output.c_str(), &link) == 0;
  if (exists && S_ISLNK(link.st_mode) && !stays_in_place(output)) {
    throw tool_failure{exit_bad_input,
                       {output + ": a symbolic link; name the file that it leads to, or - for standard output"}};
  }
  for (const std::string &input : inputs) {
    if (exists && S_ISREG(link.st_mode) && is_same_file(input, link)) {
      throw tool_failure{exit_bad_input, {output + ": is read by the same command; the output must go elsewhere"}};
    }
  }
  check_writable(output);
}

void write_output_file(const std::string &path, const std::string &data) {
  if (is_standard_output(path)) {
    if (const int error = write_all(STDOUT_FILENO, data); error != 0) {
      fail("standard output", error);
    }
  } else if (stays_in_place(path)) {
    write_in_place(path, data);
  } else {
    write_beside(path, data);
  }
}

}  // namespace v6tool
