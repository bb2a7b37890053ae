// SPDX-License-Identifier: Apache-2.0
// The outcome of each job under each schedule, a record of the running database store each.
#include "db/append.h"
#include "diag/trace.h"
#include "platform/memory.h"
#include "pss/fields.h"
#include "pss/walk.h"

namespace {

// Deliberately not the type under which a status is saved: the public header promises that the record stays.
constexpr uint32_t deleted_key_type = 4;

sch_runtime_key stored_key(uint32_t type, const sch_runtime_job_status &status) {
  sch_runtime_key key = {.type = type, .job_id = status.job_id, .name = ""};
  store_text(key.name, status.schedule_name);
  sch_hton_runtime_key(&key);
  return key;
}

sch_runtime_key key_in_host_order(const pss_buf &raw_key) {
  sch_runtime_key key = {};
  copy_at_most(&key, sizeof key, raw_key);
  sch_ntoh_runtime_key(&key);
  return key;
}

// False when memory is exhausted. The key's type is deliberately not looked at. Reading the value may end what reading
// the key returned, hence the order.
bool restore_status(sch_config_db *config, const pss_buf &raw_key, StoreWalk &walk) {
  const sch_runtime_key key = key_in_host_order(raw_key);
  const pss_buf *value = walk.value();
  if (value == nullptr) return true;
  void *memory = sch_malloc_check(sizeof(sch_runtime_job_status), SCH_MEMORY_JOB_STATUS, 0, "restore db");
  if (memory == nullptr) return false;
  auto *status = static_cast<sch_runtime_job_status *>(memory);
  std::memcpy(status->schedule_name, key.name, sizeof status->schedule_name);
  status->job_id = key.job_id;
  copy_at_most(status->words, sizeof status->words, *value);
  sch_add_runtime_job_status_entry(config, status);
  return true;
}

}  // namespace

int sch_restore_db_from_pss(sch_config_db *config, pss_handle store) {
  StoreWalk walk(store);
  const pss_buf *key = walk.first();
  if (walk.failed()) {
    SCH_TRACE_SERVICE(trace_config, "could not move to first key in rundb");
    return 0;
  }
  const append_session whole_walk;
  while (key != nullptr && restore_status(config, *key, walk))
    key = walk.next();
  return 0;
}

int sch_save_runtime_job_status_entry_to_pss(pss_handle store, const sch_runtime_job_status *status) {
  sch_runtime_key key = stored_key(SCH_RUNTIME_STATUS, *status);
  uint32_t words[2] = {status->words[0], status->words[1]};
  const pss_buf key_buf = {&key, sizeof key};
  const pss_buf value_buf = {words, sizeof words};
  const uint32_t error = pss_store(store, 1, &key_buf, &value_buf);
  if (error == 0) return 0;
  SCH_TRACE_SERVICE(trace_config, "PSS error 0x%x saving the job %d status for schedule %s", error, status->job_id,
                    FieldText(status->schedule_name).text);
  sch_syserr_log(trace_config, error);
  return -1;
}

int sch_save_runtime_job_status_to_pss(pss_handle store, const sch_job_entry *slot) {
  for (const GList *node = g_list_first(slot->status_list); node != nullptr; node = node->next) {
    sch_save_runtime_job_status_entry_to_pss(store, static_cast<const sch_runtime_job_status *>(node->data));
  }
  return 0;
}

int sch_save_db_to_pss(sch_config_db *config, pss_handle store) {
  for (int index = 0; index < SCH_MAX_JOBS; ++index) {
    const sch_job_entry &slot = config->jobs[index];
    if (slot.key == nullptr || slot.hdr == nullptr || slot.fragments == nullptr) continue;
    SCH_TRACE_SERVICE(trace_config, "saving job %s (%d)", FieldText(slot.key->name).text, index);
    sch_save_runtime_job_status_to_pss(store, &slot);
  }
  return 0;
}

int sch_delete_job_status_entry_from_pss(pss_handle store, const sch_runtime_job_status *status) {
  sch_runtime_key key = stored_key(deleted_key_type, *status);
  const pss_buf key_buf = {&key, sizeof key};
  return static_cast<int>(pss_delete(store, &key_buf));
}

int sch_delete_all_status_for_job_from_pss(pss_handle store, sch_job_entry *slot) {
  while (GList *node = g_list_first(slot->status_list)) {
    auto *status = static_cast<sch_runtime_job_status *>(node->data);
    SCH_TRACE_SERVICE(trace_config, "pss delete job (%s) status (%d)", FieldText(slot->key->name).text, status->job_id);
    slot->status_list = g_list_remove_link(slot->status_list, node);
    sch_delete_job_status_entry_from_pss(store, status);
    mtrack_free(status);
    g_list_free_1(node);
  }
  return 0;
}
