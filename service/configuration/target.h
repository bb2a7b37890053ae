// SPDX-License-Identifier: Apache-2.0
// Completes the configuration that an operator wants to one of the whole service: with what belongs to others, and with
// the owners of what is new.
#pragma once

#include <vector>

#include "service/config/settings.h"
#include "service/configuration/text.h"

namespace service {

enum class Scope {
  replace,  // what the wanted configuration does not have is removed
  overlay,  // what it does not have stays; each of its blocks replaces the one of that name
};

struct Operator {
  OwnerName owner;             // of what they define
  bool administrator = false;  // otherwise they may see and change only what is theirs
};

struct Target {
  Configuration whole;
  std::vector<LineProblem> problems;  // empty: it may be applied
};

// Existing jobs and schedules keep their owners. New ones are the operator's, unless `wanted` names an owner, as only
// configurations from the service's own history do.
Target target_of(const Configuration &current, const Configuration &wanted, Scope scope, const Operator &who,
                 const Settings &limits);

}  // namespace service
