// SPDX-License-Identifier: Apache-2.0
// Mail, from the report of a run to what a server on loopback received.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/debug.h"
#include "host/loop/loop.h"
#include "platform/memory.h"
#include "service/mail/courier.h"
#include "service/mail/run_reports.h"
#include "tests/service/mail/message_parts.h"

namespace service {
namespace {

namespace fs = std::filesystem;

constexpr int64_t noon = 1795262400;  // Sat Nov 21 12:00:00 2026 UTC

std::string read_file(const fs::path &path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

MailReport nightly() {
  MailReport report;
  report.schedule = "nightly";
  report.owner = "operator";
  report.run = 42;
  report.due = "2026-11-21 12:00:00 UTC";
  report.parts = {{"backup", "success", "all\ncopied\n"}, {"check", "exit code 3", std::string("\0\xff\r\n.\r\n", 7)}};
  report.failed = true;
  return report;
}

TEST(MailMessage, says_schedule_outcome_due_time_run_and_host_in_its_subject) {
  const std::string text = compose_mail(nightly(), {"a@x.net", "b@x.net", "switch1"}, "c@x.net", noon);
  EXPECT_NE(text.find("\r\nSubject: nightly: failure, due 2026-11-21 12:00:00 UTC, run 42 on switch1\r\n"),
            std::string::npos);
  EXPECT_EQ(text.find("From: <a@x.net>\r\nTo: <c@x.net>\r\nReply-To: <b@x.net>\r\n"), 0u);
  EXPECT_NE(text.find("\r\nDate: Sat, 21 Nov 2026 12:00:00 +0000\r\n"), std::string::npos);
}

TEST(MailMessage, carries_each_output_byte_for_byte_whatever_it_holds) {
  const std::string text = compose_mail(nightly(), {"a@x.net", "", "switch1"}, "c@x.net", noon);
  const std::vector<std::string> parts = parts_of(text);
  ASSERT_EQ(parts.size(), 3u);
  EXPECT_EQ(parts[0],
            "Schedule nightly of user operator on switch1\nRun 42, due 2026-11-21 12:00:00 UTC\n\n"
            "Job backup: success\nJob check: exit code 3\n");
  EXPECT_EQ(parts[1], "all\ncopied\n");
  EXPECT_EQ(parts[2], std::string("\0\xff\r\n.\r\n", 7));
  EXPECT_EQ(text.find("Reply-To"), std::string::npos);
}

TEST(MailMessage, lets_no_line_end_of_a_name_begin_a_header) {
  MailReport report = nightly();
  report.schedule = "x\r\nBcc: victim@x.net";
  const std::string text = compose_mail(report, {"a@x.net", "r@x.net\r\nX: y", "host\nX: y"}, "c@x.net", noon);
  EXPECT_EQ(text.find("\nBcc:"), std::string::npos);
  EXPECT_EQ(text.find("\nX:"), std::string::npos);
}

TEST(MailMessage, lets_no_line_end_or_quote_of_a_job_begin_a_header_of_its_part) {
  MailReport report = nightly();
  report.parts[0].job = "x\r\nX: y";
  report.parts[1].job = "a\"; b=\"c\\";
  report.parts[0].output = report.parts[1].output = "o";
  const std::string text = compose_mail(report, {"a@x.net", "", "host"}, "c@x.net", noon);
  EXPECT_EQ(text.find("\nX:"), std::string::npos);
  EXPECT_THAT(text, ::testing::HasSubstr("; name=\"x??X: y.txt\""));
  EXPECT_THAT(text, ::testing::HasSubstr("; filename=\"a?; b=?c?.txt\""));
}

TEST(MailAddress, is_what_a_server_takes_unquoted) {
  for (const char *good : {"a@b.c", "root", "a+b=c_d@x-y.net", "-a/b@c", "a@[192.0.2.1]", "a@[IPv6:2001:db8::1]"})
    EXPECT_TRUE(is_mail_address(good)) << good;
  for (const char *bad : {"", "a b@c", "a@b,c@d", "<a@b>", "a@b\r\nRCPT", "\"a\"@b", "a@b>"})
    EXPECT_FALSE(is_mail_address(bad)) << bad;
}

class MailTest : public testing::Test {
 protected:
  MailTest() : root_(fs::temp_directory_path() / ("mail-test-" + std::to_string(getpid()))) {
    fs::create_directories(root_);
  }
  ~MailTest() override {
    if (server_ != nullptr) pclose(server_);
    for (GList *node = sch_schedule_email_list; node != nullptr; node = node->next)
      mtrack_free(node->data);
    g_list_free(std::exchange(sch_schedule_email_list, nullptr));
    email_transport_conf = {};
    fs::remove_all(root_);
  }

  void serve(const std::string &behaviour) {
    fs::create_directories(root_ / "server");
    const std::string command =
        "exec /usr/bin/python3 " MAIL_SERVER " " + (root_ / "server").string() + " " + behaviour;
    server_ = popen(command.c_str(), "w");
    ASSERT_NE(server_, nullptr);
    for (int i = 0; i < 3000 && !fs::exists(root_ / "server/port"); i++)
      usleep(10000);
    ASSERT_TRUE(fs::exists(root_ / "server/port")) << "the mail server did not start";
    configure(std::stoul(read_file(root_ / "server/port")));
  }

  void configure(unsigned long port) {
    std::strcpy(email_transport_conf.from, "switch@x.net");
    std::strcpy(email_transport_conf.smtp.server, "127.0.0.1");
    std::strcpy(email_transport_conf.smtp.vrf, "management");
    email_transport_conf.smtp.port = static_cast<uint32_t>(port);
    for (const char *address : {"a@x.net", "b@x.net"})
      sch_add_schedule_email_entry(&sch_schedule_email_list, "nightly", address);
  }

  std::unique_ptr<Courier> courier() {
    auto made = std::make_unique<Courier>(Courier::Files{(root_ / "mail").string(), SCHEDMAIL, limit_ms_},
                                          std::make_shared<const Settings>(settings_), [this] { return now_; });
    EXPECT_TRUE(made->open());
    return made;
  }

  // Until no message waits, or each that does has been tried.
  void run(const Courier &courier, size_t tries) {
    for (size_t rounds = 0; rounds < 100000 && courier.waiting() != 0 && attempts() < tries; rounds++)
      loop_.turn();
  }

  size_t attempts() const {
    size_t all = 0;
    for (const fs::directory_entry &file : fs::directory_iterator(root_ / "mail")) {
      const std::string text = read_file(file.path());
      all += std::stoul(text.substr(text.find("attempts ") + 9));
    }
    return all;
  }

  std::vector<std::string> received() const {
    std::vector<std::string> all;
    for (int i = 0; fs::exists(root_ / "server" / (std::to_string(i) + ".eml")); i++)
      all.push_back(read_file(root_ / "server" / (std::to_string(i) + ".eml")));
    return all;
  }

  fs::path root_;
  host::Loop loop_;
  FILE *server_ = nullptr;
  Settings settings_;
  int64_t now_ = noon;
  unsigned limit_ms_ = 180'000;
};

TEST_F(MailTest, report_reaches_every_address_of_the_schedule) {
  serve("take");
  const auto mail = courier();
  mail->send(nightly());
  run(*mail, 10);
  EXPECT_EQ(mail->waiting(), 0u);
  ASSERT_EQ(received().size(), 2u);
  EXPECT_EQ(received()[0].find("switch@x.net a@x.net plain\n"), 0u);
  EXPECT_EQ(received()[1].find("switch@x.net b@x.net plain\n"), 0u);
  EXPECT_EQ(parts_of(received()[0]).at(1), "all\ncopied\n");
}

TEST_F(MailTest, policy_says_which_reports_are_mailed) {
  serve("take");
  MailReport success = nightly();
  success.failed = false;
  settings_.mail = MailPolicy::failure;
  const auto failures = courier();
  failures->send(success);
  EXPECT_EQ(failures->waiting(), 0u);
  failures->send(nightly());
  EXPECT_EQ(failures->waiting(), 2u);
  settings_.mail = MailPolicy::never;
  failures->use(std::make_shared<const Settings>(settings_));
  EXPECT_FALSE(failures->wants("nightly"));
  failures->send(nightly());
  EXPECT_EQ(failures->waiting(), 2u);
}

TEST_F(MailTest, refused_for_good_is_given_up_at_once) {
  serve("refuse");
  const auto mail = courier();
  mail->send(nightly());
  run(*mail, 10);
  EXPECT_EQ(mail->waiting(), 0u);
  EXPECT_TRUE(received().empty());
}

TEST_F(MailTest, refused_for_now_waits_survives_a_restart_and_is_given_up_after_a_day) {
  serve("later");
  {
    const auto mail = courier();
    mail->send(nightly());
    run(*mail, 2);
    EXPECT_EQ(mail->waiting(), 2u);
  }
  now_ += 120;
  {
    const auto mail = courier();
    EXPECT_EQ(mail->waiting(), 2u);
    run(*mail, 4);
    EXPECT_EQ(mail->waiting(), 2u);
  }
  now_ += settings_.mail_retry_window_s;
  const auto mail = courier();
  run(*mail, 6);
  EXPECT_EQ(mail->waiting(), 0u);
}

TEST_F(MailTest, server_that_drops_or_lies_costs_a_try_and_no_message) {
  for (const char *behaviour : {"drop", "lie", "lose", "agree"}) {
    fs::remove_all(root_ / "mail");
    fs::remove_all(root_ / "server");
    if (server_ != nullptr) pclose(std::exchange(server_, nullptr));
    serve(behaviour);
    const auto mail = courier();
    mail->send(nightly());
    const size_t messages = mail->waiting();
    run(*mail, messages);
    EXPECT_EQ(mail->waiting(), messages) << behaviour;
  }
}

TEST_F(MailTest, server_that_stalls_is_given_up_and_tried_again_later) {
  serve("stall");
  limit_ms_ = 200;
  const auto mail = courier();
  mail->send(nightly());
  run(*mail, 2);
  EXPECT_EQ(mail->waiting(), 2u);
  EXPECT_EQ(attempts(), 2u);
}

TEST_F(MailTest, server_that_is_not_there_costs_a_try_and_no_message) {
  configure(1);
  const auto mail = courier();
  mail->send(nightly());
  run(*mail, 2);
  EXPECT_EQ(mail->waiting(), 2u);
  EXPECT_EQ(attempts(), 2u);
}

TEST_F(MailTest, encryption_is_taken_where_offered_and_an_unknown_server_refused_where_it_is_required) {
  const std::string key = (root_ / "key").string(), certificate = (root_ / "certificate").string();
  const std::string make = "openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=localhost -days 2 -keyout " + key +
                           " -out " + certificate + " 2>/dev/null";
  ASSERT_EQ(std::system(make.c_str()), 0);
  serve("tls " + certificate + " " + key);
  const auto offered = courier();
  offered->send(nightly());
  run(*offered, 10);
  ASSERT_EQ(received().size(), 2u);
  EXPECT_EQ(received()[0].find("switch@x.net a@x.net tls\n"), 0u);
  settings_.mail_require_tls = true;
  offered->use(std::make_shared<const Settings>(settings_));
  offered->send(nightly());
  run(*offered, 2);
  EXPECT_EQ(offered->waiting(), 2u);
  EXPECT_EQ(received().size(), 2u);
}

TEST_F(MailTest, encryption_that_is_required_and_not_offered_sends_nothing) {
  serve("take");
  settings_.mail_require_tls = true;
  const auto mail = courier();
  mail->send(nightly());
  run(*mail, 2);
  EXPECT_EQ(mail->waiting(), 2u);
  EXPECT_TRUE(received().empty());
}

RunStep step_of(uint64_t run, const char *job, uint32_t exit_code, const char *output) {
  RunStep step;
  step.schedule_name = "nightly";
  step.owner = "operator";
  step.outcome.run = run;
  step.outcome.due = static_cast<uint32_t>(noon);
  step.outcome.job = job;
  step.outcome.wait_status = exit_code << 8;
  step.output = output;
  return step;
}

TEST_F(MailTest, jobs_of_a_run_are_one_report_once_the_run_is_over) {
  serve("take");
  const auto mail = courier();
  RunReports reports(*mail);
  reports.take(step_of(7, "first", 0, "one\n"));
  reports.take(step_of(8, "other", 0, "of another run\n"));
  EXPECT_EQ(mail->waiting(), 0u);
  RunStep last = step_of(7, "second", 3, "two\n");
  last.ends_run = true;
  reports.take(last);
  run(*mail, 10);
  ASSERT_EQ(received().size(), 2u);
  const std::vector<std::string> parts = parts_of(received()[0]);
  ASSERT_EQ(parts.size(), 3u);
  EXPECT_NE(parts[0].find("Job first: success\nJob second: failed, exit code 3\n"), std::string::npos) << parts[0];
  EXPECT_EQ(parts[2], "two\n");
  EXPECT_NE(received()[0].find("Subject: nightly: failure, due "), std::string::npos);
}

TEST_F(MailTest, run_that_never_came_to_a_job_is_a_report_of_its_own) {
  serve("take");
  const auto mail = courier();
  RunReports reports(*mail);
  RunStep missed = step_of(9, "", 112, "");
  missed.outcome.reason = Reason::missed;
  reports.take(missed);
  run(*mail, 10);
  ASSERT_EQ(received().size(), 2u);
  EXPECT_NE(parts_of(received()[0]).at(0).find("The run: missed\n"), std::string::npos);
}

TEST_F(MailTest, full_queue_refuses_more_and_keeps_what_waits) {
  configure(1);
  settings_.mail_queue = 1;
  const auto mail = courier();
  mail->send(nightly());
  EXPECT_EQ(mail->waiting(), 1u);
}

TEST_F(MailTest, credentials_that_others_can_read_are_not_used) {
  serve("take");
  settings_.mail_credentials = (root_ / "credentials").string();
  std::ofstream(settings_.mail_credentials) << "user operator\npassword secret\n";
  chmod(settings_.mail_credentials.c_str(), 0644);
  const auto mail = courier();
  host::syslog_open("mail_test", true);
  testing::internal::CaptureStderr();
  mail->send(nightly());
  run(*mail, 2);
  // Said at once, as the message is given up only after a day.
  EXPECT_THAT(
      testing::internal::GetCapturedStderr(),
      testing::HasSubstr("to a@x.net: not sent yet, and tried again: " + settings_.mail_credentials + " is no"));
  host::syslog_open("mail_test", false);
  EXPECT_EQ(mail->waiting(), 2u);
  EXPECT_TRUE(received().empty());
}

TEST(MailQueue, takes_no_file_for_a_message_that_is_none) {
  const fs::path root = fs::temp_directory_path() / ("queue-test-" + std::to_string(getpid()));
  fs::create_directories(root);
  std::ofstream(root / "1.mail") << "schedcli-mail 1\nschedule";
  std::ofstream(root / "2.mail.new") << "half";
  std::ofstream(root / "x.mail") << "other";
  MailQueue queue(root.string());
  EXPECT_TRUE(queue.open());
  EXPECT_EQ(queue.size(), 0u);
  EXPECT_FALSE(fs::exists(root / "2.mail.new"));
  const QueuedMail mail = {"s", 7, 9, "a", "b", noon, 2, noon + 60, "line\r\n\r\n\nbody"};
  ASSERT_TRUE(queue.add(mail, 10));
  EXPECT_FALSE(queue.due(noon).has_value());
  ASSERT_TRUE(queue.due(noon + 60).has_value());
  MailQueue again(root.string());
  ASSERT_TRUE(again.open());
  const host::Result<QueuedMail> read = again.read(*again.due(noon + 60));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->message, mail.message);
  EXPECT_EQ(read->attempts, 2u);
  fs::remove_all(root);
}

}  // namespace
}  // namespace service
