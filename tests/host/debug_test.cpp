// SPDX-License-Identifier: Apache-2.0
#include "platform/debug.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "host/debug.h"
#include "host/errors.h"
#include "host/status.h"
#include "host/transport/transport.h"

namespace {

constexpr uint32_t module = 0x730000;

struct Control {
  uint32_t status = 0;
  std::string reply;
  std::vector<uint32_t> asked;
} control;

std::vector<char> event(uint32_t subtype, const std::string &text) {
  std::vector<char> record(sizeof subtype);
  std::memcpy(record.data(), &subtype, sizeof subtype);
  record.insert(record.end(), text.begin(), text.end());
  record.push_back('\0');
  return record;
}

int add(uint32_t subtype, const std::string &text) {
  const std::vector<char> record = event(subtype, text);
  return sdwrap_hist_event(module, static_cast<uint32_t>(record.size()), record.data());
}

// The history without the times: subtype and text.
std::vector<std::string> history() {
  std::vector<std::string> lines;
  const std::string text = host::history_text();
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    lines.push_back(text.substr(at + 24, end - at - 24));
    at = end + 1;
  }
  return lines;
}

class Debug : public testing::Test {
 protected:
  void SetUp() override {
    sdwrap_dbg_clean(nullptr);
    sdwrap_sys_clean(nullptr);
    host::buginf_to_journal(false);
    control = {};
  }
};

TEST_F(Debug, history_holds_events_oldest_first_with_their_level) {
  EXPECT_EQ(add(103, "first"), 0);
  EXPECT_EQ(add(100, "second"), 0);
  EXPECT_EQ(history(), (std::vector<std::string>{"103 first", "100 second"}));
}

TEST_F(Debug, history_lines_begin_with_date_and_milliseconds) {
  add(103, "text");
  const std::string line = host::history_text();
  EXPECT_EQ(line.substr(4, 1) + line.substr(7, 1) + line.substr(10, 1) + line.substr(13, 1) + line.substr(19, 1),
            "-- :.");
  EXPECT_EQ(line.substr(23), " 103 text\n");
}

TEST_F(Debug, history_reads_no_further_than_the_record) {
  const std::vector<char> record = event(103, "abcdef");
  EXPECT_EQ(sdwrap_hist_event(module, 4 + 3, record.data()), 0);
  EXPECT_EQ(history(), (std::vector<std::string>{"103 abc"}));
}

TEST_F(Debug, history_refuses_a_record_without_its_subtype) {
  const uint32_t word = 103;
  EXPECT_EQ(sdwrap_hist_event(module, 3, &word), -1);
  EXPECT_EQ(sdwrap_hist_event(module, 8, nullptr), -1);
  EXPECT_TRUE(history().empty());
}

TEST_F(Debug, history_cuts_a_text_at_its_limit) {
  add(103, std::string(512, 'x'));
  EXPECT_EQ(history().at(0), "103 " + std::string(511, 'x'));
}

TEST_F(Debug, history_keeps_an_event_on_one_line) {
  add(103, "job\nname\x1b[2J\n\n");
  EXPECT_EQ(history(), (std::vector<std::string>{"103 job name [2J"}));
}

TEST_F(Debug, history_gives_its_oldest_event_for_the_newest) {
  for (int i = 0; i <= 2048; i++)
    add(103, std::to_string(i));
  const std::vector<std::string> lines = history();
  ASSERT_EQ(lines.size(), 2048u);
  EXPECT_EQ(lines.front(), "103 1");
  EXPECT_EQ(lines.back(), "103 2048");
}

TEST_F(Debug, history_switch_works_for_its_level_alone) {
  EXPECT_EQ(sdwrap_hist_event_subtype_check(module, 103), 0);
  host::history_enable(103, false);
  EXPECT_NE(sdwrap_hist_event_subtype_check(module, 103), 0);
  EXPECT_EQ(sdwrap_hist_event_subtype_check(module, 102), 0);
  EXPECT_EQ(sdwrap_hist_event_subtype_check(module, 1000), 0);
}

TEST_F(Debug, switches_outside_the_levels_are_ignored) {
  for (const int level : {-1, host::debug_levels}) {
    host::history_enable(level, false);
    EXPECT_EQ(sdwrap_hist_event_subtype_check(module, static_cast<uint32_t>(level)), 0);
  }
}

TEST_F(Debug, buginf_writes_one_line_to_standard_error) {
  testing::internal::CaptureStderr();
  buginf(1, sdwrap_dbg_modname, 0, "log file size is %d\n", 16);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "scheduler: log file size is 16\n");
}

TEST_F(Debug, cleaning_forgets_switches_and_history) {
  host::history_enable(103, false);
  add(103, "text");
  sdwrap_dbg_clean(nullptr);
  EXPECT_EQ(sdwrap_sys_clean(nullptr), 0);
  EXPECT_EQ(sdwrap_hist_event_subtype_check(module, 103), 0);
  EXPECT_EQ(host::history_text(), "");
}

TEST_F(Debug, dump_prints_the_memory_statistics_of_the_service) {
  control.reply = "owner type\n";
  const uint32_t argument[2] = {0, 1};
  testing::internal::CaptureStdout();
  EXPECT_EQ(sdwrap_debug_dump(7, 0xfe000000, 136, argument, "mtrack_dump_memstats"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "owner type\n");
  EXPECT_EQ(control.asked, (std::vector<uint32_t>{static_cast<uint32_t>(host::HostOperation::memory_statistics)}));
}

TEST_F(Debug, dump_reports_a_service_that_is_not_running) {
  control.status = host::err_not_running;
  testing::internal::CaptureStderr();
  EXPECT_EQ(sdwrap_debug_dump(7, 0xfe000000, 136, nullptr, "mtrack_dump_memstats"), -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Error: the scheduler service is not running; start schedd, or check the state directory\n");
}

TEST_F(Debug, dump_asks_for_nothing_else) {
  EXPECT_EQ(sdwrap_debug_dump(7, 0xfe000000, 136, nullptr, "other"), -1);
  EXPECT_EQ(sdwrap_debug_dump(7, 0xfe000000, 136, nullptr, nullptr), -1);
  EXPECT_TRUE(control.asked.empty());
}

}  // namespace

namespace host {

// The service's answer, without a service.
Result<Bytes> control_request(uint32_t operation, std::span<const std::byte>) {
  control.asked.push_back(operation);
  if (control.status != 0) return error_of(control.status);
  const auto bytes = std::as_bytes(std::span(control.reply));
  return Bytes(bytes.begin(), bytes.end());
}

}  // namespace host
