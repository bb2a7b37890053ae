// SPDX-License-Identifier: Apache-2.0
// Whether a caller's account may be used, as PAM says: a refused or expired account may configure nothing and start no
// run. PAM is asked in a short-lived process while other clients are served, and its answer is cached for a short time.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "host/security/authentication.h"
#include "host/transport/transport.h"

namespace service {

class Accounts {
 public:
  using Clock = std::chrono::steady_clock;
  using Then = std::function<host::Answer()>;

  // The answer of `then`, perhaps pending, if the account may be used; otherwise the status that says why not.
  host::Answer if_usable(const std::string &user, Clock::time_point now, const Then &then);

  // Long enough for typing or replaying a configuration, short enough that locking an account has its effect soon.
  static constexpr std::chrono::seconds accepted_for{30};
  static constexpr std::chrono::seconds refused_for{5};  // short, for a user whose account was just unlocked

 private:
  // One question to PAM for all requests of a user that arrive before its answer.
  struct Question {
    std::shared_ptr<host::Authentication> asked;
    std::optional<uint32_t> status;
  };
  struct Known {
    uint32_t status;
    Clock::time_point until;
  };
  class WaitingRequest;

  std::optional<uint32_t> known(const std::string &user, Clock::time_point now);
  uint32_t take(const std::string &user, Question &question);

  std::map<std::string, Known> known_;
  std::map<std::string, std::weak_ptr<Question>> open_;
};

}  // namespace service
