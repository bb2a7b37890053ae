// SPDX-License-Identifier: Apache-2.0
#include "service/state/change.h"

#include "control/statuses.h"
#include "host/status.h"
#include "host/store/store.h"
#include "service/state/schedule_state.h"
#include "service/state/tables.h"

namespace service {

ConfigChange::ConfigChange() {
  undo_.reserve(8);  // undo steps are noted after the change, when noting them must not run out of memory
  afterwards_.reserve(8);
  const host::Result<void> begun = host::store_begin(pss_running);
  open_ = begun.ok();
  if (!open_) fail("Begin change", begun.error());
}

ConfigChange::~ConfigChange() {
  if (open_) host::store_abort(pss_running);
  for (auto step = undo_.rbegin(); step != undo_.rend(); ++step)
    (*step)();
}

void ConfigChange::modify(sch_schedule_entry &entry) {
  undo([&entry, before = *entry.rec] { set_record(entry, before); });
}

void ConfigChange::save(sch_schedule_entry &entry) {
  renew_edition(*entry.rec);
  require(sch_save_schedule_entry_to_pss(pss_running, &entry));
}

void ConfigChange::save(sch_job_entry &slot) {
  require(sch_save_job_entry_to_pss(pss_running, &slot));
}

void ConfigChange::fail(const char *purpose, const host::Error &error) {
  failed_ = true;
  sch_syslog_raise(&syslog_msg_SCH_SYSLOG_PSS_ERR, purpose, sch_pss_running_uri, static_cast<int>(error.code));
  sch_syslog_raise(&syslog_msg_SCH_ERR, error.text.c_str());
}

uint32_t ConfigChange::commit() {
  if (failed_ && open_) fail("Save change", {control::err_not_stored, host::store_last_error()});
  if (failed_) return control::err_not_stored;
  open_ = false;
  if (const host::Result<void> committed = host::store_commit(pss_running); !committed) {
    fail("Commit change", committed.error());
    return committed.code() == host::err_store_gone ? host::err_store_gone : control::err_not_stored;
  }
  undo_.clear();
  for (auto &step : afterwards_)
    step();
  return 0;
}

}  // namespace service
