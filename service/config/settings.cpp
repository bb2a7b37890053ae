// SPDX-License-Identifier: Apache-2.0
#include "service/config/settings.h"

#include <algorithm>

namespace service {

const ClassSettings &class_for(const Settings &settings, const std::vector<std::string> &groups) {
  const auto found = std::find_if(settings.classes.begin() + 1, settings.classes.end(), [&](const ClassSettings &each) {
    return std::find_first_of(each.groups.begin(), each.groups.end(), groups.begin(), groups.end()) !=
           each.groups.end();
  });
  return found != settings.classes.end() ? *found : settings.classes.front();
}

Limits limits_of(const ClassSettings &settings) {
  Limits limits;
  limits.time_s = static_cast<unsigned>(settings.time_limit_s);
  limits.grace_ms = static_cast<unsigned>(settings.grace_s) * 1000;
  limits.memory_bytes = static_cast<uint64_t>(settings.memory_mib) << 20;
  limits.tasks = static_cast<uint32_t>(settings.tasks);
  limits.cpu_percent = static_cast<uint32_t>(settings.cpu_percent);
  limits.output_bytes = static_cast<size_t>(settings.output_kib) << 10;
  limits.nice = settings.nice;
  return limits;
}

control::ConfiguredLimits configured_limits(const Settings &settings) {
  control::ConfiguredLimits limits;
  limits.schedules = static_cast<uint32_t>(settings.max_schedules);
  limits.schedules_per_user = static_cast<uint32_t>(settings.max_schedules_per_user);
  limits.jobs_per_user = static_cast<uint32_t>(settings.max_jobs_per_user);
  limits.job_text = static_cast<uint32_t>(settings.job_text_bytes);
  limits.log_size = static_cast<uint32_t>(settings.log_size_kib);
  return limits;
}

}  // namespace service
