// SPDX-License-Identifier: Apache-2.0
// From what somebody wants to what the whole service is to have: with what belongs to others, and whose the new is.
#pragma once

#include <vector>

#include "service/config/settings.h"
#include "service/configuration/text.h"

namespace service {

enum class Scope {
  replace,  // what is not in the wanted configuration goes
  overlay,  // it stays; a block that is takes the place of the one of its name
};

struct Operator {
  OwnerName owner;             // of what they define
  bool administrator = false;  // otherwise they see and change what is theirs
};

struct Target {
  Configuration whole;
  std::vector<LineProblem> problems;  // empty: it may be applied
};

// What stays keeps its owner. What is new is the operator's, unless the wanted configuration tells an owner, which only
// one that the service kept does.
Target target_of(const Configuration &current, const Configuration &wanted, Scope scope, const Operator &who,
                 const Settings &limits);

}  // namespace service
