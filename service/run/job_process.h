// SPDX-License-Identifier: Apache-2.0
// One job under way: its output, its time, its end, and the end of all that it started.
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
    uint32_t wait_status = 0;  // as recorded
    std::string output;
    uint64_t output_total = 0;  // bytes that the job printed
    std::string remark;         // the service's, when it has to say more than the status does
    Reason reason = Reason::ended;
    uint32_t killed = 0;  // processes that the job had left behind
  };
  using Done = std::function<void(Result)>;  // once; may destroy the process

  // What goes wrong after the process was made comes as a result: it waits for directories and programs that may be far
  // away, the service must not.
  static host::Result<std::unique_ptr<JobProcess>> start(Processes &processes, const Task &task, Done done);
  ~JobProcess();  // ends the run, and waits for its process
  JobProcess(const JobProcess &) = delete;
  JobProcess &operator=(const JobProcess &) = delete;

  void signal_all(int number) const;     // to everything that the run started
  bool wait_ms(int milliseconds) const;  // true: it has ended
  Result end();                          // now, as stopped by the service; `done` is not called

  // Asks all to end, takes their output meanwhile, and kills what has not ended when the one grace is over. Each is
  // still to be ended by end().
  static void end_all(const std::vector<JobProcess *> &processes, int grace_ms);

  unsigned grace_ms() const { return limits_.grace_ms; }

 private:
  JobProcess(Started started, const Task &task, Done done);
  void watch();
  void take_output();
  void keep(const char *bytes, size_t size);
  void take_reports();
  void out_of_time();
  void pam_out_of_time();
  void ended();
  void empty_group();
  void finish();
  void collect();
  void kill_all() const;
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
  bool job_ended_ = false;  // and it is known how
  bool timed_out_ = false, final_ = false;
  int rounds_ = 0;
  host::Watch output_, exit_, timer_, reports_, emptying_, pam_timer_;
};

}  // namespace service
