// SPDX-License-Identifier: Apache-2.0
#include "tests/system/oracle/configured.h"

namespace oracle {
namespace {

void complain_about_what_lacks(const Facts &wanted, const Facts &there, const std::string &how,
                               Complaints *complaints) {
  constexpr size_t enough = 100;
  for (const std::string &fact : wanted)
    if (!there.contains(fact)) complaints->push_back(how + fact.substr(0, enough));
}

}  // namespace

void Configured::unanswered(const Effect &effect) {
  perhaps_ = facts_;
  effect(*perhaps_);
}

Complaints Configured::judge(const Facts &seen) {
  Complaints complaints;
  if (perhaps_ && seen == *perhaps_) facts_ = seen;
  complain_about_what_lacks(facts_, seen, "lost of the configuration: ", &complaints);
  complain_about_what_lacks(seen, facts_, "not acknowledged and in the configuration: ", &complaints);
  if (perhaps_ && !complaints.empty()) complaints.push_back("a change without an answer is there in part");
  perhaps_.reset();
  return complaints;
}

}  // namespace oracle
