// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "schedcli.h"

namespace service {

// A heap of the schedules that have a due time: the earliest on top, then the lowest number. Each entry knows its
// place, so that a changed due time needs no search.
class DueHeap {
 public:
  void reserve(size_t count);              // the one call that may run out of memory
  void update(sch_schedule_entry &entry);  // after its due time changed: inserts, moves or removes it
  void remove(sch_schedule_entry &entry);  // if it is in

  sch_schedule_entry *top() const { return entries_.empty() ? nullptr : entries_.front(); }
  std::vector<sch_schedule_entry *> until(uint32_t moment) const;  // due then or earlier, in order

  void clear() { *this = {}; }

 private:
  size_t risen(size_t place, const sch_schedule_entry &entry);
  size_t sunk(size_t place, const sch_schedule_entry &entry);
  void put(size_t place, sch_schedule_entry &entry);
  void settle(size_t place, sch_schedule_entry &entry);

  std::vector<sch_schedule_entry *> entries_;  // the children of place n are at 2n + 1 and 2n + 2
};

}  // namespace service
