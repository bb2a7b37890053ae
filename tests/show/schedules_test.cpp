// SPDX-License-Identifier: Apache-2.0
#include <climits>

#include "tests/show/replies.h"

using namespace platform_test;
using namespace show_test;

namespace {

using ShowSchedulesTest = PlatformTest;

constexpr int32_t run_start = leap_day;
constexpr int32_t run_end = 1709210101;

const std::string heading =
    "-----------------------------------------------\n"
    "     Job Name            Last Execution Status\n"
    "-----------------------------------------------\n";

std::string top(const std::string &name, const std::string &owner = "owner") {
  return "Schedule Name       : " + name + "\n----------------------" + std::string(name.size(), '-') +
         "\nUser Name           : " + owner + "\n";
}

const std::string daily_line = "Schedule Type       : Run every day at 23 Hrs 30 Mins\n";
const std::string never_run = "Last Execution Time : Yet to be executed\n";

std::string never_run_block(const std::string &name) {
  return top(name) + daily_line + never_run + heading + "          No jobs assigned to schedule\n";
}

sch_show_schedule_reply run_record() {
  sch_show_schedule_reply reply = schedule_record("nightly", 0);
  reply.last_execution = run_start;
  reply.last_completion = run_end;
  reply.execution_count = 17;
  return reply;
}

std::string shown(const std::string &bytes) {
  const Held<sch_show_schedule_reply> reply(bytes);
  return printed([&] { display_schedule(reply.get()); });
}

TEST_F(ShowSchedulesTest, without_schedules_nothing_is_printed) {
  EXPECT_EQ(run(sch_cli_show_schedules), (Outcome{0, "", ""}));
  EXPECT_EQ(fake.requests.size(), 1u);
}

TEST_F(ShowSchedulesTest, a_transport_error_returns_1) {
  EXPECT_EQ(run(sch_cli_show_schedules, {Reply::with(raw(schedule_record("a", 0))), failed(9)}),
            (Outcome{1, never_run_block("a") + rule, error_line(9)}));
}

TEST_F(ShowSchedulesTest, memory_that_runs_out_returns_2_silently) {
  Context context;
  fake.libc_alloc.nth = 1;
  EXPECT_EQ(run(sch_cli_show_schedules, context), (Outcome{2, "", ""}));
  EXPECT_TRUE(fake.requests.empty());
}

TEST_F(ShowSchedulesTest, the_debug_flag_opens_standard_error) {
  Context context;
  context->debug = 2;
  EXPECT_EQ(run(sch_cli_show_schedules, context).err, "send show schedule request\nnothing to show\nsuccessful run\n");
  EXPECT_EQ(cli_debug, 2u);
}

TEST_F(ShowSchedulesTest, never_run_without_jobs) {
  EXPECT_EQ(shown(raw(schedule_record("a", 0))), never_run_block("a"));
}

TEST_F(ShowSchedulesTest, never_run_with_jobs) {
  EXPECT_EQ(shown(with_jobs(schedule_record("a", 0), {{"backup", 0x0100}, {"x", 0}})),
            top("a") + daily_line + never_run + heading +
                "    backup                                -NA-\n"
                "    x                                     -NA-\n");
}

TEST_F(ShowSchedulesTest, run_with_a_job_that_succeeded_and_one_that_failed) {
  EXPECT_EQ(shown(with_jobs(run_record(), {{"backup", 0}, {"verify", 0x0200}})),
            top("nightly") + daily_line +
                "Last Execution Time : Thu Feb 29 12:34:56 2024\n"
                "Last Completion Time: Thu Feb 29 12:35:01 2024\n"
                "Execution count     : 17\n" +
                heading +
                "backup                            Success (0)\n"
                "verify                            Failed  (2)\n");
  const std::string no_jobs = heading + "              No jobs assigned to schedule\n";  // indented by 14
  EXPECT_TRUE(shown(raw(run_record())).ends_with("Execution count     : 17\n" + no_jobs));
}

TEST_F(ShowSchedulesTest, a_negative_job_count_prints_the_heading_and_nothing_after_it) {
  for (const int32_t count : {-1, INT32_MIN}) {
    sch_show_schedule_reply reply = schedule_record("a", 0);
    reply.job_count = count;
    EXPECT_EQ(run(sch_cli_show_schedules, {Reply::with(raw(reply))}, {"a"}),
              (Outcome{0, top("a") + daily_line + never_run + heading + rule, ""}));
  }
}

TEST_F(ShowSchedulesTest, a_periodic_schedule_tells_its_start) {
  sch_show_schedule_reply reply = schedule_record("a", 0);
  reply.time = {};
  reply.time.type = SCH_SCHEDULE_PERIODIC;
  reply.time.day_of_week = 1;
  reply.time.hour = 2;
  reply.time.minute = 3;
  reply.time.start_time = run_start;
  EXPECT_EQ(shown(raw(reply)), top("a") +
                                   "Schedule Type       : Run every 1 Days 2 Hrs 3 Mins\n"
                                   "Start Time          : Thu Feb 29 12:34:56 2024\n" +
                                   never_run + heading + "          No jobs assigned to schedule\n");
}

TEST_F(ShowSchedulesTest, times_are_local) {
  for (const auto &[zone, clock] : leap_day_clocks) {
    set_zone(zone);
    EXPECT_NE(shown(raw(run_record())).find(std::string("Last Execution Time : Thu Feb 29 ") + clock + ":56 2024\n"),
              std::string::npos)
        << zone;
  }
}

TEST_F(ShowSchedulesTest, a_last_completion_before_the_epoch_counts_as_run) {
  sch_show_schedule_reply reply = run_record();
  reply.last_execution = INT32_MIN;
  reply.last_completion = -1;
  reply.execution_count = -4;
  EXPECT_NE(shown(raw(reply))
                .find("Last Execution Time : Fri Dec 13 20:45:52 1901\n"
                      "Last Completion Time: Wed Dec 31 23:59:59 1969\n"
                      "Execution count     : -4\n"),
            std::string::npos);
}

TEST_F(ShowSchedulesTest, names_that_fill_their_fields_are_printed_to_the_end_of_them) {
  sch_show_schedule_reply reply = schedule_record(std::string(32, 's'), 0);
  put(reply.user, std::string(40, 'u'));
  EXPECT_EQ(shown(with_jobs(reply, {{std::string(32, 'j'), 0}})), top(std::string(32, 's'), std::string(40, 'u')) +
                                                                      daily_line + never_run + heading + "    " +
                                                                      std::string(32, 'j') + "      -NA-\n");
}

TEST_F(ShowSchedulesTest, a_reply_that_holds_less_than_it_announces_is_refused_whole) {
  const std::string whole = with_jobs(schedule_record("a", 0), {{"one", 0}, {"two", 0}});
  for (const size_t length : {size_t{0}, size_t{1}, size_t{47}, size_t{49}, size_t{819}, size_t{820}, size_t{891}}) {
    EXPECT_EQ(run(sch_cli_show_schedules, {Reply::with(whole.substr(0, length))}), (Outcome{1, "", incomplete}))
        << length;
  }
}

TEST_F(ShowSchedulesTest, a_huge_job_count_is_refused) {
  sch_show_schedule_reply reply = schedule_record("a", 0);
  for (const int32_t count : {1, 0x07200000, INT32_MAX}) {
    reply.job_count = count;
    EXPECT_EQ(run(sch_cli_show_schedules, {Reply::with(raw(reply))}), (Outcome{1, "", incomplete})) << count;
  }
}

TEST_F(ShowSchedulesTest, status_lines) {
  struct Row {
    const char *scenario;
    uint32_t wait_status;
    int not_yet_run;
    const char *text;
  };
  const Row rows[] = {
      {"never run", 0, 1, "    backup                                -NA-\n"},
      {"never run, the status is not looked at", 0xffffffff, 7, "    backup                                -NA-\n"},
      {"success", 0, 0, "backup                            Success (0)\n"},
      {"exit code 1", 0x0100, 0, "backup                            Failed  (1)\n"},
      {"exit code 255", 0xff00, 0, "backup                            Failed  (255)\n"},
      {"only bits 8 to 15 are read: a signal alone is no exit code", 0xffff00ff, 0,
       "backup                            Success (0)\n"},
      {"an exit code beside other bits", 0x12340a09, 0, "backup                            Failed  (10)\n"},
  };
  for (const Row &row : rows) {
    sch_job_status_entry entry = {};
    put(entry.name, "backup");
    entry.wait_status = row.wait_status;
    EXPECT_EQ(printed([&] { print_status(&entry, row.not_yet_run); }), row.text) << row.scenario;
  }
}

}  // namespace
