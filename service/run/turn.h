// SPDX-License-Identifier: Apache-2.0
// Fair queueing of waiting runs: owners take turns, each within a share of its own.
#pragma once

#include <cassert>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "service/limits.h"

namespace service {

template <typename Ticket>
class Turn {
 public:
  struct Limits {
    size_t in_all = run_limit;
    size_t for_each_owner = run_limit_per_owner;  // except the administrator
    size_t for_others = run_places_for_others;    // of in_all: reserved for owners without a run under way
  };

  Turn(Limits limits, uint32_t administrator) : limits_(limits), administrator_(administrator) {}

  void set_limits(Limits limits) { limits_ = limits; }

  void wait(uint32_t owner, Ticket ticket) {
    Share &share = shares_[owner];
    if (share.waiting.empty()) owners_.push_back(owner);
    share.waiting.push_back(std::move(ticket));
    waiting_++;
  }

  // The next run that may begin. It occupies a place until give_back().
  std::optional<Ticket> next() {
    for (size_t tried = owners_.size(); tried > 0; tried--) {
      const uint32_t owner = owners_.front();
      owners_.pop_front();
      Share &share = shares_[owner];
      if (!has_place(owner, share)) {
        owners_.push_back(owner);
        continue;
      }
      Ticket ticket = std::move(share.waiting.front());
      share.waiting.pop_front();
      if (!share.waiting.empty()) owners_.push_back(owner);
      share.running++;
      running_++;
      waiting_--;
      return ticket;
    }
    return std::nullopt;
  }

  void give_back(uint32_t owner) {
    const auto found = shares_.find(owner);
    assert(found != shares_.end() && found->second.running > 0);
    found->second.running--;
    running_--;
    if (found->second.running == 0 && found->second.waiting.empty()) shares_.erase(found);
  }

  // Removes all waiting runs and returns them.
  std::vector<Ticket> clear() {
    std::vector<Ticket> all;
    for (auto &[owner, share] : shares_)
      for (Ticket &ticket : share.waiting)
        all.push_back(std::move(ticket));
    for (auto share = shares_.begin(); share != shares_.end();) {
      share->second.waiting.clear();
      share = share->second.running == 0 ? shares_.erase(share) : std::next(share);
    }
    owners_.clear();
    waiting_ = 0;
    return all;
  }

  // Removes the first waiting run for which `wanted` is true.
  template <typename Wanted>
  std::optional<Ticket> take(Wanted wanted) {
    for (auto share = shares_.begin(); share != shares_.end(); ++share)
      for (auto ticket = share->second.waiting.begin(); ticket != share->second.waiting.end(); ++ticket) {
        if (!wanted(*ticket)) continue;
        Ticket taken = std::move(*ticket);
        share->second.waiting.erase(ticket);
        waiting_--;
        if (share->second.waiting.empty()) std::erase(owners_, share->first);
        if (share->second.waiting.empty() && share->second.running == 0) shares_.erase(share);
        return taken;
      }
    return std::nullopt;
  }

  template <typename Visit>
  void for_each_waiting(Visit visit) const {
    for (const auto &[owner, share] : shares_)
      for (const Ticket &ticket : share.waiting)
        visit(ticket);
  }

  size_t running() const { return running_; }
  size_t waiting() const { return waiting_; }

 private:
  struct Share {
    size_t running = 0;
    std::deque<Ticket> waiting;
  };

  bool has_place(uint32_t owner, const Share &share) const {
    if (running_ >= limits_.in_all) return false;
    if (share.running == 0) return true;
    const bool own_place = owner == administrator_ || share.running < limits_.for_each_owner;
    return own_place && running_ + limits_.for_others < limits_.in_all;
  }

  Limits limits_;
  uint32_t administrator_;
  std::map<uint32_t, Share> shares_;
  std::deque<uint32_t> owners_;  // owners with waiting runs, the next one first
  size_t running_ = 0, waiting_ = 0;
};

}  // namespace service
