// SPDX-License-Identifier: Apache-2.0
#include "service/state/tables.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <memory>
#include <unordered_map>

#include "host/text_field.h"
#include "platform/memory.h"
#include "service/state/address_table.h"
#include "service/state/due_times.h"
#include "service/state/number_tree.h"
#include "service/state/open_table.h"
#include "service/state/status_table.h"

namespace service {
namespace {

struct Release {
  void operator()(void *memory) const { mtrack_free(memory); }
};
template <typename Record>
using Tracked = std::unique_ptr<Record, Release>;

std::string_view name_in(const sch_config_key &key) {
  return host::text_in(key.name);
}

template <typename Entry>
struct ByName {
  using Key = std::string_view;
  static Key key(const Entry &entry) { return name_in(*entry.key); }
  static uint64_t hash(Key name) { return hash_of(name); }
};

struct ByAddress {
  using Key = const sch_schedule_entry *;
  static Key key(const sch_schedule_entry &entry) { return &entry; }
  static uint64_t hash(Key entry) { return hash_of(reinterpret_cast<uintptr_t>(entry)); }
};

struct Possession {
  NumberTree<own_left, own_right> schedules;
  DueTimes::Owner due;
  size_t schedule_count = 0, job_count = 0;
};

struct Tables {
  OpenTable<sch_schedule_entry, ByName<sch_schedule_entry>> schedules;
  OpenTable<sch_job_entry, ByName<sch_job_entry>> jobs;
  NumberTree<number_left, number_right> numbers;
  DueTimes due;
  std::unordered_map<uint32_t, Possession> owners;  // by owner tag
  OpenTable<sch_schedule_entry, ByAddress> users[SCH_MAX_JOBS];
  uint32_t next_number = 1;
};

Tables tables;  // global like the library's lists

void set_name(sch_config_key &key, std::string_view name) {
  std::memset(key.name, 0, sizeof key.name);
  name.copy(key.name, sizeof key.name - 1);
}

void reserve_for_schedule_of(uint32_t owner) {
  Possession &of = tables.owners.try_emplace(owner).first->second;
  tables.due.reserve(of.due, of.schedule_count + 1, tables.owners.size());
}

void reserve_for_schedule(uint32_t owner) {
  tables.schedules.reserve_one();
  reserve_for_schedule_of(owner);
}

void forget_without_possessions(uint32_t owner) {
  const Possession &of = tables.owners.at(owner);
  if (of.schedule_count == 0 && of.job_count == 0) tables.owners.erase(owner);
}

void enter_owner(sch_schedule_entry &entry) {
  Possession &owner = tables.owners.at(owner_of(entry));
  owner.schedules.insert(entry);
  owner.schedule_count++;
  tables.due.update(owner.due, entry);
}

void leave_owner(sch_schedule_entry &entry) {
  const uint32_t tag = owner_of(entry);
  Possession &owner = tables.owners.at(tag);
  tables.due.remove(owner.due, entry);
  owner.schedules.remove(entry);
  owner.schedule_count--;
  forget_without_possessions(tag);
}

void enter(sch_schedule_entry &entry, GList *element) {
  entry.service[list_element] = reinterpret_cast<uintptr_t>(element);
  tables.schedules.insert(entry);
  tables.numbers.insert(entry);
  enter_owner(entry);
}

void enter_again(GList *element) {
  auto &entry = *static_cast<sch_schedule_entry *>(element->data);
  std::fill(std::begin(entry.service), std::end(entry.service), 0);
  reserve_for_schedule(owner_of(entry));
  for_each_assigned(*entry.rec, [&](uint32_t id) {
    tables.users[id].reserve_one();
    tables.users[id].insert(entry);
  });
  enter(entry, element);
  tables.next_number = schedule_number(*entry.rec) + 1;
}

void enter(sch_job_entry &slot) {
  tables.jobs.insert(slot);
  if (slot.hdr != nullptr) tables.owners.at(owner_of(slot)).job_count++;  // a damaged store may lack the header
}

void reserve_for_job(uint32_t owner) {
  tables.jobs.reserve_one();
  tables.owners.try_emplace(owner);
}

// The library walks to the end of the list that it is given: so it gets the list from its last element on.
sch_schedule_entry *append(Tracked<sch_config_key> key, Tracked<sch_schedule_rec> rec, GList **element) {
  const sch_schedule_entry *last = tables.numbers.last();
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the words of an entry are the public header's
  GList *end = last == nullptr ? nullptr : reinterpret_cast<GList *>(last->service[list_element]);
  sch_config_db from_end = {sch_job_list, &end};
  sch_schedule_entry *entry = nullptr;
  if (sch_add_schedule_entry(&from_end, key.release(), rec.release(), &entry) != 0) return nullptr;
  if (last == nullptr) sch_schedule_list = end;
  *element = last == nullptr ? end : end->next;
  return entry;
}

}  // namespace

void rebuild_tables() {
  tables = {};
  for (GList *element = sch_schedule_list; element != nullptr; element = element->next)
    enter_again(element);
  for_each_job([](sch_job_entry &slot, uint32_t) {
    reserve_for_job(slot.hdr == nullptr ? 0 : owner_of(slot));
    enter(slot);
  });
  rebuild_status_table();
  rebuild_address_table();
}

sch_schedule_entry *find_schedule(std::string_view name) {
  return tables.schedules.find(name);
}

sch_schedule_entry *schedule_by_serial(uintptr_t wanted) {
  sch_schedule_entry *entry = schedule_after(static_cast<int64_t>(wanted) - 1);
  return entry != nullptr && serial(*entry) == wanted ? entry : nullptr;
}

sch_schedule_entry *schedule_after(int64_t number) {
  return tables.numbers.after(number);
}

sch_schedule_entry *schedule_after(int64_t number, uint32_t owner_tag) {
  const auto owner = tables.owners.find(owner_tag);
  return owner == tables.owners.end() ? nullptr : owner->second.schedules.after(number);
}

uint32_t next_schedule_number() {
  return tables.next_number;
}
void skip_schedule_numbers(uint32_t next) {
  tables.next_number = std::max(tables.next_number, next);
}

size_t schedule_count() {
  return tables.schedules.size();
}

size_t schedule_count(uint32_t owner_tag) {
  const auto owner = tables.owners.find(owner_tag);
  return owner == tables.owners.end() ? 0 : owner->second.schedule_count;
}

std::vector<uint32_t> owner_tags() {
  std::vector<uint32_t> tags;
  for (const auto &[tag, of] : tables.owners)
    if (of.schedule_count != 0 || of.job_count != 0) tags.push_back(tag);
  return tags;
}

sch_schedule_entry *add_schedule(std::string_view name, const ScheduleState &state) {
  Tracked<sch_config_key> key(
      static_cast<sch_config_key *>(sch_malloc_check(sizeof(sch_config_key), SCH_MEMORY_KEY, 0, "add config entry")));
  Tracked<sch_schedule_rec> rec(static_cast<sch_schedule_rec *>(
      sch_malloc_check(sizeof(sch_schedule_rec), SCH_MEMORY_SCHEDULE, 0, "add schedule entry")));
  if (!key || !rec) return nullptr;
  host::put_text(name, key->name);
  rec->service_head[0] = tables.next_number;
  put_state(*rec, state);
  reserve_for_schedule(state.owner_tag);
  GList *element = nullptr;
  sch_schedule_entry *entry = append(std::move(key), std::move(rec), &element);
  if (entry == nullptr) {
    forget_without_possessions(state.owner_tag);
    return nullptr;
  }
  enter(*entry, element);
  tables.next_number++;
  return entry;
}

void remove_schedule(sch_schedule_entry &entry) {
  for_each_assigned(*entry.rec, [&](uint32_t id) { tables.users[id].remove(entry); });
  leave_owner(entry);
  tables.numbers.remove(entry);
  tables.schedules.remove(entry);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the words of an entry are the public header's
  sch_free_schedule_entry(&sch_running_config, reinterpret_cast<GList *>(entry.service[list_element]));
}

void set_state(sch_schedule_entry &entry, const ScheduleState &state) {
  if (state.owner_tag == owner_of(entry)) {
    put_state(*entry.rec, state);
    tables.due.update(tables.owners.at(state.owner_tag).due, entry);
    return;
  }
  reserve_for_schedule_of(state.owner_tag);
  leave_owner(entry);
  put_state(*entry.rec, state);
  enter_owner(entry);
}

void set_next_due(sch_schedule_entry &entry, uint32_t due) {
  change_state(entry, [due](ScheduleState &state) { armed(state, due); });
}

void set_record(sch_schedule_entry &entry, const sch_schedule_rec &rec) {
  assert(schedule_number(rec) == schedule_number(*entry.rec));
  for (uint32_t id = 0; id < SCH_MAX_JOBS; id++) {
    if (has_job(rec, id) == has_job(*entry.rec, id)) continue;
    has_job(rec, id) ? assign_job(entry, id) : deassign_job(entry, id);
  }
  set_state(entry, state_of(rec));
  *entry.rec = rec;
}

void assign_job(sch_schedule_entry &entry, uint32_t job_id) {
  tables.users[job_id].reserve_one();
  tables.users[job_id].insert(entry);
  entry.rec->jobs[job_id / 32] |= 1u << (job_id % 32);
}

void deassign_job(sch_schedule_entry &entry, uint32_t job_id) {
  tables.users[job_id].remove(entry);
  entry.rec->jobs[job_id / 32] &= ~(1u << (job_id % 32));
}

uint32_t earliest_due() {
  const sch_schedule_entry *first = tables.due.first();
  return first == nullptr ? 0 : next_due(*first);
}

const sch_schedule_entry *first_due() {
  return tables.due.first();
}

const sch_schedule_entry *first_due(uint32_t owner_tag) {
  const auto owner = tables.owners.find(owner_tag);
  return owner == tables.owners.end() ? nullptr : owner->second.due.schedules.top();
}

std::vector<sch_schedule_entry *> schedules_due(time_t now) {
  constexpr time_t latest = std::numeric_limits<uint32_t>::max();
  return now <= 0 ? std::vector<sch_schedule_entry *>()
                  : tables.due.until(static_cast<uint32_t>(std::min(now, latest)));
}

void rename_schedule(sch_schedule_entry &entry, std::string_view name) {
  tables.schedules.remove(entry);
  set_name(*entry.key, name);
  tables.schedules.insert(entry);
}

void rename_job(sch_job_entry &slot, std::string_view name) {
  tables.jobs.remove(slot);
  set_name(*slot.key, name);
  tables.jobs.insert(slot);
}

sch_job_entry *find_job(std::string_view name) {
  return tables.jobs.find(name);
}

sch_job_entry *add_job(std::string_view name, uint32_t owner_tag, uint32_t id) {
  Tracked<sch_config_key> key(
      static_cast<sch_config_key *>(sch_malloc_check(sizeof(sch_config_key), SCH_MEMORY_KEY, 0, "add config entry")));
  Tracked<sch_job_hdr> hdr(
      static_cast<sch_job_hdr *>(sch_malloc_check(sizeof(sch_job_hdr), SCH_MEMORY_JOB_HEADER, 0, "add job entry")));
  if (!key || !hdr) return nullptr;
  key->type = SCH_CONFIG_JOB;
  host::put_text(name, key->name);
  hdr->job_id = id;
  owner_of(*hdr) = owner_tag;
  reserve_for_job(owner_tag);
  sch_job_entry *slot = nullptr;
  sch_add_job_hdr(&sch_running_config, key.release(), hdr.release(), &slot);
  serial(*slot) = next_serial();
  enter(*slot);
  return slot;
}

void remove_job(sch_job_entry &slot) {
  const uint32_t owner = owner_of(slot);
  assert(tables.users[slot.hdr->job_id].size() == 0);
  tables.users[slot.hdr->job_id].clear();
  tables.jobs.remove(slot);
  tables.owners.at(owner).job_count--;
  forget_without_possessions(owner);
  sch_free_job_entry(&slot);
}

size_t job_count(uint32_t owner_tag) {
  const auto owner = tables.owners.find(owner_tag);
  return owner == tables.owners.end() ? 0 : owner->second.job_count;
}

std::vector<sch_schedule_entry *> schedules_with_job(uint32_t job_id) {
  std::vector<sch_schedule_entry *> users;
  users.reserve(tables.users[job_id].size());
  tables.users[job_id].for_each([&](sch_schedule_entry &entry) { users.push_back(&entry); });
  std::sort(users.begin(), users.end(), [](const auto *left, const auto *right) {
    return schedule_number(*left->rec) < schedule_number(*right->rec);
  });
  return users;
}

}  // namespace service
