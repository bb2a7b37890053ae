// SPDX-License-Identifier: Apache-2.0
// The administrator's settings: one record, read from the configuration file and replaced as a whole at a reload. The
// file's keys are in keys.h; the defaults are here alone.
#pragma once

#include <string>
#include <vector>

#include "control/limits.h"
#include "host/sysmgr.h"
#include "service/limits.h"
#include "service/process/limits.h"

namespace service {

using host::BootFrom;
inline constexpr control::ConfiguredLimits default_limits;

enum class StartAs { active, standby };
enum class MissedPolicy { skip, run_once };
enum class MailPolicy { always, failure, never };

// How jobs run, for a class of users. [class default] applies to everybody; [class NAME] applies to the members of the
// groups that it names, and what it does not set is as in [class default].
struct ClassSettings {
  std::string name = "default";
  std::vector<std::string> groups;
  int time_limit_s = job_time_limit_s;
  int grace_s = job_grace_ms / 1000;  // between SIGTERM and SIGKILL
  int memory_mib = 0;                 // of a run; 0: no limit
  int tasks = 0;                      // processes and threads of a run; 0: no limit
  int cpu_percent = 0;                // of one processor; 0: no limit
  int output_kib = capture_limit / 1024;
  int nice = 0;
  bool leave_daemons = false;
};

struct Settings {
  std::string file;  // where they came from; empty: defaults alone

  std::string zone;  // empty: TZ, else the machine's
  std::string interpreter = "/bin/sh";
  StartAs start_as = StartAs::active;
  BootFrom boot_from = BootFrom::running;
  int store_limit_mib = 128;

  int max_schedules = default_limits.schedules;
  int max_schedules_per_user = default_limits.schedules_per_user;  // limits per user do not apply to the administrator
  int max_jobs_per_user = default_limits.jobs_per_user;
  int job_text_bytes = default_limits.job_text;
  int log_size_kib = default_limits.log_size;

  int max_parallel = run_limit;
  int max_parallel_per_user = 16;
  MissedPolicy missed = MissedPolicy::skip;
  // With run_once: a due time that was missed longer ago than this is not made up for.
  int missed_window_s = static_cast<int>(service::missed_window_s);
  int late_grace_s = late_limit_s;
  int stop_grace_s = 5;  // for all runs together when the service ends

  std::vector<ClassSettings> classes = {ClassSettings()};  // the default first, then in the order of the file

  std::vector<std::string> allow_groups;  // who may configure; empty: everybody

  MailPolicy mail = MailPolicy::always;
  bool mail_require_tls = false;
  std::string mail_credentials;  // a file; empty: none
  int mail_retry_window_s = 24 * 3600;
  int mail_queue = 1000;  // the most messages that may wait
};

// The class of a member of these groups: the first one in the file that names one of them, otherwise the default.
const ClassSettings &class_for(const Settings &settings, const std::vector<std::string> &groups);

Limits limits_of(const ClassSettings &settings);
control::ConfiguredLimits configured_limits(const Settings &settings);

}  // namespace service
