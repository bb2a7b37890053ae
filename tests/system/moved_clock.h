// SPDX-License-Identifier: Apache-2.0
// The test's side of moved_clock.cpp: programs that are started with SCHEDCLI_TEST_CLOCK=<path> have this clock.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

namespace system_test {

class MovedClock {
 public:
  explicit MovedClock(const std::string &path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (ftruncate(file, sizeof *ahead_) != 0) abort();
    void *memory = mmap(nullptr, sizeof *ahead_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) abort();
    close(file);
    ahead_ = static_cast<std::atomic<int64_t> *>(memory);
  }
  ~MovedClock() { munmap(ahead_, sizeof *ahead_); }
  MovedClock(const MovedClock &) = delete;
  MovedClock &operator=(const MovedClock &) = delete;

  void set(time_t now) { ahead_->store(now - time(nullptr)); }

 private:
  std::atomic<int64_t> *ahead_ = nullptr;
};

}  // namespace system_test
