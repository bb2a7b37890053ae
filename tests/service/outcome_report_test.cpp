// SPDX-License-Identifier: Apache-2.0
#include "service/run/outcome_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "host/debug.h"
#include "service/state/tables.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using ::testing::HasSubstr;

service::OutcomeReport failed_run() {
  service::OutcomeReport report;
  report.schedule = "nightly";
  report.job = "backup";
  report.owner = "anna";
  report.run = 17;
  report.outcome = "failed";
  report.status = 3;
  report.due = noon;
  report.lateness_ms = 4;
  report.duration_ms = 1250;
  report.output_bytes = 99;
  return report;
}

TEST(OutcomeLine, every_field_stands_by_its_name) {
  EXPECT_EQ(service::outcome_line(failed_run()),
            "schedule=nightly job=backup run=17 outcome=failed status=3 owner=anna due=1795262400 lateness_ms=4 "
            "duration_ms=1250 output_bytes=99");
}

TEST(OutcomeLine, what_is_not_known_is_left_out) {
  service::OutcomeReport report = failed_run();
  report.job.clear();
  report.duration_ms = -1;
  EXPECT_EQ(service::outcome_line(report),
            "schedule=nightly run=17 outcome=failed status=3 owner=anna due=1795262400 lateness_ms=4 output_bytes=99");
}

TEST(OutcomeLine, no_value_imitates_a_field_or_begins_a_line) {
  struct Row {
    const char *value, *text;
  };
  const Row rows[] = {
      {"a status=0", "remark=\"a status=0\""},
      {"a\nschedule=x", "remark=\"a\\x0aschedule=x\""},
      {"\" owner=root \"", "remark=\"\\\" owner=root \\\"\""},
      {"a\\", "remark=\"a\\\\\""},
      {"\x1b[2J", "remark=\"\\x1b[2J\""},
      {"a=b", "remark=\"a=b\""},
      {"\x7f", "remark=\"\\x7f\""},
      {"gr\xc3\xbc\xc3\x9f", "remark=\"gr\xc3\xbc\xc3\x9f\""},
  };
  for (const Row &row : rows) {
    service::OutcomeReport report = failed_run();
    report.remark = row.value;
    EXPECT_THAT(service::outcome_line(report), ::testing::EndsWith(std::string(" ") + row.text));
  }
}

TEST(OutcomeLine, is_no_format_of_the_system_log) {
  const char text[] = "%s%s%s%n %1$s %";
  service::OutcomeReport report = failed_run();
  report.remark = text;
  service::set_journal_socket("/nonexistent/socket");
  host::syslog_open("schedd", true);
  testing::internal::CaptureStderr();
  service::report_outcome(report);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(text));
  host::syslog_open("schedd", false);
}

// What a run of a schedule says in the system log.
struct Reported : ::testing::Test {
  World world;

  Reported() {
    EXPECT_EQ(create_job(world, "good", "echo fine\n"), 0u);
    EXPECT_EQ(create_job(world, "bad", "exit 3\n"), 0u);
    service::set_journal_socket("/nonexistent/socket");
    host::syslog_open("schedd", true);
  }
  ~Reported() override {
    host::syslog_open("schedd", false);
    service::set_journal_socket("");
  }

  template <typename Act>
  std::string said_during(Act act) {
    ::testing::internal::CaptureStderr();
    act();
    return ::testing::internal::GetCapturedStderr();
  }
};

TEST_F(Reported, a_run_on_time_tells_of_each_job_how_late_it_began_and_what_became_of_it) {
  ASSERT_EQ(create_schedule(world, "s", {"good", "bad"}, daily(12, 1)), 0u);
  const std::string said = said_during([&] { pass_to(world, noon + 65); });
  EXPECT_THAT(said, HasSubstr("schedule=s job=good run=1 outcome=success status=0 owner=root due=1795262460 "
                              "lateness_ms=5000 duration_ms=0 output_bytes=5\n"));
  EXPECT_THAT(said, HasSubstr("schedule=s job=bad run=1 outcome=failed status=3 owner=root due=1795262460 "
                              "lateness_ms=5000 duration_ms=0 output_bytes=0\n"));
}

TEST_F(Reported, a_due_time_that_was_missed_has_neither_lateness_nor_duration) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, daily(12, 1)), 0u);
  EXPECT_THAT(said_during([&] { pass_to(world, noon + 3600); }),
              HasSubstr("schedule=s run=1 outcome=missed status=112 owner=root due=1795262460 lateness_ms=0 "
                        "output_bytes=0 remark=\"missed: it was due at "));
}

TEST_F(Reported, a_run_that_was_asked_for_is_never_late) {
  ASSERT_EQ(create_schedule(world, "s", {"good"}, {}), 0u);
  const std::string said = said_during([&] {
    ASSERT_TRUE(world.parts->scheduler.run_now(*service::find_schedule("s"), "root"));
    while (service::state_of(*service::find_schedule("s")->rec).running_since != 0)
      world.loop.turn();
    world.settle();
  });
  EXPECT_THAT(said, HasSubstr("schedule=s job=good run=1 outcome=success status=0 owner=root due=0 lateness_ms=0 "
                              "duration_ms=0 output_bytes=5\n"));
}

struct Journal : ::testing::Test {
  Directory directory;
  std::string path = directory.path() + "/journal";
  int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);

  void SetUp() override {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(socket, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    service::set_journal_socket(path);
  }
  void TearDown() override {
    service::set_journal_socket("");
    close(socket);
  }
  std::string received() const {
    char text[4096];
    const ssize_t size = recv(socket, text, sizeof text, 0);
    return size < 0 ? "(nothing)" : std::string(text, static_cast<size_t>(size));
  }
};

TEST_F(Journal, an_outcome_is_one_datagram_of_the_native_form) {
  service::report_outcome(failed_run());
  EXPECT_EQ(received(), "MESSAGE=" + service::outcome_line(failed_run()) +
                            "\nPRIORITY=4\nSYSLOG_IDENTIFIER=schedd\nSYSLOG_FACILITY=3\nSCHEDCLI_SCHEDULE=nightly\n"
                            "SCHEDCLI_JOB=backup\nSCHEDCLI_RUN=17\nSCHEDCLI_OUTCOME=failed\nSCHEDCLI_STATUS=3\n"
                            "SCHEDCLI_OWNER=anna\nSCHEDCLI_DUE=1795262400\nSCHEDCLI_LATENESS_MS=4\n");
  EXPECT_EQ(received(), "(nothing)");
}

TEST_F(Journal, a_success_is_no_warning) {
  service::OutcomeReport report = failed_run();
  report.outcome = "success";
  service::report_outcome(report);
  EXPECT_THAT(received(), HasSubstr("\nPRIORITY=6\n"));
}

TEST_F(Journal, a_value_with_a_newline_has_its_length_before_it_and_brings_no_field) {
  service::OutcomeReport report = failed_run();
  report.owner = "a\nPRIORITY=0";
  service::report_outcome(report);
  EXPECT_THAT(received(), HasSubstr(std::string("\nSCHEDCLI_OWNER\n\x0c\0\0\0\0\0\0\0a\nPRIORITY=0\n", 36)));
}

TEST_F(Journal, one_that_takes_nothing_holds_nobody_up) {
  for (int i = 0; i < 2000; i++)  // far more than a socket's queue
    service::report_outcome(failed_run());
  EXPECT_NE(received(), "(nothing)");
}

}  // namespace
}  // namespace service_test
