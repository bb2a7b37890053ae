// SPDX-License-Identifier: Apache-2.0
#include "service/state/due_times.h"

#include <algorithm>

#include "service/state/entry_words.h"
#include "service/state/schedule_state.h"

namespace service {

bool DueTimes::ByDue::before(const sch_schedule_entry &left, const sch_schedule_entry &right) {
  const uint32_t first = next_due(left), second = next_due(right);
  return first < second || (first == second && schedule_number(*left.rec) < schedule_number(*right.rec));
}

uintptr_t &DueTimes::ByDue::place(sch_schedule_entry &entry) {
  return entry.service[due_place];
}

bool DueTimes::ByFirst::before(const Owner &left, const Owner &right) {
  return ByDue::before(*left.schedules.top(), *right.schedules.top());
}

void DueTimes::reserve(Owner &owner, size_t schedules, size_t owners) {
  owner.schedules.reserve(schedules);
  owners_.reserve(owners);
}

void DueTimes::update(Owner &owner, sch_schedule_entry &entry) {
  if (next_due(entry) == 0) return remove(owner, entry);
  owner.schedules.put(entry);
  settle(owner);
}

void DueTimes::remove(Owner &owner, sch_schedule_entry &entry) {
  owner.schedules.remove(entry);
  settle(owner);
}

void DueTimes::settle(Owner &owner) {
  owner.schedules.top() == nullptr ? owners_.remove(owner) : owners_.put(owner);
}

const sch_schedule_entry *DueTimes::first() const {
  return owners_.top() == nullptr ? nullptr : owners_.top()->schedules.top();
}

std::vector<sch_schedule_entry *> DueTimes::until(uint32_t moment) const {
  std::vector<sch_schedule_entry *> found;
  const auto is_due = [moment](const sch_schedule_entry &entry) { return next_due(entry) <= moment; };
  owners_.visit([&](const Owner &owner) { return is_due(*owner.schedules.top()); },
                [&](const Owner &owner) {
                  owner.schedules.visit(is_due, [&](sch_schedule_entry &entry) { found.push_back(&entry); });
                });
  std::sort(found.begin(), found.end(),
            [](const auto *left, const auto *right) { return ByDue::before(*left, *right); });
  return found;
}

}  // namespace service
