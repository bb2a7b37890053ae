// SPDX-License-Identifier: Apache-2.0
#include "service/process/start_failure.h"

#include <cstring>

#include "host/text_field.h"

namespace service {
namespace {

std::string what_failed(Stage stage, const std::string &owner, const std::string &interpreter) {
  switch (stage) {
    case Stage::process:
      return "its process";
    case Stage::descriptors:
      return "its descriptors";
    case Stage::limits:
      return "its limits";
    case Stage::identity:
      return "cannot become user " + owner;
    case Stage::irrevocable:
      return "user " + owner + " could become root again";
    case Stage::orphaned:
      return "its parent";
    case Stage::directory:
      return "/";
    case Stage::interpreter:
      return interpreter;
    case Stage::account:
      return "user " + owner + " is refused";
    case Stage::session:
      return "no session for user " + owner;
  }
  return "its start";
}

}  // namespace

Reason reason_of(const Report &failure) {
  switch (failure.stage) {
    case Stage::identity:
    case Stage::irrevocable:
    case Stage::account:
    case Stage::session:
      return Reason::user;
    default:
      return Reason::not_started;
  }
}

std::string text_of(const Report &failure, const std::string &owner, const std::string &interpreter) {
  const std::string detail(host::text_in(failure.text));
  return "cannot start the job: " + what_failed(failure.stage, owner, interpreter) + ": " +
         (detail.empty() ? std::strerror(failure.error) : detail);
}

}  // namespace service
