// SPDX-License-Identifier: Apache-2.0
// What a client sees of a service's runs: the history, the job log, the statuses.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/system/oracle/client.h"

namespace oracle {

struct JobOutcome {
  std::string job;      // "-": of the run as a whole
  std::string outcome;  // the word of the history
  uint32_t code = 0;
  bool operator==(const JobOutcome &) const = default;
};

struct SeenRun {
  uint64_t number = 0;
  std::string schedule;
  time_t due = 0;  // 0: somebody asked for it
  std::string outcome;
  uint32_t missed = 0;  // due times that it stands for
  std::vector<JobOutcome> jobs;
};

struct LogEntry {
  std::string schedule, job, output;
  uint32_t code = 0;
};

struct SeenSchedule {
  int32_t executions = 0;
  std::map<std::string, uint32_t> codes;  // of each job that is assigned
};

struct Observed {
  std::map<std::string, std::vector<SeenRun>> runs;  // of each schedule, newest first, without their jobs
  std::vector<LogEntry> log;
  std::map<std::string, SeenSchedule> schedules;
};

// Each: nothing, when the service has gone.
std::optional<std::vector<SeenRun>> see_history(Client &client, const std::string &schedule);
std::optional<SeenRun> see_run(Client &client, SeenRun run);  // with its jobs
std::optional<Observed> observe(Client &client);

bool is_under_way(const SeenRun &run);

}  // namespace oracle
