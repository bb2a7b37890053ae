// SPDX-License-Identifier: Apache-2.0
#include "platform/syslog.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "host/debug.h"
#include "schedcli.h"

namespace {

struct Message {
  int priority;
  std::string text;
};
std::vector<Message> sent;

void take(int priority, const char *format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  sent.push_back({priority, text});
}

class SystemLog : public testing::Test {
 protected:
  void SetUp() override { sent.clear(); }
};

TEST_F(SystemLog, sends_to_the_daemon_facility_with_the_priority_as_given) {
  host::syslog_open("schedd", false);
  for (int priority = 0; priority <= 7; priority++)
    EXPECT_EQ(tarn_syslog(priority, "number %d", priority), 0);
  ASSERT_EQ(sent.size(), 8u);
  for (int priority = 0; priority <= 7; priority++) {
    const Message &message = sent[static_cast<size_t>(priority)];
    EXPECT_EQ(message.priority, LOG_DAEMON | priority);
    EXPECT_EQ(message.text, "number " + std::to_string(priority));
  }
}

TEST_F(SystemLog, writes_nothing_to_standard_error_in_the_background) {
  host::syslog_open("schedd", false);
  testing::internal::CaptureStderr();
  tarn_syslog(3, "%s", "text");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(SystemLog, writes_to_standard_error_as_well_in_the_foreground) {
  host::syslog_open("schedd", true);
  testing::internal::CaptureStderr();
  tarn_syslog(4, "%s and %d", "text", 7);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "schedd: text and 7\n");
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].text, "text and 7");
}

TEST_F(SystemLog, carries_a_message_of_the_catalogue_with_its_severity) {
  host::syslog_open("schedd", false);
  sch_syslog_raise(&syslog_msg_SCH_SYSLOG_PSS_ERR, "Open runtime PSS", "running:scheduler_runtime", 5);
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].priority, LOG_DAEMON | LOG_ERR);
  EXPECT_EQ(sent[0].text,
            "<<%SCHEDULER-3-SCH_SYSLOG_PSS_ERR>> Purpose:Open runtime PSS URI:running:scheduler_runtime Error:5");
}

}  // namespace

// The C library's sender, in both names under which a build may call it.
extern "C" void vsyslog(int priority, const char *format, va_list arguments) {
  take(priority, format, arguments);
}
extern "C" void __vsyslog_chk(int priority, int, const char *format, va_list arguments) {
  take(priority, format, arguments);
}
