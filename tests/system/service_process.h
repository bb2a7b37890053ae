// SPDX-License-Identifier: Apache-2.0
// The real schedd on a temporary state directory, and an operator's requests to it through the real handlers and
// transport.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "schedcli.h"
#include "schedcli_requests.h"

namespace system_test {

class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory &) = delete;
  TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;
  const std::string &path() const { return path_; }

 private:
  std::string path_;
};

// One schedd at a time on one state directory. Its standard error goes to <state>/../<name>.err, read with errors().
class ServiceProcess {
 public:
  explicit ServiceProcess(std::string state_dir, std::vector<std::string> arguments = {}, std::string program = {});
  ~ServiceProcess();
  ServiceProcess(const ServiceProcess &) = delete;
  ServiceProcess &operator=(const ServiceProcess &) = delete;

  bool start();  // until it says that it is ready; false: it ended or said nothing for 20 seconds
  int wait();    // its wait status
  void signal(int number) const;
  void kill_and_wait();
  int stop();  // SIGTERM, then its wait status
  pid_t pid() const { return pid_; }
  std::string errors() const;
  void environment(const std::string &assignment) { environment_.push_back(assignment); }

 private:
  std::string state_dir_, program_;  // empty: the real schedd
  std::vector<std::string> arguments_, environment_;
  pid_t pid_ = -1;
};

// What the service shows of its configuration.
struct Schedule {
  sch_tminfo time{};
  std::set<std::string> jobs;
  bool operator==(const Schedule &other) const;
};
struct Configuration {
  std::map<std::string, std::string> jobs;  // name -> text
  std::map<std::string, Schedule> schedules;
  bool operator==(const Configuration &) const = default;
};
std::optional<Configuration> shown_configuration();  // nothing: a request failed
std::string describe(const Configuration &configuration);

// The handlers, called as the user who runs the test. Each returns the handler's result.
int enable_feature();
int create_job(const std::string &name);
int delete_job(const std::string &name);
int define_job(const std::string &name, const std::string &text);
int create_schedule(const std::string &name);
int delete_schedule(const std::string &name);
int set_daily(const std::string &name, int hour, int minute);
int assign_job(const std::string &schedule, const std::string &job, bool assign);

std::string run_shell(const std::string &state_dir, const std::vector<std::string> &arguments, int *exit_status,
                      const std::string &input = "",
                      const std::string &program = "");  // standard output and standard error together

}  // namespace system_test
