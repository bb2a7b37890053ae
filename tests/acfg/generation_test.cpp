// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cstring>
#include <utility>

#include "tests/acfg/configuration.h"

using namespace platform_test;
using namespace acfg_test;

namespace {

class GenerationTest : public PlatformTest {
 protected:
  void generate(pss_handle debug_store = 0) {
    fake.acfg_lines.clear();
    acfg_hdl handle = {};
    sch_acfg_gen(&sch_running_config, &handle, debug_store);
  }
};

const std::string feature = "3 0 feature scheduler\n";

TEST_F(GenerationTest, the_feature_line_does_not_depend_on_the_enable_flag) {
  for (const int32_t enabled : {0, 1, -1}) {
    scheduler_enabled = enabled;
    generate();
    EXPECT_EQ(lines(), (Lines{feature})) << enabled;
  }
}

TEST_F(GenerationTest, log_file_sizes) {
  const std::pair<int32_t, std::string> rows[] = {
      {16384, ""},
      {20000, "scheduler logfile size 19\n\n"},
      {16383, "scheduler logfile size 15\n\n"},
      {16385, "scheduler logfile size 16\n\n"},
      {0, "scheduler logfile size 0\n\n"},
      {-1025, "scheduler logfile size -1\n\n"},
      {INT32_MAX, "scheduler logfile size 2097151\n\n"},
      {INT32_MIN, "scheduler logfile size -2097152\n\n"},
  };
  for (const auto &[size, text] : rows) {
    sch_log_file.size = size;
    generate();
    EXPECT_EQ(fake.acfg_text(1), text) << size;
  }
}

TEST_F(GenerationTest, transport_lines) {
  struct Row {
    const char *scenario;
    std::string from, reply_to, server;
    uint32_t port;
    std::string text;
  };
  const Row rows[] = {
      {"nothing set", "", "", "", 25, ""},
      {"a port alone", "", "", "", 2525, ""},
      {"sender", "a@b", "", "", 25, "scheduler transport email from a@b\n"},
      {"reply-to without sender", "", "c@d", "", 25, "scheduler transport email reply-to c@d\n"},
      {"one character each", "a", "c", "m", 25,
       "scheduler transport email from a\nscheduler transport email reply-to c\n"
       "scheduler transport email smtp-server  m\n"},
      {"default port with its two blanks", "", "", "mail", 25, "scheduler transport email smtp-server  mail\n"},
      {"other port", "", "", "mail", 2525, "scheduler transport email smtp-server mail port 2525\n"},
      {"port 24", "", "", "mail", 24, "scheduler transport email smtp-server mail port 24\n"},
      {"port beyond an int", "", "", "mail", 0xffffffff, "scheduler transport email smtp-server mail port -1\n"},
      {"all", "a@b", "c@d", "mail", 25,
       "scheduler transport email from a@b\nscheduler transport email reply-to c@d\n"
       "scheduler transport email smtp-server  mail\n"},
      {"fields without terminator", std::string(64, 'f'), std::string(64, 'r'), std::string(256, 's'), 1,
       "scheduler transport email from " + std::string(64, 'f') + "\nscheduler transport email reply-to " +
           std::string(64, 'r') + "\nscheduler transport email smtp-server " + std::string(256, 's') + " port 1\n"},
  };
  for (const Row &row : rows) {
    email_transport_conf = {};
    put(email_transport_conf.from, row.from);
    put(email_transport_conf.reply_to, row.reply_to);
    put(email_transport_conf.reply_to_copy, "never read");
    put(email_transport_conf.smtp.server, row.server);
    email_transport_conf.smtp.port = row.port;
    put(email_transport_conf.smtp.vrf, "never emitted");
    generate();
    EXPECT_EQ(fake.acfg_text(1), row.text) << row.scenario;
    for (const auto &line : fake.acfg_lines)
      EXPECT_EQ(line.indent, 0u);
  }
}

TEST_F(GenerationTest, everything_in_order) {
  sch_log_file.size = 1024;
  put(email_transport_conf.from, "a@b");
  put(email_transport_conf.reply_to, "c@d");
  put(email_transport_conf.smtp.server, "mail");
  add_schedule(&sch_running_config, "s", daily(1, 2));
  add_job(&sch_running_config, 255, "last", "z\n");
  add_job(&sch_running_config, 0, "first", "a\n");
  generate();
  EXPECT_EQ(lines(), (Lines{feature, "1 0 scheduler logfile size 1\n\n", "1 0 scheduler transport email from a@b\n",
                            "1 0 scheduler transport email reply-to c@d\n",
                            "1 0 scheduler transport email smtp-server  mail\n", "1 0 scheduler job name first\n",
                            "1 0 a\n", "1 0 end-job\n\n", "1 0 scheduler job name last\n", "1 0 z\n", "1 0 end-job\n\n",
                            "1 0 scheduler schedule name s\n", "1 0   time daily 01:02\n", "1 0 \n"}));
}

TEST_F(GenerationTest, results_of_the_configuration_manager_are_ignored) {
  for (const char *call : {"acfg_elem_add", "acfg_elem_str_add_indent"})
    fake.errors[call] = 5;
  add_job(&sch_running_config, 0, "j", "a\n");
  generate();
  EXPECT_EQ(fake.acfg_text(3) + fake.acfg_text(1), "feature scheduler\nscheduler job name j\na\nend-job\n\n");
}

TEST_F(GenerationTest, each_line_is_built_in_the_cleared_line_buffer) {
  std::memset(cfg_line, 'x', sizeof cfg_line);
  add_job(&sch_running_config, 0, "j", "");
  generate();
  char expected[2048] = "end-job\n\n";
  EXPECT_EQ(std::memcmp(cfg_line, expected, sizeof expected), 0);
}

TEST_F(GenerationTest, every_line_but_a_job_s_text_stands_alone_in_the_line_buffer) {
  sch_log_file.size = 1024;
  put(email_transport_conf.from, std::string(64, 'f'));
  put(email_transport_conf.reply_to, "r");
  put(email_transport_conf.smtp.server, std::string(256, 's'));
  add_job(&sch_running_config, 0, std::string(31, 'j'), "text\n");
  add_schedule(&sch_running_config, std::string(31, 's'), {}, {0});
  add_schedule(&sch_running_config, "t", daily(1, 2), {0});
  sch_add_schedule_email_entry(&sch_schedule_email_list, "t", std::string(63, 'a').c_str());
  std::memset(cfg_line, 'x', sizeof cfg_line);
  generate();
  for (const AcfgLine &line : fake.acfg_lines)
    EXPECT_EQ(line.in_line_buffer && line.alone_in_buffer, line.text != "text\n") << line.text;
}

TEST_F(GenerationTest, job_texts_by_length) {
  for (const size_t length : {0u, 1u, 1023u, 1024u, 1025u, 2048u, 2049u, 10000u}) {
    std::string text;
    while (text.size() < length)
      text += static_cast<char>('a' + text.size() % 26);
    reset_library();
    add_job(&sch_running_config, 7, "j", text);
    fake.calls.clear();
    generate();
    EXPECT_EQ(lines(), (Lines{feature, "1 0 scheduler job name j\n", "1 0 " + text, "1 0 end-job\n\n"})) << length;
    EXPECT_EQ(fake.calls_with("mtrack_alloc"), (Lines{"mtrack_alloc 224 12 " + std::to_string(length + 2)}));
    EXPECT_EQ(fake.calls_with("mtrack_free"), (Lines{"mtrack_free 12"}));
    EXPECT_EQ(fake.live[12], 0);
  }
}

TEST_F(GenerationTest, a_job_without_memory_keeps_its_name_and_end) {
  add_job(&sch_running_config, 0, "j", "a\n");
  add_job(&sch_running_config, 1, "k", "b\n");
  fake.alloc = {1, false, 0};
  generate();
  EXPECT_EQ(fake.acfg_text(1), "scheduler job name j\nend-job\n\nscheduler job name k\nb\nend-job\n\n");
  fake.alloc = {1, true, 0};
  generate();
  EXPECT_EQ(fake.acfg_text(1), "scheduler job name j\nend-job\n\nscheduler job name k\nend-job\n\n");
}

TEST_F(GenerationTest, a_length_that_no_text_can_have_is_taken_for_no_memory) {
  sch_job_entry *slot = add_job(&sch_running_config, 0, "j", "a\n");
  for (const uint32_t length : {uint32_t{INT32_MAX} - 1, uint32_t{INT32_MAX}, 0x80000000u, 0xfffffffeu, 0xffffffffu}) {
    slot->hdr->length = length;
    fake.calls.clear();
    generate();
    EXPECT_EQ(fake.acfg_text(1), "scheduler job name j\nend-job\n\n") << length;
    EXPECT_EQ(fake.calls_with("mtrack_alloc"), Lines{}) << length;
  }
}

TEST_F(GenerationTest, the_longest_length_is_tried) {
  sch_job_entry *slot = add_job(&sch_running_config, 0, "j", "a\n");
  slot->hdr->length = INT32_MAX - 2;
  fake.alloc = {1, true, 0};
  fake.calls.clear();
  generate();
  EXPECT_EQ(fake.calls_with("mtrack_alloc"), (Lines{"mtrack_alloc 224 12 2147483647"}));
}

TEST_F(GenerationTest, names_that_fill_their_fields_end_with_them) {
  const std::string job(32, 'j'), schedule(32, 's');
  add_job(&sch_running_config, 0, job, "");
  add_schedule(&sch_running_config, schedule, daily(0, 0), {0});
  generate();
  EXPECT_EQ(fake.acfg_text(1), "scheduler job name " + job + "\nend-job\n\nscheduler schedule name " + schedule +
                                   "\njob name " + job + "\n  time daily 00:00\n\n");
}

TEST_F(GenerationTest, each_walk_goes_through_its_own_configuration_in_order) {
  for (const char *name : {"z", "a", "m"})
    add_schedule(&sch_startup_config, name, daily(0, 0));
  add_schedule(&sch_running_config, "never", daily(0, 0));
  add_job(&sch_startup_config, 255, "s", "");
  sch_job_entry *headless = add_job(&sch_startup_config, 0, "t", "a\n");
  sch_job_hdr *header = std::exchange(headless->hdr, nullptr);
  add_job(&sch_running_config, 0, "never", "");
  acfg_hdl handle = {};
  sch_acfg_job_cfg_gen(&sch_startup_config, &handle);
  sch_acfg_schedule_cfg_gen(&sch_startup_config, &handle);
  headless->hdr = header;
  EXPECT_EQ(fake.acfg_text(1),
            "scheduler job name t\nend-job\n\nscheduler job name s\nend-job\n\n"
            "scheduler schedule name z\n  time daily 00:00\n\nscheduler schedule name a\n  time daily 00:00\n\n"
            "scheduler schedule name m\n  time daily 00:00\n\n");
}

TEST_F(GenerationTest, assigned_jobs_come_by_ascending_id_and_missing_ones_are_skipped) {
  for (const uint32_t id : {255u, 0u, 31u, 32u})
    add_job(&sch_running_config, id, "job" + std::to_string(id), "");
  add_schedule(&sch_running_config, "s", daily(0, 0), {255, 0, 1, 32, 31, 254});
  acfg_hdl handle = {};
  sch_acfg_schedule_cfg_gen(&sch_running_config, &handle);
  EXPECT_EQ(lines(), (Lines{"1 0 scheduler schedule name s\n", "1 1 job name job0\n", "1 1 job name job31\n",
                            "1 1 job name job32\n", "1 1 job name job255\n", "1 0   time daily 00:00\n", "1 0 \n"}));
}

TEST_F(GenerationTest, the_walk_of_a_bit_set_starts_before_bit_0_and_goes_on_behind_each_bit_found) {
  add_schedule(&sch_running_config, "s", daily(0, 0), {0, 40, 255});
  generate();
  EXPECT_EQ(fake.bits_after, (std::vector<int>{-1, 0, 40, 255}));
}

TEST_F(GenerationTest, a_bit_set_that_answers_beyond_the_table_is_not_followed) {
  std::vector<sch_job_entry> jobs(SCH_MAX_JOBS + 1);
  GList *schedules = nullptr;
  sch_config_db config = {jobs.data(), &schedules};
  sch_config_key key = {SCH_CONFIG_JOB, 0, "j"};
  jobs[0].key = &key;
  jobs[255].key = &key;
  jobs[256].key = &key;  // behind the table
  fake.bits = {0, 255, 256, 1000000};
  sch_schedule_entry *schedule = add_schedule(&config, "s", daily(0, 0));
  acfg_hdl handle = {};
  sch_add_schedule_cfg(&config, &handle, schedule);
  EXPECT_EQ(fake.acfg_text(1), "scheduler schedule name s\njob name j\njob name j\n  time daily 00:00\n\n");
  g_list_free(schedules);
}

TEST_F(GenerationTest, every_result_is_0_also_without_memory) {
  for (const int nth : {0, 1}) {
    reset_library();
    sch_job_entry *job = add_job(&sch_running_config, 0, "j", "a\n");
    sch_schedule_entry *schedule = add_schedule(&sch_running_config, "s", daily(0, 0), {0});
    fake.alloc = {nth, true, 0};
    acfg_hdl handle = {};
    char line[64];
    EXPECT_EQ(sch_acfg_gen(&sch_running_config, &handle, 0), 0);
    EXPECT_EQ(sch_acfg_job_cfg_gen(&sch_running_config, &handle), 0);
    EXPECT_EQ(sch_add_job_cfg(&sch_running_config, &handle, job), 0);
    EXPECT_EQ(sch_acfg_schedule_cfg_gen(&sch_running_config, &handle), 0);
    EXPECT_EQ(sch_add_schedule_cfg(&sch_running_config, &handle, schedule), 0);
    EXPECT_EQ(sch_acfg_print_schedule_type(&schedule->rec->time, line, sizeof line), 0);
    EXPECT_EQ(sch_acfg_print_schedule_type(&schedule->rec->time, nullptr, 0), 0);
    fake.alloc = {};
  }
}

TEST_F(GenerationTest, a_schedule_without_time_writes_two_blanks_without_line_end) {
  for (const uint32_t type : {0u, 2u, 6u, 8u, 0xffffffffu}) {
    reset_library();
    sch_tminfo time = {};
    time.type = type;
    add_schedule(&sch_running_config, "s", time);
    sch_add_schedule_email_entry(&sch_schedule_email_list, "s", "a@b");
    generate();
    EXPECT_EQ(lines(), (Lines{feature, "1 0 scheduler schedule name s\n", "1 0   ", "1 0 email-addr a@b\n", "1 0 \n"}))
        << type;
  }
}

TEST_F(GenerationTest, addresses_follow_count_and_flags_of_the_schedule_of_that_name) {
  sch_schedule_email_entry entry = {};
  put(entry.schedule_name, "s");
  for (sch_email_slot &slot : entry.slots)
    put(slot.address, "unused@b");
  put(entry.slots[0].address, "a@b");
  put(entry.slots[9].address, std::string(64, 'l'));
  entry.slots[0].in_use = 1;
  entry.slots[9].in_use = -1;
  const auto addresses = [&](int32_t count, const char *schedule) {
    reset_library();
    entry.count = count;
    sch_add_schedule_email_entry_from_pss(&sch_schedule_email_list, &entry);
    acfg_hdl handle = {};
    fake.acfg_lines.clear();
    sch_add_schedule_cfg(&sch_running_config, &handle, add_schedule(&sch_running_config, schedule, daily(0, 0)));
    std::string text;
    for (const auto &line : fake.acfg_lines) {
      if (line.text.starts_with("email")) text += line.text + std::to_string(line.indent);
    }
    return text;
  };
  const std::string both = "email-addr a@b\n0email-addr " + std::string(64, 'l') + "\n0";
  EXPECT_EQ(addresses(2, "s"), both);
  EXPECT_EQ(addresses(1, "s"), both);
  EXPECT_EQ(addresses(-1, "s"), both);
  EXPECT_EQ(addresses(0, "s"), "");
  EXPECT_EQ(addresses(2, "st"), "");
}

}  // namespace
