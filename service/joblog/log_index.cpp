// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/log_index.h"

#include <algorithm>

namespace service {

uint32_t LogIndex::Names::take(std::string_view name) {
  if (const auto known = numbers_.find(name); known != numbers_.end()) {
    named_[known->second - 1].uses++;
    return known->second;
  }
  if (free_.empty()) {
    named_.emplace_back();
    free_.push_back(static_cast<uint32_t>(named_.size()));
  }
  const uint32_t number = free_.back();
  Named &named = named_[number - 1];
  named.name = name;
  named.uses = 1;
  numbers_.emplace(named.name, number);
  free_.pop_back();
  return number;
}

void LogIndex::Names::give_back(uint32_t number) {
  Named &named = named_[number - 1];
  if (--named.uses != 0) return;
  numbers_.erase(named.name);
  free_.push_back(number);
}

uint32_t LogIndex::Names::find(std::string_view name) const {
  const auto found = numbers_.find(name);
  return found == numbers_.end() ? none : found->second;
}

void LogIndex::push_back(const LogRecordHead &head) {
  newest_outcome_ = std::max({newest_outcome_, head.newest_outcome, head.outcome});
  const Position position = end();
  const auto [owned, is_first] = owners_.try_emplace(head.owner_tag, Owned{position, position, 0});
  if (!is_first)
    entries_[static_cast<size_t>(owned->second.last - first_)].to_next_of_owner =
        static_cast<uint32_t>(position - owned->second.last);
  owned->second.last = position;
  owned->second.count++;
  Entry entry = {};
  entry.newest_outcome = newest_outcome_ & (UINT64_MAX >> 2);
  entry.is_outcome = head.outcome != 0;
  entry.owner_tag = head.owner_tag;
  entry.schedule = names_.take(head.schedule);
  entry.job = names_.take(head.job);
  entry.failed = head.wait_status != 0;
  entry.completion = head.completion;
  entries_.push_back(entry);
}

void LogIndex::pop_front() {
  const Entry &entry = entries_.front();
  const auto owned = owners_.find(entry.owner_tag);
  owned->second.first += entry.to_next_of_owner;
  if (--owned->second.count == 0) owners_.erase(owned);
  names_.give_back(entry.schedule);
  names_.give_back(entry.job);
  entries_.pop_front();
  first_++;
}

// An owner's records are linked, so mostly this follows a link. Only if the record before `from` is not the owner's
// does it search.
LogIndex::Position LogIndex::next_of_owner(uint32_t owner_tag, Position from) const {
  const auto owned = owners_.find(owner_tag);
  if (owned == owners_.end() || from > owned->second.last) return end();
  if (from <= owned->second.first) return owned->second.first;
  if (at(from - 1).owner_tag == owner_tag) return from - 1 + at(from - 1).to_next_of_owner;
  while (at(from).owner_tag != owner_tag)
    from++;
  return from;
}

LogIndex::Wanted LogIndex::wanted(const LogFilter &filter) const {
  Wanted wanted = {filter, Names::none, Names::none, Names::none, true};
  const auto look_up = [&](const std::string &name, uint32_t *number) {
    if (name.empty()) return;
    *number = names_.find(name);
    wanted.is_known = wanted.is_known && *number != Names::none;
  };
  look_up(filter.name, &wanted.name);
  look_up(filter.schedule, &wanted.schedule);
  look_up(filter.job, &wanted.job);
  return wanted;
}

bool LogIndex::takes(const Wanted &wanted, const Entry &entry) {
  const LogFilter &filter = wanted.filter;
  return (filter.name.empty() || entry.schedule == wanted.name || entry.job == wanted.name) &&
         (filter.schedule.empty() || entry.schedule == wanted.schedule) &&
         (filter.job.empty() || entry.job == wanted.job) &&
         filter.wants(entry.is_outcome != 0 ? entry.newest_outcome : 0, entry.completion, entry.failed != 0);
}

LogIndex::Position LogIndex::find(const LogFilter &filter, Position from) const {
  const Wanted meant = wanted(filter);
  if (!meant.is_known) return end();
  for (from = std::max(from, first_); from < end(); from++) {
    if (filter.owner_tag) from = next_of_owner(*filter.owner_tag, from);
    if (from == end() || takes(meant, at(from))) break;
  }
  return std::min(from, end());
}

size_t LogIndex::count(const LogFilter &filter, Position from, Position until) const {
  const bool all = from <= first_ && until >= end() && !filter.narrows();
  if (all && !filter.owner_tag) return size();
  if (all) {
    const auto owned = owners_.find(*filter.owner_tag);
    return owned == owners_.end() ? 0 : owned->second.count;
  }
  size_t counted = 0;
  for (Position position = find(filter, from); position < std::min(until, end()); position = find(filter, position + 1))
    counted++;
  return counted;
}

uint64_t LogIndex::outcome(Position position) const {
  return at(position).is_outcome ? at(position).newest_outcome : 0;
}

std::deque<LogIndex::Entry>::const_iterator LogIndex::lower_bound(uint64_t outcome) const {
  const auto older = [](const Entry &entry, uint64_t wanted) { return entry.newest_outcome < wanted; };
  return std::lower_bound(entries_.begin(), entries_.end(), outcome, older);
}

bool LogIndex::holds_outcome(uint64_t outcome) const {
  return first_outcome_not_held(outcome - 1) != outcome;
}

uint64_t LogIndex::first_outcome_not_held(uint64_t after) const {
  uint64_t outcome = after + 1;
  for (auto entry = lower_bound(outcome); entry != entries_.end() && entry->newest_outcome <= outcome; ++entry)
    if (entry->newest_outcome == outcome && entry->is_outcome) outcome++;
  return outcome;
}

}  // namespace service
