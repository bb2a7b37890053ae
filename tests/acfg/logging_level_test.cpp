// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include "tests/acfg/configuration.h"
#include "tests/acfg/platform_hooks.h"

using namespace platform_test;
using namespace acfg_test;
using Lines = std::vector<std::string>;

namespace {

constexpr char store_uri[] = "debug:store";
const std::string level_key = unhex("16000000");  // 22 in host order

class LoggingLevelTest : public PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    hooks = {};
    uint32_t error = 0;
    store_ = pss_create(store_uri, &error);
    ASSERT_EQ(error, 0u);
    fake.calls.clear();
  }
  void hold(const std::string &value_hex) { fake.stores[store_uri].records[level_key] = unhex(value_hex); }
  std::string generated() {
    fake.calls.clear();
    acfg_hdl handle = {};
    sch_acfg_gen(&sch_running_config, &handle, store_);
    std::string text;
    for (const std::string &call : fake.calls_with("acfg_elem_group_config_str_add"))
      text += call;
    return text;
  }

  pss_handle store_ = 0;
};

TEST_F(LoggingLevelTest, records_and_their_lines) {
  const auto line = [](const char *level) {
    return std::string("acfg_elem_group_config_str_add 115 0 3 logging level scheduler ") + level + "\n";
  };
  struct Row {
    const char *scenario;
    const char *value;
    std::string call;
  };
  const Row rows[] = {
      {"level 0", "01000000 00000000", line("0")},
      {"level 4", "01000000 04000000", line("4")},
      {"the default is never written", "01000000 05000000", ""},
      {"level 6", "01000000 06000000", line("6")},
      {"level 7", "01000000 07000000", line("7")},
      {"level 8", "01000000 08000000", ""},
      {"level -1", "01000000 ffffffff", ""},
      {"first word 0", "00000000 07000000", ""},
      {"first word 2", "02000000 07000000", ""},
      {"a longer value", "01000000 07000000 ff", line("7")},
      {"a value of 7 bytes", "01000000 070000", ""},
      {"an empty value", "", ""},
  };
  for (const Row &row : rows) {
    hold(row.value);
    EXPECT_EQ(generated(), row.call) << row.scenario;
    EXPECT_EQ(fake.acfg_text(3).substr(0, 18), "feature scheduler\n");
  }
}

TEST_F(LoggingLevelTest, order_of_the_calls) {
  hold("01000000 07000000");
  generated();
  EXPECT_EQ(fake.calls, (Lines{"acfg_elem_add 224 1 12", "acfg_elem_add 224 3 2", "acfg_elem_add 224 2 3",
                               "pss2_fetch 1 key=16000000", "acfg_elem_dependency_add 2 118 1",
                               "acfg_elem_group_config_str_add 115 0 3 logging level scheduler 7\n",
                               "acfg_elem_str_add_indent 3 0 feature scheduler\n"}));
}

TEST_F(LoggingLevelTest, without_a_debug_store_nothing_is_fetched) {
  store_ = 0;
  EXPECT_EQ(generated(), "");
  EXPECT_EQ(fake.calls_with("pss2_fetch"), Lines{});
}

TEST_F(LoggingLevelTest, a_failed_fetch_omits_the_line) {
  EXPECT_EQ(generated(), "");  // no such key
  hold("01000000 07000000");
  for (const uint32_t error : {0x40480003u, 1u}) {
    fake.errors["pss2_fetch"] = error;
    EXPECT_EQ(generated(), "") << error;
  }
  fake.errors.clear();
  hooks.value_with_error = true;
  EXPECT_EQ(generated(), "");
  hooks = {};
  hooks.null_without_error = true;
  EXPECT_EQ(generated(), "");
  hooks = {};
  EXPECT_NE(generated(), "");
}

TEST_F(LoggingLevelTest, refusals_of_the_configuration_manager_are_ignored) {
  hold("01000000 07000000");
  fake.errors["acfg_elem_dependency_add"] = 5;
  fake.errors["acfg_elem_group_config_str_add"] = 5;
  EXPECT_NE(generated(), "");
  EXPECT_EQ(fake.acfg_text(3), "feature scheduler\n");
}

class AssertionTest : public LoggingLevelTest {
 protected:
  void SetUp() override {
    LoggingLevelTest::SetUp();
    hold("01000000 07000000");
    hooks.key_without_data = true;
    fake.now = 1709210096;  // 2024-02-29 12:34:56 UTC
  }
  // What happened between the declarations and the feature line.
  Lines calls() {
    generated();
    EXPECT_EQ(fake.calls.back(), "acfg_elem_str_add_indent 3 0 feature scheduler\n");
    return {fake.calls.begin() + 3, fake.calls.end() - 1};
  }
};

const std::string open_call = "open /log/assert-backtrace 0x441";  // write, create, append
const std::string exception = "syslog 7 Exception at: sdwrap_sys_asciigen_condserv_startup/1308";

TEST_F(AssertionTest, a_key_without_data_leaves_place_and_backtrace_and_generation_goes_on) {
  const Lines seen = calls();
  EXPECT_EQ(fake.calls_with("pss2_fetch"), Lines{});
  const std::string place =
      "ASSERT: 2024-02-29 12:34:56: file ../include/tarn/sdwrap_intf, function "
      "sdwrap_sys_asciigen_condserv_startup, line 1308, pid: " +
      std::to_string(getpid()) + " \n";
  const Lines writes = {"\n\n---------------------------------------------------------------\n", place,
                        "\nBacktrace:\n"};
  EXPECT_EQ(fake.assert_writes, writes);
  EXPECT_EQ(seen, (Lines{"backtrace 50", open_call, "fstat assertion log", "write assertion log 66",
                         "write assertion log " + std::to_string(place.size()), "write assertion log 12",
                         "backtrace_symbols_fd assertion log", "close assertion log", exception}));
  EXPECT_GT(fake.assert_backtrace, 0);
  EXPECT_LE(fake.assert_backtrace, 50);
  EXPECT_EQ(fake.libc_syslog.size(), 1u);
}

TEST_F(AssertionTest, a_missing_key_is_the_same) {
  hooks = {};
  hooks.no_key = true;
  EXPECT_EQ(calls().back(), exception);
}

TEST_F(AssertionTest, the_time_is_local) {
  const std::pair<const char *, const char *> zones[] = {
      {"UTC", "2024-02-29 12:34:56"},
      {"Europe/Berlin", "2024-02-29 13:34:56"},
      {"Australia/Sydney", "2024-02-29 23:34:56"},
      {"Asia/Kolkata", "2024-02-29 18:04:56"},
  };
  for (const auto &[zone, text] : zones) {
    set_zone(zone);
    fake.assert_writes.clear();
    calls();
    EXPECT_EQ(fake.assert_writes.at(1).substr(0, 33), std::string("ASSERT: ") + text + ": file") << zone;
  }
}

TEST_F(AssertionTest, a_log_that_does_not_open_ends_it) {
  fake.assert_log_opens = false;
  EXPECT_EQ(calls(), (Lines{"backtrace 50", open_call}));
  EXPECT_TRUE(fake.libc_syslog.empty());
}

TEST_F(AssertionTest, a_log_that_opens_as_descriptor_0_is_written_and_closed) {
  const int standard_input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  const Lines seen = calls();
  dup2(standard_input, STDIN_FILENO);
  close(standard_input);
  EXPECT_EQ(fake.assert_writes.size(), 3u);
  EXPECT_EQ(Lines(seen.end() - 2, seen.end()), (Lines{"close assertion log", exception}));
}

TEST_F(AssertionTest, a_log_of_unknown_size_is_closed_untouched) {
  fake.assert_log_size = -1;
  EXPECT_EQ(calls(), (Lines{"backtrace 50", open_call, "fstat assertion log", "close assertion log"}));
}

TEST_F(AssertionTest, a_log_beyond_one_mebibyte_is_closed_untouched) {
  fake.assert_log_size = 1048577;
  EXPECT_EQ(calls(), (Lines{"backtrace 50", open_call, "fstat assertion log", "close assertion log"}));
  EXPECT_TRUE(fake.assert_writes.empty());
  EXPECT_TRUE(fake.libc_syslog.empty());
}

TEST_F(AssertionTest, a_log_of_exactly_one_mebibyte_is_still_written) {
  fake.assert_log_size = 1048576;
  EXPECT_EQ(calls().back(), exception);
  EXPECT_EQ(fake.assert_writes.size(), 3u);
}

}  // namespace
