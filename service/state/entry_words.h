// SPDX-License-Identifier: Apache-2.0
// The use of a schedule entry's six service words: links and places of the tables that the schedule is in, so that
// these allocate nothing for it and remove it without a search. Zero: not in the table.
#pragma once

#include "schedcli.h"

namespace service {

enum EntryWord : size_t {
  list_element,  // the GList element that holds the entry
  due_place,     // in the heap of due times, from 1
  number_left,
  number_right,  // subtrees of all schedules by number
  own_left,
  own_right,  // of the owner's
};
static_assert(own_right + 1 == sizeof(sch_schedule_entry::service) / sizeof(uintptr_t));

}  // namespace service
