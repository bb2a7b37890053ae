// SPDX-License-Identifier: Apache-2.0
// A table of the cron daemon: what is imported is a configuration, and has no block but those of the table's own lines.
// Input: whether lines name users (one byte), then the table.
#include "fuzz/input.h"
#include "service/configuration/text.h"
#include "shell/configuration_text.h"
#include "shell/crontab.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Input input(data, size);
  const bool has_users = (input.byte() & 1) != 0;
  shell::CrontabImport import;
  shell::add_crontab({"/etc/cron.d/t", has_users, "root"}, input.rest(), &import);
  const shell::ConfigurationText text = shell::read_configuration_text(import.configuration);
  fuzz::require(text.problems.empty(), "what is imported is a configuration");
  const service::ConfigurationRead read = service::read_configuration(text.text);
  fuzz::require(read.problems.empty(), "and the service's too");
  for (const service::JobBlock &job : read.configuration.jobs)
    fuzz::require(job.name.starts_with("cron-t-"), "a job is of one of the table's lines");
  for (const service::ScheduleBlock &schedule : read.configuration.schedules)
    fuzz::require(schedule.jobs.size() == 1 && !schedule.time.empty(), "a schedule has its line's job and time");
  fuzz::require(read.configuration.settings == service::GlobalSettings(), "no setting is changed");
  return 0;
}
