// SPDX-License-Identifier: Apache-2.0
#include <climits>

#include "tests/show/replies.h"

using namespace platform_test;
using namespace show_test;

namespace {

class ShowJobsTest : public PlatformTest {};

std::string name_sent() {
  return fake.requests.at(0).bytes.substr(12, 32);
}

std::string block(const std::string &name, const std::string &text) {
  return "Job Name: " + name + "\n----------" + std::string(name.size(), '-') + "\n" + text + rule;
}

TEST_F(ShowJobsTest, without_jobs_nothing_is_printed) {
  EXPECT_EQ(run(sch_cli_show_jobs), (Outcome{0, "", ""}));
  EXPECT_EQ(fake.requests.size(), 1u);
}

TEST_F(ShowJobsTest, a_name_that_does_not_exist_prints_nothing) {
  EXPECT_EQ(run(sch_cli_show_jobs, {}, {"nobody"}), (Outcome{0, "", ""}));
}

TEST_F(ShowJobsTest, two_parameters_name_no_job) {
  EXPECT_EQ(run(sch_cli_show_jobs, {Reply::with(job_reply("a", 0, "")), Reply::with(job_reply("b", 1, ""))},
                {"backup", "more"}),
            (Outcome{0, block("a", "") + block("b", ""), ""}));
  EXPECT_EQ(name_sent(), std::string(32, '\0'));
}

TEST_F(ShowJobsTest, a_name_fills_its_field_at_32_characters_and_is_cut_beyond) {
  for (const size_t length : {31u, 32u, 33u, 200u}) {
    fake.requests.clear();
    EXPECT_EQ(run(sch_cli_show_jobs, {}, {std::string(length, 'n')}), (Outcome{0, "", ""}));
    EXPECT_EQ(name_sent().c_str(), std::string(std::min<size_t>(length, 32), 'n')) << length;
  }
}

TEST_F(ShowJobsTest, a_parameter_without_text_is_refused_before_anything_is_sent) {
  Context number;
  number.integer_param(7);
  EXPECT_EQ(run(sch_cli_show_jobs, number), (Outcome{255, "", "Error: missing or unsuitable parameter\n"}));
  EXPECT_TRUE(fake.requests.empty());
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
  for (const std::string &text : {every_byte, std::string("x")})
    EXPECT_EQ(run(sch_cli_show_jobs, {Reply::with(job_reply("bytes", 0, text))}),
              (Outcome{0, block("bytes", text), ""}));
}

TEST_F(ShowJobsTest, a_length_of_zero_or_below_prints_no_text) {
  for (const int32_t length : {0, -1, INT32_MIN}) {
    sch_show_job_reply reply = {};
    put(reply.name, "empty");
    reply.length = length;
    EXPECT_EQ(run(sch_cli_show_jobs, {Reply::with(raw(reply) + "never printed")}), (Outcome{0, block("empty", ""), ""}))
        << length;
  }
}

TEST_F(ShowJobsTest, a_transport_error_ends_the_listing_and_keeps_what_was_printed) {
  EXPECT_EQ(run(sch_cli_show_jobs, {Reply::with(job_reply("a", 0, "1\n")), failed(0x40bd0007)}),
            (Outcome{1, block("a", "1\n"), error_line(0x40bd0007)}));
}

TEST_F(ShowJobsTest, a_reply_beside_an_error_is_not_printed) {
  EXPECT_EQ(run(sch_cli_show_jobs, {Reply::with(job_reply("a", 0, "1\n"), 5)}, {"a"}), (Outcome{1, "", error_line(5)}));
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

TEST_F(ShowJobsTest, traces_of_a_failure_tell_code_and_text_before_the_report) {
  fake.replies = {failed(0x40be0001)};
  Context context;
  context->debug = 1;
  EXPECT_EQ(run(sch_cli_show_jobs, context).err, "sending show job request\nerror is 1086193665 " +
                                                     error_text(0x40be0001) + "\nError: " + error_text(0x40be0001) +
                                                     "\n");
}

TEST_F(ShowJobsTest, a_name_without_terminator_is_printed_to_the_end_of_its_field) {
  const std::string name(32, 'n');
  EXPECT_EQ(run(sch_cli_show_jobs, {Reply::with(job_reply(name, 0, "t\n"))}), (Outcome{0, block(name, "t\n"), ""}));
}

TEST_F(ShowJobsTest, a_reply_that_holds_less_than_it_announces_is_refused_whole) {
  const std::string whole = job_reply("liar", 0, "0123456789");
  for (size_t length = 0; length < whole.size(); ++length) {
    if (length == 48) continue;  // as the length word was before the call: a test of its own below
    EXPECT_EQ(run(sch_cli_show_jobs, {Reply::with(whole.substr(0, length)), Reply::with(whole)}),
              (Outcome{1, "", incomplete}))
        << length;
  }
}

TEST_F(ShowJobsTest, a_huge_length_is_refused) {
  sch_show_job_reply reply = {};
  reply.length = INT32_MAX;
  EXPECT_EQ(run(sch_cli_show_jobs, {Reply::with(raw(reply) + "text")}), (Outcome{1, "", incomplete}));
}

TEST_F(ShowJobsTest, a_transport_that_leaves_the_length_word_is_believed) {
  fake.keeps_length_word = true;
  const std::string text(5000, 't');
  EXPECT_EQ(run(sch_cli_show_jobs, {Reply::with(job_reply("a", 0, "")), Reply::with(job_reply("b", 1, text))}),
            (Outcome{0, block("a", "") + block("b", text), ""}));
}

TEST_F(ShowJobsTest, with_the_length_word_left_the_heap_block_is_the_bound) {
  fake.keeps_length_word = true;
  sch_show_job_reply reply = {};
  reply.length = 1000;
  for (const std::string &bytes : {raw(reply) + "text", raw(reply).substr(0, 10)}) {
    EXPECT_EQ(run(sch_cli_show_jobs, {Reply::with(bytes)}), (Outcome{1, "", incomplete}));
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
