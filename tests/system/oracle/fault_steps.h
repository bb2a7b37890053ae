// SPDX-License-Identifier: Apache-2.0
// The steps of a schedd that is linked with faults: what the calls there ask for, each before it goes on.
#pragma once

#include <sys/types.h>

#include "tests/system/oracle/fault_control.h"

namespace oracle {

// In which ways a step can fail, beside death.
using Ways = uint32_t;
constexpr Ways way(Action action) {
  return 1u << static_cast<uint32_t>(action);
}
constexpr Ways of_disk = way(Action::fail_io) | way(Action::fail_full) | way(Action::fail_cut);
constexpr Ways interrupted = way(Action::fail_interrupted), again = way(Action::fail_again),
               without_descriptors = way(Action::fail_descriptors), cut = way(Action::cut_read);

// What this step has to do; one that has no such error to give is no step where others fail.
Action next_step(Ways ways);
bool fails(Ways ways);  // with errno

// Of a call by which nothing leaves the process: a death there is no other than one at the next step.
bool fails_alive(Ways ways);
bool is_cut();  // of a read
void note_unsynced_directory();

bool has_type(int descriptor, mode_t type);
bool is_file(int descriptor);

}  // namespace oracle
