// SPDX-License-Identifier: Apache-2.0
// The e-mail addresses in memory: the library's list, and a look-up by the schedule's name.
#pragma once

#include <string>

#include "schedcli.h"

namespace service {

void rebuild_address_table();  // after the list was filled or emptied by the library

sch_schedule_email_entry *find_addresses(const std::string &schedule);  // null when it has none

sch_schedule_email_entry *add_addresses(const std::string &schedule, const std::string &first);  // null: no memory
bool append_address(sch_schedule_email_entry &entry, const std::string &address);                // false: no room
void rename_addresses(sch_schedule_email_entry &entry, const std::string &schedule);
void remove_addresses(const sch_schedule_email_entry &entry);

}  // namespace service
