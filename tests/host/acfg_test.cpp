// SPDX-License-Identifier: Apache-2.0
#include "host/acfg.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "host/debug.h"
#include "host/files/paths.h"
#include "host/sysmgr.h"
#include "platform/memory.h"
#include "schedcli.h"

namespace {

std::string answer(acfg_hdl *handle) {
  std::string text = "left over";
  EXPECT_EQ(acfg_respond(handle, &text, nullptr), 0);
  return text;
}

class Collection : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(acfg_hdl_init(&handle), 0); }
  acfg_hdl handle{};
};

TEST_F(Collection, without_anything_answers_with_no_text) {
  EXPECT_EQ(answer(&handle), "");
}

TEST_F(Collection, writes_elements_by_ascending_priority_and_groups_last) {
  acfg_elem_add(&handle, 224, 1, 12);
  acfg_elem_add(&handle, 224, 3, 2);
  acfg_elem_add(&handle, 224, 2, 3);
  acfg_elem_group_config_str_add(&handle, 115, 0, 3, "logging level scheduler 7\n");
  acfg_elem_str_add_indent(&handle, 1, "last\n", 0);
  acfg_elem_str_add_indent(&handle, 2, "middle\n", 0);
  acfg_elem_str_add_indent(&handle, 3, "feature scheduler\n", 0);
  EXPECT_EQ(acfg_elem_dependency_add(&handle, 2, 118, 1), 0);
  EXPECT_EQ(answer(&handle), "feature scheduler\nmiddle\nlast\nlogging level scheduler 7\n");
}

TEST_F(Collection, keeps_the_order_of_elements_of_one_priority) {
  acfg_elem_add(&handle, 224, 9, 4);
  acfg_elem_add(&handle, 224, 8, 4);
  acfg_elem_str_add_indent(&handle, 8, "second", 0);
  acfg_elem_str_add_indent(&handle, 9, "first ", 0);
  EXPECT_EQ(answer(&handle), "first second");
}

TEST_F(Collection, indents_a_flagged_line_by_one_blank) {
  acfg_elem_add(&handle, 224, 1, 12);
  acfg_elem_str_add_indent(&handle, 1, "scheduler schedule name nightly\n", 0);
  acfg_elem_str_add_indent(&handle, 1, "job name backup\n", 1);
  EXPECT_EQ(answer(&handle), "scheduler schedule name nightly\n job name backup\n");
}

TEST_F(Collection, refuses_a_second_element_of_one_number_and_a_line_of_none) {
  EXPECT_EQ(acfg_elem_add(&handle, 224, 1, 12), 0);
  EXPECT_EQ(acfg_elem_add(&handle, 224, 1, 2), -1);
  EXPECT_EQ(acfg_elem_str_add_indent(&handle, 2, "lost\n", 0), -1);
  EXPECT_EQ(answer(&handle), "");
}

class ConfigurationText : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/acfg_test.XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    directory_ = pattern;
    host::use_paths(host::resolve_paths(pattern));
    ASSERT_EQ(host::sysmgr_prepare(host::BootFrom::startup).code(), 0U);
    sch_pss_uri_init();
    sch_log_file.size = SCH_LOG_SIZE_DEFAULT;
    scheduler_enabled = 1;
  }
  void TearDown() override {
    email_transport_conf.from[0] = '\0';
    g_list_free_full(sch_schedule_email_list, mtrack_free);
    sch_schedule_email_list = nullptr;
    std::filesystem::remove_all(directory_);
  }

  // Fills the startup store: sender, log size, enable flag, one schedule's addresses.
  void save_startup() {
    ASSERT_EQ(sch_pss_create(sch_pss_startup_uri, 1024, 1024, 40), 0);
    uint32_t error = 0;
    const pss_handle store = pss_open(sch_pss_startup_uri, &error);
    ASSERT_EQ(error, 0u);
    sch_log_file_rec log{};
    log.size = 32768;
    sch_email_transport transport{};
    std::strcpy(transport.reply_to, "stored@example.net");
    sch_schedule_email_entry emails{};
    std::strcpy(emails.schedule_name, "nightly");
    emails.count = 1;
    emails.slots[0].in_use = 1;
    std::strcpy(emails.slots[0].address, "stored-address@example.net");
    sch_config_key enable{SCH_CONFIG_ENABLE, 0, ""};
    EXPECT_EQ(sch_save_log_file_entry_to_pss(store, &sch_log_file_key, &log), 0);
    EXPECT_EQ(sch_save_email_replyto_conf_to_pss(store, &transport), 0);
    EXPECT_EQ(sch_save_schedule_email_entry_to_pss(store, &emails), 0);
    EXPECT_EQ(sch_save_condition_entry_to_pss(store, &enable, 0), 0);
    save_schedule(store);
    EXPECT_EQ(pss_close(store), 0u);
  }

  void save_schedule(pss_handle store) {
    sch_config_key key{SCH_CONFIG_SCHEDULE, 0, "nightly"};
    sch_schedule_rec record{};
    record.time.type = SCH_SCHEDULE_DAILY;
    record.time.hour = 23;
    record.time.minute = 30;
    const sch_schedule_entry entry{&key, &record, {}};
    EXPECT_EQ(sch_save_schedule_entry_to_pss(store, &entry), 0);
  }

  std::string directory_;
};

TEST_F(ConfigurationText, of_an_empty_running_configuration_is_the_feature_alone) {
  EXPECT_EQ(host::configuration_text(host::ConfigType::running), "feature scheduler\n");
}

TEST_F(ConfigurationText, of_the_running_configuration_shows_the_live_globals) {
  sch_log_file.size = 20000;
  std::strcpy(email_transport_conf.from, "switch@example.net");
  EXPECT_EQ(host::configuration_text(host::ConfigType::running),
            "feature scheduler\nscheduler logfile size 19\n\nscheduler transport email from switch@example.net\n");
}

TEST_F(ConfigurationText, of_a_startup_configuration_that_was_never_saved_is_empty) {
  EXPECT_EQ(host::configuration_text(host::ConfigType::startup), "");
}

TEST_F(ConfigurationText, of_the_startup_configuration_has_nothing_of_the_live_one) {
  save_startup();
  std::strcpy(email_transport_conf.from, "live@example.net");
  sch_add_schedule_email_entry(&sch_schedule_email_list, "nightly", "live-address@example.net");
  EXPECT_EQ(host::configuration_text(host::ConfigType::startup),
            "feature scheduler\nscheduler logfile size 32\n\n"
            "scheduler transport email reply-to stored@example.net\n"
            "scheduler schedule name nightly\n  time daily 23:30\nemail-addr stored-address@example.net\n\n");
}

TEST_F(ConfigurationText, of_the_startup_configuration_leaves_the_live_globals_as_they_were) {
  save_startup();
  std::strcpy(email_transport_conf.from, "live@example.net");
  sch_log_file.size = 65536;
  sch_log_file.entry_count = 7;
  sch_add_schedule_email_entry(&sch_schedule_email_list, "nightly", "live-address@example.net");
  const sch_email_transport transport = email_transport_conf;
  const sch_log_file_rec log = sch_log_file;
  GList *const emails = sch_schedule_email_list;
  host::configuration_text(host::ConfigType::startup);
  EXPECT_EQ(std::memcmp(&transport, &email_transport_conf, sizeof transport), 0);
  EXPECT_EQ(std::memcmp(&log, &sch_log_file, sizeof log), 0);
  EXPECT_EQ(scheduler_enabled, 1);
  EXPECT_EQ(sch_schedule_email_list, emails);
  ASSERT_EQ(g_list_length(emails), 1u);
  EXPECT_STREQ(static_cast<sch_schedule_email_entry *>(emails->data)->slots[0].address, "live-address@example.net");
}

TEST_F(ConfigurationText, of_the_startup_configuration_frees_what_it_restored) {
  save_startup();
  const auto live_blocks = [] {
    const std::string text = host::memory_statistics();
    return text.substr(text.find("  224   14"), 61);  // up to the live blocks
  };
  sch_add_schedule_email_entry(&sch_schedule_email_list, "nightly", "live-address@example.net");
  const std::string before = live_blocks();
  host::configuration_text(host::ConfigType::startup);
  EXPECT_EQ(live_blocks(), before);
}

TEST_F(ConfigurationText, ends_with_the_logging_level_of_its_debug_store) {
  save_startup();
  uint32_t error = 0;
  ASSERT_EQ(sch_pss_create(sch_debug_pss_startup_uri, 1024, 1024, 40), 0);
  const pss_handle store = pss_open(sch_debug_pss_startup_uri, &error);
  ASSERT_EQ(error, 0u);
  uint32_t words[2] = {1, 7};
  const pss_buf value{words, sizeof words};
  ASSERT_EQ(pss_store(store, 1, sch_get_syslog_pss_key(), &value), 0u);
  ASSERT_EQ(pss_close(store), 0u);
  const std::string text = host::configuration_text(host::ConfigType::startup);
  EXPECT_EQ(text.substr(text.size() - 27), "\nlogging level scheduler 7\n");
}

}  // namespace
