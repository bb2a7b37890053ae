// SPDX-License-Identifier: Apache-2.0
// Sealed passwords as lines of a configuration.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "control/configuration.h"
#include "host/security/record.h"
#include "host/security/security.h"
#include "tests/service/configuration_fixture.h"
#include "tests/service/operator_requests.h"
#include "tests/service/store_faults.h"

namespace service_test {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string line_of(const std::string &user) {
  const host::Result<sch_security_user_rec> record = host::security_read(user);
  if (!record) return {};
  return "scheduler aaa-authentication username " + user + " password 7 " + record->password + "\n";
}

struct StoredPasswords : testing::Test {
  StoredPasswords() {
    for (const char *user : {"daemon", "nobody"})
      EXPECT_TRUE(host::security_store(host::security_record(user, host::security_form_clear, "right horse")));
  }
  static std::string text() { return "feature scheduler\n" + line_of("daemon") + line_of("nobody"); }

  World world;
};

TEST_F(StoredPasswords, are_shown_sealed_to_the_administrator_and_to_their_users) {
  EXPECT_EQ(running(world), text());
  EXPECT_EQ(running(world, nobody()), line_of("nobody"));
  EXPECT_THAT(running(world), Not(HasSubstr("right horse")));
  ASSERT_EQ(ask(world, control::Operation::copy_running_startup).status, 0u);
  EXPECT_EQ(text_in(ask(world, control::Operation::startup_text)), text());
}

TEST_F(StoredPasswords, come_with_the_text_that_names_them_and_stay_otherwise) {
  const std::string passwords = text(), whole = passwords + "scheduler job name x\nid\nend-job\n\n";
  ASSERT_TRUE(host::security_remove("daemon"));
  EXPECT_EQ(replace(world, whole).after, whole);
  EXPECT_EQ(running(world), whole);
  EXPECT_EQ(replace(world, "feature scheduler\n").after, passwords);
  ASSERT_TRUE(host::security_remove("nobody"));
  EXPECT_EQ(replace(world, passwords).after, passwords);  // nothing else is changed
  world.restart();
  EXPECT_EQ(running(world), passwords);
}

TEST_F(StoredPasswords, that_are_anothers_or_do_not_open_are_refused_with_their_line) {
  const std::string before = text();
  std::string forged = line_of("daemon");
  forged.replace(forged.find("daemon"), 6, "games");
  const ConfigurationAnswer answer = replace(world, "feature scheduler\n" + forged);
  EXPECT_EQ(answer.problems, "2 the password of games: it was not sealed for this user by this service's key\n");
  EXPECT_EQ(replace(world, line_of("daemon"), nobody()).problems,
            "1 the password of daemon: not permitted for this user\n");
  EXPECT_THAT(replace(world, line_of("daemon") + line_of("daemon")).problems, HasSubstr("daemon has two passwords"));
  EXPECT_THAT(replace(world, "scheduler aaa-authentication username daemon password 7 short\n").problems,
              HasSubstr("\"short\" is no sealed password"));
  EXPECT_EQ(running(world), before);
}

TEST_F(StoredPasswords, that_were_removed_do_not_come_back_with_an_older_configuration) {
  ASSERT_EQ(replace(world, text() + "scheduler job name x\nid\nend-job\n\n").status, 0u);
  ASSERT_TRUE(host::security_remove("daemon"));
  ASSERT_EQ(replace(world, "feature scheduler\n").status, 0u);
  ASSERT_EQ(order(world, order_of(control::ConfigurationSource::entry, 2)).status, 0u);
  EXPECT_THAT(running(world), Not(HasSubstr("daemon")));
  EXPECT_THAT(running(world), HasSubstr("scheduler job name x\n"));
  for (const auto &file : std::filesystem::directory_iterator(world.directory.path() + "/state/configurations"))
    EXPECT_NE(file.path().extension(), ".passwords");
}

// A crash behind the commit, before the passwords' own file is written. This process opens no store, as its children
// could not use it.
TEST(StoredPasswordsOfAReplacement, killed_at_any_store_call_come_with_the_rest_or_not_at_all) {
  const Directory directory;
  const std::string noted = directory.path() + "/noted";
  const auto note_from_world = [&](auto text_of_world) {
    EXPECT_TRUE(survives([&] {
      World world(directory.path(), noon);
      std::ofstream(noted) << text_of_world(world);
    }));
    std::ifstream file(noted);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  const std::string password = note_from_world([](World &) {
    (void)host::security_store(host::security_record("daemon", host::security_form_clear, "right horse"));
    return line_of("daemon");
  });
  const std::string before = "feature scheduler\n", after = before + password + "scheduler job name x\nid\nend-job\n\n";
  bool survived = false;
  int changed = 0;
  for (int point = 1; !survived; point++) {
    ASSERT_TRUE(survives([&] {
      World world(directory.path(), noon);
      (void)host::security_remove("daemon");
      if (replace(world, before).status != 0 || running(world) != before) _exit(1);
    }));
    survived = survives([&] {
      World world(directory.path(), noon);
      die_at_store_call(point);
      replace(world, after);
    });
    const std::string found = note_from_world([](World &world) { return running(world); });
    EXPECT_TRUE(found == before || found == after) << point << "\n" << found;
    if (!survived && found == after) changed++;
  }
  EXPECT_GT(changed, 0);  // some of the calls come after the commit
}

}  // namespace
}  // namespace service_test
