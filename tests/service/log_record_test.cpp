// SPDX-License-Identifier: Apache-2.0
// A record in the log's file: what is kept of it, to the byte, and what is said of the rest.
#include "service/joblog/log_record.h"

#include <gtest/gtest.h>

#include <cstring>

namespace service_test {
namespace {

using service::decode;
using service::encode;
using service::LogRecord;
using service::LogRecordHead;

constexpr size_t fixed = 48 + 3 + 8 + 4;  // of `full` below: the numbers and the three names

LogRecord full(const std::string &output = "out\n") {
  LogRecord record;
  record.job = "job";
  record.schedule = "schedule";
  record.user = "anna";
  record.owner_tag = 1001;
  record.wait_status = 3 << 8;
  record.completion = 1795262400;
  record.output = output;
  record.run = 17;
  record.outcome = 19;
  record.reason = 5;
  return record;
}

// The record as it comes back from a body of this room.
LogRecord kept(const LogRecord &record, size_t room) {
  const std::vector<std::byte> body = encode(record, 23, room);
  EXPECT_LE(body.size(), std::max(room, fixed));
  const std::optional<LogRecordHead> head = decode(body, 2);
  return head ? service::record_of(*head) : LogRecord();
}

TEST(LogRecord, comes_back_with_all_its_fields) {
  const std::vector<std::byte> body = encode(full(), 23, 1000);
  EXPECT_EQ(body.size(), fixed + 4);
  const std::optional<LogRecordHead> head = decode(body, 2);
  ASSERT_TRUE(head);
  EXPECT_EQ(head->newest_outcome, 23u);
  const LogRecord read = service::record_of(*head);
  EXPECT_EQ(read.job, "job");
  EXPECT_EQ(read.schedule, "schedule");
  EXPECT_EQ(read.user, "anna");
  EXPECT_EQ(read.owner_tag, 1001u);
  EXPECT_EQ(read.wait_status, 3u << 8);
  EXPECT_EQ(read.completion, 1795262400u);
  EXPECT_EQ(read.output, "out\n");
  EXPECT_EQ(read.output_total, 4u);
  EXPECT_EQ(read.run, 17u);
  EXPECT_EQ(read.outcome, 19u);
  EXPECT_EQ(read.reason, 5u);
}

TEST(LogRecord, without_anything_has_nothing_but_zeroes) {
  const std::optional<LogRecordHead> head = decode(encode({}, 0, 1000), 2);
  ASSERT_TRUE(head);
  for (const uint64_t number : {head->run, head->outcome, head->newest_outcome, head->output_total})
    EXPECT_EQ(number, 0u);
  for (const uint32_t number : {head->owner_tag, head->wait_status, head->completion, head->reason})
    EXPECT_EQ(number, 0u);
  EXPECT_EQ(head->output, "");
}

TEST(LogRecord, that_is_cut_in_its_numbers_or_names_is_none) {
  const std::vector<std::byte> body = encode(full(), 23, 1000);
  for (size_t size = 0; size <= body.size(); size++)
    EXPECT_EQ(decode(std::span(body).first(size), 2).has_value(), size >= fixed) << size;
}

TEST(LogRecord, has_as_much_of_a_name_as_a_byte_can_count) {
  LogRecord record = full();
  record.job = std::string(255, 'j');
  record.schedule = std::string(256, 's');
  record.user = std::string(300, 'u');
  const LogRecord read = kept(record, 2000);
  EXPECT_EQ(read.job, record.job);
  EXPECT_EQ(read.schedule, std::string(255, 's'));
  EXPECT_EQ(read.user, std::string(255, 'u'));
  EXPECT_EQ(read.output, "out\n");
}

TEST(LogRecord, of_the_first_version_has_three_fields_for_names_and_the_output_behind_them) {
  struct {
    uint32_t owner_tag = 1001;
    char job[32] = "job", schedule[32] = "schedule", user[40] = "anna";
    uint32_t wait_status = 256, completion = 1795262400;
    char output[4] = {'o', 'u', 't', '\n'};
  } stored;
  const auto body = std::as_bytes(std::span(&stored, 1));
  ASSERT_EQ(body.size(), 120u);
  const std::optional<LogRecordHead> head = decode(body, 1);
  ASSERT_TRUE(head);
  EXPECT_EQ(head->owner_tag, 1001u);
  EXPECT_EQ(head->job, "job");
  EXPECT_EQ(head->schedule, "schedule");
  EXPECT_EQ(head->user, "anna");
  EXPECT_EQ(head->wait_status, 256u);
  EXPECT_EQ(head->completion, 1795262400u);
  EXPECT_EQ(head->output, "out\n");
  EXPECT_EQ(head->output_total, 4u);
  for (const uint64_t number : {head->run, head->outcome, head->newest_outcome, uint64_t{head->reason}})
    EXPECT_EQ(number, 0u);
  EXPECT_TRUE(decode(body.first(116), 1));
  EXPECT_FALSE(decode(body.first(115), 1));
}

TEST(LogRecord, is_cut_only_where_it_does_not_fit) {
  const std::string output(100, 'x'), note = "\n[the output of 100 bytes was cut here]\n";
  EXPECT_EQ(kept(full(output), fixed + 100).output, output);
  EXPECT_EQ(kept(full(output), fixed + 99).output, std::string(99 - note.size(), 'x') + note);
  EXPECT_EQ(kept(full(output), fixed + 99).output_total, 100u);
  EXPECT_EQ(kept(full(output), fixed + 5).output, note.substr(0, 5));
  EXPECT_EQ(kept(full(output), fixed).output, "");
  EXPECT_EQ(kept(full(output), 10).output, "");
}

TEST(LogRecord, has_the_services_remark_on_a_line_of_its_own_within_its_room) {
  LogRecord record = full("x");
  record.remark = "late";
  EXPECT_EQ(kept(record, fixed + 9).output, "x\n[late]\n");
  EXPECT_EQ(kept(record, fixed + 8).output, "\n[the ou");
  record.output = "x\n";
  EXPECT_EQ(kept(record, fixed + 9).output, "x\n[late]\n");
  record.output = "";
  EXPECT_EQ(kept(record, fixed + 7).output, "[late]\n");
  record.output = "kept";
  record.output_total = 1000;
  EXPECT_EQ(kept(record, 1000).output, "kept\n[the output of 1000 bytes was cut here]\n[late]\n");
}

struct PrintedCase {
  std::string output;
  uint64_t total;
  bool gone;
  std::string text;
  uint64_t length;
  bool cut;
  std::string remark;
};

TEST(Printed, tells_what_a_job_printed_from_what_the_service_says) {
  const std::string note_of_9 = "\n[the output of 9 bytes was cut here]\n";
  const PrintedCase cases[] = {
      {"", 0, false, "", 0, false, ""},
      {"out\n", 4, false, "out\n", 4, false, ""},
      {"out\n[late]\n", 4, false, "out\n", 4, false, "late"},
      {"out\n[late]\n", 3, false, "out", 3, false, "late"},
      {"out\n[]\n", 4, false, "out\n", 4, false, ""},
      {"out\n[late", 4, false, "out\n", 4, false, "[late"},
      {"out\nlate]\n", 4, false, "out\n", 4, false, "late]\n"},
      {"kept", 9, false, "kept", 9, true, ""},
      {"kept" + note_of_9, 9, false, "kept", 9, true, ""},
      {"kept" + note_of_9 + "[late]\n", 9, false, "kept", 9, true, "late"},
      {"123456789" + note_of_9, 9, false, "123456789", 9, false, note_of_9.substr(2, note_of_9.size() - 4)},
      {"[it is gone]\n", 9, true, "", 9, true, "it is gone"},
      {"[it is gone]\n", 0, true, "", 0, false, "it is gone"},
  };
  for (const PrintedCase &each : cases) {
    LogRecord record;
    record.output = each.output;
    record.output_total = each.total;
    record.output_gone = each.gone;
    const service::Printed printed = service::printed_in(record);
    EXPECT_EQ(printed.text, each.text) << each.output;
    EXPECT_EQ(printed.length, each.length) << each.output;
    EXPECT_EQ(printed.cut, each.cut) << each.output;
    EXPECT_EQ(printed.remark, each.remark) << each.output;
  }
}

}  // namespace
}  // namespace service_test
