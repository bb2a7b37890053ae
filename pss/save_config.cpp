// SPDX-License-Identifier: Apache-2.0
// A whole configuration into a store.
#include "diag/trace.h"
#include "pss/fields.h"
#include "schedcli.h"

namespace {

void save_schedules(const sch_config_db &config, pss_handle store) {
  for (const GList *node = g_list_first(*config.schedules); node != nullptr; node = node->next) {
    const auto *entry = static_cast<const sch_schedule_entry *>(node->data);
    SCH_TRACE_SERVICE(trace_config, "pss save schedule %s", FieldText(entry->key->name).text);
    sch_save_schedule_entry_to_pss(store, entry);
  }
}

void save_jobs(const sch_config_db &config, pss_handle store) {
  for (int index = 0; index < SCH_MAX_JOBS; ++index) {
    sch_job_entry &slot = config.jobs[index];
    if (slot.key == nullptr || slot.hdr == nullptr || slot.fragments == nullptr) continue;
    SCH_TRACE_SERVICE(trace_config, "pss save job %s (%d)", FieldText(slot.key->name).text, index);
    sch_save_job_entry_to_pss(store, &slot);
  }
}

}  // namespace

// E-mail settings, e-mail entries and the enable flag are deliberately not written: they reach the store only with
// their own save functions.
int sch_save_config_to_pss(sch_config_db *config, pss_handle store) {
  save_schedules(*config, store);
  save_jobs(*config, store);
  sch_save_log_file_entry_to_pss(store, &sch_log_file_key, &sch_log_file);
  return 0;
}
