// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace service {

// Why a run has no exit code of its own. Everything but success must show a non-zero exit code: the show commands read
// bits 8 to 15 of the wait status and nothing else. The codes leave those of shells and of sysexits.h alone.
enum class Reason : uint8_t {
  not_yet_run = 110,
  no_jobs = 111,
  missed = 112,
  skipped = 113,
  interrupted = 114,  // by a crash of the service or of the machine
  stopped = 115,      // by the orderly end of the service
  user = 116,         // the owner is gone, changed or refused
  not_started = 117,
  timed_out = 124,  // as timeout(1) has it
};

constexpr uint32_t exit_status(Reason reason) {
  return static_cast<uint32_t>(reason) << 8;
}

// The wait status as it is recorded: death by a signal becomes exit code 128 + signal, as a shell has it, for the show
// commands would take its exit code of 0 for success.
uint32_t recorded_status(int wait_status);

}  // namespace service
