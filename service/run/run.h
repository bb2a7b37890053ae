// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/loop/watch.h"
#include "host/security/security.h"
#include "schedcli.h"
#include "service/run/job_process.h"
#include "service/run/job_task.h"
#include "service/run/recorder.h"

namespace service {

// A run whose intent is stored: if the service crashes before its end, the next start records it as interrupted.
struct RunTicket {
  uint64_t number = 0;
  uintptr_t schedule = 0;  // serial
  uint32_t due = 0;        // 0: an operator started it
  int64_t begin_ms = 0;    // when it was found due
  std::string asked_by;
};

// One run of one schedule. The configuration may change meanwhile: each next job is taken from the schedule as it is
// then. Of a deleted job or schedule the outcome is only logged.
class Run {
 public:
  struct Ends {
    std::function<void()> processes;  // called once when no process runs any more; the last outcome may not be stored
    std::function<void()> all;        // called once, as the run's last action; may destroy the run
  };

  // `schedule`: the schedule's names and owner, kept for reports as it may be deleted before its turn.
  Run(const RunOptions &options, Processes &processes, Recorder &recorder, RunStep schedule, RunTicket ticket,
      Ends ends);

  void begin(int64_t now_ms);
  void kill(const std::string &asked_by);  // SIGTERM, SIGKILL after the grace; no further job starts

  JobProcess *process() const { return process_.get(); }  // under way; null: none
  void stop();                                            // the service ends

  const RunTicket &ticket() const { return ticket_; }
  const RunStep &schedule() const { return schedule_; }
  const std::string &job_name() const { return job_name_; }  // under way; empty: none

 private:
  struct Ending {
    Reason reason = Reason::ended;  // any other: why the remaining jobs do not start
    std::string remark;
  };
  enum class Then { go_on, wait };

  host::Result<void> find_owner();
  host::Result<void> check_account() const;
  void find_owner_again();
  bool needs_authentication() const;
  void authenticate();
  void authenticated(uint32_t status);
  void refuse_user(const std::string &why);
  sch_schedule_entry *entry() const;
  int job_after(int id) const;  // -1: none
  void next_job();
  void go_on();
  bool start_job(const sch_job_entry &slot);
  std::string refusal_of(const sch_job_entry &slot) const;
  host::Result<std::unique_ptr<JobProcess>> start_process(const sch_job_entry &slot);
  void job_ended(JobProcess::Result result);
  void record_unstarted(const sch_job_entry &slot, Reason reason, const std::string &remark);
  void record(RunStep step, Then then);
  RunStep step_of_job() const;
  void end_without_outcome();
  void finish();

  const RunOptions &options_;
  Processes &processes_;
  Recorder &recorder_;
  RunStep schedule_;
  RunTicket ticket_;
  Ends ends_;
  std::optional<host::User> owner_;
  std::string refusal_;  // why no job of this run may run
  Ending ending_;
  bool over_ = false;  // its last step was given to the recorder
  int last_job_ = -1;
  std::string job_name_;
  uintptr_t job_ = 0;
  int64_t job_begin_ms_ = 0;
  std::unique_ptr<JobProcess> process_;
  std::shared_ptr<host::PendingAnswer> authentication_;
  host::Watch authentication_ready_, authentication_timer_, kill_timer_;
};

}  // namespace service
