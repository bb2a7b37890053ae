// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "cli/free_ptr.h"

// The lines of a job given on one command line, each ended by a newline.
struct JobText {
  FreePtr<char> bytes;
  size_t used = 0;
  size_t capacity = 0;
};

// False without memory, which is reported. Lines that do not fit any more are reported and left out.
bool collect_lines(const char *text, JobText *lines);
