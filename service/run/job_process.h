// SPDX-License-Identifier: Apache-2.0
// One job under way: collects its output, limits its time, and kills what it has started when it ends.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/loop/watch.h"
#include "host/result.h"
#include "service/process/processes.h"
#include "service/run/outcome.h"

namespace service {

class JobProcess {
 public:
  struct Result {
    uint32_t wait_status = 0;  // see recorded_status()
    std::string output;
    uint64_t output_total = 0;  // bytes that the job printed
    std::string remark;         // an explanation where the status does not say all; else empty
    Reason reason = Reason::ended;
    uint32_t killed = 0;  // number of processes that the job had left behind and that were killed
  };
  using Done = std::function<void(Result)>;  // called once; may destroy the object

  // Errors after the process was created are reported as a Result: the process may have to wait for remote directories,
  // and the service must not wait for it.
  static host::Result<std::unique_ptr<JobProcess>> start(Processes &processes, const Task &task, Done done);
  ~JobProcess();  // kills the job, and waits for its process
  JobProcess(const JobProcess &) = delete;
  JobProcess &operator=(const JobProcess &) = delete;

  void signal_all(int number) const;     // to everything that the job has started
  bool wait_ms(int milliseconds) const;  // true: it has ended
  Result end();                          // kills it now; reason `stopped`; `done` is not called

  // Sends SIGTERM to all, reads their output meanwhile, and kills what has not ended after the common grace. The caller
  // then calls end() for each.
  static void end_all(const std::vector<JobProcess *> &processes, int grace_ms);

  unsigned grace_ms() const { return limits_.grace_ms; }

 private:
  JobProcess(Started started, const Task &task, Done done);
  void watch();
  void take_output(size_t most);
  void take_last_output();
  void keep(const char *bytes, size_t size);
  void take_reports();
  void out_of_time();
  void pam_out_of_time();
  void ended();
  void empty_group();
  void finish();
  void collect();
  void kill_all() const;
  void kill_keeper() const;
  static void wait_for(std::vector<JobProcess *> processes, int milliseconds);
  void say(const std::string &what);
  void judge();

  Started started_;
  Limits limits_;
  bool leave_daemons_;
  std::string owner_, interpreter_;
  Done done_;
  Result result_;
  std::optional<Report> failure_;
  int wait_status_ = 0;     // of the job
  bool job_ended_ = false;  // and wait_status_ is valid
  bool timed_out_ = false, final_ = false;
  int rounds_ = 0;
  host::Watch output_, exit_, timer_, reports_, emptying_, pam_timer_;
};

}  // namespace service
