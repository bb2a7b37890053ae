// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "schedcli.h"
#include "service/state/placed_heap.h"

namespace service {

// The schedules that have a due time: of each owner, and of all. The earliest comes first, then the lowest number.
class DueTimes {
  struct ByDue {
    static bool before(const sch_schedule_entry &left, const sch_schedule_entry &right);
    static uintptr_t &place(sch_schedule_entry &entry);
  };

 public:
  struct Owner {
    PlacedHeap<sch_schedule_entry, ByDue> schedules;
    uintptr_t place = 0;
  };

  void reserve(Owner &owner, size_t schedules, size_t owners);  // may run out of memory: update() then does not
  void update(Owner &owner, sch_schedule_entry &entry);  // after its due time changed: inserts, moves or removes it
  void remove(Owner &owner, sch_schedule_entry &entry);  // if it is in

  const sch_schedule_entry *first() const;
  std::vector<sch_schedule_entry *> until(uint32_t moment) const;  // due then or earlier, in order

 private:
  struct ByFirst {
    static bool before(const Owner &left, const Owner &right);
    static uintptr_t &place(Owner &owner) { return owner.place; }
  };
  void settle(Owner &owner);

  PlacedHeap<Owner, ByFirst> owners_;  // that have a schedule with a due time
};

}  // namespace service
