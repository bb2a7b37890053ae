// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/loop/watch.h"
#include "host/security/security.h"
#include "schedcli.h"
#include "service/request/context.h"
#include "service/run/job_process.h"

namespace service {

// One run of one schedule. The configuration may change under it: what counts for the next job is the schedule as it is
// then, and a job or schedule that was deleted gets no more than its line in the log.
class Run {
 public:
  Run(Context &context, Runner &runner, sch_schedule_entry &entry);

  void begin();
  void ask_to_end() const;  // the job under way: so that all of them end at the same time
  void stop();              // the service ends

 private:
  bool find_owner(std::string *refusal);
  bool needs_authentication() const;
  void authenticate();
  void authenticated(uint32_t status);
  void refuse_user(const std::string &why);
  void next_job();
  void start_job(sch_job_entry &slot);
  void job_ended(const JobProcess::Result &result);
  void record(const JobProcess::Result &result);
  void note_progress(uint32_t running_job);
  void finish();
  sch_schedule_entry *entry() const;

  Context &context_;
  Runner &runner_;
  uintptr_t schedule_;
  std::string schedule_name_, owner_name_;
  uint32_t owner_tag_;
  std::optional<host::User> owner_;
  std::string refusal_;  // why no job of this run may run
  bool begun_ = false;
  int last_job_ = -1;
  std::string job_name_;  // under way
  uintptr_t job_ = 0;
  std::unique_ptr<JobProcess> process_;
  std::shared_ptr<host::PendingAnswer> authentication_;
  host::Watch authentication_ready_, authentication_timer_;
};

}  // namespace service
