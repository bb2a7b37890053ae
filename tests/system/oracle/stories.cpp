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

void run_is_killed(World &world) {
  const std::optional<uint64_t> run = world.run_now(never_due);
  if (run && world.kill_run(*run)) world.settle();
}

void leave_runs_behind(World &world) {
  world.to_next_minute();
  world.run_now("A");
  world.run_now(never_due);
  world.kill();
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

std::vector<Story> stories() {
  std::vector<Story> all = {
      {"due", minute_passes},
      {"asked_for", somebody_asks},
      {"asked_for_while_due", asked_for_while_due},
      {"run_is_killed", run_is_killed},
      {"start", starts, leave_runs_behind},
      {"stop", stops},
  };
  const std::vector<Story> of_changes = stories_of_changes();
  all.insert(all.end(), of_changes.begin(), of_changes.end());
  return all;
}

bool is_of_living_service(const Story &story) {
  return story.before == nullptr && std::string(story.name) != "stop";
}

std::string text_of(const Complaints &complaints) {
  std::string text;
  for (const std::string &complaint : complaints)
    text += "  " + complaint + "\n";
  return text;
}

}  // namespace oracle
