// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>

#include "tests/acfg/configuration.h"
#include "tests/acfg/platform_hooks.h"

using namespace platform_test;
using namespace acfg_test;
using Lines = std::vector<std::string>;

namespace {

constexpr char startup_uri[] = "startup:scheduler_startup";
constexpr char debug_uri[] = "startup-debug:scheduler_debug_startup";

constexpr int running = 1;
constexpr int startup = 2;

const std::string received = "Received Request to generate Ascii config";
const std::string opening = std::string("Opening Startup config PSS file at ") + startup_uri;

template <typename Record>
std::string raw(const Record &record) {
  return {reinterpret_cast<const char *>(&record), sizeof record};
}

void hold(uint32_t type, uint32_t fragment, const std::string &name, const std::string &value) {
  sch_config_key key = {};
  key.type = htonl(type);
  key.fragment = htonl(fragment);
  put(key.name, name);
  fake.stores[startup_uri].records[raw(key)] = value;
}

void hold_level(uint32_t level) {
  fake.stores[debug_uri].records[unhex("16000000")] = unhex("01000000") + raw(level);
}

// One job, one schedule of it with an address, sender, log file of 32 KiB, the feature disabled.
void hold_configuration() {
  hold(SCH_CONFIG_JOB, 0, "backup", raw(sch_job_hdr{3, 0, 5}));
  hold(SCH_CONFIG_JOB, 1, "backup", "copy\n");
  sch_schedule_rec rec = {};
  rec.jobs[0] = 1u << 3;
  rec.time = daily(23, 30);
  hold(SCH_CONFIG_SCHEDULE, 0, "nightly", raw(rec));
  hold(SCH_CONFIG_ENABLE, 0, "", raw(int32_t{0}));
  std::string log_file(532, '\0');
  log_file.replace(256, 4, raw(int32_t{32768}));
  hold(SCH_CONFIG_LOG_FILE, 0, "", log_file);
  std::string from = "a@b";
  from.resize(64);
  hold(SCH_CONFIG_EMAIL_FROM, 0, "", from);
  sch_schedule_email_entry entry = {};
  put(entry.schedule_name, "nightly");
  entry.count = 1;
  put(entry.slots[0].address, "ops@b");
  entry.slots[0].in_use = 1;
  hold(SCH_CONFIG_SCHEDULE_EMAIL, 0, "nightly", raw(entry));
}

const std::string configuration_text =
    "scheduler logfile size 32\n\n"
    "scheduler transport email from a@b\n"
    "scheduler job name backup\ncopy\nend-job\n\n"
    "scheduler schedule name nightly\njob name backup\n  time daily 23:30\nemail-addr ops@b\n\n";

class CallbackTest : public PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    hooks = {};
  }
  int request(int type) {
    fake.cfg_type = type;
    fake.calls.clear();
    return sch_acfgcb_cfg_gen(&message_, &request_);
  }
  static std::string text() { return fake.acfg_text(3) + fake.acfg_text(1); }
  static bool startup_copy_is_empty() {
    int index = 0;
    return sch_next_job(&sch_startup_config, &index) == nullptr && startup_schedule_list == nullptr;
  }

  int message_ = 0, request_ = 0;
};

TEST_F(CallbackTest, the_running_configuration_of_an_empty_database_is_the_feature_line) {
  EXPECT_EQ(request(running), 0);
  EXPECT_EQ(text(), "feature scheduler\n");
  EXPECT_EQ(fake.calls,
            (Lines{"acfg_hdl_init", "acfg_cfg_type_get", "acfg_elem_add 224 1 12", "acfg_elem_add 224 3 2",
                   "acfg_elem_add 224 2 3", "acfg_elem_str_add_indent 3 0 feature scheduler\n", "acfg_respond"}));
}

TEST_F(CallbackTest, the_running_configuration_uses_the_live_database_and_the_open_debug_store) {
  uint32_t error = 0;
  debug_pss_running = pss_create("debug:running", &error);
  fake.stores["debug:running"].records[unhex("16000000")] = unhex("01000000 03000000");
  add_job(&sch_running_config, 0, "j", "a\n");
  add_job(&sch_startup_config, 0, "never", "b\n");
  request(running);
  EXPECT_EQ(text(), "feature scheduler\nscheduler job name j\na\nend-job\n\n");
  EXPECT_EQ(fake.calls_with("acfg_elem_group"),
            (Lines{"acfg_elem_group_config_str_add 115 0 3 logging level scheduler 3\n"}));
  EXPECT_EQ(fake.calls_with("pss_open"), Lines{});
  EXPECT_EQ(fake.calls_with("pss_close"), Lines{});
}

TEST_F(CallbackTest, the_answer_of_the_configuration_manager_is_returned) {
  fake.respond_result = -7;
  for (const int type : {running, startup, 3})
    EXPECT_EQ(request(type), -7) << type;
}

TEST_F(CallbackTest, message_request_and_one_handle_go_through_every_call_unchanged) {
  hold_configuration();
  hold_level(7);
  for (const int type : {running, startup, 3}) {
    hooks = {};
    request(type);
    EXPECT_EQ(hooks.handles.size(), 1u) << type;
    EXPECT_EQ(hooks.requests, std::vector<const void *>(type == startup ? 3 : 1, &request_)) << type;
    EXPECT_EQ(hooks.responded, (std::vector<const void *>{&message_, &request_})) << type;
  }
}

TEST_F(CallbackTest, any_other_type_answers_without_text) {
  for (const int type : {0, 3, -1, 1000000}) {
    EXPECT_EQ(request(type), 0);
    EXPECT_EQ(text(), "");
    EXPECT_EQ(fake.calls, (Lines{"acfg_hdl_init", "acfg_cfg_type_get", "acfg_respond"})) << type;
  }
}

TEST_F(CallbackTest, the_startup_configuration_comes_from_its_stores) {
  hold_configuration();
  hold_level(7);
  EXPECT_EQ(request(startup), 0);
  EXPECT_EQ(text(), "feature scheduler\n" + configuration_text);
  EXPECT_EQ(fake.calls_with("acfg_elem_group"),
            (Lines{"acfg_elem_group_config_str_add 115 0 3 logging level scheduler 7\n"}));
  EXPECT_TRUE(startup_copy_is_empty());
  EXPECT_TRUE(fake.open_stores.empty());
  EXPECT_EQ(fake.traces(100), (Lines{received, opening}));
}

TEST_F(CallbackTest, order_of_the_calls_of_a_startup_request) {
  fake.stores[startup_uri] = {};
  fake.stores[debug_uri] = {};
  request(startup);
  EXPECT_EQ(
      fake.calls,
      (Lines{"acfg_hdl_init", "acfg_cfg_type_get", "acfg_startup_cfg_uri_prefix_get",
             "acfg_uri_complete startup:  scheduler_startup", std::string("pss_open ") + startup_uri,
             "pss_move2location 1 1", "acfg_startup_debug_cfg_uri_prefix_get",
             "acfg_uri_complete startup-debug:  scheduler_debug_startup", std::string("pss_open ") + debug_uri,
             "acfg_elem_add 224 1 12", "acfg_elem_add 224 3 2", "acfg_elem_add 224 2 3", "pss2_fetch 2 key=16000000",
             "acfg_elem_str_add_indent 3 0 feature scheduler\n", "pss_close 1", "pss_close 2", "acfg_respond"}));
}

TEST_F(CallbackTest, a_startup_request_leaves_the_startup_stores_globals) {
  hold_configuration();
  fake.stores[debug_uri] = {};
  scheduler_enabled = 1;
  sch_log_file.size = 999;
  request(startup);
  EXPECT_EQ(sch_log_file.size, 32768);
  EXPECT_STREQ(email_transport_conf.from, "a@b");
  EXPECT_EQ(scheduler_enabled, 0);
}

TEST_F(CallbackTest, the_running_database_is_not_touched_by_a_startup_request) {
  hold_configuration();
  add_job(&sch_running_config, 0, "j", "a\n");
  add_schedule(&sch_running_config, "s", daily(0, 0));
  request(startup);
  EXPECT_STREQ(sch_job_list[0].key->name, "j");
  EXPECT_EQ(g_list_length(sch_schedule_list), 1u);
}

TEST_F(CallbackTest, without_a_log_file_record_the_size_is_the_default) {
  fake.stores[startup_uri] = {};
  sch_log_file.size = 32768;
  request(startup);
  EXPECT_EQ(text(), "feature scheduler\n");
  EXPECT_EQ(sch_log_file.size, 16384);
}

TEST_F(CallbackTest, a_startup_store_that_does_not_open_answers_without_text) {
  sch_log_file.size = 32768;
  EXPECT_EQ(request(startup), 0);
  EXPECT_EQ(text(), "");
  EXPECT_TRUE(startup_copy_is_empty());
  EXPECT_EQ(sch_log_file.size, 16384);
  EXPECT_EQ(fake.traces(100), (Lines{received, opening, "Error in opening in PSS file 0x40480009"}));
  EXPECT_EQ(fake.calls.back(), "acfg_respond");
  EXPECT_EQ(fake.calls_with("pss_close"), Lines{});
}

TEST_F(CallbackTest, a_missing_startup_uri_is_not_opened) {
  hooks.no_startup_uri = true;
  EXPECT_EQ(request(startup), 0);
  EXPECT_EQ(text(), "");
  EXPECT_EQ(fake.calls_with("pss_open"), Lines{});
  EXPECT_EQ(fake.traces(100), (Lines{received, "Opening Startup config PSS file at (null)"}));
}

TEST_F(CallbackTest, a_missing_debug_uri_only_loses_the_logging_level) {
  hold_configuration();
  hold_level(7);
  fake.acfg_uri_null = true;
  request(startup);
  EXPECT_EQ(text(), "feature scheduler\n" + configuration_text);
  EXPECT_EQ(fake.calls_with("acfg_elem_group"), Lines{});
  EXPECT_EQ(fake.calls_with("pss_close"), (Lines{"pss_close 1"}));
  EXPECT_EQ(fake.traces(100), (Lines{received, opening, "Error in getting dbg_uri\n"}));
}

TEST_F(CallbackTest, a_debug_store_that_does_not_open_only_loses_the_logging_level) {
  hold_configuration();
  request(startup);
  EXPECT_EQ(text(), "feature scheduler\n" + configuration_text);
  EXPECT_EQ(fake.calls_with("pss_close"), (Lines{"pss_close 1"}));
  EXPECT_EQ(fake.traces(100), (Lines{received, opening, "Error in opening in debyg PSS file 0x40480009"}));
}

TEST_F(CallbackTest, a_debug_handle_beside_an_error_is_used_and_closed) {
  hold_configuration();
  hold_level(7);
  hooks.error_on_open_of = debug_uri;
  request(startup);
  EXPECT_EQ(fake.calls_with("acfg_elem_group").size(), 1u);
  EXPECT_EQ(fake.calls_with("pss_close"), (Lines{"pss_close 1", "pss_close 2"}));
  EXPECT_EQ(fake.traces(100), (Lines{received, opening, "Error in opening in debyg PSS file 0x40480005"}));
}

TEST_F(CallbackTest, a_startup_handle_beside_an_error_generates_nothing) {
  hold_configuration();
  hooks.error_on_open_of = startup_uri;
  request(startup);
  EXPECT_EQ(text(), "");
  EXPECT_EQ(fake.calls_with("pss_move2location"), Lines{});
  EXPECT_EQ(fake.traces(100), (Lines{received, opening, "Error in opening in PSS file 0x40480005"}));
}

TEST_F(CallbackTest, close_errors_are_traced_and_ignored) {
  hold_configuration();
  hold_level(7);
  fake.errors["pss_close"] = 0x1f;
  EXPECT_EQ(request(startup), 0);
  EXPECT_EQ(text(), "feature scheduler\n" + configuration_text);
  EXPECT_EQ(fake.traces(100),
            (Lines{received, opening, "Error in closing in PSS file 0x1f", "Error in closing in PSS file 0x1f"}));
}

TEST_F(CallbackTest, traces_go_to_standard_error_above_level_100_to_the_history_and_to_buginf) {
  const std::pair<int32_t, std::string> rows[] = {{100, ""}, {101, received + "\n"}};
  for (const auto &[level, err] : rows) {
    debug_level = level;
    EXPECT_EQ(capture([&] { request(3); }).err, err) << level;
  }
  EXPECT_EQ(fake.traces(100), (Lines{received, received}));
  EXPECT_EQ(fake.buginf, (Lines{received, received}));
  EXPECT_EQ(fake.history.at(0).module, 0x730000u);
  EXPECT_EQ(fake.history.at(0).length, 4 + received.size() + 1);
  debug_level = 0;
  fake.history_allowed = fake.buginf_allowed = false;
  request(3);
  EXPECT_EQ(fake.history.size(), 2u);
  EXPECT_EQ(fake.buginf.size(), 2u);
}

TEST_F(CallbackTest, traces_that_no_sink_takes_change_nothing) {
  fake.history_allowed = fake.buginf_allowed = false;
  request(startup);  // the store does not open
  EXPECT_EQ(text(), "");
  hold_configuration();
  fake.errors["pss_close"] = 0x1f;
  for (const bool null : {false, true}) {  // the debug store does not open, then has no URI
    fake.acfg_uri_null = null;
    fake.acfg_lines.clear();
    reset_library();
    request(startup);
    EXPECT_EQ(text(), "feature scheduler\n" + configuration_text);
  }
  EXPECT_TRUE(fake.history.empty() && fake.buginf.empty());
}

TEST_F(CallbackTest, standard_error_alone_takes_every_trace_above_level_100) {
  fake.history_allowed = fake.buginf_allowed = false;
  fake.errors["pss_close"] = 0x1f;
  const std::string head = received + "\n" + opening + "\n";
  const auto errors = [&] {
    debug_level = 101;
    return capture([&] { request(startup); }).err;
  };
  EXPECT_EQ(errors(), head + "Error in opening in PSS file 0x40480009\n");
  fake.stores[startup_uri] = {};
  EXPECT_EQ(errors(), head + "Error in opening in debyg PSS file 0x40480009\nError in closing in PSS file 0x1f\n");
  fake.acfg_uri_null = true;
  EXPECT_EQ(errors(), head + "Error in getting dbg_uri\n\nError in closing in PSS file 0x1f\n");
}

TEST_F(CallbackTest, the_level_is_asked_before_buginf) {
  fake.record_traces = true;
  request(3);
  EXPECT_EQ(Lines(fake.calls.begin(), fake.calls.begin() + 4),
            (Lines{"sdwrap_hist_event_subtype_check 0x730000 100", "sdwrap_hist_event 100 " + received,
                   "sdwrap_chk_int 100 0 0 1", "buginf 1 scheduler 0 " + received}));
}

TEST_F(CallbackTest, every_failing_store_call_leaves_an_answer_and_an_empty_copy) {
  hold_configuration();
  hold_level(7);
  request(startup);
  const int calls = fake.store.calls;
  ASSERT_GT(calls, 10);
  for (const bool from_then_on : {false, true}) {
    for (int nth = 1; nth <= calls; ++nth) {
      SCOPED_TRACE(std::to_string(nth) + (from_then_on ? " and on" : ""));
      reset_library();
      fake.acfg_lines.clear();
      fake.store = {nth, from_then_on, 0};
      EXPECT_EQ(request(startup), 0);
      EXPECT_EQ(fake.calls.back(), "acfg_respond");
      EXPECT_EQ(fake.acfg_text(3), nth == 1 ? "" : "feature scheduler\n");
      EXPECT_TRUE(startup_copy_is_empty());
      EXPECT_EQ(fake.live[6] + fake.live[7] + fake.live[12], 0);
    }
  }
}

TEST_F(CallbackTest, every_failing_allocation_leaves_an_answer_and_an_empty_copy) {
  hold_configuration();
  request(startup);
  const int calls = fake.alloc.calls;
  ASSERT_GT(calls, 5);
  for (const bool from_then_on : {false, true}) {
    for (int nth = 1; nth <= calls; ++nth) {
      SCOPED_TRACE(std::to_string(nth) + (from_then_on ? " and on" : ""));
      reset_library();
      fake.acfg_lines.clear();
      fake.live.clear();
      fake.alloc = {nth, from_then_on, 0};
      EXPECT_EQ(request(startup), 0);
      EXPECT_EQ(fake.calls.back(), "acfg_respond");
      EXPECT_EQ(fake.acfg_text(3), "feature scheduler\n");
      EXPECT_TRUE(startup_copy_is_empty());
      // Of what was taken only a key whose record found no memory stays, which is meant, and the address entry.
      EXPECT_EQ(fake.live[6] + fake.live[7] + fake.live[12], 0);
      EXPECT_LE(fake.live[5], 1);
    }
  }
}

}  // namespace
