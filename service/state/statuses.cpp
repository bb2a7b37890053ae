// SPDX-License-Identifier: Apache-2.0
#include "service/state/statuses.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "control/statuses.h"
#include "host/status.h"
#include "host/store/store.h"
#include "host/text_field.h"
#include "service/state/run_state.h"
#include "service/state/status_table.h"
#include "service/state/tables.h"

namespace service {
namespace {

using Keys = std::vector<sch_runtime_key>;

sch_runtime_key stored_key(const sch_runtime_job_status &status) {
  sch_runtime_key key = {SCH_RUNTIME_STATUS, status.job_id, {}};
  std::memcpy(key.name, status.schedule_name, sizeof key.name);
  sch_hton_runtime_key(&key);
  return key;
}

// Type of the records that say which job, and whose, the statuses of a slot belong to. Their number is beyond the job
// table, so that the library's restore ignores them.
constexpr uint32_t identity_type = 254;

sch_runtime_key identity_key(const sch_job_entry &slot, const std::string &name) {
  sch_runtime_key key = {identity_type, SCH_MAX_JOBS + slot.hdr->job_id, {}};
  name.copy(key.name, sizeof key.name - 1);
  sch_hton_runtime_key(&key);
  return key;
}

sch_runtime_key identity_key(const sch_job_entry &slot) {
  return identity_key(slot, name_of(*slot.key));
}

bool has_identity(const sch_job_entry &slot) {
  uint32_t error = 0;
  sch_runtime_key key = identity_key(slot);
  const pss_buf name = {&key, sizeof key};
  return pss2_fetch(pss_running_db, &name, &error) != nullptr && error == 0;
}

uint32_t save_identity(const sch_job_entry &slot) {
  if (has_identity(slot)) return 0;
  sch_runtime_key key = identity_key(slot);
  uint32_t words[2] = {owner_of(slot), 0};  // the owner, for people who inspect the store
  const pss_buf name = {&key, sizeof key}, value = {words, sizeof words};
  return pss_store(pss_running_db, 1, &name, &value);
}

// Not by the library's delete function, which by contract uses another key type than its save and removes nothing.
uint32_t delete_stored(sch_runtime_key key) {
  const pss_buf name = {&key, sizeof key};
  const uint32_t error = pss_delete(pss_running_db, &name);
  return error == PSS_ERR_NO_KEY ? 0 : error;
}

bool report(const char *purpose, uint32_t error) {
  if (error == 0) return true;
  sch_syslog_raise(&syslog_msg_SCH_SYSLOG_PSS_ERR, purpose, sch_pss_running_db_uri, static_cast<int>(error));
  return false;
}

// Makes the changes in a batch of pss_running_db, which is aborted if they fail or throw. Returns a status.
template <typename Changes>
uint32_t in_batch(Changes make) {
  struct EndOfBatch {
    ~EndOfBatch() { host::store_abort(pss_running_db); }
  };
  if (const host::Result<void> begun = host::store_begin(pss_running_db); !begun) return begun.code();
  const EndOfBatch end;
  const uint32_t error = make();
  return error == 0 ? host::store_commit(pss_running_db).code() : error;
}

bool delete_stored(const Keys &keys) {
  if (keys.empty()) return true;
  const uint32_t error = in_batch([&] {
    uint32_t failed = 0;
    for (const sch_runtime_key &key : keys)
      if (failed == 0) failed = delete_stored(key);
    return failed;
  });
  return report("Delete status", error);
}

// Whether a run state or a page of the history belongs to an existing schedule: its second word is the schedule's
// creation.
bool is_of_live_schedule(const std::string &name, const pss_buf *value) {
  const sch_schedule_entry *entry = find_schedule(name);
  uint32_t words[2] = {};
  if (entry == nullptr || value == nullptr || value->length < sizeof words) return false;
  std::memcpy(words, value->data, sizeof words);
  return words[1] == creation(*entry->rec);
}

using Names = std::set<std::string>;

// `namesakes`: names of schedules for which the store has records of an earlier schedule of that name.
bool is_live(sch_runtime_key key, const pss_buf *value, const Names &namesakes) {
  sch_ntoh_runtime_key(&key);
  const std::string name(host::text_in(key.name));
  if (key.type == counters_key) return key.job_id == SCH_MAX_JOBS && name.empty();
  if (key.type == run_state_key || key.type == history_key || key.type == owed_report_key)
    return is_of_live_schedule(name, value);
  const uint32_t id = key.type == identity_type ? key.job_id - SCH_MAX_JOBS : key.job_id;
  if (id >= SCH_MAX_JOBS || sch_job_list[id].key == nullptr || sch_job_list[id].hdr == nullptr) return false;
  if (key.type == identity_type) return name_of(*sch_job_list[id].key) == name;
  return key.type == SCH_RUNTIME_STATUS && find_schedule(name) != nullptr && !namesakes.contains(name) &&
         has_identity(sch_job_list[id]);
}

// The keys of records whose job or schedule does not exist. Run states come before statuses in the store's order, so
// `namesakes` is complete before it is used.
Keys orphans(Names *namesakes) {
  Keys keys;
  pss_cursor cursor = {};
  const pss_buf *found = pss_move2location(pss_running_db, PSS_FIRST, &cursor);
  for (; found != nullptr && cursor.error == 0; found = pss_move2location(pss_running_db, PSS_NEXT, &cursor)) {
    sch_runtime_key key = {};
    std::memcpy(&key, found->data, std::min<size_t>(found->length, sizeof key));
    if (is_live(key, pss_getvalue(pss_running_db, &cursor), *namesakes)) continue;
    keys.push_back(key);
    sch_ntoh_runtime_key(&key);
    if (key.type == run_state_key) namesakes->emplace(host::text_in(key.name));
  }
  return keys;
}

void add_run_keys(const sch_schedule_entry &entry, Keys *keys) {
  const std::optional<RunState> state = read_run_state(entry);
  if (!state) return;
  for (uint32_t page = state->first_page; page != state->end_page; page++)
    keys->push_back(run_key(history_key, page, entry.key->name));
  keys->push_back(run_key(run_state_key, 0, entry.key->name));
}

sch_runtime_key renamed(sch_runtime_key key, const std::string &name) {
  std::memset(key.name, 0, sizeof key.name);
  name.copy(key.name, sizeof key.name - 1);
  return key;
}

uint32_t copy_stored(sch_runtime_key from, sch_runtime_key to) {
  uint32_t error = 0;
  const pss_buf old_name = {&from, sizeof from}, new_name = {&to, sizeof to};
  const pss_buf *found = pss2_fetch(pss_running_db, &old_name, &error);
  if (found == nullptr || error != 0) return error == PSS_ERR_NO_KEY ? 0 : error;
  std::vector<std::byte> copy(found->length);
  std::memcpy(copy.data(), found->data, copy.size());
  const pss_buf value = {copy.data(), found->length};
  return pss_store(pss_running_db, 1, &new_name, &value);
}

Keys keys_of_schedule(const sch_schedule_entry &entry, const std::string &name) {
  Keys keys;
  add_run_keys(entry, &keys);
  for_each_job([&](const sch_job_entry &, uint32_t id) {
    if (GList *element = find_status_element(id, name))
      keys.push_back(stored_key(*static_cast<const sch_runtime_job_status *>(element->data)));
  });
  return keys;
}

template <typename Which>
void forget(sch_job_entry &slot, Which which, Keys *keys) {
  for (GList *node = slot.status_list; node != nullptr;) {
    GList *next = node->next;
    const auto &status = *static_cast<const sch_runtime_job_status *>(node->data);
    if (which(status)) {
      keys->push_back(stored_key(status));
      remove_status(slot, node);
    }
    node = next;
  }
}

}  // namespace

std::string schedule_of(const sch_runtime_job_status &status) {
  return std::string(host::text_in(status.schedule_name));
}

const sch_runtime_job_status *find_status(const sch_job_entry &slot, const char *schedule) {
  if (slot.hdr == nullptr) return nullptr;
  const GList *element = find_status_element(slot.hdr->job_id, schedule);
  return element == nullptr ? nullptr : static_cast<const sch_runtime_job_status *>(element->data);
}

uint32_t store_status(const sch_job_entry &slot, const sch_runtime_job_status &status) {
  if (const uint32_t error = save_identity(slot); error != 0) return error;
  return sch_save_runtime_job_status_entry_to_pss(pss_running_db, &status) == 0 ? 0 : control::err_not_stored;
}

uint32_t remember_status(sch_job_entry &slot, const sch_runtime_job_status &status) {
  return put_status(slot, status) ? 0 : host::err_no_memory;
}

void delete_statuses_of_schedule(Context &context, const sch_schedule_entry &entry) {
  const std::string schedule = name_of(*entry.key);
  Keys keys;
  add_run_keys(entry, &keys);
  for_each_job([&](sch_job_entry &slot, uint32_t id) {
    GList *element = find_status_element(id, schedule);
    if (element == nullptr) return;
    keys.push_back(stored_key(*static_cast<const sch_runtime_job_status *>(element->data)));
    remove_status(slot, element);
  });
  context.stale_statuses = !delete_stored(keys) || context.stale_statuses;
}

void delete_statuses_of_job(Context &context, sch_job_entry &slot) {
  Keys keys;
  forget(
      slot, [](const auto &) { return true; }, &keys);
  if (has_identity(slot)) keys.push_back(identity_key(slot));
  context.stale_statuses = !delete_stored(keys) || context.stale_statuses;
}

uint32_t copy_statuses_of_schedule(const sch_schedule_entry &entry, const std::string &name) {
  const Keys keys = keys_of_schedule(entry, name_of(*entry.key));
  return in_batch([&] {
    uint32_t failed = 0;
    for (const sch_runtime_key &key : keys)
      if (failed == 0) failed = copy_stored(key, renamed(key, name));
    return failed;
  });
}

uint32_t copy_statuses_of_job(const sch_job_entry &slot, const std::string &name) {
  return has_identity(slot) ? copy_stored(identity_key(slot), identity_key(slot, name)) : 0;
}

void drop_old_statuses_of_schedule(Context &context, const sch_schedule_entry &entry, const std::string &old_name) {
  Keys keys;
  add_run_keys(entry, &keys);  // run state and history
  for (sch_runtime_key &key : keys)
    key = renamed(key, old_name);
  for_each_job([&](sch_job_entry &slot, uint32_t id) {
    GList *element = find_status_element(id, old_name);
    if (element == nullptr) return;
    sch_runtime_job_status status = *static_cast<const sch_runtime_job_status *>(element->data);
    keys.push_back(stored_key(status));
    remove_status(slot, element);
    std::memcpy(status.schedule_name, entry.key->name, sizeof status.schedule_name);
    put_status(slot, status);
  });
  context.stale_statuses = !delete_stored(keys) || context.stale_statuses;
}

void drop_old_statuses_of_job(Context &context, const sch_job_entry &slot, const std::string &old_name) {
  context.stale_statuses = !delete_stored(Keys{identity_key(slot, old_name)}) || context.stale_statuses;
}

// Removes all old records before storing new ones, as a job's new slot may be another's old one.
bool carry_statuses(const std::vector<uint32_t> &from, const std::vector<uint32_t> &to) {
  if (to.empty()) return true;
  Keys gone;
  for (size_t i = 0; i < to.size(); i++) {
    sch_runtime_key identity = {identity_type, SCH_MAX_JOBS + from[i], {}};
    std::memcpy(identity.name, sch_job_list[to[i]].key->name, sizeof identity.name);
    sch_hton_runtime_key(&identity);
    gone.push_back(identity);
    for (const GList *node = sch_job_list[to[i]].status_list; node != nullptr; node = node->next) {
      sch_runtime_job_status status = *static_cast<const sch_runtime_job_status *>(node->data);
      status.job_id = from[i];
      gone.push_back(stored_key(status));
    }
  }
  const uint32_t error = in_batch([&] {
    uint32_t failed = 0;
    for (const sch_runtime_key &key : gone)
      if (failed == 0) failed = delete_stored(key);
    for (const uint32_t id : to)
      for (const GList *node = sch_job_list[id].status_list; node != nullptr && failed == 0; node = node->next)
        failed = store_status(sch_job_list[id], *static_cast<const sch_runtime_job_status *>(node->data));
    return failed;
  });
  return report("Move status", error);
}

bool forget_stale_statuses(Context &context) {
  if (context.stale_statuses) context.stale_statuses = !purge_statuses();
  return !context.stale_statuses;
}

bool purge_statuses() {
  Names namesakes;
  if (!delete_stored(orphans(&namesakes))) return false;
  Keys in_memory;
  for_each_job([&](sch_job_entry &slot, uint32_t) {
    const bool inherited = !has_identity(slot);
    forget(
        slot,
        [&](const auto &status) {
          const std::string schedule = schedule_of(status);
          return inherited || find_schedule(schedule) == nullptr || namesakes.contains(schedule);
        },
        &in_memory);
  });
  return true;
}

}  // namespace service
