// SPDX-License-Identifier: Apache-2.0
#include "tests/system/oracle/stories.h"

namespace oracle {
namespace {

void minute_passes(World &world) {
  world.to_next_minute();
  world.settle();
}

void somebody_asks(World &world) {
  world.run_now("A");
  world.settle();
}

void asked_for_while_due(World &world) {
  world.ask_to_run("A");
  world.to_next_minute();
  world.ask_to_run("B");
  world.settle();
}

void jobs_change(World &world) {
  world.config(SCH_OP_CREATE_JOB, job_text("other", ""));
  world.config(SCH_OP_DEFINE_JOB, job_text("other", std::string(5000, 'x') + "\n"));
  world.to_next_minute();
  world.config(SCH_OP_DELETE_JOB, job_text("other", "", true));
  world.settle();
}

void schedules_change(World &world) {
  world.config(SCH_OP_CREATE_SCHEDULE, named("other"));
  world.config(SCH_OP_MODIFY_SCHEDULE, each_day("other", 4, 30));
  world.to_next_minute();
  world.config(SCH_OP_MODIFY_SCHEDULE, assignment("other", "first"));
  world.config(SCH_OP_DELETE_SCHEDULE, named("other", true));
  world.settle();
}

void names_and_addresses_change(World &world) {
  world.config(SCH_OP_CREATE_SCHEDULE, named("other"));
  sch_schedule_email_request address = {};
  address.operation = SCH_EMAIL_ADD;
  std::string("other").copy(address.schedule, sizeof address.schedule - 1);
  std::string("root@localhost").copy(address.address, sizeof address.address - 1);
  world.config(SCH_OP_SCHEDULE_EMAIL, bytes_of(address));
  world.to_next_minute();
  const std::string names = std::string("other") + '\0' + "another";
  world.control(control::Operation::rename, bytes_of(control::ObjectKind::schedule) + names);
  for (const char *name : {"other", "another"}) {
    world.control(control::Operation::disable_schedule, name);
    world.config(SCH_OP_DELETE_SCHEDULE, named(name, true));
  }
  world.settle();
}

void log_changes(World &world) {
  sch_log_file_request request = {};
  request.size = 64 * SCH_LOG_SIZE_UNIT;
  world.config(SCH_OP_RESIZE_LOG, bytes_of(request));
  world.to_next_minute();
  world.config(SCH_OP_CLEAR_LOG, bytes_of(sch_log_file_request{}));
  world.settle();
}

void configuration_is_saved(World &world) {
  world.to_next_minute();
  world.control(control::Operation::copy_running_startup);
  world.settle();
}

void starts(World &world) {
  world.to_next_minute();
  if (world.start()) world.settle();
}

void stops(World &world) {
  world.to_next_minute();
  world.run_now("A");
  world.ask_to_stop();
}

}  // namespace

const std::vector<Story> &stories() {
  static const std::vector<Story> all = {
      {"due", minute_passes},
      {"asked_for", somebody_asks},
      {"asked_for_while_due", asked_for_while_due},
      {"jobs_change", jobs_change},
      {"schedules_change", schedules_change},
      {"names_and_addresses_change", names_and_addresses_change},
      {"log_changes", log_changes},
      {"configuration_is_saved", configuration_is_saved},
      {"start", starts, true},
      {"stop", stops},
  };
  return all;
}

void leave_runs_behind(World &world) {
  world.to_next_minute();
  world.run_now("A");
  world.kill();
}

std::string text_of(const Complaints &complaints) {
  std::string text;
  for (const std::string &complaint : complaints)
    text += "  " + complaint + "\n";
  return text;
}

}  // namespace oracle
