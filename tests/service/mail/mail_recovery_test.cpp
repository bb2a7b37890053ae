// SPDX-License-Identifier: Apache-2.0
// A crash between the commit of a run's outcome and the mail queue: the next start queues what is owed, once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "schedcli_requests.h"
#include "service/active.h"
#include "service/mail/queue.h"
#include "service/run/owed_reports.h"
#include "service/state/startup.h"
#include "tests/service/mail/message_parts.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

namespace fs = std::filesystem;

using service::Active;
using service::QueuedMail;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr uint32_t config = SCH_SERVICE_CONFIG;
constexpr time_t due = noon + 30 * 60;

class OwedMail : public ::testing::Test {
 protected:
  OwedMail() {
    sch_email_transport transport = {};
    std::strcpy(transport.from, "switch@x.net");
    std::strcpy(transport.smtp.server, "127.0.0.1");
    transport.smtp.address_kind = __builtin_bswap32(1);
    transport.smtp.port = __builtin_bswap32(1);
    Bytes payload(sizeof transport);
    std::memcpy(payload.data(), &transport, sizeof transport);
    EXPECT_EQ(world_.send(root(), config, SCH_OP_SET_EMAIL_FROM, payload).status, 0u);
    EXPECT_EQ(world_.send(root(), config, SCH_OP_SET_EMAIL_SMTP, payload).status, 0u);
    EXPECT_EQ(create_job(world_, "job", "echo ran\nexit 3\n"), 0u);
    EXPECT_EQ(create_job(world_, "slow", "sleep 1000\n"), 0u);
    EXPECT_EQ(create_schedule(world_, "s", {"job"}, daily(12, 30)), 0u);
    for (const char *address : {"a@x.net", "b@x.net"})
      EXPECT_EQ(world_.send(root(), config, SCH_OP_SCHEDULE_EMAIL, address_payload(SCH_EMAIL_ADD, "s", address)).status,
                0u);
    owe();
  }
  ~OwedMail() override { active_.reset(); }

  // From now on what ends is owed a report, and nobody comes to send it.
  void owe() {
    world_.parts->recorder.on_report([](const service::RunStep &step) { return step.ends_run; });
  }

  void run_at(time_t now) {
    set_clock(now);
    world_.parts->scheduler.check();
    world_.settle();
  }

  void crash() {
    active_.reset();
    world_.stop();
  }

  // As the service starts.
  void start() {
    ASSERT_TRUE(service::open_stores(world_.settings, time(nullptr)));
    active_ = std::make_unique<Active>(std::make_shared<const service::Settings>(world_.settings),
                                       host::User{0, 0, "root", "/root", "/bin/sh"}, time(nullptr));
    ASSERT_TRUE(active_->settle());
  }

  fs::path queue() const { return world_.directory.path() + "/state/mail"; }

  std::vector<QueuedMail> queued() const {
    std::map<std::string, QueuedMail> mails;
    service::MailQueue queue(this->queue());
    for (const fs::directory_entry &file : fs::directory_iterator(this->queue()))
      if (file.path().extension() == ".mail") {
        const host::Result<QueuedMail> mail = queue.read(std::stoul(file.path().stem()));
        EXPECT_TRUE(mail);
        if (mail) mails[mail->to + std::to_string(mail->run)] = *mail;
        messages_++;
      }
    std::vector<QueuedMail> all;
    for (auto &[key, mail] : mails)
      all.push_back(mail);
    EXPECT_EQ(messages_, all.size()) << "a report is there twice";
    messages_ = 0;
    return all;
  }

  World world_;
  std::unique_ptr<Active> active_;
  mutable size_t messages_ = 0;
};

TEST_F(OwedMail, is_queued_at_the_next_start_for_each_address_with_outcome_and_output) {
  run_at(due);
  EXPECT_THAT(service::read_owed_reports(), SizeIs(1));
  crash();
  start();
  const std::vector<QueuedMail> mails = queued();
  ASSERT_THAT(mails, SizeIs(2));
  EXPECT_EQ(mails[0].to, "a@x.net");
  EXPECT_EQ(mails[1].to, "b@x.net");
  const std::vector<std::string> parts = service::parts_of(mails[0].message);
  ASSERT_THAT(parts, SizeIs(2));
  EXPECT_THAT(parts[0], HasSubstr("Job job: failed, exit code 3\n"));
  EXPECT_EQ(parts[1], "ran\n");
}

TEST_F(OwedMail, is_not_queued_again_by_a_start_after_that) {
  run_at(due);
  for (int starts = 0; starts < 3; starts++) {
    crash();
    start();
    EXPECT_THAT(queued(), SizeIs(2)) << starts;
  }
  fs::remove(queue() / "1.mail");  // as when it was sent
  crash();
  start();
  EXPECT_THAT(queued(), SizeIs(1));
}

TEST_F(OwedMail, that_a_crash_left_half_queued_is_queued_for_the_rest) {
  run_at(due);
  crash();
  start();
  crash();
  fs::remove(queue() / "2.mail");
  fs::remove(queue() / "taken");
  start();
  EXPECT_THAT(queued(), SizeIs(2));
}

TEST_F(OwedMail, is_nothing_any_more_when_it_was_queued_and_something_else_stored) {
  run_at(due);
  crash();
  start();
  EXPECT_THAT(service::read_owed_reports(), SizeIs(1)) << "nothing was stored since";
  crash();
  world_.start();
  world_.parts->recorder.settle_report(1, "s");
  run_at(due + 86400);
  EXPECT_THAT(service::read_owed_reports(), IsEmpty());
}

TEST_F(OwedMail, of_a_run_that_the_crash_interrupted_has_all_its_jobs) {
  ASSERT_EQ(
      world_.send(root(), config, SCH_OP_MODIFY_SCHEDULE, modify_payload("s", SCH_MODIFY_JOB, false, "slow")).status,
      0u);
  set_clock(due);
  world_.parts->scheduler.check();
  while (log_of(world_).empty())
    world_.loop.turn();
  crash();
  start();
  const std::vector<QueuedMail> mails = queued();
  ASSERT_THAT(mails, SizeIs(2));
  EXPECT_THAT(service::parts_of(mails[0].message).at(0),
              HasSubstr("Job job: failed, exit code 3\nJob slow: interrupted"));
}

// The start has to know the numbers of waiting messages before it queues one for the interrupted run.
TEST_F(OwedMail, of_an_interrupted_run_replaces_nothing_that_waits) {
  world_.settings.mail_retry_window_s = 7 * 86400;  // so that the first run's still waits a day later
  run_at(due);
  crash();
  start();
  crash();
  world_.start();
  ASSERT_EQ(
      world_.send(root(), config, SCH_OP_MODIFY_SCHEDULE, modify_payload("s", SCH_MODIFY_JOB, false, "slow")).status,
      0u);
  set_clock(due + 86400);
  world_.parts->scheduler.check();
  while (log_of(world_).size() < 2)
    world_.loop.turn();
  crash();
  start();
  EXPECT_THAT(queued(), SizeIs(4));
}

TEST_F(OwedMail, of_a_schedule_that_was_deleted_is_forgotten) {
  run_at(due);
  ASSERT_EQ(world_.send(root(), config, SCH_OP_DELETE_SCHEDULE, schedule_payload("s")).status, 0u);
  crash();
  start();
  EXPECT_THAT(queued(), IsEmpty());
  EXPECT_THAT(service::read_owed_reports(), IsEmpty());
}

TEST_F(OwedMail, keeps_its_numbers_apart_from_those_of_a_queue_of_other_origin) {
  fs::create_directories(queue());
  std::ofstream(queue() / "taken") << "4000000000\n";
  run_at(due);
  crash();
  start();
  EXPECT_THAT(queued(), SizeIs(2));
}

}  // namespace
}  // namespace service_test
