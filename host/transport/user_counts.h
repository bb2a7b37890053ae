// SPDX-License-Identifier: Apache-2.0
// Counts how many connections or streams each user has, so that none can take all of them.
#pragma once

#include <sys/types.h>

#include <unordered_map>
#include <utility>

namespace host {

class UserCounts {
 public:
  // Counts as one of the user's until it is destroyed, which must be before the counts are.
  class Held {
   public:
    Held() = default;  // none
    Held(Held &&other) noexcept : counts_(std::exchange(other.counts_, nullptr)), uid_(other.uid_) {}
    Held &operator=(Held &&other) noexcept {
      std::swap(counts_, other.counts_);
      std::swap(uid_, other.uid_);
      return *this;
    }
    ~Held() {
      if (counts_ != nullptr) counts_->give_back(uid_);
    }

   private:
    friend class UserCounts;
    Held(UserCounts *counts, uid_t uid) : counts_(counts), uid_(uid) {}
    UserCounts *counts_ = nullptr;
    uid_t uid_ = 0;
  };

  Held take(uid_t uid) {
    ++counts_[uid];
    return {this, uid};
  }

  int of(uid_t uid) const {
    const auto found = counts_.find(uid);
    return found == counts_.end() ? 0 : found->second;
  }

 private:
  void give_back(uid_t uid) {
    const auto found = counts_.find(uid);
    if (--found->second == 0) counts_.erase(found);
  }

  std::unordered_map<uid_t, int> counts_;  // never 0
};

}  // namespace host
