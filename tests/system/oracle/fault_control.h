// SPDX-License-Identifier: Apache-2.0
// What a test says to a service that is linked with faults.cpp, in a file that both have mapped: what the clock shows,
// and at which of its steps the service dies, fails or waits. A step is a call by which something leaves the process:
// to a file, or to another process. Between two of them a death looks the same from outside.
#pragma once

#include <atomic>
#include <csignal>
#include <cstdint>

namespace oracle {

enum class Action : uint32_t {
  none,
  die,               // before the step
  die_half_written,  // of a write, with its first half done; else before the step
  fail_io,           // EIO
  fail_full,         // ENOSPC
  fail_cut,          // a write is done by half; what cannot be cut fails with EIO
  fail_interrupted,  // EINTR, where a process waits for another
  fail_again,        // EAGAIN, where nothing is ready, or no process can be made
  fail_descriptors,  // EMFILE, of what makes a descriptor
  cut_read,          // a read of a file or pipe is done by half
};

inline bool kills(Action action) {
  return action == Action::die || action == Action::die_half_written;
}

struct FaultControl {
  std::atomic<int64_t> wall_ms;  // the clock stands until the test moves it
  std::atomic<int64_t> boot_ms;  // the clock that nobody sets
  std::atomic<uint64_t> steps;   // that may have the action, since it was armed
  std::atomic<uint64_t> first;   // this many-th step has it; 0: none
  std::atomic<uint64_t> count;   // and those behind it, so many in all
  std::atomic<Action> action;
  std::atomic<uint32_t> stall_ms;          // that the next sync of a file takes
  std::atomic<bool> gate_closed;           // syncs of files wait until it is open
  std::atomic<uint32_t> at_gate;           // how many have come to it
  std::atomic<bool> clock_was_set;         // not only time has passed
  std::atomic<uint64_t> syncs;             // of files and directories, whatever is armed
  std::atomic<bool> directory_not_synced;  // a sync that failed: what was renamed or removed in it can be seen already
};

// Tells the service that the clock was moved.
inline constexpr int clock_signal = SIGURG;

inline constexpr char control_variable[] = "SCHEDCLI_TEST_FAULTS";

}  // namespace oracle
