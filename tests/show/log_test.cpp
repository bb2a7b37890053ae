// SPDX-License-Identifier: Apache-2.0
#include <climits>

#include "tests/show/replies.h"

using namespace platform_test;
using namespace show_test;
using Calls = std::vector<std::string>;

namespace {

class ShowLogTest : public PlatformTest {};

const std::string output_heading = std::string(33, '-') + " Job Output " + std::string(33, '-') + "\n";

std::string entry_text(const std::string &output, const std::string &status = "Success (0)",
                       const std::string &time = "Thu Jan  1 00:00:00 1970") {
  return "Job Name       : backup                            Job Status: " + status +
         "\n"
         "Schedule Name  : nightly                           User Name : admin\n"
         "Completion time: " +
         time + "\n" + output_heading + output + rule;
}

Outcome show_log(std::deque<std::string> messages) {
  fake.messages = std::move(messages);
  Context context;
  return run(sch_cli_show_logfile, context);
}

size_t receives() {
  return fake.calls_with("mts_recv").size();
}

TEST_F(ShowLogTest, an_empty_log_prints_nothing) {
  EXPECT_EQ(show_log({log_message(0, 0, "")}), (Outcome{0, "", ""}));
  EXPECT_EQ(receives(), 1u);
}

TEST_F(ShowLogTest, an_empty_log_may_be_told_by_the_count_alone) {
  EXPECT_EQ(show_log({raw(uint32_t{0})}), (Outcome{0, "", ""}));
}

TEST_F(ShowLogTest, entries_are_printed_until_the_number_equals_the_count) {
  EXPECT_EQ(show_log({log_message(2, 1, "one\n"), log_message(2, 2, "two\n"), log_message(2, 3, "never\n")}),
            (Outcome{0, entry_text("one\n") + entry_text("two\n"), ""}));
  EXPECT_EQ(receives(), 2u);
}

TEST_F(ShowLogTest, a_number_beyond_the_count_is_not_the_last) {
  EXPECT_EQ(show_log({log_message(1, 2, "a\n"), log_message(1, 1, "b\n")}),
            (Outcome{0, entry_text("a\n") + entry_text("b\n"), ""}));
}

TEST_F(ShowLogTest, without_exactly_one_parameter_the_name_stays_empty) {
  for (const std::vector<std::string> &params : {std::vector<std::string>{}, {"a", "b"}}) {
    fake.requests.clear();
    fake.messages = {log_message(0, 0, "")};
    Context context(params);
    run(sch_cli_show_logfile, context);
    EXPECT_EQ(fake.requests.at(0).bytes.substr(12, 32), std::string(32, '\0'));
  }
}

TEST_F(ShowLogTest, each_message_is_received_by_the_token_of_the_request) {
  show_log({log_message(2, 1, ""), log_message(2, 2, "")});
  ASSERT_EQ(fake.selectors.size(), 2u);
  for (const mts_selector &selector : fake.selectors) {
    EXPECT_EQ(hex(&selector, sizeof selector), "0100000000000000000000004d000000" + std::string(40, '0'));
  }
}

TEST_F(ShowLogTest, memory_that_runs_out_before_sending_returns_2) {
  fake.libc_alloc.nth = 1;
  EXPECT_EQ(show_log({}), (Outcome{2, "", ""}));
  EXPECT_TRUE(fake.requests.empty());
}

TEST_F(ShowLogTest, a_parameter_without_text_is_refused) {
  Context context;
  context.integer_param(5);
  EXPECT_EQ(run(sch_cli_show_logfile, context), (Outcome{255, "", "Error: missing or unsuitable parameter\n"}));
  EXPECT_TRUE(fake.requests.empty());
}

TEST_F(ShowLogTest, output_in_three_messages_is_printed_once_in_the_order_of_arrival) {
  EXPECT_EQ(show_log({log_message(log_entry(1, 1, 9), "abc"), log_message(log_entry(7, 8, 99), "def"),
                      log_message(log_entry(0, 0, 0), "ghi")}),
            (Outcome{0, entry_text("abcdefghi"), ""}));
}

TEST_F(ShowLogTest, the_first_piece_may_be_empty) {
  EXPECT_EQ(show_log({log_message(log_entry(1, 1, 3), ""), log_message(log_entry(1, 1, 3), "abc")}),
            (Outcome{0, entry_text("abc"), ""}));
}

TEST_F(ShowLogTest, a_total_of_zero_is_printed_at_once_without_output) {
  EXPECT_EQ(show_log({log_message(log_entry(1, 1, 0), "")}), (Outcome{0, entry_text(""), ""}));
  EXPECT_EQ(receives(), 1u);
}

TEST_F(ShowLogTest, pieces_beyond_the_total_are_cut_at_the_total) {
  EXPECT_EQ(show_log({log_message(log_entry(1, 1, 4), "abcdefgh")}), (Outcome{0, entry_text("abcd"), ""}));
  EXPECT_EQ(show_log({log_message(log_entry(1, 1, 4), "abc"), log_message(log_entry(1, 1, 4), "defgh")}),
            (Outcome{0, entry_text("abcd"), ""}));
  EXPECT_EQ(show_log({log_message(log_entry(1, 1, 0), "abc")}), (Outcome{0, entry_text(""), ""}));
}

TEST_F(ShowLogTest, output_is_printed_byte_for_byte) {
  const std::string output("a\0\n\xff", 4);
  EXPECT_EQ(show_log({log_message(1, 1, output)}), (Outcome{0, entry_text(output), ""}));
}

TEST_F(ShowLogTest, a_negative_total_finds_no_memory_and_the_listing_goes_on) {
  for (const int32_t total : {-1, INT32_MIN}) {
    EXPECT_EQ(show_log({log_message(log_entry(2, 1, total), "abc"), log_message(2, 2, "next")}),
              (Outcome{0, "Out of memory\n" + entry_text("next"), ""}))
        << total;
  }
}

TEST_F(ShowLogTest, an_entry_without_memory_is_skipped) {
  fake.libc_alloc.nth = 2;  // the first is the request
  EXPECT_EQ(show_log({log_message(2, 1, "abc"), log_message(2, 2, "next")}),
            (Outcome{0, "Out of memory\n" + entry_text("next"), ""}));
}

TEST_F(ShowLogTest, an_entry_without_memory_that_is_the_last_ends_the_listing) {
  fake.libc_alloc = {2, true, 0};
  EXPECT_EQ(show_log({log_message(1, 1, "abc")}), (Outcome{0, "Out of memory\n", ""}));
  EXPECT_EQ(receives(), 1u);
}

TEST_F(ShowLogTest, a_failed_receive_ends_the_listing) {
  EXPECT_EQ(show_log({}), (Outcome{0, "Error on recv\n", ""}));
  EXPECT_EQ(show_log({log_message(2, 1, "one\n")}), (Outcome{0, entry_text("one\n") + "Error on recv\n", ""}));
}

TEST_F(ShowLogTest, a_failed_parse_ends_the_listing) {
  fake.errors["cmi_parse_response"] = 1;
  EXPECT_EQ(show_log({log_message(1, 1, "one\n")}), (Outcome{0, "Error cmi parsing\n", ""}));
}

TEST_F(ShowLogTest, failures_inside_an_entry_do_not_end_the_listing) {
  // Calls of the transport: send, then receive and parse of each message.
  struct Row {
    const char *scenario;
    int failing_call;
    std::string out;
  };
  const Row rows[] = {
      {"receive of the second piece", 4, "Error on recv\n" + entry_text("next")},
      {"parse of the second piece", 5, "Error cmi parsing\n" + entry_text("next")},
  };
  for (const Row &row : rows) {
    fake.transport = {row.failing_call, false, 0};
    std::deque<std::string> messages = {log_message(log_entry(2, 1, 6), "abc"), log_message(2, 2, "next")};
    if (row.failing_call == 5) messages.insert(messages.begin() + 1, log_message(log_entry(2, 1, 6), "def"));
    EXPECT_EQ(show_log(messages), (Outcome{0, row.out, ""})) << row.scenario;
  }
}

TEST_F(ShowLogTest, a_reply_that_parses_to_nothing_is_a_parse_failure) {
  fake.parses_to_null = true;
  EXPECT_EQ(show_log({log_message(1, 1, "x")}), (Outcome{0, "Error cmi parsing\n", ""}));
}

TEST_F(ShowLogTest, a_message_that_holds_less_than_it_announces_is_a_parse_failure) {
  const std::string whole = log_message(1, 1, "0123456789");
  for (size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(show_log({whole.substr(0, length)}), (Outcome{0, "Error cmi parsing\n", ""})) << length;
  }
}

TEST_F(ShowLogTest, a_continuation_that_lies_fails_its_entry_alone) {
  const std::string liar = log_message(log_entry(2, 1, 6), "def").substr(0, 130);
  EXPECT_EQ(show_log({log_message(log_entry(2, 1, 6), "abc"), liar, log_message(2, 2, "next")}),
            (Outcome{0, "Error cmi parsing\n" + entry_text("next"), ""}));
}

TEST_F(ShowLogTest, a_huge_piece_length_is_a_parse_failure) {
  sch_log_entry entry = log_entry(1, 1, INT32_MAX);
  entry.piece_length = UINT32_MAX;
  EXPECT_EQ(show_log({raw(entry) + "abc"}), (Outcome{0, "Error cmi parsing\n", ""}));
}

TEST_F(ShowLogTest, a_huge_total_waits_for_its_output_and_writes_nothing) {
  EXPECT_EQ(show_log({log_message(log_entry(1, 1, 1 << 20), "abc")}), (Outcome{0, "Error on recv\n", ""}));
}

TEST_F(ShowLogTest, collation_returns_minus_1_on_each_failure) {
  const mts_selector selector = {{1, 0, 0, 77}};
  const auto collate = [&](const std::string &first) {
    const Held<sch_log_entry> message(first);
    int result = 1;
    capture([&] { result = collate_and_display_log(42, message.get(), &selector); });
    return result;
  };
  EXPECT_EQ(collate(log_message(1, 1, "abc")), 0);
  EXPECT_EQ(collate(log_message(log_entry(1, 1, -1), "abc")), -1);
  EXPECT_EQ(collate(log_message(log_entry(1, 1, 9), "abc")), -1);
  fake.messages = {"short"};
  EXPECT_EQ(collate(log_message(log_entry(1, 1, 9), "abc")), -1);
}

TEST_F(ShowLogTest, collation_receives_with_the_selector_it_was_given) {
  const mts_selector selector = {{1, 2, 3, 4, 5, 6, 7, 8, 9}};
  const Held<sch_log_entry> first(log_message(log_entry(1, 1, 6), "abc"));
  fake.messages = {log_message(log_entry(1, 1, 6), "def")};
  capture([&] { EXPECT_EQ(collate_and_display_log(9, first.get(), &selector), 0); });
  ASSERT_EQ(fake.selectors.size(), 1u);
  EXPECT_EQ(hex(&fake.selectors[0], sizeof selector), hex(&selector, sizeof selector));
  EXPECT_EQ(fake.calls_with("mts_recv"), (Calls{"mts_recv 9"}));
}

TEST_F(ShowLogTest, results_of_the_listing_alone) {
  const std::pair<std::deque<std::string>, int> rows[] = {
      {{log_message(0, 0, "")}, 0}, {{log_message(1, 1, "")}, 0}, {{}, -1}, {{"short"}, -1}};
  const cmi_sent_request sent = {{5, 0, 0, 0}};
  for (const auto &[messages, expected] : rows) {
    fake.messages = messages;
    int result = 1;
    capture([&] { result = display_log_entries(9, &sent); });
    EXPECT_EQ(result, expected);
  }
  EXPECT_EQ(fake.selectors.at(0).words[3], 5u);
}

TEST_F(ShowLogTest, job_status_by_wait_status) {
  const std::pair<uint32_t, std::string> rows[] = {
      {0, "Success (0)"}, {0x0100, "Failed (1)"},      {0xff00, "Failed (255)"},
      {9, "Failed (0)"},  {0x12340a00, "Failed (10)"}, {0xffff00ff, "Failed (0)"},
  };
  for (const auto &[wait_status, text] : rows) {
    sch_log_entry entry = log_entry(1, 1, 0);
    entry.wait_status = wait_status;
    EXPECT_EQ(printed([&] { display_log_entry(&entry, nullptr); }), entry_text("", text)) << wait_status;
  }
}

TEST_F(ShowLogTest, completion_times_by_zone) {
  for (const auto &[zone, clock] : leap_day_clocks) {
    set_zone(zone);
    sch_log_entry entry = log_entry(1, 1, 3);
    entry.completion = leap_day;
    EXPECT_EQ(printed([&] { display_log_entry(&entry, "abc"); }),
              entry_text("abc", "Success (0)", std::string("Thu Feb 29 ") + clock + ":56 2024"))
        << zone;
  }
}

// Every weekday, month, and day of one digit and of two comes in these steps.
TEST_F(ShowLogTest, completion_times_are_those_of_ctime) {
  set_zone("UTC");
  constexpr int64_t step = 37 * 3600 + 41 * 60 + 13;
  sch_log_entry entry = log_entry(1, 1, -1);
  for (int64_t moment = INT32_MIN; moment <= INT32_MAX; moment += 50 * step) {
    entry.completion = static_cast<int32_t>(moment);
    const time_t completion = entry.completion;
    std::string wanted = ctime(&completion);
    wanted.pop_back();
    ASSERT_EQ(printed([&] { display_log_entry(&entry, nullptr); }), entry_text("", "Success (0)", wanted));
  }
}

TEST_F(ShowLogTest, names_that_fill_their_fields_are_printed_to_the_end_of_them) {
  sch_log_entry entry = log_entry(1, 1, -1);
  put(entry.job, std::string(32, 'j'));
  put(entry.schedule, std::string(32, 's'));
  put(entry.user, std::string(40, 'u'));
  EXPECT_EQ(printed([&] { display_log_entry(&entry, nullptr); }),
            "Job Name       : " + std::string(32, 'j') + "  Job Status: Success (0)\nSchedule Name  : " +
                std::string(32, 's') + "  User Name : " + std::string(40, 'u') +
                "\nCompletion time: Thu Jan  1 00:00:00 1970\n" + output_heading + rule);
}

TEST_F(ShowLogTest, the_debug_flag_is_taken_from_the_command) {
  fake.messages = {log_message(1, 1, "abc")};
  Context context({"n"});
  context->debug = 1;
  EXPECT_EQ(run(sch_cli_show_logfile, context).err,
            "parameter found\n***LOG ENTRY count 1 entry 1\nentry 1 recvd 3 total 3\n");
  EXPECT_EQ(cli_debug, 1u);
}

}  // namespace
