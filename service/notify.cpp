// SPDX-License-Identifier: Apache-2.0
#include "service/notify.h"

#include <sys/socket.h>
#include <sys/timerfd.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace service {

namespace {

constexpr unsigned long long longest_ms = 24ULL * 3600 * 1000;

unsigned long long number_of(const char *name) {
  const char *text = std::getenv(name);
  return text != nullptr ? std::strtoull(text, nullptr, 10) : 0;
}

}  // namespace

void notify_supervisor(const std::string &state) {
  const char *path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path == nullptr || std::strlen(path) < 2 || std::strlen(path) >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, path, std::strlen(path));
  if (path[0] == '@') address.sun_path[0] = '\0';  // an abstract socket
  const host::FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
  (void)sendto(socket.get(), state.data(), state.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr *>(&address),
               length);
}

void notify_stopping(unsigned longest_s) {
  const std::string longest_us = std::to_string(uint64_t{longest_s} * 1000000);
  notify_supervisor("STOPPING=1");
  notify_supervisor("EXTEND_TIMEOUT_USEC=" + longest_us +
                    (watchdog_period_ms() != 0 ? "\nWATCHDOG_USEC=" + longest_us : std::string()));
}

void notify_reloading() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const int64_t microseconds = int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
  notify_supervisor("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds));
}

unsigned watchdog_period_ms() {
  const unsigned long long interval_us = number_of("WATCHDOG_USEC"), process = number_of("WATCHDOG_PID");
  if (interval_us == 0 || (process != 0 && process != static_cast<unsigned long long>(getpid()))) return 0;
  return static_cast<unsigned>(std::clamp(interval_us / 2000, 1ULL, longest_ms));
}

// A timer with a descriptor, as the service is alive also while it waits for the disk.
Watchdog::Watchdog() {
  const unsigned period = watchdog_period_ms();
  if (period == 0) return;
  notify_supervisor("WATCHDOG=1");
  const timespec interval = {static_cast<time_t>(period / 1000), static_cast<long>(period % 1000) * 1000000};
  const itimerspec rhythm = {interval, interval};
  timer_ = host::FileDescriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
  (void)timerfd_settime(timer_.get(), 0, &rhythm, nullptr);
  const auto tick = [this] {
    uint64_t times = 0;
    if (read(timer_.get(), &times, sizeof times) == sizeof times) notify_supervisor("WATCHDOG=1");
  };
  rings_ = host::Watch::readable(timer_.get(), tick).also_in_waits();
}

}  // namespace service
