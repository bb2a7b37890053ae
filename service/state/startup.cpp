// SPDX-License-Identifier: Apache-2.0
#include "service/state/startup.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <optional>
#include <utility>
#include <vector>

#include "control/statuses.h"
#include "host/debug.h"
#include "host/security/security.h"
#include "host/status.h"
#include "host/store/store.h"
#include "host/sysmgr.h"
#include "platform/sysmgr.h"
#include "service/clock.h"
#include "service/configuration/startup_level.h"
#include "service/request/logging_level.h"
#include "service/run/due.h"
#include "service/state/change.h"
#include "service/state/job_text.h"
#include "service/state/left_out.h"
#include "service/state/run_state.h"
#include "service/state/schedule_state.h"
#include "service/state/statuses.h"
#include "service/state/tables.h"

namespace service {
namespace {

host::Error failed(const char *what) {
  return {control::err_not_stored, std::string(what) + ": " + host::store_last_error()};
}

// With the limits that the library's own start gives to its stores.
int create_store(const char *uri) {
  return sch_pss_create(uri, 1024, SCH_FRAGMENT_SIZE, sizeof(sch_config_key));
}

host::Result<void> open_debug_store() {
  if (create_store(sch_debug_pss_running_uri) != 0) return failed("debug store");
  uint32_t status = 0;
  debug_pss_running = pss_open(sch_debug_pss_running_uri, &status);
  if (status != 0) return failed("debug store");
  return {};
}

void take_startup_logging_level() {
  if (const std::optional<int32_t> level = startup_logging_level()) store_logging_level(debug_pss_running, *level);
}

uint32_t latest_completion(const std::string &schedule) {
  uint32_t latest = 0;
  for_each_job([&](const sch_job_entry &slot, uint32_t) {
    if (const sch_runtime_job_status *status = find_status(slot, schedule.c_str()); status != nullptr)
      latest = std::max(latest, status->words[1]);
  });
  return latest;
}

// For a boot from startup, whose records have the run state of the time when they were saved: later runs are known only
// from the job statuses. A due time before such a run was not missed.
void forget_used_times(sch_schedule_entry &entry, time_t now) {
  const uint32_t completion = latest_completion(name_of(*entry.key));
  change_state(entry, [completion](ScheduleState &state) { add_known_runs(state, {completion, completion, 0}); });
  if (next_due(entry) != 0 && completion >= next_due(entry)) arm_next(entry, now);
}

gint by_number(gconstpointer left, gconstpointer right) {
  const uint32_t first = schedule_number(*static_cast<const sch_schedule_entry *>(left)->rec);
  const uint32_t second = schedule_number(*static_cast<const sch_schedule_entry *>(right)->rec);
  return first < second ? -1 : first > second;
}

using Mended = std::vector<sch_schedule_entry *>;  // schedules whose records must be stored again

template <typename Mend>
void mend(sch_schedule_entry &entry, Mended *mended, Mend change) {
  const sch_schedule_rec before = *entry.rec;
  change(entry);
  if (std::memcmp(&before, entry.rec, sizeof before) != 0) mended->push_back(&entry);
}

void drop_unknown_jobs(sch_schedule_rec &rec) {
  for_each_assigned(rec, [&](uint32_t id) {
    if (sch_job_list[id].key == nullptr) rec.jobs[id / 32] &= ~(1u << (id % 32));
  });
}

// A store may have been written by another program. Numbers are made unique and ascending, as the show command uses
// them as cursors. Jobs that do not exist are deassigned, or a later job in that slot would be assigned without
// anybody's wish.
void repair_schedules(Mended *mended) {
  sch_schedule_list = g_list_sort(sch_schedule_list, by_number);
  uint32_t last = 0;
  for_each_schedule([&](sch_schedule_entry &each) {
    mend(each, mended, [&](sch_schedule_entry &entry) {
      last = std::max(last + 1, schedule_number(*entry.rec));
      entry.rec->service_head[0] = last;
      drop_unknown_jobs(*entry.rec);
      entry.rec->service_tail[offsetof(ScheduleState, owner) + sizeof(ScheduleState::owner) - 1] = 0;
    });
  });
}

host::Result<void> repair(Mended *mended) {
  bool whole = true;
  for_each_job([&](sch_job_entry &slot, uint32_t) {
    serial(slot) = next_serial();
    whole = whole && make_text_whole(slot);
  });
  repair_schedules(mended);
  rebuild_tables();
  if (!whole) return host::Error{host::err_no_memory, "out of memory; the stores stay as they are"};
  return {};
}

// The zone may have changed while the service was down.
void follow_zone(Mended *mended) {
  const auto follow = [now = wall_clock()](sch_schedule_entry &entry) { arm_in_zone(entry, now); };
  for_each_schedule([&](sch_schedule_entry &entry) { mend(entry, mended, follow); });
}

// After a boot from startup the library saves jobs and schedules only: these would be lost at the next restart.
void save_what_is_left_out(ConfigChange &change) {
  const sch_config_key enable = {SCH_CONFIG_ENABLE, 0, {}};
  change.require(sch_save_condition_entry_to_pss(pss_running, &enable, scheduler_enabled));
  change.require(sch_save_email_from_conf_to_pss(pss_running, &email_transport_conf));
  change.require(sch_save_email_replyto_conf_to_pss(pss_running, &email_transport_conf));
  change.require(sch_save_email_smtpserver_conf_to_pss(pss_running, &email_transport_conf));
  for (GList *node = sch_schedule_email_list; node != nullptr; node = node->next)
    change.require(
        sch_save_schedule_email_entry_to_pss(pss_running, static_cast<const sch_schedule_email_entry *>(node->data)));
  for_each_job([&](sch_job_entry &slot, uint32_t) { change.save(slot); });
}

// A boot from startup saves each record that it restores. This puts all of them into one commit, as a commit for each
// would take minutes on a slow disk. A crash in between is followed by another boot in any case.
class OneCommit {
 public:
  explicit OneCommit(const char *uri) {
    if (sysmgr_is_stateless_restart() == 0) return;
    uint32_t error = 0;
    (void)create_store(uri);
    store_ = pss_open(uri, &error);
    open_ = error == 0 && host::store_begin(store_).ok();
  }
  ~OneCommit() {
    if (open_) host::store_abort(store_);
    if (store_ != 0) pss_close(store_);
  }
  OneCommit(const OneCommit &) = delete;
  OneCommit &operator=(const OneCommit &) = delete;

  bool commit() { return !std::exchange(open_, false) || host::store_commit(store_).ok(); }

 private:
  pss_handle store_ = 0;
  bool open_ = false;
};

host::Result<void> prepare_boot(BootFrom boot_from, time_t now) {
  if (host::Result<void> prepared = host::sysmgr_prepare(boot_from); !prepared) return prepared;
  if (sysmgr_is_stateless_restart() == 0) return {};
  if (host::Result<void> kept = keep_what_a_boot_leaves_out(now); !kept) return kept;
  return host::sysmgr_drop_running_configuration();
}

}  // namespace

host::Result<void> open_stores(const Settings &settings, time_t now) {
  if (host::Result<void> prepared = prepare_boot(settings.boot_from, now); !prepared) return prepared;
  if (const host::Result<void> key = host::security_become_service(); !key)
    return host::Error{key.code(), "the key of the scheduler passwords cannot be read or made: " + key.error().text};
  sch_pss_uri_init();
  {
    const host::WithoutRecordsInHistory restoring;
    OneCommit saved(sch_pss_running_uri);
    if (sch_pss_init() != 0 || !saved.commit()) return failed("stores");
  }
  return open_debug_store();
}

host::Result<void> settle_stores() {
  const bool boot = sysmgr_is_stateless_restart() != 0;
  const time_t now = wall_clock();
  Mended mended;
  if (host::Result<void> repaired = repair(&mended); !repaired) return repaired;
  for_each_schedule([&](sch_schedule_entry &entry) {
    if (lay_run_state_over(entry, now)) mended.push_back(&entry);
  });
  if (!purge_statuses()) return failed("status store");
  if (boot) take_startup_logging_level();
  const auto forget = [&](sch_schedule_entry &entry) { forget_used_times(entry, now); };
  if (boot) for_each_schedule([&](sch_schedule_entry &entry) { mend(entry, &mended, forget); });
  follow_zone(&mended);
  apply_logging_level();
  if (!boot && mended.empty()) return {};
  ConfigChange change;
  for (sch_schedule_entry *entry : mended)
    change.save(*entry);
  if (boot) save_what_is_left_out(change);
  if (change.commit() != 0) return failed("running store");
  return {};
}

}  // namespace service
