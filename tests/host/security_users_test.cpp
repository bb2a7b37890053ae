// SPDX-License-Identifier: Apache-2.0
#include "host/security/users.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <string>

#include "host/security/security.h"
#include "platform/security.h"
#include "tests/host/security_fixture.h"

namespace {
bool folds_case = false;
int look_ups = 0;               // by name
int failures = 0, failure = 0;  // of these: how many, and how
std::size_t needed = 0;         // the least room for a user's record
time_t fixed_time = 0;          // 0: the real one
}  // namespace

extern "C" time_t time(time_t *) noexcept {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return fixed_time != 0 ? fixed_time : now.tv_sec;
}

// A name service that knows its users in small letters, and takes any.
extern "C" int getpwnam_r(const char *name, passwd *entry, char *buffer, size_t size, passwd **found) {
  static const auto real = reinterpret_cast<decltype(&getpwnam_r)>(dlsym(RTLD_NEXT, "getpwnam_r"));
  *found = nullptr;
  look_ups++;
  if (failures > 0) {
    failures--;
    return failure;
  }
  if (size < needed) return ERANGE;
  std::string asked = name;
  if (folds_case)
    std::transform(asked.begin(), asked.end(), asked.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return real(asked.c_str(), entry, buffer, size, found);
}

namespace security_test {

using namespace host;

class UsersTest : public SecurityTest {
 protected:
  ~UsersTest() override { use_local_users_file("/etc/passwd"); }
  void list_local_users(const std::string &content) {
    file_ = state() + "/passwd";
    write_file(file_, content);
    use_local_users_file(file_.c_str());
  }

 private:
  std::string file_;
};

struct Name {
  const char *text;
  bool valid;
};

const Name names[] = {{"root", true},
                      {"_apt", true},
                      {"a", true},
                      {"r00t", true},
                      {"0day", true},
                      {"face", true},
                      {"0xg", true},
                      {"0xfaceg", true},
                      {"1a", true},
                      {"x1", true},
                      {"first.last", true},
                      {"DOMAIN\\user", true},
                      {"host$", true},
                      {"thirty-one-bytes-are-the-longest", false},
                      {"thirty-one-bytes-is-the-longest", true},
                      {"", false},
                      {"0", false},
                      {"00", false},
                      {"1000", false},
                      {"4294967296", false},
                      {"017", false},
                      {"0x0", false},
                      {"0X1F", false},
                      {"0xface", false},
                      {"0x", false},
                      {"+0", false},
                      {"-0", false},
                      {"-1", false},
                      {"+", false},
                      {"-", false},
                      {"+@netgroup", false},
                      {"-option", false},
                      {" root", false},
                      {"root ", false},
                      {"ro ot", false},
                      {"ro\tot", false},
                      {"root\n", false},
                      {"ro:ot", false},
                      {"../root", false},
                      {"a\x7f", false}};

TEST_F(UsersTest, a_name_is_neither_a_number_nor_blank_nor_too_long) {
  for (const Name &row : names)
    EXPECT_EQ(is_user_name(row.text), row.valid) << '"' << row.text << '"';
}

TEST_F(UsersTest, what_is_no_name_is_no_user_and_the_name_service_is_not_asked) {
  EXPECT_TRUE(user_by_name("root"));
  look_ups = 0;
  for (const Name &row : names) {
    if (!row.valid) {
      EXPECT_FALSE(user_by_name(row.text)) << '"' << row.text << '"';
    }
  }
  EXPECT_EQ(look_ups, 0);
}

TEST_F(UsersTest, a_user_is_found_by_name_and_by_uid) {
  const auto by_name = user_by_name("root");
  const auto by_uid = user_by_uid(0);
  ASSERT_TRUE(by_name && by_uid);
  EXPECT_EQ(by_name->uid, 0u);
  EXPECT_EQ(by_name->gid, 0u);
  EXPECT_EQ(by_name->name, "root");
  EXPECT_FALSE(by_name->home.empty());
  EXPECT_FALSE(by_name->shell.empty());
  EXPECT_EQ(by_uid->name, "root");
  EXPECT_FALSE(user_by_name("no-such-user"));
  EXPECT_FALSE(user_by_uid(4000000));
}

TEST_F(UsersTest, a_name_service_that_folds_case_makes_no_second_name_of_a_user) {
  folds_case = true;
  passwd entry = {}, *found = nullptr;
  char buffer[4096];
  EXPECT_EQ(::getpwnam_r("ROOT", &entry, buffer, sizeof buffer, &found), 0);
  EXPECT_NE(found, nullptr);
  EXPECT_TRUE(user_by_name("root"));
  EXPECT_FALSE(user_by_name("ROOT"));
  EXPECT_FALSE(user_by_name("Root"));
  folds_case = false;
}

struct Trouble {
  std::size_t needed;
  int failures, failure;
  bool found;
};

TEST_F(UsersTest, a_name_service_gets_as_much_room_as_it_needs_and_a_second_try_after_a_signal) {
  const Trouble rows[] = {{0, 0, 0, true},
                          {1025, 0, 0, true},
                          {5000, 0, 0, true},
                          {1024 * 1024, 0, 0, true},
                          {1024 * 1024 + 1, 0, 0, false},
                          {0, 1, EINTR, true},
                          {5000, 1, EINTR, true},
                          {0, 2, EINTR, false},
                          {0, 1, EIO, false},
                          {0, 1, ENOENT, false}};
  for (const Trouble &row : rows) {
    needed = row.needed;
    failures = row.failures;
    failure = row.failure;
    EXPECT_EQ(user_by_name("root").has_value(), row.found) << row.needed << " " << row.failures << " " << row.failure;
  }
  needed = 0;
  failures = 0;
}

// The file as it is left by a change: all of these are looked at, as a change need not show in each of them.
struct Written {
  const char *what;
  const char *content;
  timespec when;
  bool anew;  // another file in its place
  bool is_noticed;
};

TEST_F(UsersTest, the_local_file_is_read_again_only_when_it_has_changed) {
  constexpr timespec then = {1000000, 500};
  const Written rows[] = {{"nothing but what it says", "bob:x:1:1::/:/bin/sh\n", then, false, false},
                          {"its size", "bobby:x:1:1::/:/bin/sh\n", then, false, true},
                          {"its second", "bob:x:1:1::/:/bin/sh\n", {1000001, 500}, false, true},
                          {"its nanosecond", "bob:x:1:1::/:/bin/sh\n", {1000000, 501}, false, true},
                          {"its place", "bob:x:1:1::/:/bin/sh\n", then, true, true}};
  const std::string path = state() + "/passwd";
  const auto write = [&](const std::string &content, const timespec &when) {
    write_file(path, content);
    const timespec times[] = {when, when};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  };
  for (const Written &row : rows) {
    write("ann:x:1:1::/:/bin/sh\n", {999999, 0});
    use_local_users_file(path.c_str());
    ASSERT_TRUE(user_is_local("ann")) << row.what;
    write("ann:x:1:1::/:/bin/sh\n", then);
    ASSERT_TRUE(user_is_local("ann")) << row.what;
    if (row.anew) {
      ASSERT_EQ(::rename(path.c_str(), (path + ".old").c_str()), 0);
    }
    write(row.content, row.when);
    EXPECT_EQ(user_is_local("ann"), !row.is_noticed) << row.what;
  }
}

TEST_F(UsersTest, the_local_file_is_read_again_while_it_is_so_new_that_a_change_could_have_the_same_time) {
  const std::string path = state() + "/passwd";
  const timespec times[] = {{1000000, 0}, {1000000, 0}};
  for (const time_t age : {2, 0, 1}) {
    for (const char *content : {"ann:x:1:1::/:/bin/sh\n", "bob:x:1:1::/:/bin/sh\n"}) {
      write_file(path, content);
      ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
      use_local_users_file(path.c_str());
      fixed_time = 1000000 + age;
      (void)user_is_local("ann");
    }
    EXPECT_EQ(user_is_local("ann"), age == 2) << age;
    use_local_users_file("/nonexistent/passwd");
    EXPECT_FALSE(user_is_local("ann"));
  }
  fixed_time = 0;
}

TEST_F(UsersTest, another_local_file_is_another_list) {
  const std::string path = state() + "/passwd", other = state() + "/other";
  write_file(path, "ann:x:1:1::/:/bin/sh\n");
  const timespec times[] = {{1000000, 0}, {1000000, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  use_local_users_file(path.c_str());
  EXPECT_TRUE(user_is_local("ann"));
  use_local_users_file(other.c_str());
  EXPECT_FALSE(user_is_local("ann"));
}

TEST_F(UsersTest, local_is_who_has_a_line_in_the_local_file) {
  list_local_users(
      "admin:x:0:0:the administrator:/root:/bin/sh\n"
      "# a comment\n"
      "broken line\n"
      "+::::::\n"
      "+remote::::::\n"
      "1000:x:1000:1000::/:/bin/sh\n"
      "last:x:1001:1001::/:/bin/sh");
  EXPECT_TRUE(user_is_local("admin"));
  EXPECT_TRUE(user_is_local("last"));
  for (const char *name : {"adm", "admins", "Admin", "remote", "+remote", "+", "1000", "broken", "", "x", "root"})
    EXPECT_FALSE(user_is_local(name)) << name;
}

TEST_F(UsersTest, without_a_local_file_nobody_is_local) {
  use_local_users_file("/nonexistent/passwd");
  EXPECT_FALSE(user_is_local("root"));
}

TEST_F(UsersTest, the_platform_calls_remote_whoever_is_not_local) {
  list_local_users("admin:x:0:0::/:/bin/sh\n");
  EXPECT_EQ(check_if_user_remote(7, "admin"), 0);
  EXPECT_EQ(check_if_user_remote(7, "alice"), 1);
  EXPECT_EQ(check_if_user_remote(7, "0"), 1);
  EXPECT_EQ(check_if_user_remote(7, ""), 1);
}

}  // namespace security_test
