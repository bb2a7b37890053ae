// SPDX-License-Identifier: Apache-2.0
// What happens to a service while a test kills it or lets its calls fail.
#pragma once

#include <string>
#include <vector>

#include "tests/system/oracle/world.h"

namespace oracle {

struct Story {
  const char *name;
  void (*happen)(World &world);
  bool of_start = false;  // it begins with a service that was killed while runs were under way
};

const std::vector<Story> &stories();
void leave_runs_behind(World &world);

std::string text_of(const Complaints &complaints);

}  // namespace oracle
