// SPDX-License-Identifier: Apache-2.0
#include <climits>

#include "tests/show/replies.h"
#include "tests/show/transport_hooks.h"

using namespace platform_test;
using namespace show_test;
using Traces = std::vector<std::string>;

namespace {

const std::string incomplete = "Error: incomplete reply\n";

class ShowJobsTest : public PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    hooks = {};
  }
};

std::string request_hex(const std::string &name_hex, const std::string &cursor_hex) {
  std::string name = name_hex;
  name.resize(64, '0');
  return "07000000"
         "28000000"
         "00000000" +
         name + cursor_hex;
}

std::string sent_hex(size_t index) {
  return hex(fake.requests.at(index).bytes.data(), fake.requests[index].bytes.size());
}

std::string block(const std::string &name, const std::string &text) {
  return "Job Name: " + name + "\n----------" + std::string(name.size(), '-') + "\n" + text + rule;
}

TEST_F(ShowJobsTest, without_jobs_nothing_is_printed) {
  Context context;
  EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{0, "", ""}));
  ASSERT_EQ(fake.requests.size(), 1u);
}

TEST_F(ShowJobsTest, all_jobs_are_printed_until_the_reply_is_null) {
  fake.replies = {Reply::with(job_reply("backup", 0, "show clock\ncopy run start\n")),
                  Reply::with(job_reply("x", 255, "no line end"))};
  Context context;
  EXPECT_EQ(run(sch_cli_show_jobs, context),
            (Outcome{0, block("backup", "show clock\ncopy run start\n") + block("x", "no line end"), ""}));
  ASSERT_EQ(fake.requests.size(), 3u);
  EXPECT_EQ(sent_hex(0), request_hex("", "ffffffff"));
  EXPECT_EQ(sent_hex(1), request_hex("", "00000000"));
  EXPECT_EQ(sent_hex(2), request_hex("", "ff000000"));
}

TEST_F(ShowJobsTest, a_named_job_is_asked_for_once_even_when_the_service_has_more) {
  fake.replies = {Reply::with(job_reply("backup", 3, "a\n")), Reply::with(job_reply("other", 4, "b\n"))};
  Context context({"backup"});
  EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{0, block("backup", "a\n"), ""}));
  ASSERT_EQ(fake.requests.size(), 1u);
  EXPECT_EQ(sent_hex(0), request_hex("6261636b7570", "ffffffff"));
}

TEST_F(ShowJobsTest, a_name_that_does_not_exist_prints_nothing) {
  Context context({"nobody"});
  EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{0, "", ""}));
}

TEST_F(ShowJobsTest, two_parameters_name_no_job) {
  fake.replies = {Reply::with(job_reply("a", 0, "")), Reply::with(job_reply("b", 1, ""))};
  Context context({"backup", "more"});
  EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{0, block("a", "") + block("b", ""), ""}));
  EXPECT_EQ(sent_hex(0), request_hex("", "ffffffff"));
}

TEST_F(ShowJobsTest, a_name_fills_its_field_at_32_characters_and_is_cut_beyond) {
  for (const size_t length : {31u, 32u, 33u, 200u}) {
    fake.requests.clear();
    Context context({std::string(length, 'n')});
    EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{0, "", ""}));
    std::string field;
    for (size_t i = 0; i < std::min<size_t>(length, 32); ++i)
      field += "6e";
    EXPECT_EQ(sent_hex(0), request_hex(field, "ffffffff")) << length;
  }
}

TEST_F(ShowJobsTest, a_parameter_without_text_is_refused_before_anything_is_sent) {
  Context number;
  number.integer_param(7);
  EXPECT_EQ(run(sch_cli_show_jobs, number), (Outcome{255, "", "Error: missing or unsuitable parameter\n"}));
  EXPECT_TRUE(fake.requests.empty());
}

TEST_F(ShowJobsTest, the_transport_gets_the_identity_and_a_cleared_reply) {
  fake.replies = {Reply::with(job_reply("a", 0, "")), Reply::with(job_reply("b", 1, ""))};
  Context context;
  run(sch_cli_show_jobs, context);
  ASSERT_EQ(fake.requests.size(), 3u);
  for (const Request &request : fake.requests) {
    EXPECT_EQ(request.service, 5951u);
    EXPECT_EQ(request.message_class, 2u);
    EXPECT_EQ(request.bytes.size(), 48u);
    EXPECT_EQ(request.user_name, "admin");
    EXPECT_EQ(request.peer_name, "console");
    EXPECT_EQ(request.constant_136, 136u);
    EXPECT_EQ(request.shell_handle, 42u);
    EXPECT_EQ(request.zero, 0u);
    EXPECT_TRUE(request.reply_was_null);
  }
}

TEST_F(ShowJobsTest, identities_that_fill_their_fields_are_sent_whole) {
  Context context;
  std::fill(std::begin(context->user_name), std::end(context->user_name), 'u');
  std::fill(std::begin(context->peer_name), std::end(context->peer_name), 'p');
  run(sch_cli_show_jobs, context);
  EXPECT_EQ(fake.requests.at(0).user_name, std::string(32, 'u'));
  EXPECT_EQ(fake.requests.at(0).peer_name, std::string(32, 'p'));
}

TEST_F(ShowJobsTest, text_is_printed_byte_for_byte) {
  std::string every_byte;
  for (int value = 0; value < 256; ++value)
    every_byte += static_cast<char>(value);
  fake.replies = {Reply::with(job_reply("bytes", 0, every_byte))};
  Context context;
  EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{0, block("bytes", every_byte), ""}));
}

TEST_F(ShowJobsTest, texts_of_one_and_two_bytes) {
  for (const char *text : {"x", "xy"}) {
    fake.replies = {Reply::with(job_reply("a", 0, text))};
    Context context;
    EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{0, block("a", text), ""}));
  }
}

TEST_F(ShowJobsTest, a_length_of_zero_or_below_prints_no_text) {
  for (const int32_t length : {0, -1, INT32_MIN}) {
    sch_show_job_reply reply = {};
    put(reply.name, "empty");
    reply.length = length;
    fake.replies = {Reply::with(raw(reply) + "never printed")};
    Context context;
    EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{0, block("empty", ""), ""})) << length;
  }
}

TEST_F(ShowJobsTest, a_transport_error_ends_the_listing_and_keeps_what_was_printed) {
  fake.replies = {Reply::with(job_reply("a", 0, "1\n")), Reply{0x40bd0007, "", true}};
  Context context;
  EXPECT_EQ(run(sch_cli_show_jobs, context),
            (Outcome{1, block("a", "1\n"), "Error: " + error_text(0x40bd0007) + "\n"}));
}

TEST_F(ShowJobsTest, a_reply_beside_an_error_is_not_printed) {
  fake.replies = {Reply::with(job_reply("a", 0, "1\n"), 5)};
  Context context({"a"});
  EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{1, "", "Error: " + error_text(5) + "\n"}));
}

TEST_F(ShowJobsTest, memory_that_runs_out_returns_2_silently) {
  Context context({"a"});
  context->debug = 3;
  fake.libc_alloc.nth = 1;
  EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{2, "", ""}));
  EXPECT_TRUE(fake.requests.empty());
  EXPECT_TRUE(fake.traces().empty());
  EXPECT_EQ(cli_debug, 3u) << "taken at entry";
}

TEST_F(ShowJobsTest, the_debug_flag_is_taken_from_the_command_each_time) {
  Context context;
  context->debug = 1;
  EXPECT_EQ(run(sch_cli_show_jobs, context).err, "sending show job request\nnothing to show\n");
  EXPECT_EQ(cli_debug, 1u);
  context->debug = 0;
  EXPECT_EQ(run(sch_cli_show_jobs, context).err, "");
  EXPECT_EQ(cli_debug, 0u);
}

TEST_F(ShowJobsTest, traces_of_a_listing) {
  fake.replies = {Reply::with(job_reply("a", 0, ""))};
  Context context;
  run(sch_cli_show_jobs, context);
  const Traces expected = {"sending show job request", "sending show job request", "nothing to show"};
  EXPECT_EQ(fake.traces(103), expected);
  EXPECT_EQ(fake.traces(), expected);
  EXPECT_EQ(fake.buginf, expected);
  for (const HistoryEvent &event : fake.history) {
    EXPECT_EQ(event.module, 0x730000u);
    EXPECT_EQ(event.length, 4 + event.text.size() + 1);
  }
}

TEST_F(ShowJobsTest, traces_of_a_named_job_do_not_tell_an_end) {
  fake.replies = {Reply::with(job_reply("a", 0, ""))};
  Context context({"a"});
  run(sch_cli_show_jobs, context);
  EXPECT_EQ(fake.traces(), (Traces{"parameter found", "sending show job request"}));
}

TEST_F(ShowJobsTest, traces_of_a_failure_tell_code_and_text_before_the_report) {
  fake.replies = {Reply{0x40be0001, "", true}};
  Context context;
  context->debug = 1;
  EXPECT_EQ(run(sch_cli_show_jobs, context).err, "sending show job request\nerror is 1086193665 " +
                                                     error_text(0x40be0001) + "\nError: " + error_text(0x40be0001) +
                                                     "\n");
  EXPECT_EQ(fake.buginf_formats, (Traces{"sending show job request", "error is %d %s"}));
}

TEST_F(ShowJobsTest, a_name_without_terminator_is_printed_to_the_end_of_its_field) {
  const std::string name(32, 'n');
  fake.replies = {Reply::with(job_reply(name, 0, "t\n"))};
  Context context;
  EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{0, block(name, "t\n"), ""}));
}

TEST_F(ShowJobsTest, a_reply_that_holds_less_than_it_announces_is_refused_whole) {
  const std::string whole = job_reply("liar", 0, "0123456789");
  for (size_t length = 0; length < whole.size(); ++length) {
    if (length == 48) continue;  // the length word as it was: see below
    fake.replies = {Reply::with(whole.substr(0, length)), Reply::with(whole)};
    Context context;
    EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{1, "", incomplete})) << length;
  }
}

TEST_F(ShowJobsTest, a_huge_length_is_refused) {
  sch_show_job_reply reply = {};
  reply.length = INT32_MAX;
  fake.replies = {Reply::with(raw(reply) + "text")};
  Context context;
  EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{1, "", incomplete}));
}

TEST_F(ShowJobsTest, a_transport_that_leaves_the_length_word_is_believed) {
  hooks.keeps_length_word = true;
  const std::string text(5000, 't');
  fake.replies = {Reply::with(job_reply("a", 0, "")), Reply::with(job_reply("b", 1, text))};
  Context context;
  EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{0, block("a", "") + block("b", text), ""}));
}

TEST_F(ShowJobsTest, with_the_length_word_left_the_heap_block_is_the_bound) {
  hooks.keeps_length_word = true;
  sch_show_job_reply reply = {};
  reply.length = 1000;
  for (const std::string &bytes : {raw(reply) + "text", raw(reply).substr(0, 10)}) {
    fake.replies = {Reply::with(bytes)};
    Context context;
    EXPECT_EQ(run(sch_cli_show_jobs, context), (Outcome{1, "", incomplete}));
  }
}

TEST(print_line, writes_the_character_so_many_times) {
  const std::pair<int, std::string> rows[] = {{INT_MIN, ""}, {-1, ""}, {0, ""}, {1, "*"}, {3, "***"}};
  for (const auto &[count, text] : rows)
    EXPECT_EQ(printed([&] { print_line(count, '*'); }), text) << count;
}

TEST(display_job, prints_the_block_without_its_closing_rule) {
  const Held<sch_show_job_reply> job(job_reply("a", 0, "x\n"));
  EXPECT_EQ(printed([&] { display_job(job.get()); }), "Job Name: a\n-----------\nx\n");
}

}  // namespace
