// SPDX-License-Identifier: Apache-2.0
// Every file that the service writes is on the disk when it says so, with its name and the directories above it: all
// that was not synced is taken away, and nothing may be missing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#include "host/security/record.h"
#include "host/security/security.h"
#include "service/mail/queue.h"
#include "tests/host/crash/disk.h"
#include "tests/host/crash/recorder.h"
#include "tests/service/configuration_fixture.h"

namespace service_test {
namespace {

using crash::Image;
using ::testing::ElementsAre;
using ::testing::Not;

// A lock says nothing that a crash would leave valid.
bool is_kept_over_a_crash(const std::string &name) {
  return !name.ends_with("lock") && !name.starts_with("state/run/");
}

class WrittenFiles : public ::testing::Test {
 protected:
  // What the work, in a process of its own, leaves on a disk that keeps what it promised and nothing else.
  Image promised_after(const std::function<void()> &work, crash::Dropped dropped = {}) {
    std::filesystem::remove_all(below());
    std::filesystem::create_directory(below());
    EXPECT_TRUE(survives([&] {
      crash::start_recording(below(), trace(), dropped);
      work();
      if (HasFailure()) _exit(1);
    }));
    crash::Disk disk;
    for (const crash::Event &event : crash::read_trace(trace())) {
      disk.begin(event);
      disk.complete(event);
    }
    return disk.crash(crash::Disk::Unsynced::nothing, nullptr);
  }

  Image written() const {
    Image files;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(below())) {
      const std::string name = std::filesystem::relative(entry.path(), below());
      if (!entry.is_regular_file() || !is_kept_over_a_crash(name)) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      files[name] = {std::istreambuf_iterator<char>(file), {}};
    }
    return files;
  }

  std::vector<std::string> lost(const Image &promised) const {
    std::vector<std::string> names;
    for (const auto &[name, content] : written())
      if (const auto found = promised.find(name); found == promised.end() || found->second != content)
        names.push_back(name);
    return names;
  }

  // `name`: one of the files that the work is about.
  void expect_all_on_disk_after(const std::function<void()> &work, const std::string &name) {
    EXPECT_THAT(lost(promised_after(work)), ElementsAre());
    EXPECT_TRUE(written().contains(name)) << name;
  }

  std::string trace() const { return scratch.path() + "/trace"; }
  std::string below() const { return scratch.path() + "/below"; }

  const Directory scratch;
};

TEST_F(WrittenFiles, of_a_start_are_there_with_the_directory_that_it_made) {
  expect_all_on_disk_after([&] { World(below(), noon).parts->log.append({}); }, "state/boot");
}

TEST_F(WrittenFiles, of_a_configuration_are_there_when_it_is_answered) {
  expect_all_on_disk_after(
      [&] {
        World *world = new World(below(), noon);
        EXPECT_EQ(ask(*world, control::Operation::enable_feature).status, 0u);
        EXPECT_EQ(create_job(*world, "typed", "echo\n"), 0u);
        control::ConfigurationOrder wanted =
            order_of(control::ConfigurationSource::text, put(*world, "scheduler job name replaced\necho\nend-job\n"));
        wanted.confirm_minutes = 5;
        EXPECT_EQ(order(*world, wanted).status, 0u);
      },
      "state/configurations/awaits-confirmation");
}

TEST_F(WrittenFiles, of_a_saved_configuration_are_there_when_it_is_answered) {
  expect_all_on_disk_after(
      [&] {
        World *world = new World(below(), noon);
        EXPECT_EQ(ask(*world, control::Operation::enable_feature).status, 0u);
        EXPECT_EQ(create_job(*world, "typed", "echo\n"), 0u);
        EXPECT_EQ(ask(*world, control::Operation::copy_running_startup).status, 0u);
      },
      "state/boot");
}

TEST_F(WrittenFiles, of_a_log_that_was_replaced_are_there_when_it_is_answered) {
  for (const uint32_t opcode : {uint32_t{SCH_OP_RESIZE_LOG}, uint32_t{SCH_OP_CLEAR_LOG}})
    expect_all_on_disk_after(
        [&] {
          World *world = new World(below(), noon);
          EXPECT_EQ(ask(*world, control::Operation::enable_feature).status, 0u);
          world->parts->log.append({});
          EXPECT_EQ(world->send(root(), SCH_SERVICE_CONFIG, opcode, log_payload("", "", 65536)).status, 0u);
        },
        std::string("state/") + SCH_LOG_NAME_DEFAULT);
}

TEST_F(WrittenFiles, of_a_log_in_a_new_directory_are_there_when_it_is_answered) {
  expect_all_on_disk_after(
      [&] {
        World *world = new World(below(), noon);
        EXPECT_EQ(ask(*world, control::Operation::enable_feature).status, 0u);
        world->parts->log.append({});
        EXPECT_EQ(world
                      ->send(root(), SCH_SERVICE_CONFIG, SCH_OP_RENAME_LOG,
                             log_payload(below() + "/state/flash/runs/today.log", "flash:runs/today.log", 0))
                      .status,
                  0u);
      },
      "state/flash/runs/today.log");
}

TEST_F(WrittenFiles, of_the_passwords_and_of_their_key_are_there_when_one_is_stored) {
  expect_all_on_disk_after(
      [&] {
        World(below(), noon).stop();
        EXPECT_TRUE(host::security_become_service());
        EXPECT_TRUE(host::security_store(host::security_record("alice", host::security_form_clear, "secret")));
      },
      "state/passwords");
  EXPECT_TRUE(written().contains("state/security.key"));
}

TEST_F(WrittenFiles, of_the_mail_are_there_when_it_is_queued) {
  expect_all_on_disk_after(
      [&] {
        service::MailQueue queue(below() + "/mail");
        EXPECT_TRUE(queue.open());
        service::QueuedMail mail;
        mail.schedule = "nightly";
        mail.from = mail.to = "a@b";
        mail.message = "text";
        EXPECT_TRUE(queue.add(mail, 10));
        EXPECT_TRUE(queue.mark_taken(3));
        mail.attempts = 1;
        EXPECT_TRUE(queue.put_back(1, mail));
      },
      "mail/1.mail");
  EXPECT_TRUE(written().contains("mail/taken"));
}

TEST_F(WrittenFiles, of_what_a_boot_leaves_out_are_there_before_it_is_left_out) {
  expect_all_on_disk_after(
      [&] {
        World *world = new World(below(), noon);
        EXPECT_EQ(ask(*world, control::Operation::enable_feature).status, 0u);
        EXPECT_EQ(ask(*world, control::Operation::copy_running_startup).status, 0u);
        EXPECT_EQ(create_job(*world, "unsaved", "echo\n"), 0u);
        world->settings.boot_from = service::BootFrom::startup;
        world->boot();
      },
      "state/boot-left-out-20261121-120000.conf");
}

// Otherwise the next start would take it back.
TEST_F(WrittenFiles, of_a_confirmed_configuration_have_no_note_that_awaits_it) {
  const auto confirm = [&] {
    World *world = new World(below(), noon);
    EXPECT_EQ(ask(*world, control::Operation::enable_feature).status, 0u);
    control::ConfigurationOrder wanted =
        order_of(control::ConfigurationSource::text, put(*world, "scheduler job name new\necho\nend-job\n"));
    wanted.confirm_minutes = 5;
    EXPECT_EQ(order(*world, wanted).status, 0u);
    EXPECT_EQ(ask(*world, control::Operation::confirm_configuration).status, 0u);
  };
  EXPECT_FALSE(promised_after(confirm).contains("state/configurations/awaits-confirmation"));
}

// The second password has the length of the first.
TEST_F(WrittenFiles, that_are_secret_are_whole_or_absent_whenever_the_power_fails) {
  const auto store_twice = [&] {
    World(below(), noon).stop();
    EXPECT_TRUE(host::security_become_service());
    for (const char *password : {"secret", "better"})
      EXPECT_TRUE(host::security_store(host::security_record("alice", host::security_form_clear, password)));
  };
  promised_after(store_twice);
  const Image last = written();
  crash::Disk disk;
  for (const crash::Event &event : crash::read_trace(trace())) {
    disk.begin(event);
    disk.complete(event);
    for (const auto unsynced : {crash::Disk::Unsynced::nothing, crash::Disk::Unsynced::everything}) {
      const Image image = disk.crash(unsynced, nullptr);
      for (const char *name : {"state/security.key", "state/passwords"}) {
        const auto found = image.find(name);
        ASSERT_TRUE(found == image.end() || found->second.size() == last.at(name).size()) << name;
      }
    }
  }
}

// Where nothing had been synced this would be seen.
TEST_F(WrittenFiles, that_were_not_synced_are_missed) {
  const auto start = [&] { World(below(), noon).parts->log.append({}); };
  EXPECT_THAT(lost(promised_after(start, {true, false, false})), Not(ElementsAre()));
  EXPECT_THAT(lost(promised_after(start, {false, false, true})), Not(ElementsAre()));
}

}  // namespace
}  // namespace service_test
