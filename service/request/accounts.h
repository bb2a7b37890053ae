// SPDX-License-Identifier: Apache-2.0
// Whether the account of who asks may be used: by PAM, in a short-lived process while others are served, and not again
// for a short time. A refused or expired account configures nothing and runs nothing.
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

  // The answer of `then`, now or later, when the account may be used; otherwise what is wrong with it.
  host::Answer if_usable(const std::string &user, Clock::time_point now, const Then &then);

  // Long enough for a configuration to be typed or replayed, short enough that nobody waits for a lock to bite.
  static constexpr std::chrono::seconds accepted_for{30};
  static constexpr std::chrono::seconds refused_for{5};  // whose account was unlocked tries again

 private:
  // One question for all requests of the user that come meanwhile.
  struct Question {
    std::shared_ptr<host::Authentication> asked;
    std::optional<uint32_t> status;
  };
  struct Known {
    uint32_t status;
    Clock::time_point until;
  };
  class Later;

  std::optional<uint32_t> known(const std::string &user, Clock::time_point now);
  uint32_t take(const std::string &user, Question &question);

  std::map<std::string, Known> known_;
  std::map<std::string, std::weak_ptr<Question>> open_;
};

}  // namespace service
