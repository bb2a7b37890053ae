// SPDX-License-Identifier: Apache-2.0
// kill -9 at random steps and moments of a service with due times, runs that are asked for, changes and readers under
// way: after each of them the runs are judged, and the configuration is what was acknowledged, with the one change that
// was under way made wholly or not at all.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <random>

#include "tests/system/oracle/requests.h"
#include "tests/system/oracle/stories.h"

namespace oracle {
namespace {

constexpr int usual_kills = 60;
constexpr int most_steps = 120;         // until a life's end
constexpr int most_happenings = 40;     // of one life; it is killed from outside then
constexpr int clock_jump_limit_s = 45;  // while it is down: within what is not missed
constexpr int of_jobs = 6, of_schedules = 4;

int number_from(const char *variable, int otherwise) {
  const char *text = std::getenv(variable);
  return text == nullptr ? otherwise : std::atoi(text);
}

using Configuration = std::map<std::string, std::string>;  // a job or schedule, and what it has

class Life {
 public:
  Life(World &world, Configuration &configuration, std::mt19937 &random)
      : world_(world), configuration_(configuration), random_(random) {}

  // Until it is killed. False: it came to its end first.
  void live() {
    if (below(4) == 0 && !begin_with_a_death()) return;
    world_.arm(below(3) == 0 ? Action::die_half_written : Action::die, 1 + static_cast<uint64_t>(below(most_steps)));
    for (int i = 0; i < most_happenings && !world_.struck(); i++)
      happen();
    if (below(8) == 0) usleep(static_cast<useconds_t>(below(400)) * 1000);  // past the log's sync
  }

  // What was under way at the end, if it has happened.
  const std::optional<Configuration> &perhaps() const { return perhaps_; }

 private:
  // Killed in its start, perhaps several times.
  bool begin_with_a_death() {
    world_.to_next_minute();
    world_.kill();
    world_.pass(below(clock_jump_limit_s) * 1000);
    world_.arm(Action::die, 1 + static_cast<uint64_t>(below(80)));
    const bool lives = world_.start();
    if (lives) world_.settle();
    return lives;
  }

  void happen() {
    switch (below(7)) {
      case 0:
      case 1:
        return world_.to_next_minute();
      case 2:
        return world_.ask_to_run(below(2) == 0 ? "A" : "B");
      case 3:
        if (world_.client() != nullptr) world_.show_log();
        return;
      case 4:
        usleep(static_cast<useconds_t>(below(5000)));
        return;
      default:
        return change();
    }
  }

  void change() {
    if (perhaps_) return;  // the service has gone
    Configuration after = configuration_;
    const std::optional<uint32_t> status = below(2) == 0 ? change_job(&after) : change_schedule(&after);
    if (!status)
      perhaps_ = after;
    else if (*status == 0)
      configuration_ = after;
    else
      ADD_FAILURE() << "a change was refused with " << std::hex << *status;
  }

  std::optional<uint32_t> change_job(Configuration *after) {
    const std::string name = "job" + std::to_string(below(of_jobs));
    const auto found = after->find(name);
    if (found == after->end()) {
      (*after)[name] = "";
      return world_.config(SCH_OP_CREATE_JOB, job_text(name, ""));
    }
    if (below(3) == 0) {
      after->erase(found);
      return world_.config(SCH_OP_DELETE_JOB, job_text(name, "", true));
    }
    found->second = std::string(static_cast<size_t>(below(3000)), static_cast<char>('a' + below(26))) + "\n";
    return world_.config(SCH_OP_DEFINE_JOB, job_text(name, found->second));
  }

  std::optional<uint32_t> change_schedule(Configuration *after) {
    const std::string name = "schedule" + std::to_string(below(of_schedules));
    const auto found = after->find(name);
    if (found == after->end()) {
      (*after)[name] = "";
      return world_.config(SCH_OP_CREATE_SCHEDULE, named(name));
    }
    if (below(3) == 0) {
      after->erase(found);
      return world_.config(SCH_OP_DELETE_SCHEDULE, named(name, true));
    }
    const int hour = below(24), minute = below(60);
    found->second = std::to_string(hour) + ":" + std::to_string(minute);
    return world_.config(SCH_OP_MODIFY_SCHEDULE, each_day(name, hour, minute));
  }

  int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }

  World &world_;
  Configuration &configuration_;
  std::mt19937 &random_;
  std::optional<Configuration> perhaps_;
};

Configuration shown_configuration() {
  Configuration shown;
  const auto found = system_test::shown_configuration();
  if (!found) return {{"the service", "does not show its configuration"}};
  for (const auto &[name, text] : found->jobs)
    if (name.starts_with("job")) shown[name] = text;
  for (const auto &[name, schedule] : found->schedules)
    if (name.starts_with("schedule"))
      shown[name] = schedule.time.type == SCH_SCHEDULE_DAILY
                        ? std::to_string(schedule.time.hour) + ":" + std::to_string(schedule.time.minute)
                        : "";
  return shown;
}

std::string described(const Configuration &configuration) {
  std::string text;
  for (const auto &[name, value] : configuration)
    text += name + "=" + value.substr(0, 8) + "(" + std::to_string(value.size()) + ") ";
  return text;
}

TEST(RandomKill, leaves_one_outcome_for_each_job_of_each_due_time_and_every_acknowledged_change) {
  const int kills = number_from("SCHEDCLI_KILLS", usual_kills), seed = number_from("SCHEDCLI_SEED", 1);
  std::mt19937 random(static_cast<unsigned>(seed));
  World world;
  Configuration configuration;
  for (int kill = 1; kill <= kills; kill++) {
    Life life(world, configuration, random);
    life.live();
    const Complaints complaints = world.judge_anew();
    ASSERT_TRUE(complaints.empty()) << "seed " << seed << ", kill " << kill << ":\n" << text_of(complaints);
    const Configuration shown = shown_configuration();
    if (life.perhaps() && shown == *life.perhaps()) configuration = shown;
    ASSERT_EQ(shown, configuration) << "seed " << seed << ", kill " << kill << "\n was " << described(configuration)
                                    << "\n is " << described(shown);
  }
  std::cout << kills << " kills, seed " << seed << ": " << world.ledger().runs() << " runs;";
  for (const auto &[outcome, count] : world.ledger().outcomes())
    std::cout << " " << outcome << " " << count;
  std::cout << "\n";
}

}  // namespace
}  // namespace oracle
