// SPDX-License-Identifier: Apache-2.0
// An index of the log in memory: the owner and outcome of each record, so that a reader finds its own records without
// reading the others. It takes 48 bytes a record, its place in the file included.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "service/joblog/log_record.h"

namespace service {

// Which records a reader wants. An empty or zero field does not restrict them.
struct LogFilter {
  std::optional<uint32_t> owner_tag;
  std::string name = {};  // of either a schedule or a job
  std::string schedule = {}, job = {};
  int64_t since = 0;  // completed then or later
  bool failed_only = false;
  std::set<uint64_t> outcomes = {};  // sequence numbers
  size_t last = 0;                   // the newest so many of those that match

  bool narrows() const {
    return !name.empty() || !schedule.empty() || !job.empty() || since != 0 || failed_only || !outcomes.empty();
  }
  bool wants(uint32_t owner, std::string_view of_schedule, std::string_view of_job) const {
    return (!owner_tag || *owner_tag == owner) && (name.empty() || of_schedule == name || of_job == name) &&
           (schedule.empty() || of_schedule == schedule) && (job.empty() || of_job == job);
  }
  bool wants(uint64_t outcome, int64_t completion, bool failed) const {
    return completion >= since && (failed || !failed_only) && (outcomes.empty() || outcomes.contains(outcome));
  }
};

class LogIndex {
 public:
  // The number of a record, ascending from 1 and never reused by this index.
  using Position = uint64_t;

  explicit LogIndex(uint64_t newest_outcome) : newest_outcome_(newest_outcome) {}

  void push_back(const LogRecordHead &head);
  void pop_front();

  size_t size() const { return entries_.size(); }
  Position first() const { return first_; }
  Position end() const { return first_ + entries_.size(); }

  // The first matching record at `from` or later; end() if there is none. `from` must be first(), an earlier end(), a
  // position that was found, or the one after that.
  Position find(const LogFilter &filter, Position from) const;
  size_t count(const LogFilter &filter, Position from, Position until) const;

  uint64_t outcome(Position position) const;  // sequence number; 0: the record is not an outcome
  bool holds_outcome(uint64_t outcome) const;
  uint64_t first_outcome_not_held(uint64_t after) const;
  uint64_t newest_outcome() const { return newest_outcome_; }  // even if its record was overwritten since

 private:
  // The names in the records, each stored once, by number.
  class Names {
   public:
    static constexpr uint32_t none = 0;
    uint32_t take(std::string_view name);
    void give_back(uint32_t number);
    uint32_t find(std::string_view name) const;

   private:
    struct Named {
      std::string name;
      uint32_t uses = 0;
    };
    std::deque<Named> named_;  // by number - 1; a deque, so that the views below stay valid
    std::unordered_map<std::string_view, uint32_t> numbers_;
    std::vector<uint32_t> free_;
  };

  // newest_outcome is the newest up to this record, so it ascends over the entries and can be searched by bisection.
  struct Entry {
    uint64_t newest_outcome : 62, is_outcome : 1, failed : 1;
    uint32_t owner_tag, schedule, job;
    uint32_t to_next_of_owner;  // 0: the owner's last
    uint32_t completion;
  };
  static_assert(sizeof(Entry) <= 32);

  // A filter with its names replaced by their numbers.
  struct Wanted {
    const LogFilter &filter;
    uint32_t name, schedule, job;
    bool is_known;  // false: no record has one of the names
  };
  Wanted wanted(const LogFilter &filter) const;
  static bool takes(const Wanted &wanted, const Entry &entry);

  struct Owned {
    Position first, last;
    size_t count;
  };

  const Entry &at(Position position) const { return entries_[static_cast<size_t>(position - first_)]; }
  std::deque<Entry>::const_iterator lower_bound(uint64_t outcome) const;
  Position next_of_owner(uint32_t owner_tag, Position from) const;

  std::deque<Entry> entries_;
  Position first_ = 1;
  std::unordered_map<uint32_t, Owned> owners_;
  Names names_;
  uint64_t newest_outcome_;
};

}  // namespace service
