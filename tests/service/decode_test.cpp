// SPDX-License-Identifier: Apache-2.0
// Requests that are not what they should be: each gets its status, and nothing changes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "control/statuses.h"
#include "host/status.h"
#include "service/request/decode.h"
#include "service/request/dispatch.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

struct Wrong {
  const char *what;
  uint32_t service, opcode;
  Bytes payload;
  uint32_t status;
};

Bytes cut(Bytes payload, size_t size) {
  payload.resize(size);
  return payload;
}

Bytes with_u32(Bytes payload, size_t offset, uint32_t value) {
  std::memcpy(payload.data() + offset, &value, sizeof value);
  return payload;
}

Bytes unterminated_name(Bytes payload, size_t offset = 8) {
  std::memset(payload.data() + offset, 'x', 32);
  return payload;
}

sch_tminfo changed(sch_tminfo time, int32_t sch_tminfo::*field, int32_t value) {
  time.*field = value;
  return time;
}

sch_tminfo lasting(int days, int hours, int minutes) {
  sch_tminfo time = every(minutes, noon);
  time.day_of_week = days;
  time.hour = hours;
  return time;
}

Bytes transport(const char *server, uint32_t kind, uint32_t port) {
  sch_email_transport conf = {};
  std::strcpy(conf.smtp.server, server);
  conf.smtp.address_kind = __builtin_bswap32(kind);
  conf.smtp.port = __builtin_bswap32(port);
  const auto *start = reinterpret_cast<const std::byte *>(&conf);
  return {start, start + sizeof conf};
}

constexpr uint32_t config = SCH_SERVICE_CONFIG, show = SCH_SERVICE_SHOW;
const std::string long_line(61440, 'x');

std::vector<Wrong> wrong_requests() {
  return {
      {"an opcode that there is not", config, 21, {}, host::err_unknown_opcode},
      {"an opcode of the other service", config, SCH_OP_SHOW_JOB, show_payload(), host::err_unknown_opcode},
      {"a configuration opcode to the show service", show, SCH_OP_CREATE_JOB, job_payload("a"),
       host::err_unknown_opcode},
      {"a service that there is not", 5952, SCH_OP_CREATE_JOB, job_payload("a"), host::err_unknown_service},

      {"create job, a byte short", config, SCH_OP_CREATE_JOB, cut(job_payload("a"), 47), host::err_bad_request},
      {"create job, a byte more", config, SCH_OP_CREATE_JOB, cut(job_payload("a"), 49), host::err_bad_request},
      {"create job, empty", config, SCH_OP_CREATE_JOB, {}, host::err_bad_request},
      {"create job, without a name", config, SCH_OP_CREATE_JOB, job_payload(""), control::err_bad_name},
      {"create job, a name that begins with _", config, SCH_OP_CREATE_JOB, job_payload("_a"), control::err_bad_name},
      {"create job, a name that begins with -", config, SCH_OP_CREATE_JOB, job_payload("-a"), control::err_bad_name},
      {"create job, a name with a blank", config, SCH_OP_CREATE_JOB, job_payload("a b"), control::err_bad_name},
      {"create job, a name with a line end", config, SCH_OP_CREATE_JOB, job_payload("a\n"), control::err_bad_name},
      {"create job, a name in another alphabet", config, SCH_OP_CREATE_JOB, job_payload("\xc3\xa4"),
       control::err_bad_name},
      {"create job, a name without its end", config, SCH_OP_CREATE_JOB, unterminated_name(job_payload("a")),
       host::err_bad_request},
      {"create job, announcing a text", config, SCH_OP_CREATE_JOB, with_u32(job_payload("a"), 44, 1),
       host::err_bad_request},

      {"define job, announcing more than comes", config, SCH_OP_DEFINE_JOB,
       with_u32(job_payload("known", "x\n"), 44, 3), host::err_bad_request},
      {"define job, announcing less than comes", config, SCH_OP_DEFINE_JOB,
       with_u32(job_payload("known", "x\n"), 44, 1), host::err_bad_request},
      {"define job without a name, announcing more than comes", config, SCH_OP_DEFINE_JOB,
       with_u32(job_payload("", "x\n"), 44, 3), host::err_bad_request},
      {"define job, announcing 4 GiB", config, SCH_OP_DEFINE_JOB, with_u32(job_payload("known", "x\n"), 44, ~0u),
       host::err_bad_request},
      {"define job, a byte above the limit", config, SCH_OP_DEFINE_JOB, job_payload("known", long_line + "\n"),
       control::err_text_too_long},
      {"define job, a NUL in the text", config, SCH_OP_DEFINE_JOB, job_payload("known", std::string("a\0b\n", 4)),
       host::err_bad_value},
      {"define job, the line that ends its block", config, SCH_OP_DEFINE_JOB,
       job_payload("known", "a\n end-job\t\nb\n"), host::err_bad_value},
      {"define job, the line that ends its block with the other line end", config, SCH_OP_DEFINE_JOB,
       job_payload("known", "a\nend-job\r\nb\n"), host::err_bad_value},
      {"define job that there is not", config, SCH_OP_DEFINE_JOB, job_payload("unknown", "a\n"),
       control::err_no_such_job},
      {"delete job that there is not", config, SCH_OP_DELETE_JOB, job_payload("unknown"), control::err_no_such_job},
      {"create job that there is", config, SCH_OP_CREATE_JOB, job_payload("known"), SCH_STATUS_EXISTS},

      {"create schedule, a byte short", config, SCH_OP_CREATE_SCHEDULE, cut(schedule_payload("a"), 39),
       host::err_bad_request},
      {"create schedule, a bad name", config, SCH_OP_CREATE_SCHEDULE, schedule_payload("a.b"), control::err_bad_name},
      {"create schedule that there is", config, SCH_OP_CREATE_SCHEDULE, schedule_payload("known"), SCH_STATUS_EXISTS},
      {"delete schedule that there is not", config, SCH_OP_DELETE_SCHEDULE, schedule_payload("unknown"),
       control::err_no_such_schedule},

      {"modify schedule, a byte short", config, SCH_OP_MODIFY_SCHEDULE, cut(time_payload("known", daily(1, 1)), 119),
       host::err_bad_request},
      {"modify a schedule that there is not", config, SCH_OP_MODIFY_SCHEDULE, time_payload("unknown", daily(1, 1)),
       control::err_no_such_schedule},
      {"modify schedule, a form that there is not", config, SCH_OP_MODIFY_SCHEDULE,
       modify_payload("known", 6, false, ""), host::err_bad_value},
      {"modify schedule, another form than the record's", config, SCH_OP_MODIFY_SCHEDULE,
       modify_payload("known", SCH_SCHEDULE_WEEKLY, false, "", daily(1, 1)), host::err_bad_value},
      {"modify schedule, a negated time", config, SCH_OP_MODIFY_SCHEDULE,
       modify_payload("known", SCH_SCHEDULE_DAILY, true, "", daily(1, 1)), host::err_bad_value},
      {"modify schedule, hour 24", config, SCH_OP_MODIFY_SCHEDULE, time_payload("known", daily(24, 0)),
       SCH_STATUS_TIME_OUT_OF_RANGE},
      {"modify schedule, minute 60", config, SCH_OP_MODIFY_SCHEDULE, time_payload("known", daily(0, 60)),
       SCH_STATUS_TIME_OUT_OF_RANGE},
      {"modify schedule, hour -1", config, SCH_OP_MODIFY_SCHEDULE, time_payload("known", daily(-1, 0)),
       SCH_STATUS_TIME_OUT_OF_RANGE},
      {"modify schedule, once in the past", config, SCH_OP_MODIFY_SCHEDULE, time_payload("known", once(11, 59)),
       SCH_STATUS_TIME_IN_PAST},
      {"modify schedule, once on 31 November", config, SCH_OP_MODIFY_SCHEDULE,
       time_payload("known", changed(once(13, 0), &sch_tminfo::day_of_month, 31)), SCH_STATUS_TIME_OUT_OF_RANGE},
      {"modify schedule, once after the clock's last second", config, SCH_OP_MODIFY_SCHEDULE,
       time_payload("known", changed(once(13, 0), &sch_tminfo::year, 300)), SCH_STATUS_TIME_OUT_OF_RANGE},
      {"modify schedule, a start in the past", config, SCH_OP_MODIFY_SCHEDULE,
       time_payload("known", every(5, noon - 1)), SCH_STATUS_TIME_IN_PAST},
      {"modify schedule, a period of no time", config, SCH_OP_MODIFY_SCHEDULE,
       time_payload("known", every(0, noon + 60)), SCH_STATUS_TIME_OUT_OF_RANGE},
      {"modify schedule, a negative part of the period", config, SCH_OP_MODIFY_SCHEDULE,
       time_payload("known", changed(every(1440, noon + 60), &sch_tminfo::hour, -1)), SCH_STATUS_TIME_OUT_OF_RANGE},
      {"modify schedule, a period beyond 32 bits", config, SCH_OP_MODIFY_SCHEDULE,
       time_payload("known", changed(every(1, noon + 60), &sch_tminfo::day_of_week, 24856)),
       SCH_STATUS_TIME_OUT_OF_RANGE},
      {"modify schedule, a period of a minute less than no time", config, SCH_OP_MODIFY_SCHEDULE,
       time_payload("known", lasting(1, 0, -1)), SCH_STATUS_TIME_OUT_OF_RANGE},
      {"modify schedule, a period of days less than no time", config, SCH_OP_MODIFY_SCHEDULE,
       time_payload("known", lasting(-1, 23, 59)), SCH_STATUS_TIME_OUT_OF_RANGE},
      {"modify schedule, a period that ends a minute after the clock's last second", config, SCH_OP_MODIFY_SCHEDULE,
       time_payload("known", lasting(4076, 15, 15)), SCH_STATUS_TIME_OUT_OF_RANGE},
      {"assign a job that there is not", config, SCH_OP_MODIFY_SCHEDULE,
       modify_payload("known", SCH_MODIFY_JOB, false, "unknown"), control::err_no_such_job},
      {"assign a job without a name", config, SCH_OP_MODIFY_SCHEDULE,
       modify_payload("known", SCH_MODIFY_JOB, false, ""), control::err_bad_name},
      {"assign a job, its name without its end", config, SCH_OP_MODIFY_SCHEDULE,
       unterminated_name(modify_payload("known", SCH_MODIFY_JOB, false, "known"), 44), host::err_bad_request},
      {"assign a job twice", config, SCH_OP_MODIFY_SCHEDULE, modify_payload("known", SCH_MODIFY_JOB, false, "known"),
       control::err_already_assigned},
      {"deassign a job that is not assigned", config, SCH_OP_MODIFY_SCHEDULE,
       modify_payload("known", SCH_MODIFY_JOB, true, "other"), control::err_not_assigned},

      {"resize the log below the least", config, SCH_OP_RESIZE_LOG, log_payload("", "", 1023), host::err_bad_value},
      {"resize the log above the most", config, SCH_OP_RESIZE_LOG, log_payload("", "", 16777217),
       control::err_log_too_large},
      {"resize the log, a byte short", config, SCH_OP_RESIZE_LOG, cut(log_payload("", "", 16384), 523),
       host::err_bad_request},
      {"rename the log to no name", config, SCH_OP_RENAME_LOG, log_payload("", "flash:a", 0), host::err_bad_value},
      {"rename the log to a path beside its URI", config, SCH_OP_RENAME_LOG, log_payload("/etc/passwd", "flash:a", 0),
       host::err_bad_value},
      {"rename the log by no URI", config, SCH_OP_RENAME_LOG, log_payload("/etc/passwd", "/etc/passwd", 0),
       host::err_bad_value},
      {"rename the log to another file of the state directory", config, SCH_OP_RENAME_LOG,
       log_payload("security.key", "NONE", 0), host::err_bad_value},

      {"a sender that is empty", config, SCH_OP_SET_EMAIL_FROM, Bytes(712), host::err_bad_value},
      {"a sender without its end", config, SCH_OP_SET_EMAIL_FROM, Bytes(712, std::byte{'x'}), host::err_bad_request},
      {"a reply-to that is empty", config, SCH_OP_SET_EMAIL_REPLYTO, Bytes(712), host::err_bad_value},
      {"a mail server with a blank", config, SCH_OP_SET_EMAIL_SMTP, transport("a b", 1, 25), host::err_bad_value},
      {"a mail server of no kind", config, SCH_OP_SET_EMAIL_SMTP, transport("mail", 3, 25), host::err_bad_value},
      {"a mail server at port 0", config, SCH_OP_SET_EMAIL_SMTP, transport("mail", 1, 0), host::err_bad_value},
      {"a mail server at port 65536", config, SCH_OP_SET_EMAIL_SMTP, transport("mail", 1, 65536), host::err_bad_value},
      {"an e-mail operation that there is not", config, SCH_OP_SCHEDULE_EMAIL, address_payload(22, "known", "a@b"),
       host::err_bad_value},
      {"an empty address", config, SCH_OP_SCHEDULE_EMAIL, address_payload(20, "known", ""), host::err_bad_value},
      {"an address with a line end", config, SCH_OP_SCHEDULE_EMAIL, address_payload(20, "known", "a@b\nQUIT"),
       host::err_bad_value},
      {"an address without its end", config, SCH_OP_SCHEDULE_EMAIL, address_payload(20, "known", std::string(64, 'a')),
       host::err_bad_request},
      {"an address of a schedule that there is not", config, SCH_OP_SCHEDULE_EMAIL,
       address_payload(20, "unknown", "a@b"), control::err_no_such_schedule},
      {"removing an address that there is not", config, SCH_OP_SCHEDULE_EMAIL, address_payload(21, "known", "a@b"),
       control::err_no_such_address},

      {"show job, a byte short", show, SCH_OP_SHOW_JOB, cut(show_payload(), 39), host::err_bad_request},
      {"show log configuration with a payload", show, SCH_OP_SHOW_LOG_CONFIG, Bytes(1), host::err_bad_request},
  };
}

TEST(Decode, wrong_requests_are_answered_with_their_status_and_change_nothing) {
  World world;
  ASSERT_EQ(create_job(world, "known", "echo\n"), 0u);
  ASSERT_EQ(create_job(world, "other", "echo\n"), 0u);
  ASSERT_EQ(create_schedule(world, "known", {"known"}, daily(13, 0)), 0u);
  const std::string before = configuration();
  for (const Wrong &wrong : wrong_requests()) {
    EXPECT_EQ(world.send(root(), wrong.service, wrong.opcode, wrong.payload).status, wrong.status) << wrong.what;
    EXPECT_EQ(configuration(), before) << wrong.what;
  }
  world.restart();
  EXPECT_EQ(configuration(), before);
}

TEST(Decode, records_shorter_than_their_header_or_with_a_lying_length_are_refused) {
  World world;
  host::Incoming incoming;
  incoming.caller = root();
  incoming.service = SCH_SERVICE_CONFIG;
  for (size_t size = 0; size < 8; size++) {
    const Bytes record(size);
    incoming.body = record;
    EXPECT_EQ(service::dispatch(world.parts->context, incoming).status, host::err_bad_request) << size;
  }
  Bytes record(8 + 48);
  for (const uint32_t length : {0u, 47u, 49u, 56u, ~0u}) {
    std::memcpy(record.data() + 4, &length, sizeof length);
    incoming.body = record;
    EXPECT_EQ(service::dispatch(world.parts->context, incoming).status, host::err_bad_request) << length;
  }
}

Bytes transport_with(size_t field, const std::string &text) {
  Bytes payload = transport("mail", 1, 25);
  const Bytes letters = bytes(text);
  std::fill_n(payload.begin() + static_cast<ptrdiff_t>(field), 64, std::byte{0});
  std::copy(letters.begin(), letters.end(), payload.begin() + static_cast<ptrdiff_t>(field));
  return payload;
}

TEST(Decode, a_name_names_no_path) {
  World world;
  for (const char *name : {"..", ".", "a/b", "../a", "/a", "a/../b", "a.."}) {
    EXPECT_EQ(create_job(world, name, "true\n"), control::err_bad_name) << name;
    EXPECT_EQ(create_schedule(world, name, {}, {}), control::err_bad_name) << name;
  }
}

// What the shell checks before it sends, another client may not.
TEST(Decode, a_control_character_in_any_name_address_or_host_is_refused) {
  World world;
  ASSERT_EQ(create_job(world, "known", "echo\n"), 0u);
  ASSERT_EQ(create_schedule(world, "known", {}, {}), 0u);
  const std::string before = configuration();
  for (const char *bad : {"\x01", "\t", "\n", "\r", "\x1b[2J", "\x7f", "\xc2\x9b", "\xe2\x80\xae", "\x9b"}) {
    const std::string name = std::string("a") + bad, address = std::string("a@b") + bad;
    const std::string path = std::string("flash:x") + bad;
    const Wrong rows[] = {
        {"job", config, SCH_OP_CREATE_JOB, job_payload(name), control::err_bad_name},
        {"defined job", config, SCH_OP_DEFINE_JOB, job_payload(name, "x\n"), control::err_bad_name},
        {"schedule", config, SCH_OP_CREATE_SCHEDULE, schedule_payload(name), control::err_bad_name},
        {"assigned job", config, SCH_OP_MODIFY_SCHEDULE, modify_payload("known", SCH_MODIFY_JOB, false, name),
         control::err_bad_name},
        {"address", config, SCH_OP_SCHEDULE_EMAIL, address_payload(SCH_EMAIL_ADD, "known", address),
         host::err_bad_value},
        {"sender", config, SCH_OP_SET_EMAIL_FROM, transport_with(offsetof(sch_email_transport, from), address),
         host::err_bad_value},
        {"reply-to", config, SCH_OP_SET_EMAIL_REPLYTO, transport_with(offsetof(sch_email_transport, reply_to), address),
         host::err_bad_value},
        {"mail server", config, SCH_OP_SET_EMAIL_SMTP,
         transport_with(offsetof(sch_email_transport, smtp) + offsetof(sch_smtp_server_rec, server), name),
         host::err_bad_value},
        {"routing instance", config, SCH_OP_SET_EMAIL_SMTP,
         transport_with(offsetof(sch_email_transport, smtp) + offsetof(sch_smtp_server_rec, vrf), name),
         host::err_bad_value},
        {"log file", config, SCH_OP_RENAME_LOG, log_payload(path.substr(6), path, 0), host::err_bad_value},
    };
    for (const Wrong &row : rows)
      EXPECT_EQ(world.send(root(), row.service, row.opcode, row.payload).status, row.status)
          << row.what << " with byte " << int{static_cast<unsigned char>(bad[0])};
  }
  EXPECT_EQ(configuration(), before);
}

TEST(Decode, a_name_is_of_letters_and_digits_and_two_other_characters_inside) {
  const std::string first = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", inside = first + "_-";
  for (int byte = 0; byte < 256; byte++) {
    const auto letter = static_cast<char>(byte);
    EXPECT_EQ(service::is_name(std::string(1, letter)), first.find(letter) != first.npos) << byte;
    EXPECT_EQ(service::is_name(std::string{'a', letter, 'a'}), inside.find(letter) != inside.npos) << byte;
  }
  EXPECT_TRUE(service::is_name(std::string(31, 'a')));
  EXPECT_FALSE(service::is_name(std::string(32, 'a')));
  EXPECT_FALSE(service::is_name(""));
}

TEST(Decode, lines_that_only_resemble_the_end_of_a_job_are_part_of_its_text) {
  World world;
  const std::string text = "\n \t\nend-jobs\nan end-job\nend-job it\nEND-JOB\nend job\n\n";
  EXPECT_EQ(create_job(world, "a", text), 0u);
  EXPECT_EQ(shown_text(world, "a"), text);
  for (const char *end : {"end-job", "\n\nend-job\n", "\tend-job \r\n"})
    EXPECT_EQ(world.send(root(), config, SCH_OP_DEFINE_JOB, job_payload("a", end)).status, host::err_bad_value) << end;
}

TEST(Decode, limits_themselves_are_accepted) {
  World world;
  const std::string text(61439, 'x');
  EXPECT_EQ(create_job(world, std::string(31, 'a'), text + "\n"), 0u);
  const host::Answer shown = world.send(root(), SCH_SERVICE_SHOW, SCH_OP_SHOW_JOB, show_payload());
  ASSERT_TRUE(shown.reply);
  EXPECT_EQ(shown.reply->size(), sizeof(sch_show_job_reply) + 61440);
  EXPECT_EQ(create_schedule(world, "a", {}, every(1, noon)), 0u);
  EXPECT_EQ(create_schedule(world, "long", {}, lasting(4076, 15, 14)), 0u);  // to seven seconds before the clock's last
  for (const uint32_t port : {1, 65535})
    for (const uint32_t kind : {1, 2, 16})
      EXPECT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_SET_EMAIL_SMTP, transport("mail", kind, port)).status,
                0u);
  for (const uint32_t size : {1024, 16777216})
    EXPECT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_RESIZE_LOG, log_payload("", "", size)).status, 0u);
}

}  // namespace
}  // namespace service_test
