// SPDX-License-Identifier: Apache-2.0
// What a request for a configuration leaves behind, and what it answers whatever fails. Its calls and traces are in
// conformance_test.cpp.
#include "tests/acfg/configuration.h"

using namespace platform_test;
using namespace acfg_test;

namespace {

class CallbackTest : public PlatformTest {
 protected:
  static std::string text() { return fake.acfg_text(3) + fake.acfg_text(1); }
  static bool startup_copy_is_empty() {
    int index = 0;
    return sch_next_job(&sch_startup_config, &index) == nullptr && startup_schedule_list == nullptr;
  }
  // Each call of a kind fails, the nth alone and from then on.
  void expect_answers(Fault Platform::*fault, int fewest, const std::function<void(int)> &expect_more) {
    hold_configuration();
    hold_level(debug_uri);
    request(startup);
    const int calls = (fake.*fault).calls;
    ASSERT_GT(calls, fewest);
    for (int nth = 1; nth <= 2 * calls; ++nth) {
      SCOPED_TRACE(nth);
      reset_library();
      fake.live.clear();
      fake.*fault = {(nth + 1) / 2, nth % 2 == 0, 0};
      EXPECT_EQ(request(startup), 0);
      EXPECT_EQ(fake.calls.back(), "acfg_respond");
      EXPECT_TRUE(startup_copy_is_empty());
      EXPECT_EQ(fake.live[6] + fake.live[7] + fake.live[12], 0);
      expect_more((nth + 1) / 2);
    }
  }
};

TEST_F(CallbackTest, the_answer_of_the_configuration_manager_is_returned) {
  fake.respond_result = -7;
  for (const int type : {running, startup, unknown_type})
    EXPECT_EQ(request(type), -7) << type;
}

TEST_F(CallbackTest, message_request_and_one_handle_go_through_every_call_unchanged) {
  hold_configuration();
  hold_level(debug_uri);
  for (const int type : {running, startup, unknown_type}) {
    fake.acfg_handles.clear();
    fake.acfg_requests.clear();
    fake.acfg_responded.clear();
    fake.cfg_type = type;
    int message = 0, asked = 0;
    sch_acfgcb_cfg_gen(&message, &asked);
    EXPECT_EQ(fake.acfg_handles.size(), 1u) << type;
    EXPECT_EQ(fake.acfg_requests, std::vector<const void *>(type == startup ? 3 : 1, &asked)) << type;
    EXPECT_EQ(fake.acfg_responded, (std::vector<const void *>{&message, &asked})) << type;
  }
}

TEST_F(CallbackTest, any_other_type_answers_without_text) {
  for (const int type : {0, unknown_type, -1, 1000000}) {
    EXPECT_EQ(request(type), 0);
    EXPECT_EQ(text(), "") << type;
  }
}

TEST_F(CallbackTest, a_startup_request_leaves_the_startup_stores_globals_and_the_running_database_alone) {
  hold_configuration();
  fake.stores[debug_uri] = {};
  scheduler_enabled = 1;
  sch_log_file.size = 999;
  add_job(&sch_running_config, 0, "j", "a\n");
  add_schedule(&sch_running_config, "s", daily(0, 0));
  request(startup);
  EXPECT_EQ(text(), configuration_text);
  EXPECT_EQ(sch_log_file.size, 32768);
  EXPECT_STREQ(email_transport_conf.from, "a@b");
  EXPECT_EQ(scheduler_enabled, 0);
  EXPECT_STREQ(sch_job_list[0].key->name, "j");
  EXPECT_EQ(g_list_length(sch_schedule_list), 1u);
  EXPECT_TRUE(startup_copy_is_empty());
  EXPECT_TRUE(fake.open_stores.empty());
}

TEST_F(CallbackTest, without_a_log_file_record_or_a_store_the_size_is_the_default) {
  for (const bool exists : {false, true}) {
    if (exists) fake.stores[startup_uri] = {};
    sch_log_file.size = 32768;
    request(startup);
    EXPECT_EQ(text(), exists ? "feature scheduler\n" : "");
    EXPECT_EQ(sch_log_file.size, 16384);
  }
}

TEST_F(CallbackTest, traces_that_no_sink_takes_change_nothing) {
  fake.history_allowed = fake.buginf_allowed = false;
  request(startup);  // the store does not open
  EXPECT_EQ(text(), "");
  hold_configuration();
  fake.errors["pss_close"] = 0x1f;
  for (const bool null : {false, true}) {  // the debug store does not open, then has no URI
    if (null) fake.acfg_uncompletable = {"scheduler_debug_startup"};
    reset_library();
    request(startup);
    EXPECT_EQ(text(), configuration_text);
  }
  EXPECT_TRUE(fake.history.empty() && fake.buginf.empty());
}

TEST_F(CallbackTest, standard_error_alone_takes_every_trace_above_level_100) {
  fake.history_allowed = fake.buginf_allowed = false;
  fake.errors["pss_close"] = 0x1f;
  const auto errors = [&](int32_t level) {
    debug_level = level;
    return capture([&] { request(startup); }).err;
  };
  const std::string head =
      "Received Request to generate Ascii config\nOpening Startup config PSS file at startup:scheduler_startup\n";
  EXPECT_EQ(errors(100), "");
  EXPECT_EQ(errors(101), head + "Error in opening in PSS file 0x40480009\n");
  fake.stores[startup_uri] = {};
  EXPECT_EQ(errors(101), head + "Error in opening in debyg PSS file 0x40480009\nError in closing in PSS file 0x1f\n");
  fake.acfg_uncompletable = {"scheduler_debug_startup"};
  EXPECT_EQ(errors(101), head + "Error in getting dbg_uri\n\nError in closing in PSS file 0x1f\n");
}

TEST_F(CallbackTest, every_failing_store_call_leaves_an_answer_and_an_empty_copy) {
  expect_answers(&Platform::store, 10,
                 [](int nth) { EXPECT_EQ(fake.acfg_text(3), nth == 1 ? "" : "feature scheduler\n"); });
}

TEST_F(CallbackTest, every_failing_allocation_leaves_an_answer_and_an_empty_copy) {
  expect_answers(&Platform::alloc, 5, [](int) {
    EXPECT_EQ(fake.acfg_text(3), "feature scheduler\n");
    EXPECT_LE(fake.live[5], 1) << "only a key whose record found no memory stays, which is meant";
  });
}

}  // namespace
