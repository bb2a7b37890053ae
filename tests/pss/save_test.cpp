// SPDX-License-Identifier: Apache-2.0
// What of a configuration is saved. The records' bytes and traces are in conformance_test.cpp.
#include <gmock/gmock.h>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::ElementsAre;

namespace {

class SaveTest : public platform_test::PlatformTest {};

TEST_F(SaveTest, traces_reach_standard_error_when_the_debug_level_exceeds_theirs) {
  const std::pair<int (*)(pss_handle, const sch_email_transport *), const char *> rows[] = {
      {sch_save_email_from_conf_to_pss, "saving Email FROM conf"},
      {sch_save_email_replyto_conf_to_pss, "saving Email Reply-to conf"},
      {sch_save_email_smtpserver_conf_to_pss, "saving Email smtpserver conf"}};
  fake.errors["pss_store"] = 0x40480009;
  for (const auto &[save, text] : rows) {
    for (const int32_t level : {103, 104}) {
      debug_level = level;
      const auto output = platform_test::capture([&, save_it = save] { save_it(open_store(), &email_transport_conf); });
      EXPECT_EQ(output.err, level > 103 ? text + std::string(" FAILED\n") : "");
      EXPECT_EQ(output.out, "");
    }
  }
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
  set_text(email_transport_conf.from, 64, "switch@example.net");
  scheduler_enabled = 1;
  sch_schedule_email_entry emails = email_entry("nightly", {"a@x.net"});
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
