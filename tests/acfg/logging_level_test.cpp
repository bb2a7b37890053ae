// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include "tests/acfg/configuration.h"

using namespace platform_test;
using namespace acfg_test;

namespace {

bool no_key, key_without_data;

}  // namespace

extern "C" const pss_buf *__real_sch_get_syslog_pss_key(void);
extern "C" const pss_buf *__wrap_sch_get_syslog_pss_key(void) {
  static const pss_buf without_data = {nullptr, 4};
  if (no_key) return nullptr;
  return key_without_data ? &without_data : __real_sch_get_syslog_pss_key();
}

namespace {

class LoggingLevelTest : public PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    no_key = key_without_data = false;
    uint32_t error = 0;
    store_ = pss_create("debug:store", &error);
    hold_level("debug:store");
  }
  Lines generated() {
    fake.calls.clear();
    acfg_hdl handle = {};
    sch_acfg_gen(&sch_running_config, &handle, store_);
    return fake.calls_with("acfg_elem_group_config_str_add");
  }

  pss_handle store_ = 0;
};

const Lines no_line, level_7 = {"acfg_elem_group_config_str_add 115 0 3 logging level scheduler 7\n"};

TEST_F(LoggingLevelTest, levels_but_the_default_have_a_line) {
  for (const int level : {0, 4, 5, 6, 7, 8, 255}) {
    hold_level("debug:store", "01000000 " + hex(&level, 1) + "000000");
    const Lines line = {"acfg_elem_group_config_str_add 115 0 3 logging level scheduler " + std::to_string(level) +
                        "\n"};
    EXPECT_EQ(generated(), level == 5 || level > 7 ? no_line : line);
  }
}

TEST_F(LoggingLevelTest, records_are_valid_by_their_first_word_and_length) {
  const std::pair<const char *, Lines> rows[] = {{"00000000 07000000", no_line}, {"02000000 07000000", no_line},
                                                 {"01000000 ffffffff", no_line}, {"01000000 07000000 ff", level_7},
                                                 {"01000000 070000", no_line},   {"", no_line}};
  for (const auto &[value, line] : rows) {
    hold_level("debug:store", value);
    EXPECT_EQ(generated(), line) << value;
  }
}

TEST_F(LoggingLevelTest, without_a_debug_store_nothing_is_fetched) {
  store_ = 0;
  EXPECT_EQ(generated(), no_line);
  EXPECT_EQ(fake.calls_with("pss2_fetch"), Lines{});
}

TEST_F(LoggingLevelTest, a_failed_fetch_omits_the_line) {
  for (const uint32_t error : {0x40480003u, 1u}) {
    fake.errors["pss2_fetch"] = error;
    EXPECT_EQ(generated(), no_line) << error;
  }
  fake.errors.clear();
  fake.fetch_error_beside_value = 0x40480005;
  EXPECT_EQ(generated(), no_line);
  fake.fetch_error_beside_value = 0;
  fake.fetch_gives_nothing = true;
  EXPECT_EQ(generated(), no_line);
  fake.fetch_gives_nothing = false;
  EXPECT_EQ(generated(), level_7);
}

TEST_F(LoggingLevelTest, refusals_of_the_configuration_manager_are_ignored) {
  fake.errors["acfg_elem_dependency_add"] = 5;
  fake.errors["acfg_elem_group_config_str_add"] = 5;
  EXPECT_EQ(generated(), level_7);
  EXPECT_EQ(fake.acfg_text(3), "feature scheduler\n");
}

class AssertionTest : public LoggingLevelTest {
 protected:
  void SetUp() override {
    LoggingLevelTest::SetUp();
    key_without_data = true;
    fake.now = leap_day;
  }
  // What happened between the declarations and the feature line.
  Lines calls() {
    generated();
    EXPECT_EQ(fake.calls.back(), "acfg_elem_str_add_indent 3 0 feature scheduler\n");
    return {fake.calls.begin() + 3, fake.calls.end() - 1};
  }
};

const std::string open_call = "open /log/assert-backtrace 0x441 0600";  // write, create, append
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
  no_key = true;
  EXPECT_EQ(calls().back(), exception);
}

TEST_F(AssertionTest, the_time_is_local) {
  for (const auto &[zone, clock] : leap_day_clocks) {
    set_zone(zone);
    fake.assert_writes.clear();
    calls();
    EXPECT_EQ(fake.assert_writes.at(1).substr(0, 33), std::string("ASSERT: 2024-02-29 ") + clock + ":56: file") << zone;
  }
}

TEST_F(AssertionTest, a_log_that_does_not_open_ends_it) {
  fake.assert_log_opens = false;
  EXPECT_EQ(calls().back(), open_call);
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

TEST_F(AssertionTest, a_log_of_unknown_size_or_beyond_one_mebibyte_is_closed_untouched) {
  for (const long size : {-1l, 1048577l}) {
    fake.assert_log_size = size;
    EXPECT_EQ(calls().back(), "close assertion log");
    EXPECT_TRUE(fake.assert_writes.empty());
    EXPECT_TRUE(fake.libc_syslog.empty());
  }
}

TEST_F(AssertionTest, a_log_of_exactly_one_mebibyte_is_still_written) {
  fake.assert_log_size = 1048576;
  EXPECT_EQ(calls().back(), exception);
  EXPECT_EQ(fake.assert_writes.size(), 3u);
}

}  // namespace
