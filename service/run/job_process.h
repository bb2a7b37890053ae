// SPDX-License-Identifier: Apache-2.0
// One job under way: its output, its time, its end.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/loop/watch.h"
#include "service/limits.h"
#include "service/run/child.h"

namespace service {

class JobProcess {
 public:
  struct Result {
    uint32_t wait_status = 0;  // as recorded
    std::string output;
    uint64_t output_total = 0;  // bytes that the job printed
    std::string remark;         // the service's, when it has to say more than the status does
  };
  using Done = std::function<void(Result)>;  // once; may destroy the process

  // Null: `error` says why it did not start.
  static std::unique_ptr<JobProcess> start(const Task &task, Done done, std::string *error,
                                           unsigned time_limit_s = job_time_limit_s);
  ~JobProcess();  // kills the group and waits for its leader
  JobProcess(const JobProcess &) = delete;
  JobProcess &operator=(const JobProcess &) = delete;

  void signal_group(int number) const;
  bool wait_ms(int milliseconds) const;  // true: it has ended
  Result end();                          // now, as stopped by the service; `done` is not called

 private:
  JobProcess(Child child, Done done) : child_(std::move(child)), done_(std::move(done)) {}
  void watch(unsigned time_limit_s);
  void take_output();
  void keep(const char *bytes, size_t size);
  void out_of_time(unsigned time_limit_s);
  void finish();
  int reap();
  Result take_result(uint32_t wait_status);

  Child child_;
  Done done_;
  Result result_;
  bool timed_out_ = false;
  host::Watch output_, exit_, timer_;
};

}  // namespace service
