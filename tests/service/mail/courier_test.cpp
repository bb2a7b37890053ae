// SPDX-License-Identifier: Apache-2.0
// What the courier asks its helper, and what it makes of the answer. The helper here is a script that says what it is
// told to.
#include "service/mail/courier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>

#include "host/debug.h"
#include "host/loop/loop.h"
#include "platform/memory.h"
#include "schedcli.h"
#include "service/mail/queue.h"
#include "tests/service/world.h"

namespace service {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

constexpr int64_t noon = 1795262400;

std::string text_in(const fs::path &path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

class Asked : public testing::Test {
 protected:
  Asked() {
    std::strcpy(email_transport_conf.from, "switch@x.net");
    std::strcpy(email_transport_conf.smtp.server, "mail.x.net");
    std::strcpy(email_transport_conf.smtp.vrf, "blue");
    email_transport_conf.smtp.port = 2525;
    sch_add_schedule_email_entry(&sch_schedule_email_list, "nightly", "a@x.net");
    answer("exit 0");
  }
  ~Asked() override {
    for (GList *node = sch_schedule_email_list; node != nullptr; node = node->next)
      mtrack_free(node->data);
    g_list_free(std::exchange(sch_schedule_email_list, nullptr));
    email_transport_conf = {};
  }

  // Renamed into its place, so that nobody has it open for writing when it is started.
  void answer(const std::string &commands) const {
    const std::string draft = helper_ + ".draft";
    std::ofstream(draft) << "#!/bin/sh\ncat >" << request_ << "\n" << commands << "\n";
    chmod(draft.c_str(), 0700);
    fs::rename(draft, helper_);
  }

  void begin(const Settings &settings = {}) {
    courier_ = std::make_unique<Courier>(Courier::Files{queue_, helper_}, std::make_shared<const Settings>(settings),
                                         [this] { return now_; });
    ASSERT_TRUE(courier_->open());
  }

  void send(const std::string &schedule = "nightly") {
    MailReport report;
    report.schedule = schedule;
    report.owner = "operator";
    report.run = 42;
    report.failed = true;
    report.parts = {{"backup", "failed", "all\n"}};
    courier_->send(report);
  }

  // The only message, once it has been tried so often; nothing if it is gone.
  std::optional<QueuedMail> after(uint32_t attempts) {
    for (;;) {
      const MailQueue queue(queue_);
      const host::Result<QueuedMail> mail = queue.read(1);
      if (!mail) return std::nullopt;
      if (mail->attempts >= attempts) return *mail;
      loop_.turn();
    }
  }

  std::string said(const std::function<void()> &work) const {
    host::syslog_open("courier_test", true);
    testing::internal::CaptureStderr();
    work();
    host::syslog_open("courier_test", false);
    return testing::internal::GetCapturedStderr();
  }

  service_test::Directory directory_;
  std::string queue_ = directory_.path() + "/mail", helper_ = directory_.path() + "/helper",
              request_ = directory_.path() + "/request";
  host::Loop loop_;
  int64_t now_ = noon;
  std::unique_ptr<Courier> courier_;
};

TEST_F(Asked, it_gets_server_sender_recipient_and_message) {
  begin();
  send();
  EXPECT_EQ(courier_->waiting(), 1u);
  EXPECT_FALSE(after(1));
  EXPECT_EQ(courier_->waiting(), 0u);
  const std::string request = text_in(request_);
  char name[256] = "";
  gethostname(name, sizeof name - 1);
  EXPECT_EQ(
      request.substr(0, request.find("\n\n")),
      "server mail.x.net\nport 2525\ntls try\nname " + std::string(name) + "\nvrf blue\nfrom switch@x.net\nto a@x.net");
  EXPECT_THAT(request, HasSubstr("\n\nFrom: <switch@x.net>\r\n"));
  EXPECT_THAT(request, ::testing::EndsWith("\r\n--=_schedcli_part--\r\n"));
}

TEST_F(Asked, it_gets_the_credentials_of_a_file_of_ones_own_alone) {
  Settings settings;
  settings.mail_require_tls = true;
  settings.mail_credentials = directory_.path() + "/credentials";
  std::ofstream(settings.mail_credentials) << "# mail\npassword secret word\nuser operator\n";
  chmod(settings.mail_credentials.c_str(), 0600);
  begin(settings);
  send();
  EXPECT_FALSE(after(1));
  EXPECT_THAT(text_in(request_), HasSubstr("\ntls require\n"));
  EXPECT_THAT(text_in(request_), HasSubstr("\nto a@x.net\nuser operator\npassword secret word\n\nFrom: "));
  const auto is_refused = [&] {
    fs::remove(request_);
    fs::remove(queue_ + "/1.mail");
    begin(settings);
    send();
    const std::optional<QueuedMail> mail = after(1);
    return mail && !fs::exists(request_);
  };
  for (const mode_t mode : {0640, 0604, 0610}) {
    chmod(settings.mail_credentials.c_str(), mode);
    EXPECT_TRUE(is_refused()) << mode;
  }
  chmod(settings.mail_credentials.c_str(), 0600);
  fs::rename(settings.mail_credentials, directory_.path() + "/elsewhere");
  EXPECT_TRUE(is_refused()) << "there is none";
  fs::create_symlink(directory_.path() + "/elsewhere", settings.mail_credentials);
  EXPECT_TRUE(is_refused()) << "a link";
  fs::remove(settings.mail_credentials);
  std::ofstream(settings.mail_credentials) << "password secret\n";
  chmod(settings.mail_credentials.c_str(), 0600);
  EXPECT_TRUE(is_refused()) << "no user";
  fs::remove(settings.mail_credentials);
  ASSERT_EQ(mkfifo(settings.mail_credentials.c_str(), 0600), 0);
  EXPECT_TRUE(is_refused()) << "a pipe";
  if (geteuid() != 0) return;
  fs::remove(settings.mail_credentials);
  fs::rename(directory_.path() + "/elsewhere", settings.mail_credentials);
  ASSERT_EQ(chown(settings.mail_credentials.c_str(), 1, 1), 0);
  EXPECT_TRUE(is_refused()) << "another user's";
}

// Nothing that the service has is the helper's, and no signal that the service ignores or blocks is lost on it.
TEST_F(Asked, it_runs_by_itself_with_nothing_of_the_services) {
  const std::string found = directory_.path() + "/found";
  answer(
      "{ tr '\\0' '\\n' </proc/$$/environ; grep -E '^Sig(Blk|Ign)' /proc/$$/status; ls -l /proc/$$/fd/2; "
      "cut -d ' ' -f 6 /proc/$$/stat | sed \"s/^$$\\$/own session/\"; } >" +
      found);
  begin();
  setenv("SECRET", "of the service", 1);
  sigset_t blocked, before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  sigprocmask(SIG_BLOCK, &blocked, &before);
  signal(SIGPIPE, SIG_IGN);
  send();
  sigprocmask(SIG_SETMASK, &before, nullptr);
  signal(SIGPIPE, SIG_DFL);
  unsetenv("SECRET");
  EXPECT_FALSE(after(1));
  EXPECT_THAT(text_in(found), MatchesRegex("PATH=/usr/bin:/bin\nLANG=C\nSigBlk:\t0+\nSigIgn:\t[0-9a-f]+0000000\n"
                                           ".* -> /dev/null\nown session\n"));
}

struct AnswerCase {
  const char *commands;
  bool stays;
  const char *warning;
};

TEST_F(Asked, it_says_whether_the_message_was_sent_is_to_be_sent_again_or_never) {
  const AnswerCase cases[] = {
      {"echo sent; exit 0", false, ""},
      {"echo 550 no; echo more; exit 69", false, "given up after 1 attempts: 550 no\n"},
      {"echo 451 not now; exit 75", true, "not sent yet, and tried again: 451 not now\n"},
      {"echo what; exit 1", true, "not sent yet, and tried again: what\n"},
      {"exit 75", true, "not sent yet, and tried again: schedmail ended without a word\n"},
      {"kill -9 $$", true, "not sent yet, and tried again: schedmail ended without a word\n"},
  };
  for (const AnswerCase &each : cases) {
    fs::remove_all(queue_);
    answer(each.commands);
    begin();
    std::optional<QueuedMail> left;
    const std::string log = said([&] {
      send();
      left = after(1);
    });
    EXPECT_EQ(left.has_value(), each.stays) << each.commands;
    const std::string start = "courier_test: mail of schedule nightly, run 42, to a@x.net: ";
    EXPECT_EQ(log, *each.warning == 0 ? "" : start + each.warning) << each.commands;
  }
}

TEST_F(Asked, it_is_asked_again_after_pauses_that_double_up_to_an_hour_for_a_day) {
  answer("echo later; exit 75");
  begin();
  send();
  std::string log = said([&] {
    for (uint32_t attempt = 1; attempt <= 28; attempt++) {
      const std::optional<QueuedMail> mail = after(attempt);
      ASSERT_TRUE(mail) << attempt;
      EXPECT_EQ(mail->attempts, attempt);
      EXPECT_EQ(mail->queued, noon);
      EXPECT_EQ(mail->next_try - now_, std::min<int64_t>(60 << std::min(attempt - 1, 20u), 3600)) << attempt;
      now_ = mail->next_try;
      begin();  // which looks at once
    }
  });
  EXPECT_EQ(std::ranges::count(log, '\n'), 1) << log;  // the first time
  // The 29th try is 23 hours and some minutes behind the first; the next pause would end later than a day.
  log = said([&] { EXPECT_FALSE(after(29)); });
  EXPECT_THAT(log, HasSubstr("given up after 29 attempts: later\n"));
}

TEST_F(Asked, it_is_asked_by_whoever_has_a_server_a_sender_and_an_address) {
  begin();
  EXPECT_TRUE(courier_->wants("nightly"));
  EXPECT_FALSE(courier_->wants("other"));
  email_transport_conf.from[0] = 0;
  EXPECT_FALSE(courier_->wants("nightly"));
  std::strcpy(email_transport_conf.from, "switch@x.net");
  email_transport_conf.smtp.server[0] = 0;
  EXPECT_FALSE(courier_->wants("nightly"));
  send();
  send("other");
  EXPECT_EQ(courier_->waiting(), 0u);
}

TEST_F(Asked, it_is_not_asked_while_there_is_no_server) {
  begin();
  answer("exit 75");
  send();
  ASSERT_TRUE(after(1));
  email_transport_conf.smtp.server[0] = 0;
  answer("exit 0");
  now_ += 3600;
  begin();
  fs::remove(request_);
  loop_.turn_without_waiting();
  EXPECT_FALSE(fs::exists(request_));
  EXPECT_EQ(courier_->waiting(), 1u);
}

TEST_F(Asked, an_address_that_no_server_takes_is_told_and_not_queued) {
  std::strcpy(email_transport_conf.from, "a switch");
  begin();
  EXPECT_THAT(said([&] { send(); }), HasSubstr("to a@x.net: not sent: the address or the sender's is none"));
  EXPECT_EQ(courier_->waiting(), 0u);
}

TEST_F(Asked, a_helper_that_is_not_there_is_told_and_asked_again_later) {
  begin();
  fs::remove(helper_);
  std::optional<QueuedMail> left;
  const std::string log = said([&] {
    send();
    left = after(1);
  });
  ASSERT_TRUE(left);
  EXPECT_EQ(left->next_try, noon + 60);
  EXPECT_THAT(log, HasSubstr("tried again: " + helper_ + ": No such file or directory\n"));
}

TEST_F(Asked, a_damaged_message_is_told_and_removed) {
  begin();
  answer("exit 75");
  send();
  ASSERT_TRUE(after(1));
  begin();
  std::ofstream(queue_ + "/1.mail") << "schedcli-mail 1\n";
  now_ += 60;
  const std::string log = said([&] { send(); });
  EXPECT_THAT(log, HasSubstr("mail: " + queue_ + "/1.mail: not a queued message, or damaged\n"));
  EXPECT_FALSE(fs::exists(queue_ + "/1.mail"));
}

TEST(MailQueueOrder, gives_the_one_first_that_was_due_first) {
  const service_test::Directory directory;
  MailQueue queue(directory.path() + "/mail");
  ASSERT_TRUE(queue.open());
  QueuedMail mail = {"s", 7, 9, "a", "b", noon, 0, noon + 20, "text"};
  EXPECT_EQ(queue.next_try(), std::nullopt);
  EXPECT_EQ(queue.due(noon), std::nullopt);
  for (const int64_t wait : {20, 10, 30}) {
    mail.next_try = noon + wait;
    ASSERT_TRUE(queue.add(mail, 3));
  }
  const host::Result<void> full = queue.add(mail, 3);
  ASSERT_FALSE(full);
  EXPECT_EQ(full.error().text, "the mail queue is full: 3 messages wait");
  EXPECT_EQ(queue.next_try(), noon + 10);
  EXPECT_EQ(queue.due(noon + 9), std::nullopt);
  EXPECT_EQ(queue.due(noon + 10), MailQueue::Number{2});
  mail.next_try = noon + 60;
  ASSERT_TRUE(queue.put_back(2, mail));
  EXPECT_EQ(queue.read(2)->next_try, noon + 60);
  EXPECT_EQ(queue.due(noon + 60), MailQueue::Number{1});
  queue.remove(1);
  EXPECT_FALSE(queue.read(1));
  EXPECT_EQ(queue.due(noon + 60), MailQueue::Number{3});
  MailQueue again(directory.path() + "/mail");
  ASSERT_TRUE(again.open());
  EXPECT_EQ(again.size(), 2u);
  EXPECT_EQ(again.next_try(), noon + 30);
  ASSERT_TRUE(again.add(mail, 3));
  EXPECT_TRUE(fs::exists(directory.path() + "/mail/4.mail"));
}

TEST(MailQueueFile, has_every_field_and_is_refused_where_one_is_wrong) {
  const service_test::Directory directory;
  const std::string queue_path = directory.path() + "/mail", path = queue_path + "/1.mail";
  MailQueue queue(queue_path);
  ASSERT_TRUE(queue.open());
  ASSERT_TRUE(queue.add({"s t", 7, 9, "from", "to", noon, 2, noon + 60, "line\n\nmore"}, 1));
  const std::string good = text_in(path);
  EXPECT_EQ(good,
            "schedcli-mail 1\nschedule s t\nrun 7\nreport 9\nfrom from\nto to\nqueued 1795262400\nattempts 2\n"
            "next 1795262460\n\nline\n\nmore");
  const host::Result<QueuedMail> read = queue.read(1);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->schedule, "s t");
  EXPECT_EQ(read->run, 7u);
  EXPECT_EQ(read->report, 9u);
  EXPECT_EQ(read->from, "from");
  EXPECT_EQ(read->to, "to");
  EXPECT_EQ(read->queued, noon);
  EXPECT_EQ(read->attempts, 2u);
  EXPECT_EQ(read->next_try, noon + 60);
  EXPECT_EQ(read->message, "line\n\nmore");
  for (const auto &[from, to] : std::vector<std::pair<std::string, std::string>>{{"mail 1\n", "mail 2\n"},
                                                                                 {"run 7", "run x"},
                                                                                 {"run 7", "run 7x"},
                                                                                 {"report 9", "report -9"},
                                                                                 {"queued 1", "queued ,1"},
                                                                                 {"attempts 2", "attempts "},
                                                                                 {"next 1", "next x1"},
                                                                                 {"from from\n", ""},
                                                                                 {"to to\n", ""},
                                                                                 {"to to\n", "to\n"},
                                                                                 {"line\n\nmore", ""}}) {
    std::string wrong = good;
    wrong.replace(wrong.find(from), from.size(), to);
    std::ofstream(path, std::ios::trunc) << wrong;
    EXPECT_FALSE(queue.read(1)) << to;
  }
}

TEST(MailQueueFile, of_a_report_that_was_not_marked_is_remembered_for_its_address) {
  const service_test::Directory directory;
  MailQueue queue(directory.path() + "/mail");
  ASSERT_TRUE(queue.open());
  EXPECT_EQ(queue.last_taken(), 0u);
  for (const uint32_t report : {4u, 5u, 6u})
    ASSERT_TRUE(queue.add({"s", 7, report, "from", "to", noon, 0, noon, "text"}, 9));
  ASSERT_TRUE(queue.mark_taken(5));
  EXPECT_EQ(queue.last_taken(), 5u);
  MailQueue again(directory.path() + "/mail");
  ASSERT_TRUE(again.open());
  EXPECT_EQ(again.last_taken(), 5u);
  EXPECT_TRUE(again.has_begun(6, "to"));
  EXPECT_FALSE(again.has_begun(6, "other"));
  EXPECT_FALSE(again.has_begun(5, "to"));
  for (const char *damaged : {"", "x\n", "5x\n"}) {
    std::ofstream(directory.path() + "/mail/taken", std::ios::trunc) << damaged;
    MailQueue without(directory.path() + "/mail");
    ASSERT_TRUE(without.open());
    EXPECT_EQ(without.last_taken(), 0u) << damaged;
  }
}

}  // namespace
}  // namespace service
