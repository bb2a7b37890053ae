// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "control/configuration.h"
#include "control/statuses.h"
#include "host/status.h"
#include "service/configuration/startup_level.h"
#include "service/state/schedule_state.h"
#include "service/state/tables.h"
#include "tests/service/configuration_fixture.h"
#include "tests/service/operator_requests.h"
#include "tests/service/store_faults.h"

namespace {

std::string kept_file;  // what ends so is not removed; empty: all is

}  // namespace

extern "C" int unlink(const char *path) {
  if (kept_file.empty() || !std::string_view(path).ends_with(kept_file))
    return static_cast<int>(syscall(SYS_unlink, path));
  errno = ENOSPC;
  return -1;
}

namespace service_test {
namespace {

using control::ConfigurationSource;
using testing::HasSubstr;

const std::string two_jobs =
    "feature scheduler\n"
    "scheduler job name backup\necho one\nend-job\n\n"
    "scheduler job name clean\necho two\nend-job\n\n"
    "scheduler schedule name nightly\n job name backup\n job name clean\n  time daily 23:30\n\n";

// Each job with the exit code of its last run.
std::string outcomes(World &world, const std::string &schedule) {
  const host::Answer answer = world.send(root(), SCH_SERVICE_SHOW, SCH_OP_SHOW_SCHEDULE, show_payload(schedule));
  const std::string reply = text_in(answer);
  sch_show_schedule_reply fixed = {};
  std::memcpy(&fixed, reply.data(), sizeof fixed);
  std::string text = std::to_string(fixed.execution_count) + " runs\n";
  for (int32_t i = 0; i < fixed.job_count; i++) {
    sch_job_status_entry entry = {};
    std::memcpy(&entry, reply.data() + sizeof fixed + static_cast<size_t>(i) * sizeof entry, sizeof entry);
    text += std::string(entry.name) + " " + std::to_string(entry.wait_status >> 8) + "\n";
  }
  return text;
}

TEST(Replacement, refuses_a_text_with_every_wrong_line_and_changes_nothing) {
  World world;
  ASSERT_EQ(replace(world, two_jobs).status, 0u);
  const ConfigurationAnswer answer = replace(world,
                                             "feature scheduler\n"
                                             "scheduler logfile size 99999\n"
                                             "scheduler schedule name x\n"
                                             " job name nobody\n"
                                             "  time daily 25:00\n"
                                             "\n"
                                             "what is this\n");
  EXPECT_EQ(answer.status, control::err_bad_configuration);
  EXPECT_EQ(answer.problems,
            "2 \"99999\" is no size of the log\n"
            "3 schedule x, job nobody: no such job\n"
            "5 \"daily 25:00\" is a time out of range\n"
            "7 \"what is this\" is no line of a configuration\n");
  EXPECT_EQ(running(world), two_jobs);
}

TEST(Replacement, ends_a_schedule_at_an_empty_line) {
  World world;
  const ConfigurationAnswer answer =
      replace(world, two_jobs + "scheduler schedule name x\n job name clean\n\n job name backup\n");
  EXPECT_EQ(answer.status, control::err_bad_configuration);
  EXPECT_EQ(answer.problems, "18 \" job name backup\" is no line of a configuration\n");
}

TEST(Replacement, keeps_state_history_and_place_of_what_stays_the_same) {
  World world;
  ASSERT_EQ(replace(world, two_jobs).status, 0u);
  pass_to(world, noon + 12 * 3600);
  const std::string log = history(world);
  const auto rec = *service::find_schedule("nightly")->rec;
  ASSERT_THAT(log, HasSubstr("nightly"));
  const std::string more = two_jobs + "scheduler schedule name other\n  time daily 01:00\n\n";
  ASSERT_EQ(replace(world, more).status, 0u);
  EXPECT_EQ(history(world), log);
  EXPECT_EQ(std::memcmp(service::find_schedule("nightly")->rec, &rec, sizeof rec), 0);
  EXPECT_EQ(running(world), more);
}

TEST(Replacement, check_says_what_would_be_and_changes_nothing) {
  World world;
  control::ConfigurationOrder check = order_of(ConfigurationSource::text, put(world, two_jobs));
  check.check = 1;
  const ConfigurationAnswer answer = order(world, check);
  EXPECT_EQ(answer.before, "feature scheduler\n");
  EXPECT_EQ(answer.after, two_jobs);
  EXPECT_EQ(running(world), "feature scheduler\n");
}

TEST(Replacement, of_what_has_changed_since_it_was_read_is_refused) {
  World world;
  const uint64_t base = control::fingerprint(running(world));
  ASSERT_EQ(replace(world, two_jobs).status, 0u);
  control::ConfigurationOrder late = order_of(ConfigurationSource::text, put(world, "feature scheduler\n"));
  late.base = base;
  EXPECT_EQ(order(world, late).status, control::err_changed_since);
  EXPECT_EQ(running(world), two_jobs);
  late = order_of(ConfigurationSource::text, put(world, "feature scheduler\n"));
  late.base = control::fingerprint(two_jobs);
  EXPECT_EQ(order(world, late).status, 0u);
  EXPECT_EQ(running(world), "feature scheduler\n");
}

TEST(Replacement, by_an_ordinary_user_reaches_what_is_theirs_alone) {
  World world;
  ASSERT_EQ(replace(world, two_jobs).status, 0u);
  const std::string own =
      "scheduler job name mine\nid\nend-job\n\n"
      "scheduler schedule name mine\n job name mine\n  time daily 01:00\n\n";
  ASSERT_EQ(replace(world, own, nobody()).status, 0u);
  EXPECT_EQ(running(world, nobody()), own);
  EXPECT_THAT(running(world), HasSubstr("scheduler schedule name nightly\n"));
  const ConfigurationAnswer others = replace(world, "scheduler job name backup\nid\nend-job\n\n", nobody());
  EXPECT_EQ(others.problems, "1 backup: it belongs to another user\n");
  EXPECT_EQ(replace(world, "no feature scheduler\n", nobody()).problems,
            "0 the settings are the administrator's: not permitted for this user\n");
  ASSERT_EQ(replace(world, "", nobody()).status, 0u);
  EXPECT_EQ(running(world), two_jobs);
}

TEST(Replacement, is_all_or_nothing_when_the_store_refuses) {
  World world;
  ASSERT_EQ(replace(world, two_jobs).status, 0u);
  const std::string before = configuration();
  const std::string other =
      "feature scheduler\nscheduler transport email from a@b\nscheduler job name other\nx\nend-job\n\n"
      "scheduler job name clean\necho two\nend-job\n\n"
      "scheduler schedule name nightly\n job name clean\n  time daily 23:31\nemail-addr a@b\n\n";
  int nth = 1;
  for (; running(world) == two_jobs; nth++) {
    fail_store_call(nth);
    const uint32_t status = replace(world, other).status;
    if (status == 0) break;
    EXPECT_EQ(status, control::err_not_stored) << nth;
    EXPECT_EQ(configuration(), before) << nth;
  }
  EXPECT_GT(nth, 5);
  fail_store_call(0);
  EXPECT_EQ(running(world), other);
  world.restart();
  EXPECT_EQ(running(world), other);
}

TEST(Replacement, without_room_for_the_history_changes_nothing) {
  World world;
  std::ofstream(world.directory.path() + "/state/configurations") << "in the way";
  EXPECT_EQ(replace(world, two_jobs).status, host::err_io);
  EXPECT_EQ(running(world), "feature scheduler\n");
}

TEST(Replacement, takes_over_another_order_of_jobs_with_their_outcomes) {
  World world;
  std::string failing = two_jobs;
  failing.replace(failing.find("echo two"), 8, "exit 3");
  ASSERT_EQ(replace(world, failing).status, 0u);
  pass_to(world, noon + 11 * 3600 + 1800);
  const std::string turned =
      "feature scheduler\n"
      "scheduler job name clean\nexit 3\nend-job\n\n"
      "scheduler job name backup\necho one\nend-job\n\n"
      "scheduler schedule name nightly\n job name clean\n job name backup\n  time daily 23:30\n\n";
  ASSERT_EQ(replace(world, turned).status, 0u);
  EXPECT_EQ(running(world), turned);
  const std::string shown = outcomes(world, "nightly");
  world.restart();
  EXPECT_EQ(running(world), turned);
  EXPECT_EQ(outcomes(world, "nightly"), shown);
  EXPECT_EQ(shown, "1 runs\nclean 3\nbackup 0\n");
}

TEST(Replacement, moves_no_job_into_a_place_that_has_become_free) {
  World world;
  ASSERT_EQ(replace(world, two_jobs).status, 0u);
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_DELETE_JOB, job_payload("backup")).status, 0u);
  ASSERT_EQ(replace(world, "feature scheduler\nscheduler job name clean\necho three\nend-job\n\n").status, 0u);
  EXPECT_EQ(sch_job_list[0].hdr, nullptr);
  ASSERT_NE(sch_job_list[1].hdr, nullptr);
  EXPECT_EQ(shown_text(world, "clean"), "echo three\n");
}

TEST(Overlay, leaves_what_it_does_not_name) {
  World world;
  ASSERT_EQ(replace(world, two_jobs).status, 0u);
  control::ConfigurationOrder overlay =
      order_of(ConfigurationSource::text,
               put(world, "scheduler job name clean\necho three\nend-job\n\nlogging level scheduler 3\n"));
  overlay.overlay = 1;
  ASSERT_EQ(order(world, overlay).status, 0u);
  std::string expected = two_jobs + "logging level scheduler 3\n";
  expected.replace(expected.find("echo two"), 8, "echo three");
  EXPECT_EQ(running(world), expected);
}

TEST(History, keeps_twenty_with_who_made_them) {
  World world;
  for (int i = 0; i < 25; i++)
    ASSERT_EQ(replace(world, "feature scheduler\nscheduler logfile size " + std::to_string(i + 17) + "\n\n").status,
              0u);
  const std::string table = text_in(ask(world, control::Operation::configuration_history));
  EXPECT_EQ(std::ranges::count(table, '\n'), 1 + 20);
  EXPECT_THAT(table, HasSubstr("26 "));
  EXPECT_THAT(table, HasSubstr("root"));
  EXPECT_THAT(table, HasSubstr("a test"));
  EXPECT_EQ(ask(world, control::Operation::configuration_entry, query(uint32_t{6})).status,
            control::err_no_such_configuration);
}

TEST(History, brings_back_whose_a_job_was) {
  World world;
  ASSERT_EQ(replace(world, "scheduler job name mine\nid\nend-job\n\n", nobody()).status, 0u);
  ASSERT_EQ(replace(world, "feature scheduler\n").status, 0u);
  ASSERT_EQ(service::find_job("mine"), nullptr);
  ASSERT_EQ(order(world, order_of(ConfigurationSource::entry, 2)).status, 0u);
  EXPECT_EQ(service::owner_of(*service::find_job("mine")), service::owner_tag(nobody().uid));
}

TEST(History, keeps_what_commands_made_before_it_is_replaced) {
  World world;
  ASSERT_EQ(replace(world, two_jobs).status, 0u);
  ASSERT_EQ(create_job(world, "by-hand", "x\n"), 0u);
  ASSERT_EQ(replace(world, two_jobs).status, 0u);
  EXPECT_THAT(text_in(ask(world, control::Operation::configuration_entry, query(uint32_t{3}))),
              HasSubstr("scheduler job name by-hand\n"));
}

// kill -9 before and after each store call.
TEST(Replacement, killed_at_any_store_call_leaves_before_or_after) {
  const Directory directory;
  const std::string other = "feature scheduler\nscheduler job name other\nx\nend-job\n\nlogging level scheduler 7\n";
  ASSERT_TRUE(survives([&] {
    World world(directory.path(), noon);
    if (replace(world, two_jobs).status != 0) _exit(1);
  }));
  bool survived = false, changed = false;
  int point = 1;
  for (; !survived; point++) {
    survived = survives([&] {
      World world(directory.path(), noon);
      die_at_store_call(point);
      replace(world, other);
    });
    ASSERT_TRUE(survives([&] {
      World world(directory.path(), noon);
      const std::string found = running(world);
      if (found != two_jobs && found != other) _exit(1);
      if (found == other && replace(world, two_jobs).status != 0) _exit(1);
      std::ofstream(directory.path() + "/found") << (found == other ? "other" : "two_jobs");
    })) << point;
    std::string found;
    std::ifstream(directory.path() + "/found") >> found;
    changed = changed || (!survived && found == "other");
  }
  EXPECT_GT(point, 8);
  EXPECT_TRUE(changed);  // some of the calls come after the commit
}

class Confirming : public testing::Test {
 protected:
  ConfigurationAnswer replace_for(uint32_t minutes, const std::string &text) {
    control::ConfigurationOrder wanted = order_of(ConfigurationSource::text, put(world, text));
    wanted.confirm_minutes = minutes;
    return order(world, wanted);
  }
  World world;
};

// While they are put in order a name may lie in a temporary that is gone when the next one is compared.
TEST(Replaced, by_schedules_of_many_jobs_that_are_not_there_it_is_refused_for_each_of_them) {
  World world;
  std::string text = "feature scheduler\nscheduler schedule name s\n";
  for (const char *name : {"zz-a-rather-long-name-of-a-job-1", "b", "ab-a-rather-long-name-of-a-job", "c", "a"})
    text += " job name " + std::string(name).substr(0, 31) + "\n";
  const ConfigurationAnswer answer = replace(world, text + "  time daily 01:00\n\n");
  EXPECT_NE(answer.status, 0u);
  size_t problems = 0;
  for (size_t at = 0; (at = answer.problems.find("schedule s, job ", at)) != std::string::npos; at++)
    problems++;
  EXPECT_EQ(problems, 5u) << answer.problems;
  EXPECT_EQ(running(world), "feature scheduler\n");
}

TEST_F(Confirming, in_time_keeps_it) {
  ASSERT_EQ(replace_for(5, two_jobs).status, 0u);
  ASSERT_EQ(ask(world, control::Operation::confirm_configuration).status, 0u);
  world.parts->pending_configuration.confirmation.look(noon + 600);
  EXPECT_EQ(running(world), two_jobs);
  EXPECT_EQ(ask(world, control::Operation::confirm_configuration).status, control::err_nothing_to_confirm);
}

TEST_F(Confirming, too_late_takes_it_back) {
  ASSERT_EQ(replace_for(5, two_jobs).status, 0u);
  world.parts->pending_configuration.confirmation.look(noon + 299);
  EXPECT_EQ(running(world), two_jobs);
  world.parts->pending_configuration.confirmation.look(noon + 300);
  EXPECT_EQ(running(world), "feature scheduler\n");
}

TEST_F(Confirming, too_late_takes_it_back_once_what_that_needs_can_be_read_again) {
  ASSERT_EQ(replace_for(5, two_jobs).status, 0u);
  const std::filesystem::path notes = world.directory.path() + "/state/configurations/awaits-confirmation";
  std::string entry;
  std::ifstream(notes) >> entry;
  for (const std::filesystem::path &file : {notes, notes.parent_path() / (entry + ".conf")}) {
    std::filesystem::rename(file, file.string() + ".aside");
    std::filesystem::create_directory(file);
    world.parts->pending_configuration.confirmation.look(noon + 300);
    EXPECT_EQ(running(world), two_jobs) << file;
    std::filesystem::remove(file);
    std::filesystem::rename(file.string() + ".aside", file);
  }
  world.parts->pending_configuration.confirmation.look(noon + 300);
  EXPECT_EQ(running(world), "feature scheduler\n");
}

TEST_F(Confirming, too_late_keeps_in_the_history_what_was_typed_meanwhile) {
  ASSERT_EQ(replace_for(5, two_jobs).status, 0u);
  ASSERT_EQ(create_job(world, "typed", "echo three\n"), 0u);
  const std::string in_use = running(world);
  world.parts->pending_configuration.confirmation.look(noon + 300);
  ASSERT_EQ(running(world), "feature scheduler\n");
  EXPECT_EQ(text_in(ask(world, control::Operation::configuration_entry, query(uint32_t{3}))), in_use);
}

TEST_F(Confirming, is_still_awaited_after_a_restart) {
  ASSERT_EQ(replace_for(5, two_jobs).status, 0u);
  world.restart();
  EXPECT_EQ(running(world), two_jobs);
  set_clock(noon + 301);
  world.restart();
  EXPECT_EQ(running(world), "feature scheduler\n");
}

TEST_F(Confirming, of_a_change_that_a_crash_prevented_is_not_awaited) {
  std::filesystem::create_directory(world.directory.path() + "/state/configurations");
  std::ofstream(world.directory.path() + "/state/configurations/awaits-confirmation")
      << "1 " << noon + 300 << " 0 root 2\n";
  world.restart();
  EXPECT_EQ(ask(world, control::Operation::confirm_configuration).status, control::err_nothing_to_confirm);
}

TEST_F(Confirming, of_a_change_that_failed_is_not_awaited_though_its_note_stays) {
  kept_file = "awaits-confirmation";
  fail_store_call(1);
  const uint32_t status = replace_for(5, two_jobs).status;
  fail_store_call(0);
  EXPECT_NE(status, 0u);
  EXPECT_EQ(ask(world, control::Operation::confirm_configuration).status, control::err_nothing_to_confirm);
  kept_file.clear();
  ASSERT_EQ(replace_for(5, two_jobs).status, 0u);
  EXPECT_EQ(ask(world, control::Operation::confirm_configuration).status, 0u);
  EXPECT_EQ(running(world), two_jobs);
}

TEST_F(Confirming, comes_before_another_replacement) {
  ASSERT_EQ(replace_for(5, two_jobs).status, 0u);
  EXPECT_EQ(replace(world, "feature scheduler\n").status, control::err_unconfirmed);
  EXPECT_EQ(running(world), two_jobs);
}

TEST(Startup, can_be_erased_and_brought_back) {
  World world;
  ASSERT_EQ(replace(world, two_jobs).status, 0u);
  ASSERT_EQ(ask(world, control::Operation::copy_running_startup).status, 0u);
  ASSERT_EQ(replace(world, "feature scheduler\n").status, 0u);
  ASSERT_EQ(order(world, order_of(ConfigurationSource::startup, 0)).status, 0u);
  EXPECT_EQ(running(world), two_jobs);
  EXPECT_EQ(ask(world, control::Operation::erase_startup).status, 0u);
  EXPECT_EQ(ask(world, control::Operation::startup_text).status, control::err_no_startup);
  EXPECT_EQ(ask(world, control::Operation::erase_startup).status, control::err_no_startup);
}

const std::string with_level_3 = "feature scheduler\nlogging level scheduler 3\n",
                  with_level_4 = "feature scheduler\nscheduler transport email from a@b\nlogging level scheduler 4\n";

TEST(Startup, saved_by_half_when_a_crash_came_is_the_one_before) {
  World world;
  ASSERT_EQ(replace(world, with_level_3).status, 0u);
  ASSERT_EQ(ask(world, control::Operation::copy_running_startup).status, 0u);
  ASSERT_EQ(replace(world, with_level_4).status, 0u);
  ASSERT_TRUE(service::hold_startup_logging_level());
  ASSERT_EQ(sch_pss_snapshot(sch_debug_pss_running_uri, sch_debug_pss_startup_uri), 0);
  EXPECT_EQ(text_in(ask(world, control::Operation::startup_text)), with_level_3);
  ASSERT_EQ(sch_pss_snapshot(sch_pss_running_uri, sch_pss_startup_uri), 0);
  EXPECT_EQ(text_in(ask(world, control::Operation::startup_text)), with_level_4);
}

TEST(Startup, erased_by_half_when_a_crash_came_has_no_level) {
  World world;
  ASSERT_EQ(replace(world, with_level_3).status, 0u);
  ASSERT_EQ(sch_pss_snapshot(sch_debug_pss_running_uri, sch_debug_pss_startup_uri), 0);
  EXPECT_EQ(service::startup_logging_level(), std::nullopt);
}

TEST(Uploads, without_an_order_change_nothing) {
  World world;
  for (int i = 0; i < 16; i++)
    EXPECT_NE(put(world, two_jobs), 0u);
  EXPECT_EQ(put(world, two_jobs), 0u);  // there is no room for more
  set_clock(noon + 61);
  EXPECT_NE(put(world, two_jobs), 0u);
  EXPECT_EQ(running(world), "feature scheduler\n");
}

TEST(Uploads, of_another_user_cannot_be_taken) {
  World world;
  const uint32_t id = put(world, two_jobs, nobody());
  EXPECT_EQ(order(world, order_of(ConfigurationSource::text, id)).status, host::err_bad_request);
}

}  // namespace
}  // namespace service_test
