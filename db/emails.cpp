// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>

#include "db/append.h"
#include "db/name.h"
#include "diag/trace.h"
#include "schedcli.h"

namespace {

constexpr int32_t in_use = 1;

sch_schedule_email_entry *addresses_at(GList *node) {
  return static_cast<sch_schedule_email_entry *>(node->data);
}

// A name or address that is cut keeps its terminator.
template <size_t size>
void fill(char (&field)[size], const char *text) {
  memset(field, 0, size);
  memcpy(field, text, std::min(strlen(text), size - 1));
}

void fill(sch_email_slot *slot, const char *address) {
  fill(slot->address, address);
  slot->in_use = in_use;
}

sch_schedule_email_entry *append_new(GList **list) {
  void *entry = sch_malloc_check(sizeof(sch_schedule_email_entry), SCH_MEMORY_SCHEDULE, 0, "add schedule email entry");
  if (entry != nullptr) sch_append(list, entry);
  return static_cast<sch_schedule_email_entry *>(entry);
}

// The prefix match is meant: a text that begins a longer schedule name removes from that schedule.
GList *first_beginning_with(GList *list, const char *schedule) {
  GList *node = g_list_first(list);
  while (node != nullptr && !begins_with(addresses_at(node)->schedule_name, schedule))
    node = node->next;
  return node;
}

sch_email_slot *free_slot(sch_schedule_email_entry *entry) {
  if (entry->count == SCH_MAX_EMAIL_IDS) return nullptr;
  for (sch_email_slot &slot : entry->slots)
    if (slot.in_use == 0) return &slot;
  return nullptr;  // the record is damaged: its count says that there is a free slot
}

// All addresses that begin with the text go, not just the first, as meant.
void clear_addresses(sch_schedule_email_entry *entry, const char *address) {
  for (sch_email_slot &slot : entry->slots) {
    if (!begins_with(slot.address, address)) continue;
    slot = {};
    --entry->count;
  }
}

}  // namespace

int sch_find_schedule_email_entry(GList **list, const char *schedule, sch_schedule_email_entry **entry) {
  *entry = nullptr;
  for (GList *node = g_list_first(*list); node != nullptr && *entry == nullptr; node = node->next)
    if (same_name(addresses_at(node)->schedule_name, schedule)) *entry = addresses_at(node);
  return 0;
}

int sch_add_schedule_email_entry(GList **list, const char *schedule, const char *address) {
  sch_schedule_email_entry *entry;
  sch_find_schedule_email_entry(list, schedule, &entry);
  if (entry == nullptr) {
    if (sch_add_new_schedule_email_entry(list, schedule, address) != 0) return -1;
    SCH_TRACE_SERVICE(trace_config, "email-id %s configured for %s", address, schedule);
    return 0;
  }
  sch_email_slot *slot = free_slot(entry);
  if (slot == nullptr) {
    SCH_TRACE_SERVICE(trace_config, "Max email-ids configured for %s", schedule);
    return -1;
  }
  fill(slot, address);
  ++entry->count;
  SCH_TRACE_SERVICE(trace_config, "email-id %s configured for %s", address, schedule);
  return 0;
}

int sch_add_new_schedule_email_entry(GList **list, const char *schedule, const char *address) {
  sch_schedule_email_entry *entry = append_new(list);
  if (entry == nullptr) return -1;
  fill(entry->schedule_name, schedule);
  fill(&entry->slots[0], address);
  entry->count = 1;
  return 0;
}

int sch_add_schedule_email_entry_from_pss(GList **list, const sch_schedule_email_entry *stored) {
  sch_schedule_email_entry *entry = append_new(list);
  if (entry == nullptr) return -1;
  *entry = *stored;
  return 0;
}

// Neither the entry nor its list element is freed, on purpose: the public header leaves that to the caller.
int sch_remove_schedule_email_entry(GList **list, const char *schedule) {
  GList *node = first_beginning_with(*list, schedule);
  if (node == nullptr) return 0;
  *list = g_list_remove_link(*list, node);
  SCH_TRACE_SERVICE(trace_config, "removed schedule email entry for %s", schedule);
  return 0;
}

// An entry with one address is removed whatever that address is, and not freed. Both are meant.
int sch_remove_schedule_email_addr(GList **list, const char *schedule, const char *address) {
  GList *node = first_beginning_with(*list, schedule);
  if (node == nullptr) return 0;
  if (addresses_at(node)->count == 1)
    *list = g_list_remove_link(*list, node);
  else
    clear_addresses(addresses_at(node), address);
  SCH_TRACE_SERVICE(trace_config, "email-id %s removed from %s", address, schedule);
  return 0;
}
