// SPDX-License-Identifier: Apache-2.0
#include "service/active.h"

#include "control/statuses.h"
#include "host/files/disk.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "host/sysmgr.h"
#include "schedcli.h"
#include "service/clock.h"
#include "service/configuration/apply.h"
#include "service/request/dispatch.h"
#include "service/run/run_record.h"
#include "service/settings_in_use.h"
#include "service/state/startup.h"

namespace service {
namespace {

// Failures that the service can live with are logged.
void tell(const host::Result<void> &done) {
  if (!done) sch_syslog_raise(&syslog_msg_SCH_ERR, done.error().text.c_str());
}

}  // namespace

Active::Active(std::shared_ptr<const Settings> settings, const host::User &user, time_t started)
    : recorder_(log_),
      runner_(recorder_, {settings, host::paths().system_wide}),
      scheduler_(recorder_, runner_, *settings),
      courier_({host::paths().state + "/mail", find_schedmail()}, settings, [] { return int64_t{wall_clock()}; }),
      reports_(courier_, &log_),
      context_{Authority(host::paths().system_wide, {user.uid, user.name}),
               log_,
               runner_,
               scheduler_,
               false,
               std::move(settings),
               started,
               &courier_},
      pending_configuration_(context_) {
  tell_limits(*context_.settings);
  context_.tally = &tally_;
  recorder_.on_stored([this](const RunStep &step) {
    tally_.take(step);
    reports_.take(step);
  });
  recorder_.on_report([this](const RunStep &step) { return reports_.owes(step); });
}

host::Result<void> Active::settle() {
  if (const auto settled = settle_stores(); !settled) return settled.error();
  if (const auto opened = log_.open(stored_outcomes()); !opened) return opened.error();
  tell(runner_.processes().end_left_overs());
  if (runner_.processes().uses_pam()) context_.accounts = &accounts_;
  settle_configuration();
  tell(courier_.open());  // finds what is queued already, before new mail is queued
  reports_.recover(recorder_);
  scheduler_.recover();
  context_.pending_configuration = &pending_configuration_;
  pending_configuration_.confirmation.start();
  return host::sysmgr_mark_started();
}

Active::~Active() {
  host::wait_for_disk_by({});
}

// Without the thread the service's own waits for the disk, and its clients wait too.
void Active::start_worker() {
  host::Result<std::unique_ptr<host::Worker>> started = host::Worker::start();
  if (!started) return tell(started.error());
  disk_ = std::move(*started);
  host::wait_for_disk_by([this](const host::DiskWork &work) { disk_->run(work); });
}

host::Result<void> Active::start() {
  start_worker();
  if (const auto started = scheduler_.start(); !started) return started.error();
  zone_watch_.start([this] { scheduler_.zone_changed(); });
  return {};
}

host::Answer Active::answer(const host::Incoming &incoming) {
  host::Answer result = dispatch(context_, incoming);
  if (incoming.service != SCH_SERVICE_SHOW) scheduler_.check_soon();  // showing changes nothing
  return result;
}

void Active::use(const std::shared_ptr<const Settings> &settings) {
  service::use(context_, settings);
  zone_watch_.configure(settings->zone);
}

}  // namespace service
