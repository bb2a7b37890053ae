// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/platform/platform.h"

using namespace platform_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

class SystemMessages : public PlatformTest {};

TEST_F(SystemMessages, facility_is_the_schedulers) {
  EXPECT_STREQ(syslog_fac_LOG_SCHEDULER.name, "scheduler");
  EXPECT_EQ(syslog_fac_LOG_SCHEDULER.number, 1512u);
  EXPECT_EQ(syslog_fac_LOG_SCHEDULER.default_level, 5);
  EXPECT_EQ(syslog_fac_LOG_SCHEDULER.current_level, 5);
}

TEST_F(SystemMessages, catalogue_is_complete) {
  const struct {
    const sch_syslog_msg &message;
    const char *name;
    uint32_t severity;
    const char *format;
  } rows[] = {
      {syslog_msg_SCH_SYSLOG_USER_ERR, "SCH_SYSLOG_USER_ERR", 3,
       "<<%%%s-%d-SCH_SYSLOG_USER_ERR>> Description: Failed to execute job for user id %s Error:%d"},
      {syslog_msg_SCH_SYSLOG_PSS_SNAPSHOT_ERR, "SCH_SYSLOG_PSS_SNAPSHOT_ERR", 2,
       "<<%%%s-%d-SCH_SYSLOG_PSS_SNAPSHOT_ERR>> Source URI:%s Destination URI:%s errcode:%d"},
      {syslog_msg_SCH_SYSLOG_SDWRAP_ERR, "SCH_SYSLOG_SDWRAP_ERR", 2,
       "<<%%%s-%d-SCH_SYSLOG_SDWRAP_ERR>> Debug infrastructure initialization failed: %s"},
      {syslog_msg_SCH_SYSLOG_MALLOC_ERR, "SCH_SYSLOG_MALLOC_ERR", 2,
       "<<%%%s-%d-SCH_SYSLOG_MALLOC_ERR>> Out of memory: %s"},
      {syslog_msg_SCH_SYSLOG_PSS_ERR, "SCH_SYSLOG_PSS_ERR", 3,
       "<<%%%s-%d-SCH_SYSLOG_PSS_ERR>> Purpose:%s URI:%s Error:%d"},
      {syslog_msg_SCH_SYSLOG_FILE_ERR, "SCH_SYSLOG_FILE_ERR", 3, "<<%%%s-%d-SCH_SYSLOG_FILE_ERR>> %s Error:%s"},
      {syslog_msg_SCH_SYSLOG_MTS_ERR, "SCH_SYSLOG_MTS_ERR", 2, "<<%%%s-%d-SCH_SYSLOG_MTS_ERR>> MTS error: %s"},
      {syslog_msg_SCH_WARN, "SCH_WARN", 4, "<<%%%s-%d-SCH_WARN>> %s"},
      {syslog_msg_SCH_ERR, "SCH_ERR", 3, "<<%%%s-%d-SCH_ERR>> %s"},
      {syslog_msg_SCH_MSG, "SCH_MSG", 6, "<<%%%s-%d-SCH_MSG>> %s"},
  };
  for (const auto &row : rows) {
    EXPECT_STREQ(row.message.name, row.name);
    EXPECT_EQ(row.message.severity, row.severity) << row.name;
    EXPECT_STREQ(row.message.format, row.format);
    EXPECT_EQ(row.message.facility, &syslog_fac_LOG_SCHEDULER) << row.name;
  }
}

TEST_F(SystemMessages, each_message_goes_out_with_its_own_arguments_and_its_format_untouched) {
  const auto expect_sent = [](const sch_syslog_msg &message, const char *text, auto... arguments) {
    fake.reset();
    sch_syslog_raise(&message, arguments...);
    const std::string head = "<<%SCHEDULER-" + std::to_string(message.severity) + "-" + message.name + ">> ";
    EXPECT_THAT(fake.syslog, ElementsAre(Pair(message.severity, head + text)));
    EXPECT_THAT(fake.syslog_formats, ElementsAre(message.format));
  };
  expect_sent(syslog_msg_SCH_SYSLOG_USER_ERR, "Description: Failed to execute job for user id admin Error:13", "admin",
              13);
  expect_sent(syslog_msg_SCH_SYSLOG_PSS_SNAPSHOT_ERR,
              "Source URI:running:a Destination URI:startup:b errcode:1078460419", "running:a", "startup:b",
              0x40480003);
  expect_sent(syslog_msg_SCH_SYSLOG_SDWRAP_ERR, "Debug infrastructure initialization failed: no queue", "no queue");
  expect_sent(syslog_msg_SCH_SYSLOG_MALLOC_ERR, "Out of memory: add config entry", "add config entry");
  expect_sent(syslog_msg_SCH_SYSLOG_PSS_ERR, "Purpose:Open runtime PSS URI:running:x Error:7", "Open runtime PSS",
              "running:x", 7);
  expect_sent(syslog_msg_SCH_SYSLOG_FILE_ERR, "log Error:denied", "log", "denied");
  expect_sent(syslog_msg_SCH_SYSLOG_MTS_ERR, "MTS error: queue full", "queue full");
  expect_sent(syslog_msg_SCH_WARN, "late", "late");
  expect_sent(syslog_msg_SCH_ERR, "100 %s", "100 %s");
}

TEST_F(SystemMessages, informational_message_is_dropped_at_the_built_in_level) {
  sch_syslog_raise(&syslog_msg_SCH_MSG, "started");
  EXPECT_THAT(fake.syslog, IsEmpty());
}

TEST_F(SystemMessages, severity_up_to_the_current_level_is_sent) {
  for (uint8_t level = 0; level <= 7; ++level) {
    const sch_syslog_facility facility = {"unit", 1, 7, level};
    for (uint32_t severity = 0; severity <= 7; ++severity) {
      const sch_syslog_msg message = {"M", &facility, "<<%%%s-%d-M>> %s", severity};
      fake.reset();
      sch_syslog_raise(&message, "text");
      EXPECT_EQ(fake.syslog.size(), severity <= level ? 1u : 0u) << int{level} << " " << severity;
    }
  }
}

TEST_F(SystemMessages, default_level_is_not_the_one_compared) {
  const sch_syslog_facility facility = {"unit", 1, 0, 6};
  const sch_syslog_msg message = {"M", &facility, "<<%%%s-%d-M>>", 6};
  sch_syslog_raise(&message);
  EXPECT_THAT(fake.syslog, ElementsAre(Pair(6, "<<%UNIT-6-M>>")));
}

TEST_F(SystemMessages, all_shapes_of_arguments_pass) {
  const sch_syslog_facility facility = {"a-Z9\xe4", 1, 5, 5};
  const auto raise_with = [&](const char *format, auto... arguments) {
    const sch_syslog_msg message = {"M", &facility, format, 1};
    fake.reset();
    sch_syslog_raise(&message, arguments...);
    return fake.syslog.empty() ? std::string("nothing") : fake.syslog[0].second;
  };
  EXPECT_EQ(raise_with("%s-%d"), "A-Z9\xe4-1");
  EXPECT_EQ(raise_with("%s-%d%%"), "A-Z9\xe4-1%");
  EXPECT_EQ(raise_with("%s-%d %s", "one"), "A-Z9\xe4-1 one");
  EXPECT_EQ(raise_with("%s-%d %s %s", "one", "two"), "A-Z9\xe4-1 one two");
  EXPECT_EQ(raise_with("%s-%d %s %d", "one", -2), "A-Z9\xe4-1 one -2");
  EXPECT_EQ(raise_with("%s-%d %s %s %d", "one", "two", 3), "A-Z9\xe4-1 one two 3");
}

TEST_F(SystemMessages, format_of_another_shape_is_not_sent) {
  const char *formats[] = {"", "text", "%", "%s", "%s-%d %d", "%s-%d %s %s %s", "%s-%d%s%s%s%s%s%s%s%s%s%s"};
  for (const char *format : formats) {
    const sch_syslog_msg message = {"M", &syslog_fac_LOG_SCHEDULER, format, 1};
    sch_syslog_raise(&message, "a", "b", "c");
    EXPECT_THAT(fake.syslog, IsEmpty()) << format;
  }
}

TEST_F(SystemMessages, long_facility_name_is_cut) {
  const std::string name(200, 'f');
  const sch_syslog_facility facility = {name.c_str(), 1, 5, 5};
  const sch_syslog_msg message = {"M", &facility, "%s-%d", 1};
  sch_syslog_raise(&message);
  EXPECT_THAT(fake.syslog, ElementsAre(Pair(1, std::string(63, 'F') + "-1")));
}

}  // namespace
