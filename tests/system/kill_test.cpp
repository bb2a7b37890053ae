// SPDX-License-Identifier: Apache-2.0
// kill -9 of the service at random points while commands stream in: after the restart every acknowledged command's
// effect is there, and the one command that was under way has happened wholly or not at all.
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <random>
#include <semaphore>
#include <thread>

#include "host/files/paths.h"
#include "host/status.h"
#include "platform/errors.h"
#include "tests/system/service_process.h"

namespace system_test {
namespace {

constexpr int kills = 200;
constexpr int most_commands = 20;             // of one life
constexpr int longest_last_breath_us = 8000;  // about two commands

// The handlers print why a command failed; here that is what is looked at.
class CapturedErrors {
 public:
  CapturedErrors() : saved_(dup(STDERR_FILENO)), file_(tmpfile()) { dup2(fileno(file_), STDERR_FILENO); }
  ~CapturedErrors() {
    dup2(saved_, STDERR_FILENO);
    close(saved_);
    fclose(file_);
  }
  CapturedErrors(const CapturedErrors &) = delete;
  CapturedErrors &operator=(const CapturedErrors &) = delete;

  std::string text() const {
    std::string text(4096, '\0');
    const ssize_t length = pread(fileno(file_), text.data(), text.size(), 0);
    text.resize(length < 0 ? 0 : static_cast<size_t>(length));
    return text;
  }

 private:
  int saved_;
  FILE *file_;
};

bool says_that_the_service_is_gone(const std::string &errors) {
  for (const uint32_t status : {host::err_not_running, host::err_cut_off})
    if (errors.find(syserr2str(status)) != std::string::npos) return true;
  return false;
}

// A command: what it asks of the service, and what it does to a configuration that grants it.
struct Command {
  std::function<int()> send;
  std::function<void(Configuration *)> apply;
};

class Operator {
 public:
  explicit Operator(unsigned seed) : random_(seed) {}

  // A command that the service must accept on this configuration.
  Command next(const Configuration &configuration) {
    switch (below(6)) {
      case 0:
        return create_or_delete_job("job" + std::to_string(below(12)), configuration);
      case 1:
      case 2:
        return configuration.jobs.empty() ? next(configuration) : define(any_job(configuration));
      case 3:
        return create_or_delete_schedule("schedule" + std::to_string(below(4)), configuration);
      case 4:
        return configuration.schedules.empty() ? next(configuration) : time(any_schedule(configuration));
      default:
        return configuration.schedules.empty() || configuration.jobs.empty() ? next(configuration)
                                                                             : assignment(configuration);
    }
  }

  int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }

 private:
  template <class Map>
  std::string any_of(const Map &map) {
    return std::next(map.begin(), below(static_cast<int>(map.size())))->first;
  }
  std::string any_job(const Configuration &configuration) { return any_of(configuration.jobs); }
  std::string any_schedule(const Configuration &configuration) { return any_of(configuration.schedules); }

  static Command create_or_delete_job(const std::string &name, const Configuration &configuration) {
    if (!configuration.jobs.contains(name))
      return {[name] { return create_job(name); }, [name](Configuration *c) { c->jobs[name] = ""; }};
    return {[name] { return delete_job(name); },
            [name](Configuration *c) {
              c->jobs.erase(name);
              for (auto &[_, schedule] : c->schedules)
                schedule.jobs.erase(name);
            }};
  }

  Command define(const std::string &name) {
    std::string text;
    for (int lines = 1 + below(60), i = 0; i < lines; i++)
      text += "echo " + std::string(static_cast<size_t>(below(90)), 'x') + "\n";
    return {[name, text] { return define_job(name, text); }, [name, text](Configuration *c) { c->jobs[name] = text; }};
  }

  static Command create_or_delete_schedule(const std::string &name, const Configuration &configuration) {
    if (!configuration.schedules.contains(name))
      return {[name] { return create_schedule(name); }, [name](Configuration *c) { c->schedules[name] = {}; }};
    return {[name] { return delete_schedule(name); }, [name](Configuration *c) { c->schedules.erase(name); }};
  }

  Command time(const std::string &name) {
    const int hour = below(24);
    const int minute = below(60);
    return {[=] { return set_daily(name, hour, minute); },
            [=](Configuration *c) {
              sch_tminfo time{};
              time.type = SCH_SCHEDULE_DAILY;
              time.hour = hour;
              time.minute = minute;
              c->schedules[name].time = time;
            }};
  }

  Command assignment(const Configuration &configuration) {
    const std::string schedule = any_schedule(configuration);
    const std::string job = any_job(configuration);
    const bool assign = !configuration.schedules.at(schedule).jobs.contains(job);
    return {[=] { return assign_job(schedule, job, assign); },
            [=](Configuration *c) {
              if (assign)
                c->schedules[schedule].jobs.insert(job);
              else
                c->schedules[schedule].jobs.erase(job);
            }};
  }

  std::mt19937 random_;
};

// Kills the service at a random moment after a random number of acknowledged commands.
class Killer {
 public:
  Killer(const ServiceProcess &service, Operator *operator_)
      : commands_(operator_->below(most_commands)),
        thread_([this, &service, delay = operator_->below(longest_last_breath_us)] {
          enough_.acquire();
          usleep(static_cast<useconds_t>(delay));
          service.signal(SIGKILL);
        }) {
    acknowledged(0);
  }
  ~Killer() { thread_.join(); }
  Killer(const Killer &) = delete;
  Killer &operator=(const Killer &) = delete;

  void acknowledged(int count) {
    if (count == commands_) enough_.release();
  }

 private:
  const int commands_;
  std::binary_semaphore enough_{0};
  std::thread thread_;
};

// Sends commands until one fails because the service is gone; `configuration` follows what was acknowledged. Returns
// that one.
Command stream_until_killed(Operator *operator_, Killer *killer, Configuration *configuration) {
  for (int acknowledged = 1;; acknowledged++) {
    const Command command = operator_->next(*configuration);
    if (command.send() != 0) return command;
    command.apply(configuration);
    killer->acknowledged(acknowledged);
  }
}

TEST(Kill, acknowledged_commands_survive_two_hundred_kills_and_none_is_half_done) {
  const TemporaryDirectory directory;
  const std::string state = directory.path() + "/state";
  host::use_paths(host::resolve_paths(state.c_str()));
  ServiceProcess service(state);
  Operator operator_(20261121);
  Configuration expected;
  int done_in_doubt = 0;
  ASSERT_TRUE(service.start()) << service.errors();
  ASSERT_EQ(enable_feature(), 0);
  for (int round = 0; round < kills; round++) {
    Command in_doubt;
    std::string errors;
    {
      const CapturedErrors captured;
      Killer killer(service, &operator_);
      in_doubt = stream_until_killed(&operator_, &killer, &expected);
      errors = captured.text();
    }
    ASSERT_TRUE(says_that_the_service_is_gone(errors)) << "round " << round << ": a command was refused: " << errors;
    service.wait();
    ASSERT_TRUE(service.start()) << "round " << round << ": " << service.errors();
    const std::optional<Configuration> shown = shown_configuration();
    ASSERT_TRUE(shown) << "round " << round;
    Configuration with_in_doubt = expected;
    in_doubt.apply(&with_in_doubt);
    const bool happened = *shown == with_in_doubt;
    done_in_doubt += happened;
    ASSERT_TRUE(happened || *shown == expected) << "round " << round << "\nexpected " << describe(expected) << "\nor "
                                                << describe(with_in_doubt) << "\nshown " << describe(*shown);
    if (happened) expected = with_in_doubt;
  }
  EXPECT_EQ(service.stop(), 0) << service.errors();
  printf("%d kills; of the commands under way %d were done\n", kills, done_in_doubt);
}

}  // namespace
}  // namespace system_test
