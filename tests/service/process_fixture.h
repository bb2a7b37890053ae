// SPDX-License-Identifier: Apache-2.0
// Jobs as real processes, without a schedule around them.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>

#include "host/loop/loop.h"
#include "service/run/job_process.h"
#include "tests/service/world.h"

namespace service_test {

using service::JobProcess;

service::Task task(const std::string &text);                              // of this test's own user
service::Task task_of(const std::string &user, const std::string &text);  // of another; needs root

// How what a run starts is kept together.
enum class Kept { by_keeper, in_group };

class Starting {
 public:
  explicit Starting(Kept kept = Kept::by_keeper, service::Processes::Options options = {.pam = false});
  ~Starting();

  std::unique_ptr<JobProcess> start(const service::Task &task, JobProcess::Done done = {});
  JobProcess::Result run(const service::Task &task);

  host::Loop *loop() { return &loop_; }
  service::Processes &processes() { return *processes_; }
  void begin_again() { processes_ = std::make_unique<service::Processes>(options_); }
  const std::string &path() const { return directory_.path(); }  // every user may write below it

 private:
  host::Loop loop_;
  Directory directory_;
  service::Processes::Options options_;
  std::unique_ptr<service::Processes> processes_;
};

// A group of this machine's second hierarchy that the tests may use; empty, and why, where there is none.
std::string usable_group(std::string *why);

bool has_ended(pid_t process);                                                          // or has not been collected yet
bool comes_true(const std::function<bool()> &condition, host::Loop *turned = nullptr);  // within a generous bound
pid_t read_number(const std::string &file);  // waits for it; 0: it did not come

}  // namespace service_test
