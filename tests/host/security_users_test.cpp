// SPDX-License-Identifier: Apache-2.0
#include "host/security/users.h"

#include <dlfcn.h>
#include <pwd.h>

#include <algorithm>
#include <string>

#include "host/security/security.h"
#include "platform/security.h"
#include "tests/host/security_fixture.h"

namespace {
bool folds_case = false;
}

// A name service that knows its users in small letters, and takes any.
extern "C" int getpwnam_r(const char *name, passwd *entry, char *buffer, size_t size, passwd **found) {
  static const auto real = reinterpret_cast<decltype(&getpwnam_r)>(dlsym(RTLD_NEXT, "getpwnam_r"));
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

TEST_F(UsersTest, what_is_no_name_is_no_user_even_where_the_name_service_knows_it) {
  EXPECT_TRUE(user_by_name("root"));
  for (const Name &row : names) {
    if (!row.valid) {
      EXPECT_FALSE(user_by_name(row.text)) << '"' << row.text << '"';
    }
  }
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
