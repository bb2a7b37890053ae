// SPDX-License-Identifier: Apache-2.0
#include <climits>

#include "tests/show/replies.h"

using namespace platform_test;
using namespace show_test;
using Traces = std::vector<std::string>;

namespace {

using ShowSchedulesTest = PlatformTest;

constexpr int32_t run_start = 1709210096;  // 2024-02-29 12:34:56 UTC
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

std::string request_hex(const std::string &name_hex, const std::string &cursor_hex) {
  std::string name = name_hex;
  name.resize(64, '0');
  return "06000000"
         "28000000"
         "00000000" +
         name + cursor_hex;
}

std::string sent_hex(size_t index) {
  return hex(fake.requests.at(index).bytes.data(), fake.requests[index].bytes.size());
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
  Context context;
  EXPECT_EQ(run(sch_cli_show_schedules, context), (Outcome{0, "", ""}));
  EXPECT_EQ(fake.requests.size(), 1u);
}

TEST_F(ShowSchedulesTest, all_schedules_are_printed_and_the_cursor_is_the_schedule_number) {
  fake.replies = {Reply::with(raw(schedule_record("a", 0))), Reply::with(raw(schedule_record("bc", 0x01020304)))};
  Context context;
  EXPECT_EQ(run(sch_cli_show_schedules, context),
            (Outcome{0, never_run_block("a") + rule + never_run_block("bc") + rule, ""}));
  ASSERT_EQ(fake.requests.size(), 3u);
  EXPECT_EQ(sent_hex(0), request_hex("", "ffffffff"));
  EXPECT_EQ(sent_hex(1), request_hex("", "00000000"));
  EXPECT_EQ(sent_hex(2), request_hex("", "04030201"));
}

TEST_F(ShowSchedulesTest, a_named_schedule_is_asked_for_once) {
  fake.replies = {Reply::with(raw(schedule_record("a", 0))), Reply::with(raw(schedule_record("b", 1)))};
  Context context({"a"});
  EXPECT_EQ(run(sch_cli_show_schedules, context), (Outcome{0, never_run_block("a") + rule, ""}));
  ASSERT_EQ(fake.requests.size(), 1u);
  EXPECT_EQ(sent_hex(0), request_hex("61", "ffffffff"));
}

TEST_F(ShowSchedulesTest, the_request_goes_to_the_show_service) {
  Context context;
  run(sch_cli_show_schedules, context);
  const Request &request = fake.requests.at(0);
  EXPECT_EQ(request.service, 5951u);
  EXPECT_EQ(request.message_class, 2u);
  EXPECT_EQ(request.user_name, "admin");
  EXPECT_EQ(request.peer_name, "console");
  EXPECT_EQ(request.constant_136, 136u);
  EXPECT_EQ(request.shell_handle, 42u);
  EXPECT_EQ(request.zero, 0u);
  EXPECT_TRUE(request.reply_was_null);
}

TEST_F(ShowSchedulesTest, a_transport_error_returns_1) {
  fake.replies = {Reply::with(raw(schedule_record("a", 0))), Reply{9, "", true}};
  Context context;
  EXPECT_EQ(run(sch_cli_show_schedules, context),
            (Outcome{1, never_run_block("a") + rule, "Error: " + error_text(9) + "\n"}));
}

TEST_F(ShowSchedulesTest, memory_that_runs_out_returns_2_silently) {
  Context context;
  fake.libc_alloc.nth = 1;
  EXPECT_EQ(run(sch_cli_show_schedules, context), (Outcome{2, "", ""}));
  EXPECT_TRUE(fake.requests.empty());
}

TEST_F(ShowSchedulesTest, traces_by_the_way_the_listing_ends) {
  const auto traces_of = [](const std::vector<std::string> &params, std::deque<Reply> replies) {
    fake.history.clear();
    fake.replies = std::move(replies);
    Context context(params);
    run(sch_cli_show_schedules, context);
    return fake.traces(103);
  };
  const Reply one = Reply::with(raw(schedule_record("a", 0)));
  const std::string sending = "send show schedule request";
  EXPECT_EQ(traces_of({}, {}), (Traces{sending, "nothing to show", "successful run"}));
  EXPECT_EQ(traces_of({}, {one}), (Traces{sending, sending, "nothing to show", "successful run"}));
  EXPECT_EQ(traces_of({"a"}, {one}), (Traces{"parameter found", sending, "successful run"}));
  EXPECT_EQ(traces_of({"a"}, {}), (Traces{"parameter found", sending, "nothing to show", "successful run"}));
  EXPECT_EQ(traces_of({}, {Reply{9, "", true}}), (Traces{sending, "error is 9 " + error_text(9)}));
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
}

TEST_F(ShowSchedulesTest, run_without_jobs_indents_its_line_by_14) {
  EXPECT_EQ(shown(raw(run_record())), top("nightly") + daily_line +
                                          "Last Execution Time : Thu Feb 29 12:34:56 2024\n"
                                          "Last Completion Time: Thu Feb 29 12:35:01 2024\n"
                                          "Execution count     : 17\n" +
                                          heading + "              No jobs assigned to schedule\n");
}

TEST_F(ShowSchedulesTest, a_negative_job_count_prints_the_heading_and_nothing_after_it) {
  for (const int32_t count : {-1, INT32_MIN}) {
    sch_show_schedule_reply reply = schedule_record("a", 0);
    reply.job_count = count;
    fake.replies = {Reply::with(raw(reply))};
    Context context({"a"});
    EXPECT_EQ(run(sch_cli_show_schedules, context),
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
  const std::pair<const char *, const char *> zones[] = {
      {"UTC", "Thu Feb 29 12:34:56 2024"},
      {"Europe/Berlin", "Thu Feb 29 13:34:56 2024"},
      {"Australia/Sydney", "Thu Feb 29 23:34:56 2024"},
      {"Asia/Kolkata", "Thu Feb 29 18:04:56 2024"},
  };
  for (const auto &[zone, text] : zones) {
    set_zone(zone);
    EXPECT_NE(shown(raw(run_record())).find(std::string("Last Execution Time : ") + text + "\n"), std::string::npos)
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
    fake.replies = {Reply::with(whole.substr(0, length))};
    Context context;
    EXPECT_EQ(run(sch_cli_show_schedules, context), (Outcome{1, "", "Error: incomplete reply\n"})) << length;
  }
}

TEST_F(ShowSchedulesTest, a_huge_job_count_is_refused) {
  sch_show_schedule_reply reply = schedule_record("a", 0);
  for (const int32_t count : {1, 0x07200000, INT32_MAX}) {
    reply.job_count = count;
    fake.replies = {Reply::with(raw(reply))};
    Context context;
    EXPECT_EQ(run(sch_cli_show_schedules, context), (Outcome{1, "", "Error: incomplete reply\n"})) << count;
  }
}

TEST_F(ShowSchedulesTest, the_status_heading_stands_alone) {
  EXPECT_EQ(printed(print_status_heading), heading);
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
