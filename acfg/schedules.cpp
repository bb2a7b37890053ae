// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "acfg/line.h"
#include "db/text_field.h"
#include "platform/bitset.h"

namespace {

using acfg::element_scheduler;
using acfg::Indent;

// Ids of jobs that no longer exist are skipped.
void add_jobs(const sch_config_db *config, acfg_hdl *handle, const sch_schedule_rec *rec) {
  for (int id = -1; (id = bitset_next_bit(rec->jobs, SCH_MAX_JOBS, id)) >= 0;) {
    if (id >= SCH_MAX_JOBS || config->jobs[id].key == nullptr) continue;
    acfg::add_line(handle, element_scheduler, Indent::under_block, "job name %.32s\n", config->jobs[id].key->name);
  }
}

// A schedule without a time emits the two blanks alone, without a line end: it is meant.
void add_time(acfg_hdl *handle, const sch_tminfo *time) {
  std::memset(cfg_line, 0, sizeof cfg_line);
  std::memset(cfg_line, ' ', 2);
  sch_acfg_print_schedule_type(time, cfg_line, sizeof cfg_line);
  acfg::add_cfg_line(handle, element_scheduler, Indent::none);
}

void add_addresses(acfg_hdl *handle, const sch_config_key *key) {
  const FieldText name(key->name);  // a stored name may fill its field
  sch_schedule_email_entry *entry = nullptr;
  sch_find_schedule_email_entry(&sch_schedule_email_list, name.text, &entry);
  if (entry == nullptr || entry->count == 0) return;
  for (const sch_email_slot &slot : entry->slots) {
    if (slot.in_use == 0) continue;
    acfg::add_line(handle, element_scheduler, Indent::none, "email-addr %.64s\n", slot.address);
  }
}

}  // namespace

int sch_add_schedule_cfg(sch_config_db *config, acfg_hdl *handle, sch_schedule_entry *schedule) {
  acfg::add_line(handle, element_scheduler, Indent::none, "scheduler schedule name %.32s\n", schedule->key->name);
  add_jobs(config, handle, schedule->rec);
  add_time(handle, &schedule->rec->time);
  add_addresses(handle, schedule->key);
  acfg::add_line(handle, element_scheduler, Indent::none, "\n");
  return 0;
}

int sch_acfg_schedule_cfg_gen(sch_config_db *config, acfg_hdl *handle) {
  for (const GList *node = *config->schedules; node != nullptr; node = node->next) {
    sch_add_schedule_cfg(config, handle, static_cast<sch_schedule_entry *>(node->data));
  }
  return 0;
}
