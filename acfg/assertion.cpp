// SPDX-License-Identifier: Apache-2.0
#include "acfg/assertion.h"

#include <execinfo.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace acfg {

namespace {

constexpr char log_path[] = "/log/assert-backtrace";
constexpr int deepest_backtrace = 50;
constexpr off_t largest_log = 1048576;  // a failing assertion must not fill the file system

// The backtrace shows code addresses, so only the owner may read it.
constexpr mode_t log_mode = S_IRUSR | S_IWUSR;

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;

  int get() const { return fd_; }
  bool is_open() const { return fd_ >= 0; }
  bool has_room() const {
    struct stat status;
    return fstat(fd_, &status) == 0 && status.st_size <= largest_log;
  }
  // A log that cannot be written is not worth another failure.
  void append(const char *text) const { (void)!write(fd_, text, std::strlen(text)); }

 private:
  const int fd_;
};

void local_time_text(char *text, size_t size) {
  const time_t now = time(nullptr);
  struct tm local = {};
  localtime_r(&now, &local);
  std::strftime(text, size, "%F %T", &local);
}

void append_place(const Descriptor &log, const char *file, const char *function, int line) {
  char when[64];
  char text[512];
  local_time_text(when, sizeof when);
  std::snprintf(text, sizeof text, "ASSERT: %s: file %s, function %s, line %d, pid: %d \n", when, file, function, line,
                static_cast<int>(getpid()));
  log.append(text);
}

}  // namespace

void record_assertion(const char *file, const char *function, int line) {
  void *addresses[deepest_backtrace];
  const int depth = backtrace(addresses, deepest_backtrace);
  {
    const Descriptor log(open(log_path, O_WRONLY | O_CREAT | O_APPEND, log_mode));
    if (!log.is_open() || !log.has_room()) return;
    log.append("\n\n---------------------------------------------------------------\n");
    append_place(log, file, function, line);
    log.append("\nBacktrace:\n");
    backtrace_symbols_fd(addresses, depth, log.get());
  }
  syslog(LOG_DEBUG, "Exception at: %s/%d", function, line);
}

}  // namespace acfg
