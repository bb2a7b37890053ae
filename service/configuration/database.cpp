// SPDX-License-Identifier: Apache-2.0
#include "service/configuration/database.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <new>
#include <string>
#include <utility>

#include "platform/memory.h"
#include "service/configuration/in_use.h"
#include "service/configuration/time_line.h"
#include "service/run/due.h"
#include "service/state/address_table.h"
#include "service/state/job_text.h"
#include "service/state/schedule_state.h"
#include "service/state/tables.h"

namespace service {
namespace {

template <typename Record>
Record *allocated(uint32_t type, const Record &content, const char *purpose) {
  void *memory = sch_malloc_check(sizeof(Record), type, 0, purpose);
  if (memory == nullptr) throw std::bad_alloc();
  std::memcpy(memory, &content, sizeof content);
  return static_cast<Record *>(memory);
}

sch_config_key *new_key(uint32_t type, const std::string &name) {
  sch_config_key key = {type, 0, {}};
  name.copy(key.name, sizeof key.name - 1);
  return allocated(SCH_MEMORY_KEY, key, "add config entry");
}

bool a_run_is_under_way() {
  bool found = false;
  for_each_schedule([&](const sch_schedule_entry &entry) { found = found || state_of(*entry.rec).running_since != 0; });
  return found;
}

constexpr int64_t none = -1;

// Ascending ids for all blocks, of which the known ones keep theirs and the new ones get ids between them. Empty if
// that is not possible.
std::vector<uint32_t> ids_in_gaps(const std::vector<int64_t> &known) {
  std::vector<uint32_t> ids;
  int64_t last = none, waiting = 0;
  const auto fill = [&](int64_t end) {
    const bool fits = end - last - 1 >= waiting;
    for (; waiting > 0 && fits; waiting--)
      ids.push_back(static_cast<uint32_t>(++last));
    return fits;
  };
  for (const int64_t id : known) {
    if (id == none) {
      waiting++;
      continue;
    }
    if (id <= last || !fill(id)) return {};
    ids.push_back(static_cast<uint32_t>(last = id));
  }
  return fill(SCH_MAX_JOBS) ? ids : std::vector<uint32_t>();
}

std::vector<uint32_t> ids_anywhere(const std::vector<int64_t> &known) {
  std::vector<uint32_t> ids;
  int64_t free = 0;
  for (const int64_t id : known) {
    if (id == none)
      while (std::ranges::find(known, free) != known.end())
        free++;
    ids.push_back(static_cast<uint32_t>(id == none ? free++ : id));
  }
  return ids;
}

std::vector<std::string> addresses_of(const sch_schedule_email_entry &entry) {
  std::vector<std::string> addresses;
  for (const sch_email_slot &slot : entry.slots)
    if (slot.in_use != 0) addresses.emplace_back(slot.address, strnlen(slot.address, sizeof slot.address));
  return addresses;
}

sch_schedule_email_entry new_addresses(const ScheduleBlock &block) {
  sch_schedule_email_entry entry = {};
  block.name.copy(entry.schedule_name, sizeof entry.schedule_name - 1);
  for (const std::string &address : block.addresses) {
    sch_email_slot &slot = entry.slots[entry.count++];
    address.copy(slot.address, sizeof slot.address - 1);
    slot.in_use = 1;
  }
  return entry;
}

sch_schedule_rec new_record(const ScheduleBlock &block) {
  sch_schedule_rec rec = {};
  put_state(rec, owned_by(block.owner.name, block.owner.tag));
  creation(rec) = new_creation();
  return rec;
}

void copy_statuses(const sch_job_entry &from, sch_job_entry *to) {
  for (const GList *node = from.status_list; node != nullptr; node = node->next) {
    sch_runtime_job_status status = *static_cast<const sch_runtime_job_status *>(node->data);
    status.job_id = to->hdr->job_id;
    to->status_list = g_list_prepend(to->status_list, allocated(SCH_MEMORY_JOB_STATUS, status, "restore db"));
  }
  to->status_list = g_list_reverse(to->status_list);
}

template <typename Visit>
void for_each_entry(GList *list, Visit visit) {
  for (; list != nullptr; list = list->next)
    visit(*static_cast<sch_schedule_entry *>(list->data));
}

}  // namespace

Database::Database(const Configuration &target) : next_number_(next_schedule_number()) {
  place_jobs(target.jobs);
  number_schedules(target.schedules);
  for (size_t i = 0; i < target.jobs.size(); i++)
    build_job(target.jobs[i], job_ids_[i]);
  std::vector<std::pair<uint32_t, const ScheduleBlock *>> in_order;
  for (size_t i = 0; i < target.schedules.size(); i++)
    in_order.emplace_back(numbers_[i], &target.schedules[i]);
  std::ranges::sort(in_order);
  for (const auto &[number, block] : in_order)
    build_schedule(*block, number);
  records_.schedules = g_list_reverse(records_.schedules);
}

Database::Records::~Records() {
  sch_config_db all = {jobs, &schedules};
  sch_free_config(&all);
  g_list_free_full(addresses, mtrack_free);
}

// A schedule runs its jobs by ascending id, so the ids are to follow the order of the blocks.
void Database::place_jobs(const std::vector<JobBlock> &blocks) {
  std::vector<int64_t> known;
  for (const JobBlock &block : blocks) {
    const sch_job_entry *slot = find_job(block.name);
    known.push_back(slot == nullptr || slot->hdr == nullptr ? none : int64_t{slot->hdr->job_id});
  }
  job_ids_ = ids_in_gaps(known);
  if (job_ids_.size() == blocks.size()) return;
  if (a_run_is_under_way()) {
    keeps_order_ = false;
    job_ids_ = ids_anywhere(known);
    return;
  }
  job_ids_.clear();
  for (uint32_t id = 0; id < blocks.size(); id++) {
    job_ids_.push_back(id);
    if (known[id] != none && known[id] != int64_t{id}) moved_.push_back({static_cast<uint32_t>(known[id]), id});
  }
}

// The numbers are to follow the order of the blocks. As numbers are never reused, all from the first new or moved block
// on get new ones.
void Database::number_schedules(const std::vector<ScheduleBlock> &blocks) {
  const bool fixed = a_run_is_under_way();
  uint32_t last = 0;
  bool all_new = false;
  for (const ScheduleBlock &block : blocks) {
    const sch_schedule_entry *entry = find_schedule(block.name);
    const uint32_t known = entry == nullptr ? 0 : schedule_number(*entry->rec);
    const bool in_order = known > last && !all_new;
    if (known != 0 && fixed && !in_order) keeps_order_ = false;
    const bool stays = known != 0 && (in_order || fixed);
    all_new = all_new || !stays;
    numbers_.push_back(stays ? known : next_number_++);
    last = std::max(last, numbers_.back());
  }
}

void Database::build_job(const JobBlock &block, uint32_t id) {
  const sch_job_entry *known = find_job(block.name);
  sch_job_entry &slot = records_.jobs[id];
  slot.key = new_key(SCH_CONFIG_JOB, block.name);
  slot.hdr = allocated<sch_job_hdr>(SCH_MEMORY_JOB_HEADER,
                                    {id, block.owner.tag, static_cast<uint32_t>(block.text.size())}, "add job entry");
  GList *fragments = nullptr;
  if (!make_fragments(block.text, &fragments)) throw std::bad_alloc();
  slot.fragments = fragments;
  serial(slot) = known == nullptr ? next_serial() : known->reserved;
  if (known != nullptr) copy_statuses(*known, &slot);
}

void Database::build_schedule(const ScheduleBlock &block, uint32_t number) {
  const sch_schedule_entry *known = find_schedule(block.name);
  sch_schedule_rec rec = known == nullptr ? new_record(block) : *known->rec;
  const bool time_changed = time_line(rec.time) != block.time;
  const bool enabled_changed = is_enabled(rec) != block.enabled;
  rec.service_head[0] = number;
  std::fill(std::begin(rec.jobs), std::end(rec.jobs), 0);
  for (uint32_t id = 0; id < SCH_MAX_JOBS; id++)
    if (records_.jobs[id].key != nullptr &&
        std::ranges::find(block.jobs, name_of(*records_.jobs[id].key)) != block.jobs.end())
      rec.jobs[id / 32] |= 1u << (id % 32);
  if (time_changed) {
    const host::Result<sch_tminfo> time = read_time_line(block.time);
    rec.time = time ? *time : sch_tminfo{};
    taken_wall(rec) = 0;
  }
  set_enabled(rec, block.enabled);
  auto *entry = allocated<sch_schedule_entry>(SCH_MEMORY_SCHEDULE, {}, "add schedule entry");
  records_.schedules = g_list_prepend(records_.schedules, entry);
  entry->key = new_key(SCH_CONFIG_SCHEDULE, block.name);
  entry->rec = allocated(SCH_MEMORY_SCHEDULE, rec, "add schedule entry");
  if (time_changed || enabled_changed) to_arm_.push_back(entry);
  if (!block.addresses.empty()) build_addresses(block);
}

void Database::build_addresses(const ScheduleBlock &block) {
  const sch_schedule_email_entry *known = find_addresses(block.name);
  const bool same = known != nullptr && addresses_of(*known) == block.addresses;
  records_.addresses =
      g_list_prepend(records_.addresses,
                     allocated(SCH_MEMORY_SCHEDULE, same ? *known : new_addresses(block), "add schedule email entry"));
}

void Database::swap_with_live() noexcept {
  std::swap_ranges(std::begin(records_.jobs), std::end(records_.jobs), sch_job_list);
  std::swap(records_.schedules, sch_schedule_list);
  std::swap(records_.addresses, sch_schedule_email_list);
}

void Database::take_place(ConfigChange &change, time_t now) {
  const uint32_t next = next_number_;
  change.undo([this, next] {
    swap_with_live();
    rebuild_tables();
    skip_schedule_numbers(next);
  });
  swap_with_live();
  rebuild_tables();
  skip_schedule_numbers(next);
  arm_changed(now);
  save_jobs(change);
  save_schedules(change);
  save_addresses(change);
}

void Database::arm_changed(time_t now) {
  for (sch_schedule_entry *entry : to_arm_)
    if (is_enabled(*entry->rec))
      arm(*entry, now);
    else
      set_next_due(*entry, 0);
}

// records_ holds the former database by now: what differs from it is saved.
void Database::save_jobs(ConfigChange &change) {
  std::map<std::string, const sch_job_entry *> before;
  for (const sch_job_entry &slot : records_.jobs)
    if (slot.key != nullptr && slot.hdr != nullptr) before.emplace(name_of(*slot.key), &slot);
  for (const auto &[name, slot] : before)
    if (const sch_job_entry *now = find_job(name); now == nullptr || job_text(*now) != fragments_text(*slot))
      sch_delete_job_entry_from_pss(pss_running, slot);
  for_each_job([&](sch_job_entry &slot, uint32_t) {
    const auto known = before.find(name_of(*slot.key));
    const bool same = known != before.end() && known->second->hdr->job_id == slot.hdr->job_id &&
                      fragments_text(*known->second) == job_text(slot);
    if (!same) change.save(slot);
  });
}

void Database::save_schedules(ConfigChange &change) {
  std::map<std::string, const sch_schedule_entry *> before;
  for_each_entry(records_.schedules, [&](sch_schedule_entry &entry) {
    before.emplace(name_of(*entry.key), &entry);
    if (find_schedule(name_of(*entry.key)) == nullptr) sch_delete_schedule_entry_from_pss(pss_running, &entry);
  });
  for_each_schedule([&](sch_schedule_entry &entry) {
    const auto known = before.find(name_of(*entry.key));
    const bool same =
        known != before.end() && std::memcmp(known->second->rec, entry.rec, sizeof(sch_schedule_rec)) == 0;
    if (!same) change.save(entry);
  });
}

void Database::save_addresses(ConfigChange &change) {
  std::map<std::string, const sch_schedule_email_entry *> before;
  for (const GList *node = records_.addresses; node != nullptr; node = node->next) {
    const auto *entry = static_cast<const sch_schedule_email_entry *>(node->data);
    const std::string name(entry->schedule_name, strnlen(entry->schedule_name, sizeof entry->schedule_name));
    before.emplace(name, entry);
    if (find_addresses(name) == nullptr) sch_delete_schedule_email_entry_from_pss(pss_running, entry);
  }
  for (const GList *node = sch_schedule_email_list; node != nullptr; node = node->next) {
    const auto *entry = static_cast<const sch_schedule_email_entry *>(node->data);
    const auto known = before.find({entry->schedule_name, strnlen(entry->schedule_name, sizeof entry->schedule_name)});
    if (known == before.end() || std::memcmp(known->second, entry, sizeof *entry) != 0)
      change.require(sch_save_schedule_email_entry_to_pss(pss_running, entry));
  }
}

}  // namespace service
