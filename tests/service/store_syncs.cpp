// SPDX-License-Identifier: Apache-2.0
// For itself: a test that has a stand-in of its own for the call links without this one.
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/service/store_faults.h"

namespace service_test {
namespace {

int syncs = 0;

}  // namespace

int store_syncs() {
  return syncs;
}

}  // namespace service_test

extern "C" int fdatasync(int file) {
  service_test::syncs++;
  return static_cast<int>(syscall(SYS_fdatasync, file));
}
