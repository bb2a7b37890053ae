// SPDX-License-Identifier: Apache-2.0
// Each record's stored bytes, and what a refusal leaves behind.
#include <gmock/gmock.h>

#include <functional>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::ElementsAre;

namespace {

constexpr const char *full_name = "abcdefghijklmnopqrstuvwxyz012345";
constexpr const char *broken_parts = "Syserr - type:1 facility:576 number:9";

sch_email_transport email_settings() {
  sch_email_transport conf{};
  set_text(conf.from, sizeof conf.from, "switch@example.net");
  set_text(conf.reply_to, sizeof conf.reply_to, "noc@example.net");
  set_text(conf.reply_to_copy, sizeof conf.reply_to_copy, "not stored");
  set_text(conf.smtp.server, sizeof conf.smtp.server, "mail.example.net");
  conf.smtp.address_kind = 16;
  conf.smtp.port = 0x0102;
  set_text(conf.smtp.vrf, sizeof conf.smtp.vrf, "blue");
  return conf;
}

sch_log_file_rec log_file() {
  sch_log_file_rec log{};
  log.head[0] = log.head[1] = 0xdddddddd;
  set_text(log.name, sizeof log.name, "log.dat");
  log.size = 0x01020304;
  log.read_offset = 0x11121314;
  log.write_offset = 0x21222324;
  log.entry_count = 0x31323334;
  set_text(log.uri, sizeof log.uri, "flash:log.dat");
  log.spare = 0x41424344;
  return log;
}

sch_schedule_rec schedule_rec() {
  sch_schedule_rec rec{};
  rec.service_head[0] = 0xa1a2a3a4;
  rec.jobs[0] = 0x80000001;
  rec.jobs[7] = 0x01000000;
  rec.service_word = 0xb1b2b3b4;
  rec.time = {SCH_SCHEDULE_WEEKLY, 13, 2, 4, 59, 11, 126, -1, 0x01020304};
  rec.time_spare = 0xc1c2c3c4;
  rec.service_tail[0] = 0xd1;
  rec.service_tail[59] = 0xd2;
  return rec;
}

// Words as the little-endian target stores them.
const std::string schedule_hex =
    "a4a3a2a1"
    "00000000"
    "01000080" +
    zeros(24) +
    "00000001"
    "b4b3b2b1"
    "04000000"
    "0d000000"
    "02000000"
    "04000000"
    "3b000000"
    "0b000000"
    "7e000000"
    "ffffffff"
    "04030201"
    "c4c3c2c1"
    "d1" +
    zeros(58) + "d2";

class SaveTest : public platform_test::PlatformTest {
 protected:
  const sch_email_transport conf = email_settings();
  const sch_log_file_rec log = log_file();
  const sch_config_key log_key{SCH_CONFIG_LOG_FILE, 0x0a0b0c0d, "log"};
  const sch_config_key enable_key{SCH_CONFIG_ENABLE, 0, ""};
  sch_schedule_email_entry emails = email_entry("nightly", {"a@x.net", "b@x.net"});
  sch_config_key schedule_key{SCH_CONFIG_SCHEDULE, 5, "nightly"};
  sch_schedule_rec rec = schedule_rec();
  sch_schedule_entry schedule{&schedule_key, &rec, {1, 2, 3, 4, 5, 6}};

  struct Row {
    const char *what;
    std::function<int(pss_handle)> save;
    std::string key, value;
    std::vector<std::string> success, failure;
  };
  const std::vector<Row> rows = {
      {"from",
       [this](pss_handle h) { return sch_save_email_from_conf_to_pss(h, &conf); },
       "0000000500000000" + zeros(32),
       padded("switch@example.net", 64),
       {"saving Email FROM conf success"},
       {"saving Email FROM conf FAILED"}},
      {"reply-to",
       [this](pss_handle h) { return sch_save_email_replyto_conf_to_pss(h, &conf); },
       "0000000600000000" + zeros(32),
       padded("noc@example.net", 64),
       {"saving Email reply-to conf success"},
       {"saving Email Reply-to conf FAILED"}},
      {"smtp",
       [this](pss_handle h) { return sch_save_email_smtpserver_conf_to_pss(h, &conf); },
       "0000000700000000" + zeros(32),
       padded("mail.example.net", 256) +
           "10000000"
           "02010000" +
           padded("blue", 256),
       {"saving Email smtpserver conf success"},
       {"saving Email smtpserver conf FAILED"}},
      {"schedule e-mail",
       [this](pss_handle h) { return sch_save_schedule_email_entry_to_pss(h, &emails); },
       "0000000800000000"
       "6e696768746c79" +
           zeros(25),
       padded("nightly", 32) + "02000000" + padded("a@x.net", 64) + "01000000" + padded("b@x.net", 64) + "01000000" +
           zeros(8 * 68),
       {},
       {"PSS error 0x40480009 while saving the schedule email entry nightly", broken_parts}},
      {"schedule",
       [this](pss_handle h) { return sch_save_schedule_entry_to_pss(h, &schedule); },
       "0000000000000005"
       "6e696768746c79" +
           zeros(25),
       schedule_hex,
       {},
       {"PSS error 0x40480009 while saving the schedule entry nightly", broken_parts}},
      {"log file",
       [this](pss_handle h) { return sch_save_log_file_entry_to_pss(h, &log_key, &log); },
       "000000030a0b0c0d"
       "6c6f67" +
           zeros(29),
       padded("log.dat", 256) +
           "04030201"
           "14131211"
           "24232221"
           "34333231" +
           padded("flash:log.dat", 256) + "44434241",
       {"saving log file info success"},
       {"saving log file info FAILED"}},
      {"enable flag",
       [this](pss_handle h) { return sch_save_condition_entry_to_pss(h, &enable_key, -2); },
       "0000000200000000" + zeros(32),
       "feffffff",
       {"saving ENABLE flag success"},
       {"saving ENABLE flag FAILED"}},
  };
};

TEST_F(SaveTest, each_record_is_one_store_call_of_its_exact_bytes) {
  for (const Row &row : rows) {
    SCOPED_TRACE(row.what);
    fake.reset();
    const pss_handle store = open_store();
    EXPECT_EQ(row.save(store), 0);
    EXPECT_THAT(fake.calls, ElementsAre(stored(store, row.key, row.value)));
    EXPECT_EQ(fake.traces(103), row.success);
    EXPECT_EQ(fake.traces(), row.success) << "at no other level";
    EXPECT_EQ(fake.buginf, row.success);
  }
}

TEST_F(SaveTest, refusal_is_minus_one_and_traced_with_the_split_code_where_the_record_asks_for_it) {
  for (const Row &row : rows) {
    SCOPED_TRACE(row.what);
    fake.reset();
    const pss_handle store = open_store();
    fake.errors["pss_store"] = 0x40480009;
    EXPECT_EQ(row.save(store), -1);
    EXPECT_EQ(fake.traces(103), row.failure);
    EXPECT_EQ(fake.buginf, row.failure);
    EXPECT_TRUE(fake.syslog.empty());
    EXPECT_TRUE(fake.stores["test"].records.empty());
  }
}

TEST_F(SaveTest, traces_reach_standard_error_when_the_debug_level_exceeds_theirs) {
  for (const Row &row : rows) {
    SCOPED_TRACE(row.what);
    for (const auto &[level, shown] : {std::pair{103, false}, std::pair{104, true}}) {
      fake.reset();
      const pss_handle store = open_store();
      fake.errors["pss_store"] = 0x40480009;
      debug_level = level;
      const auto output = platform_test::capture([&] { row.save(store); });
      std::string lines;
      for (const auto &text : row.failure)
        lines += text + "\n";
      EXPECT_EQ(output.err, shown ? lines : "");
      EXPECT_EQ(output.out, "");
    }
  }
}

TEST_F(SaveTest, trace_format_reaches_buginf_unformatted) {
  const pss_handle store = open_store();
  fake.errors["pss_store"] = 0x40480009;
  sch_save_schedule_entry_to_pss(store, &schedule);
  EXPECT_EQ(fake.buginf_formats.front(), "PSS error 0x%x while saving the schedule entry %s");
}

TEST_F(SaveTest, keys_in_memory_are_not_converted) {
  const pss_handle store = open_store();
  sch_save_schedule_entry_to_pss(store, &schedule);
  sch_save_log_file_entry_to_pss(store, &log_key, &log);
  EXPECT_EQ(schedule_key.type, SCH_CONFIG_SCHEDULE);
  EXPECT_EQ(schedule_key.fragment, 5u);
  EXPECT_EQ(log_key.fragment, 0x0a0b0c0du);
}

TEST_F(SaveTest, no_email_entry_is_no_store_call) {
  EXPECT_EQ(sch_save_schedule_email_entry_to_pss(open_store(), nullptr), 0);
  EXPECT_TRUE(fake.calls.empty());
  EXPECT_TRUE(fake.history.empty());
}

TEST_F(SaveTest, names_that_fill_their_field_are_stored_and_traced_whole) {
  set_text(emails.schedule_name, sizeof emails.schedule_name, full_name);
  set_text(schedule_key.name, sizeof schedule_key.name, full_name);
  const pss_handle store = open_store();
  sch_save_schedule_email_entry_to_pss(store, &emails);
  sch_save_schedule_entry_to_pss(store, &schedule);
  EXPECT_TRUE(fake.stores["test"].records.contains(unhex(key_hex(8, 0, full_name))));
  EXPECT_TRUE(fake.stores["test"].records.contains(unhex(key_hex(0, 5, full_name))));
  fake.errors["pss_store"] = 1;
  sch_save_schedule_email_entry_to_pss(store, &emails);
  sch_save_schedule_entry_to_pss(store, &schedule);
  EXPECT_EQ(fake.traces(103)[0], std::string("PSS error 0x1 while saving the schedule email entry ") + full_name);
  EXPECT_EQ(fake.traces(103)[2], std::string("PSS error 0x1 while saving the schedule entry ") + full_name);
}

TEST_F(SaveTest, schedule_and_email_entry_are_deleted_by_their_keys_whatever_the_store_answers) {
  const pss_handle store = open_store();
  sch_save_schedule_email_entry_to_pss(store, &emails);
  sch_save_schedule_entry_to_pss(store, &schedule);
  fake.calls.clear();
  EXPECT_EQ(sch_delete_schedule_email_entry_from_pss(store, &emails), 0);
  EXPECT_EQ(sch_delete_schedule_entry_from_pss(store, &schedule), 0);
  EXPECT_THAT(fake.calls, ElementsAre(deleted(store, "00000008000000006e696768746c79" + zeros(25)),
                                      deleted(store, "00000000000000056e696768746c79" + zeros(25))));
  EXPECT_TRUE(fake.stores["test"].records.empty());
  EXPECT_EQ(sch_delete_schedule_email_entry_from_pss(store, &emails), 0) << "the store has no such key now";
  EXPECT_EQ(sch_delete_schedule_entry_from_pss(store, &schedule), 0);
  EXPECT_EQ(schedule_key.fragment, 5u);
}

TEST_F(SaveTest, whole_configuration_is_schedules_in_list_order_then_jobs_by_index_then_the_log_file) {
  const pss_handle store = open_store();
  add_schedule(sch_running_config, "zulu", {});
  add_schedule(sch_running_config, "alpha", {});
  add_job(sch_running_config, 255, "last", "z\n");
  add_job(sch_running_config, 0, "first", "a\n");
  sch_log_file = log;
  fake.calls.clear();
  EXPECT_EQ(sch_save_config_to_pss(&sch_running_config, store), 0);
  const std::string header_tail =
      "44332211"
      "02000000";
  EXPECT_THAT(
      fake.calls,
      ElementsAre(stored(store, key_hex(0, 0, "zulu"), zeros(144)), stored(store, key_hex(0, 0, "alpha"), zeros(144)),
                  stored(store, key_hex(1, 0, "first"), "00000000" + header_tail),
                  stored(store, key_hex(1, 1, "first"), "610a"),
                  stored(store, key_hex(1, 0, "last"), "ff000000" + header_tail),
                  stored(store, key_hex(1, 1, "last"), "7a0a"), stored(store, key_hex(3, 0, ""), rows[5].value)));
  EXPECT_THAT(fake.traces(103),
              ElementsAre("pss save schedule zulu", "pss save schedule alpha", "pss save job first (0)",
                          "pss save job last (255)", "saving log file info success"));
}

TEST_F(SaveTest, whole_configuration_is_the_given_one_beside_the_one_log_file) {
  const pss_handle store = open_store();
  add_schedule(sch_running_config, "running", {});
  add_job(sch_running_config, 1, "running", "r\n");
  add_schedule(sch_startup_config, "startup", {});
  add_job(sch_startup_config, 2, "startup", "s\n");
  sch_save_config_to_pss(&sch_startup_config, store);
  EXPECT_THAT(fake.traces(103),
              ElementsAre("pss save schedule startup", "pss save job startup (2)", "saving log file info success"));
}

TEST_F(SaveTest, whole_configuration_skips_slots_without_key_header_or_text) {
  const pss_handle store = open_store();
  sch_job_entry *no_header = add_job(sch_running_config, 3, "no-header", "x\n");
  sch_job_entry *no_text = add_job(sch_running_config, 4, "no-text", "x\n");
  sch_job_entry *no_key = add_job(sch_running_config, 5, "no-key", "x\n");
  no_header->hdr = nullptr;
  g_list_free(no_text->fragments);
  no_text->fragments = nullptr;
  no_key->key = nullptr;
  EXPECT_EQ(sch_save_config_to_pss(&sch_running_config, store), 0);
  EXPECT_EQ(fake.stores["test"].records.size(), 1u) << "the log file alone";
  EXPECT_THAT(fake.traces(103), ElementsAre("saving log file info success"));
}

TEST_F(SaveTest, whole_configuration_leaves_out_email_and_enable_flag) {
  const pss_handle store = open_store();
  email_transport_conf = conf;
  scheduler_enabled = 1;
  sch_schedule_email_list = g_list_append(nullptr, &emails);
  sch_save_config_to_pss(&sch_running_config, store);
  EXPECT_EQ(fake.stores["test"].records.size(), 1u);
  EXPECT_TRUE(fake.stores["test"].records.contains(unhex(key_hex(3, 0, ""))));
}

TEST_F(SaveTest, whole_configuration_is_tried_to_the_end_and_answers_0_when_the_store_refuses_everything) {
  const pss_handle store = open_store();
  add_schedule(sch_running_config, "one", {});
  add_schedule(sch_running_config, "two", {});
  add_job(sch_running_config, 0, "job", "a\n");
  fake.errors["pss_store"] = 1;
  fake.calls.clear();
  EXPECT_EQ(sch_save_config_to_pss(&sch_running_config, store), 0);
  EXPECT_EQ(fake.calls_with("pss_store").size(), 4u) << "two schedules, one header, the log file";
}

}  // namespace
