// SPDX-License-Identifier: Apache-2.0
#include "service/process/environment.h"

namespace service {

std::vector<std::string> job_environment(const Task &task) {
  std::vector<std::string> variables = {"HOME=" + task.owner.home,
                                        "USER=" + task.owner.name,
                                        "LOGNAME=" + task.owner.name,
                                        "SHELL=" + task.owner.shell,
                                        "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                                        "LANG=C.UTF-8",
                                        "PWD=" + task.owner.home,
                                        "SCHEDULE=" + task.schedule,
                                        "JOB=" + task.job};
  if (!task.time_zone.empty()) variables.push_back("TZ=" + task.time_zone);
  return variables;
}

}  // namespace service
