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
  void (*before)(World &world) = nullptr;  // leaves a service that was killed: the story begins with its start
};

std::vector<Story> stories();
std::vector<Story> stories_of_changes();
bool is_of_living_service(const Story &story);  // which neither starts nor stops in it

std::string text_of(const Complaints &complaints);

}  // namespace oracle
