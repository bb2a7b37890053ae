// SPDX-License-Identifier: Apache-2.0
// Everything that works only while the service is active: runs, their log and mail, and the answers to requests. The
// stores are open by then (open_stores).
#pragma once

#include <ctime>
#include <memory>

#include "host/loop/worker.h"
#include "host/result.h"
#include "host/security/security.h"
#include "host/transport/transport.h"
#include "service/calendar/zone_watch.h"
#include "service/configuration/pending.h"
#include "service/joblog/joblog.h"
#include "service/mail/courier.h"
#include "service/mail/run_reports.h"
#include "service/metrics/tally.h"
#include "service/request/accounts.h"
#include "service/request/context.h"
#include "service/run/recorder.h"
#include "service/run/runner.h"
#include "service/run/scheduler.h"

namespace service {

class Active {
 public:
  Active(std::shared_ptr<const Settings> settings, const host::User &user, time_t started);
  ~Active();
  Active(const Active &) = delete;
  Active &operator=(const Active &) = delete;

  // Cleans up after an earlier process: interrupted runs, unsent mail, a change of configuration. Starts nothing yet.
  host::Result<void> settle();
  host::Result<void> start();  // from now on schedules run when they are due, and a commit holds up nobody who reads

  host::Answer answer(const host::Incoming &incoming);
  void use(const std::shared_ptr<const Settings> &settings);
  void stop() { runner_.stop_all(); }

 private:
  void start_worker();

  JobLog log_;
  Recorder recorder_;
  Runner runner_;
  Scheduler scheduler_;
  Courier courier_;
  RunReports reports_;
  Accounts accounts_;
  Tally tally_;
  Context context_;
  PendingConfiguration pending_configuration_;
  ZoneWatch zone_watch_;
  std::unique_ptr<host::Worker> disk_;  // null until schedules run: what is half set up is not shown
};

}  // namespace service
