// SPDX-License-Identifier: Apache-2.0
// What was acknowledged of the configuration, and whether what is seen keeps it: a change that was acknowledged is
// there, one that was refused is not, one without an answer is there whole or not at all.
#pragma once

#include <functional>
#include <optional>

#include "tests/system/oracle/facts.h"
#include "tests/system/oracle/ledger.h"

namespace oracle {

using Effect = std::function<void(Facts &)>;

class Configured {
 public:
  void begin(const Facts &seen) { facts_ = seen; }
  const Facts &facts() const { return facts_; }

  void acknowledged(const Effect &effect) { effect(facts_); }
  void unanswered(const Effect &effect);
  bool is_open() const { return perhaps_.has_value(); }  // until the next look
  Complaints judge(const Facts &seen);

 private:
  Facts facts_;
  std::optional<Facts> perhaps_;
};

}  // namespace oracle
