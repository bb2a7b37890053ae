// SPDX-License-Identifier: Apache-2.0
#include "host/files/disk.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace host {
namespace {

std::function<void(const DiskWork &)> &runner() {
  static std::function<void(const DiskWork &)> run;
  return run;
}

// errno is the thread's own, and the work may be done in another.
int flush_by(int (*call)(int), int descriptor) {
  int code = 0;
  const auto flushed = [&] { code = call(descriptor) == 0 ? 0 : errno; };
  wait_for_disk(std::cref(flushed));
  if (code == 0) return 0;
  errno = code;
  return -1;
}

}  // namespace

void wait_for_disk_by(std::function<void(const DiskWork &)> run) {
  runner() = std::move(run);
}

void wait_for_disk(const DiskWork &work) {
  runner() ? runner()(work) : work();
}

int flush(int descriptor) {
  return flush_by(fsync, descriptor);
}

int flush_data(int descriptor) {
  return flush_by(fdatasync, descriptor);
}

}  // namespace host
