// SPDX-License-Identifier: Apache-2.0
// The wall clock of one zone, on the real programs: what is typed is what is stored, shown and replayed, all year and
// whatever zone the operator's shell was started in.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>

#include "tests/system/moved_clock.h"
#include "tests/system/service_process.h"

namespace system_test {
namespace {

// Europe/Berlin.
constexpr time_t winter_noon = 1800010800;  // 2027-01-15 12:00:00 +01:00
constexpr time_t summer_noon = 1814436000;  // 2027-07-01 12:00:00 +02:00

class ZoneEndToEnd : public testing::Test {
 protected:
  ZoneEndToEnd() {
    setenv("SCHEDCLI_TEST_CLOCK", (directory_.path() + "/clock").c_str(), 1);
    clock_.set(winter_noon);
  }
  ~ZoneEndToEnd() override { unsetenv("TZ"); }

  void start_in(const std::string &zone) {
    service_.environment("TZ=" + zone);
    ASSERT_TRUE(service_.start()) << service_.errors();
    ASSERT_EQ(shell("Europe/Berlin", {"feature scheduler"}), "");
  }

  std::string shell(const std::string &zone, const std::vector<std::string> &commands) {
    std::vector<std::string> arguments;
    for (const std::string &command : commands) {
      arguments.emplace_back("-c");
      arguments.push_back(command);
    }
    setenv("TZ", zone.c_str(), 1);
    return run_shell(state_, arguments, nullptr, "", SCHEDSH_MOVED_CLOCK_PATH);
  }

  std::string set_time(const std::string &zone, const std::string &name, const std::string &time) {
    return shell(zone, {"scheduler schedule name " + name, time});
  }

  std::string shown(const std::string &zone, const std::string &name) {
    return shell(zone, {"show scheduler schedule name " + name});
  }

  // Both shells set it, and each sees both as the one expected line.
  void expect_shown_by_both(const std::string &time, const std::string &line) {
    EXPECT_EQ(set_time("Asia/Tokyo", "tokyo", time), "");
    EXPECT_EQ(set_time("Europe/Berlin", "berlin", time), "");
    for (const char *zone : {"Asia/Tokyo", "Europe/Berlin"}) {
      EXPECT_NE(shown(zone, "tokyo").find(line), std::string::npos) << shown(zone, "tokyo");
      EXPECT_NE(shown(zone, "berlin").find(line), std::string::npos) << shown(zone, "berlin");
    }
    const std::string text = shell("Asia/Tokyo", {"show running-config"});
    EXPECT_EQ(text, shell("Europe/Berlin", {"show running-config"}));
    const size_t first = text.find("time "), second = text.find("time ", first + 1);
    EXPECT_EQ(text.substr(first, text.find('\n', first) - first),
              text.substr(second, text.find('\n', second) - second));
  }

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state";
  MovedClock clock_{directory_.path() + "/clock"};
  ServiceProcess service_{state_, {}, SCHEDD_MOVED_CLOCK_PATH};
};

TEST_F(ZoneEndToEnd, one_shot_typed_in_winter_for_summer) {
  start_in("Europe/Berlin");
  expect_shown_by_both("time start 2027:7:1:12:00", "Run once on Thu Jul  1 12:00:00 2027\n");
  clock_.set(summer_noon - 3600);
  expect_shown_by_both("time start 2027:7:1:12:00", "Run once on Thu Jul  1 12:00:00 2027\n");
}

TEST_F(ZoneEndToEnd, relative_times_count_from_the_services_clock) {
  clock_.set(summer_noon);
  start_in("Europe/Berlin");
  expect_shown_by_both("time start +0:2:30", "Run once on Thu Jul  1 14:30:00 2027\n");
}

TEST_F(ZoneEndToEnd, start_typed_in_winter_for_summer_is_shown_the_same_all_year) {
  start_in("Europe/Berlin");
  expect_shown_by_both("time start 2027:7:1:12:00 repeat 1:0:0", "Start Time          : Thu Jul  1 12:00:00 2027\n");
  const std::string text = shell("Europe/Berlin", {"show running-config"});
  EXPECT_NE(text.find("time start 2027:07:01:12:00 repeat 1:0:0"), std::string::npos) << text;
  const std::string as_commands = shell("Asia/Tokyo", {"show scheduler config"});
  EXPECT_NE(as_commands.find("2027:07:01:12:00"), std::string::npos) << as_commands;
  clock_.set(summer_noon - 3600);
  EXPECT_NE(shown("Asia/Tokyo", "tokyo").find("Start Time          : Thu Jul  1 12:00:00 2027\n"), std::string::npos);
  EXPECT_EQ(shell("Europe/Berlin", {"show running-config"}), text);
}

TEST_F(ZoneEndToEnd, a_configuration_replays_to_the_same_times_in_another_season_and_zone) {
  start_in("Europe/Berlin");
  ASSERT_EQ(set_time("Europe/Berlin", "a", "time start 2027:7:1:12:00 repeat 1:0:0"), "");
  ASSERT_EQ(set_time("Europe/Berlin", "b", "time start 2027:12:24:18:00"), "");
  ASSERT_EQ(set_time("Europe/Berlin", "c", "time monthly 31:02:30"), "");
  const std::string text = shell("Europe/Berlin", {"show running-config"});
  clock_.set(summer_noon - 3600);
  for (int replay = 0; replay < 3; replay++) {
    ASSERT_EQ(shell("Asia/Tokyo", {"configure terminal", "no scheduler schedule name a", "no scheduler schedule name b",
                                   "no scheduler schedule name c"}),
              "");
    setenv("TZ", "Asia/Tokyo", 1);
    int status = -1;
    const std::string said = run_shell(state_, {}, &status, "configure terminal\n" + text, SCHEDSH_MOVED_CLOCK_PATH);
    ASSERT_EQ(status, 0) << said;
    EXPECT_EQ(shell("America/New_York", {"show running-config"}), text);
  }
}

TEST_F(ZoneEndToEnd, what_has_passed_in_summer_is_refused) {
  clock_.set(summer_noon);
  start_in("Europe/Berlin");
  for (const char *zone : {"Asia/Tokyo", "Europe/Berlin"}) {
    EXPECT_NE(set_time(zone, "once", "time start 2027:7:1:11:02").find("Specified time is in the past"),
              std::string::npos);
    // One that repeats keeps its rhythm.
    EXPECT_NE(set_time(zone, "again", "time start 2027:7:1:11:59 repeat 1:0:0")
                  .find("has passed; by whole periods it is 2027:07:02:11:59"),
              std::string::npos);
    EXPECT_EQ(set_time(zone, "ahead", "time start 2027:7:1:12:02"), "");
  }
}

TEST_F(ZoneEndToEnd, the_last_run_and_the_log_show_the_wall_clock_of_that_moment) {
  start_in("Europe/Berlin");
  ASSERT_EQ(shell("Asia/Tokyo", {"configure terminal", "scheduler job name zone", "echo zone $TZ", "end-job",
                                 "scheduler schedule name s", "job name zone", "time daily 12:30"}),
            "");
  clock_.set(winter_noon + 30 * 60 + 1);
  shell("Europe/Berlin", {"show running-config"});  // the service looks at its clock
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  std::string log;
  do
    log = shell("Asia/Tokyo", {"show scheduler logfile"});
  while (log.find("zone Europe/Berlin\n") == std::string::npos && std::chrono::steady_clock::now() < end);
  EXPECT_NE(log.find("zone Europe/Berlin\n"), std::string::npos) << log;
  EXPECT_NE(log.find("Fri Jan 15 12:30:"), std::string::npos) << log;
  clock_.set(summer_noon - 3600);
  for (const char *zone : {"Asia/Tokyo", "Europe/Berlin"}) {
    EXPECT_NE(shell(zone, {"show scheduler logfile"}).find("Fri Jan 15 12:30:"), std::string::npos) << log;
    EXPECT_NE(shown(zone, "s").find("Last Execution Time : Fri Jan 15 12:30:"), std::string::npos) << shown(zone, "s");
  }
}

TEST_F(ZoneEndToEnd, a_zone_that_does_not_exist_ends_the_start_with_its_name) {
  service_.environment("TZ=Europe/Atlantis");
  EXPECT_FALSE(service_.start());
  EXPECT_NE(service_.errors().find("Europe/Atlantis"), std::string::npos) << service_.errors();
  EXPECT_NE(service_.errors().find("TZ"), std::string::npos);
}

TEST_F(ZoneEndToEnd, a_zone_file_that_is_replaced_is_followed_while_the_service_runs) {
  namespace fs = std::filesystem;
  const fs::path file = fs::path(directory_.path()) / "localtime", next = file.string() + ".new";
  fs::copy_file("/usr/share/zoneinfo/Europe/Berlin", file);
  start_in(file);
  ASSERT_EQ(set_time("Europe/Berlin", "s", "time start 2027:7:1:12:00 repeat 1:0:0"), "");
  fs::copy_file("/usr/share/zoneinfo/Asia/Tokyo", next);
  fs::rename(next, file);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  std::string text;
  do
    text = shown("Europe/Berlin", "s");
  while (text.find("19:00:00") == std::string::npos && std::chrono::steady_clock::now() < end);
  EXPECT_NE(text.find("Start Time          : Thu Jul  1 19:00:00 2027\n"), std::string::npos) << text;
}

TEST_F(ZoneEndToEnd, without_a_service_the_shell_keeps_to_its_own_zone) {
  EXPECT_NE(set_time("Europe/Berlin", "s", "time daily 12:00"), "");
}

}  // namespace
}  // namespace system_test
