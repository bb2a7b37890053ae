// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cstring>

#include "tests/show/replies.h"

using namespace platform_test;
using namespace show_test;

namespace {

class ShowConfigTest : public PlatformTest {};

Reply log_size(int32_t size) {
  return Reply::with(raw(size));
}

struct Transport {
  std::string from, reply_to, server;
  uint32_t port = 25;

  std::string bytes() const {
    sch_email_transport record = {};
    put(record.from, from);
    put(record.reply_to, reply_to);
    put(record.reply_to_copy, "never read");
    put(record.smtp.server, server);
    record.smtp.address_kind = 16;
    record.smtp.port = __builtin_bswap32(port);
    put(record.smtp.vrf, "management");
    return raw(record);
  }
};

std::string log_block(int kilobytes) {
  return "config terminal\n  feature scheduler\n  scheduler logfile size " + std::to_string(kilobytes) + "\n";
}

uint32_t opcode_of(const Request &request) {
  uint32_t opcode;
  std::memcpy(&opcode, request.bytes.data(), sizeof opcode);
  return opcode;
}

// A service that holds this configuration.
struct Service {
  int32_t size = 16384;
  Transport transport;
  std::vector<std::string> jobs, schedules;
  uint32_t failing_opcode = 0;  // answers it with error 5

  void install() const {
    fake.serve = [service = *this](const Request &request) { return service.answer(request); };
  }

 private:
  static Reply page(const std::vector<std::string> &replies, const Request &request) {
    int32_t cursor;
    std::memcpy(&cursor, request.bytes.data() + 44, sizeof cursor);
    const size_t next = static_cast<size_t>(cursor + 1);
    return next < replies.size() ? Reply::with(replies[next]) : Reply();
  }
  Reply answer(const Request &request) const {
    const uint32_t opcode = opcode_of(request);
    if (failing_opcode == opcode) return failed(5);
    switch (opcode) {
      case SCH_OP_SHOW_LOG_CONFIG:
        return log_size(size);
      case SCH_OP_SHOW_EMAIL_CONFIG:
        return Reply::with(transport.bytes());
      case SCH_OP_SHOW_JOB:
        return page(jobs, request);
      default:
        return page(schedules, request);
    }
  }
};

std::string full_schedule() {
  sch_show_schedule_reply reply = schedule_record("nightly", 0);
  reply.email_count = 2;
  put(reply.emails[1].address, "ops@example.net");
  reply.emails[1].in_use = 1;
  put(reply.emails[4].address, "unused@example.net");
  put(reply.emails[9].address, "noc@example.net");
  reply.emails[9].in_use = -1;
  return with_jobs(reply, {{"backup", 0x0100}, {"verify", 0}});
}

const std::string full_schedule_block =
    "config terminal\n"
    "  scheduler schedule name nightly\n"
    "    time daily 23:30\n"
    "    job name backup\n"
    "    job name verify\n"
    "    email-addr ops@example.net\n"
    "    email-addr noc@example.net\n"
    "end\n"
    "\n";

TEST_F(ShowConfigTest, the_whole_configuration_in_order) {
  Service service;
  service.size = 32768;
  service.transport = {"switch@example.net", "noc@example.net", "mail.example.net", 2525};
  service.jobs = {job_reply("backup", 0, "copy run start\n"), job_reply("verify", 1, "show clock\nshow version\n")};
  service.schedules = {full_schedule()};
  service.install();
  EXPECT_EQ(run(sch_cli_show_config), (Outcome{0,
                                               "config terminal\n"
                                               "  feature scheduler\n"
                                               "  scheduler logfile size 32\n"
                                               "  scheduler transport email from switch@example.net\n"
                                               "  scheduler transport email reply-to  noc@example.net\n"
                                               "  scheduler transport email smtp-server mail.example.net port 2525\n"
                                               "end\n"
                                               "\n"
                                               "config terminal\n"
                                               " scheduler job name backup\n"
                                               "copy run start\n"
                                               "end\n"
                                               "\n"
                                               "config terminal\n"
                                               " scheduler job name verify\n"
                                               "show clock\n"
                                               "show version\n"
                                               "end\n"
                                               "\n" +
                                                   full_schedule_block,
                                               ""}));
}

TEST_F(ShowConfigTest, each_failing_fetch_is_reported_and_the_others_run) {
  Service service;
  service.transport = {"a@b", "", "", 25};
  service.jobs = {job_reply("j", 0, "x\n")};
  service.schedules = {raw(schedule_record("s", 0))};
  const std::string sender = "  scheduler transport email from a@b\n";
  const std::string job = "config terminal\n scheduler job name j\nx\nend\n\n";
  const std::string schedule = "config terminal\n  scheduler schedule name s\n    time daily 23:30\nend\n\n";
  const std::pair<uint32_t, std::string> rows[] = {
      {SCH_OP_SHOW_LOG_CONFIG, sender + "end\n\n" + job + schedule},
      {SCH_OP_SHOW_EMAIL_CONFIG, log_block(16) + "end\n\n" + job + schedule},
      {SCH_OP_SHOW_JOB, log_block(16) + sender + "end\n\n" + schedule},
      {SCH_OP_SHOW_SCHEDULE, log_block(16) + sender + "end\n\n" + job},
  };
  for (const auto &[opcode, out] : rows) {
    service.failing_opcode = opcode;
    service.install();
    EXPECT_EQ(run(sch_cli_show_config), (Outcome{0, out, error_line(5)})) << opcode;
  }
}

TEST_F(ShowConfigTest, memory_that_runs_out_loses_that_fetch_silently) {
  Service service;
  service.jobs = {job_reply("j", 0, "x\n")};
  service.schedules = {raw(schedule_record("s", 0))};
  service.install();
  const std::string job = "config terminal\n scheduler job name j\nx\nend\n\n";
  const std::string schedule = "config terminal\n  scheduler schedule name s\n    time daily 23:30\nend\n\n";
  const std::string outs[] = {log_block(16) + "end\n\n" + schedule, log_block(16) + "end\n\n" + job};
  for (int nth = 1; nth <= 2; ++nth) {
    fake.libc_alloc = {nth, false, 0};
    EXPECT_EQ(run(sch_cli_show_config), (Outcome{0, outs[nth - 1], ""})) << nth;
  }
  fake.libc_alloc = {1, true, 0};
  EXPECT_EQ(run(sch_cli_show_config), (Outcome{0, log_block(16) + "end\n\n", ""}));
  EXPECT_EQ(run(get_job_config), (Outcome{2, "", ""}));
  EXPECT_EQ(run(get_schedule_config), (Outcome{2, "", ""}));
}

TEST_F(ShowConfigTest, the_paged_fetches_take_the_debug_flag_and_the_others_leave_it) {
  const std::pair<Handler, bool> rows[] = {{get_job_config, true},
                                           {get_schedule_config, true},
                                           {get_log_file_config, false},
                                           {sch_cli_get_email_transport_config, false}};
  for (const auto &[fetch, takes] : rows) {
    for (const uint32_t debug : {0u, 3u}) {
      cli_debug = debug;
      fake.replies = {failed(5)};
      Context context;
      context->debug = 3 - debug;
      const Outcome outcome = run(fetch, context);
      EXPECT_EQ(cli_debug, takes ? 3 - debug : debug);
      EXPECT_EQ(outcome.err.starts_with("Error: "), cli_debug == 0) << "a trace comes first";
      EXPECT_TRUE(outcome.err.ends_with(error_line(5)));
    }
  }
}

TEST_F(ShowConfigTest, log_file_sizes) {
  const std::pair<int32_t, int> rows[] = {{16384, 16}, {20000, 19}, {1024, 1},   {1023, 0},
                                          {0, 0},      {-1, 0},     {-2048, -2}, {INT32_MAX, 2097151}};
  for (const auto &[size, kilobytes] : rows) {
    EXPECT_EQ(run(get_log_file_config, {log_size(size)}), (Outcome{0, log_block(kilobytes), ""})) << size;
  }
}

TEST_F(ShowConfigTest, further_bytes_of_the_log_file_reply_are_not_read) {
  EXPECT_EQ(run(get_log_file_config, {Reply::with(raw(int32_t{65536}) + std::string(536, 'x'))}),
            (Outcome{0, log_block(64), ""}));
}

TEST_F(ShowConfigTest, a_log_file_reply_without_its_size_is_refused) {
  const Reply rows[] = {Reply(), Reply::with(""), Reply::with("abc")};
  for (const Reply &reply : rows) {
    EXPECT_EQ(run(get_log_file_config, {reply}), (Outcome{1, "", incomplete}));
  }
}

TEST_F(ShowConfigTest, transport_lines) {
  struct Row {
    const char *scenario;
    Transport transport;
    std::string text;
  };
  const Row rows[] = {
      {"nothing set", {}, ""},
      {"sender", {"a@b", "", "", 25}, "  scheduler transport email from a@b\n"},
      {"reply-to with its two blanks", {"", "a@b", "", 25}, "  scheduler transport email reply-to  a@b\n"},
      {"one character each",
       {"a", "c", "m", 25},
       "  scheduler transport email from a\n  scheduler transport email reply-to  c\n"
       "  scheduler transport email smtp-server m\n"},
      {"default port", {"", "", "mail", 25}, "  scheduler transport email smtp-server mail\n"},
      {"other port", {"", "", "mail", 2525}, "  scheduler transport email smtp-server mail port 2525\n"},
      {"port 0", {"", "", "mail", 0}, "  scheduler transport email smtp-server mail port 0\n"},
      {"port 26", {"", "", "mail", 26}, "  scheduler transport email smtp-server mail port 26\n"},
      {"port in network order", {"", "", "m", 0x01020304}, "  scheduler transport email smtp-server m port 16909060\n"},
      {"port beyond an int", {"", "", "m", 0xffffffff}, "  scheduler transport email smtp-server m port -1\n"},
      {"a port without server", {"", "", "", 2525}, ""},
      {"fields without terminator",
       {std::string(64, 'f'), std::string(64, 'r'), std::string(256, 's'), 25},
       "  scheduler transport email from " + std::string(64, 'f') + "\n  scheduler transport email reply-to  " +
           std::string(64, 'r') + "\n  scheduler transport email smtp-server " + std::string(256, 's') + "\n"},
  };
  for (const Row &row : rows) {
    EXPECT_EQ(run(sch_cli_get_email_transport_config, {Reply::with(row.transport.bytes())}), (Outcome{0, row.text, ""}))
        << row.scenario;
  }
}

TEST_F(ShowConfigTest, a_transport_reply_is_read_to_its_port_and_may_end_there) {
  const Transport transport = {"a@b", "", "mail", 2525};
  const std::string text =
      "  scheduler transport email from a@b\n  scheduler transport email smtp-server mail port 2525\n";
  EXPECT_EQ(run(sch_cli_get_email_transport_config, {Reply::with(transport.bytes().substr(0, 456))}),
            (Outcome{0, text, ""}));
  for (const size_t length : {size_t{0}, size_t{64}, size_t{192}, size_t{455}}) {
    fake.replies = {Reply::with(transport.bytes().substr(0, length))};
    EXPECT_EQ(run(sch_cli_get_email_transport_config), (Outcome{1, "", incomplete})) << length;
  }
}

TEST_F(ShowConfigTest, no_transport_reply_prints_nothing) {
  EXPECT_EQ(run(sch_cli_get_email_transport_config), (Outcome{0, "", ""}));
}

TEST_F(ShowConfigTest, a_transport_that_leaves_the_length_words_is_believed) {
  fake.keeps_length_word = true;
  Service service;
  service.transport = {"a@b", "", "", 25};
  service.jobs = {job_reply("j", 0, "x\n")};
  service.schedules = {full_schedule()};
  service.install();
  EXPECT_EQ(run(sch_cli_show_config),
            (Outcome{0,
                     log_block(16) + "  scheduler transport email from a@b\nend\n\n" +
                         "config terminal\n scheduler job name j\nx\nend\n\n" + full_schedule_block,
                     ""}));
}

TEST_F(ShowConfigTest, replies_that_hold_less_than_they_announce_are_refused_whole) {
  fake.replies = {Reply::with(job_reply("j", 0, "0123456789").substr(0, 53))};
  EXPECT_EQ(run(get_job_config), (Outcome{1, "", incomplete}));
  fake.replies = {Reply::with(full_schedule().substr(0, 891))};
  EXPECT_EQ(run(get_schedule_config), (Outcome{1, "", incomplete}));
}

TEST_F(ShowConfigTest, a_schedule_without_time_leaves_four_blanks_before_its_first_job) {
  sch_show_schedule_reply reply = schedule_record("s", 0);
  reply.time = {};
  const Held<sch_show_schedule_reply> schedule(with_jobs(reply, {{"backup", 0}}));
  EXPECT_EQ(printed([&] { print_config_schedule(schedule.get()); }),
            "config terminal\n  scheduler schedule name s\n        job name backup\nend\n\n");
}

TEST_F(ShowConfigTest, a_negative_job_count_prints_no_jobs) {
  sch_show_schedule_reply reply = schedule_record("s", 0);
  reply.job_count = -3;
  EXPECT_EQ(printed([&] { print_config_schedule(&reply); }),
            "config terminal\n  scheduler schedule name s\n    time daily 23:30\nend\n\n");
}

TEST_F(ShowConfigTest, a_job_is_printed_byte_for_byte) {
  const std::string text("a\0b\n  indented", 14);
  const Held<sch_show_job_reply> job(job_reply(std::string(32, 'n'), 0, text));
  EXPECT_EQ(printed([&] { print_config_job(job.get()); }),
            "config terminal\n scheduler job name " + std::string(32, 'n') + "\n" + text + "end\n\n");
}

TEST_F(ShowConfigTest, assigned_job_line) {
  EXPECT_EQ(printed([] { print_config_assigned_job("backup"); }), "    job name backup\n");
}

TEST_F(ShowConfigTest, addresses_follow_the_count_and_the_flags) {
  sch_show_schedule_reply reply = schedule_record("s", 0);
  for (sch_email_slot &slot : reply.emails)
    put(slot.address, "a@b");
  reply.emails[0].in_use = 1;
  const auto addresses = [&] { return printed([&] { print_config_schedule_email_addr(&reply); }); };
  EXPECT_EQ(addresses(), "");
  reply.email_count = 1;
  EXPECT_EQ(addresses(), "    email-addr a@b\n");
  reply.email_count = -1;
  EXPECT_EQ(addresses(), "    email-addr a@b\n");
  put(reply.emails[9].address, std::string(64, 'l'));
  reply.emails[9].in_use = 2;
  EXPECT_EQ(addresses(), "    email-addr a@b\n    email-addr " + std::string(64, 'l') + "\n");
}

}  // namespace
