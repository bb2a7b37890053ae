// SPDX-License-Identifier: Apache-2.0
#include "service/state/address_table.h"

#include <cstring>
#include <string_view>

#include "host/text_field.h"
#include "platform/memory.h"
#include "service/state/open_table.h"

namespace service {
namespace {

sch_schedule_email_entry &entry_of(const GList &element) {
  return *static_cast<sch_schedule_email_entry *>(element.data);
}

std::string_view schedule_of(const sch_schedule_email_entry &entry) {
  return host::text_in(entry.schedule_name);
}

struct BySchedule {
  using Key = std::string_view;
  static Key key(const GList &element) { return schedule_of(entry_of(element)); }
  static uint64_t hash(Key name) { return hash_of(name); }
};

OpenTable<GList, BySchedule> addresses;

}  // namespace

void rebuild_address_table() {
  addresses.clear();
  for (GList *element = sch_schedule_email_list; element != nullptr; element = element->next) {
    addresses.reserve_one();
    addresses.insert(*element);
  }
}

sch_schedule_email_entry *find_addresses(const std::string &schedule) {
  const GList *element = addresses.find(schedule);
  return element == nullptr ? nullptr : &entry_of(*element);
}

// The library would walk to the end of the whole list: so it appends to an empty one, which is then put in front.
sch_schedule_email_entry *add_addresses(const std::string &schedule, const std::string &first) {
  addresses.reserve_one();
  GList *added = nullptr;
  if (sch_add_new_schedule_email_entry(&added, schedule.c_str(), first.c_str()) != 0) return nullptr;
  sch_schedule_email_list = g_list_concat(added, sch_schedule_email_list);
  addresses.insert(*added);
  return &entry_of(*added);
}

bool append_address(sch_schedule_email_entry &entry, const std::string &address) {
  GList alone = {&entry, nullptr, nullptr};
  GList *list = &alone;
  return sch_add_schedule_email_entry(&list, entry.schedule_name, address.c_str()) == 0;
}

void rename_addresses(sch_schedule_email_entry &entry, const std::string &schedule) {
  GList *element = addresses.find(schedule_of(entry));
  addresses.remove(*element);
  std::memset(entry.schedule_name, 0, sizeof entry.schedule_name);
  schedule.copy(entry.schedule_name, sizeof entry.schedule_name - 1);
  addresses.insert(*element);
}

void remove_addresses(const sch_schedule_email_entry &entry) {
  GList *element = addresses.find(schedule_of(entry));
  addresses.remove(*element);
  mtrack_free(element->data);
  sch_schedule_email_list = g_list_delete_link(sch_schedule_email_list, element);
}

}  // namespace service
