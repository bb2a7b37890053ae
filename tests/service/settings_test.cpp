// SPDX-License-Identifier: Apache-2.0
// The configuration file: every key with values on each side of what is allowed, and what is said about the rest.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "host/debug.h"
#include "service/config/keys.h"
#include "service/config/reload.h"
#include "service/config/settings_file.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

service::SettingsRead parse(const std::string &text) {
  return service::parse_settings(text, "schedd.conf");
}

struct KeyCase {
  const char *group, *key;
  std::vector<std::string> right, wrong;
};

std::vector<std::string> wrong_numbers(const std::string &below, const std::string &above) {
  return {below, above, "", "x", "7x", "0x7", "7.5", "+7", "99999999999999999999"};
}

const std::vector<KeyCase> &key_cases() {
  static const std::vector<KeyCase> cases = {
      {"service",
       "zone",
       {"Europe/Berlin", "UTC", "CET-1CEST,M3.5.0,M10.5.0/3"},
       {"Europe/Nowhere", "x", "5", "-1", "+05:30"}},
      {"service", "interpreter", {"/bin/sh"}, {"sh", "/no/such", "/", "/etc/passwd", ""}},
      {"service", "start-as", {"active", "standby"}, {"Standby", "passive", ""}},
      {"service", "boot-from", {"running", "startup"}, {"Running", "none", ""}},
      {"service", "store-limit", {"1", "1024"}, wrong_numbers("0", "1025")},
      {"limits", "schedules", {"1", "100000"}, wrong_numbers("0", "100001")},
      {"limits", "schedules-per-user", {"1", "100000"}, wrong_numbers("0", "100001")},
      {"limits", "jobs-per-user", {"1", "256"}, wrong_numbers("0", "257")},
      {"limits", "job-text", {"1", "61440"}, wrong_numbers("0", "61441")},
      {"limits", "log-size", {"16", "16384"}, wrong_numbers("15", "16385")},
      {"runs", "parallel", {"1", "1000"}, wrong_numbers("0", "1001")},
      {"runs", "parallel-per-user", {"1", "1000"}, wrong_numbers("0", "1001")},
      {"runs", "missed", {"skip", "run-once"}, {"run_once", "always", ""}},
      {"runs", "missed-window", {"0", "2678400"}, wrong_numbers("-1", "2678401")},
      {"runs", "late-grace", {"1", "3600"}, wrong_numbers("0", "3601")},
      {"runs", "stop-grace", {"0", "600"}, wrong_numbers("-1", "601")},
      {"access", "allow-groups", {"a", "a;", "a;b", "a;b;", ""}, {";", "a;;b", ";a"}},
      {"mail", "send", {"always", "failure", "never"}, {"yes", ""}},
      {"mail", "require-tls", {"true", "false"}, {"1", "yes", "True", ""}},
      {"mail", "credentials", {"/etc/x", ""}, {"x", "./x"}},
      {"mail", "retry-window", {"60", "2678400"}, wrong_numbers("59", "2678401")},
      {"mail", "queue", {"1", "100000"}, wrong_numbers("0", "100001")},
      {"class default", "time-limit", {"1", "604800"}, wrong_numbers("0", "604801")},
      {"class default", "grace", {"0", "600"}, wrong_numbers("-1", "601")},
      {"class default", "memory", {"0", "16", "16777216"}, wrong_numbers("15", "16777217")},
      {"class default", "tasks", {"0", "4194304"}, wrong_numbers("-1", "4194305")},
      {"class default", "cpu", {"0", "1", "100000"}, wrong_numbers("-1", "100001")},
      {"class default", "output", {"1", "8192"}, wrong_numbers("0", "8193")},
      {"class default", "nice", {"-20", "19"}, wrong_numbers("-21", "20")},
      {"class default", "leave-daemons", {"true", "false"}, {"0", "no", ""}},
  };
  return cases;
}

std::string one_key(const KeyCase &each, const std::string &value) {
  return "[" + std::string(each.group) + "]\n" + each.key + "=" + value + "\n";
}

TEST(Settings, every_key_takes_what_is_allowed_and_says_of_the_rest_where_and_what_is) {
  for (const KeyCase &each : key_cases()) {
    for (const std::string &value : each.right)
      EXPECT_THAT(parse(one_key(each, value)).problems, IsEmpty()) << each.key;
    for (const std::string &value : each.wrong) {
      const std::string start =
          "schedd.conf:2: '" + value + "' is not allowed for " + std::string(each.key) + "; it takes ";
      EXPECT_THAT(parse(one_key(each, value)).problems, ElementsAre(::testing::StartsWith(start)));
    }
  }
}

// The value of the key after the text was read.
std::string value_after(const std::string &text, const std::string &group, const std::string &name) {
  service::Settings settings = parse(text).settings;
  std::vector<service::Key> keys = service::keys_of(settings);
  for (service::Key &key : service::class_keys_of(settings.classes.front()))
    keys.push_back(std::move(key));
  for (const service::Key &key : keys)
    if (group == key.group && name == key.name) return service::value_of(key);
  return "(no such key)";
}

std::string as_shown(const std::string &value, const std::string &key) {
  return key == "allow-groups" && !value.empty() && value.back() != ';' ? value + ';' : value;
}

TEST(Settings, every_value_arrives_in_the_record_of_its_own_key) {
  for (const KeyCase &each : key_cases())
    for (const std::string &value : each.right)
      EXPECT_EQ(value_after(one_key(each, value), each.group, each.key), as_shown(value, each.key));
}

TEST(Settings, the_table_of_these_tests_has_every_key) {
  service::Settings settings;
  std::vector<std::string> keys, tested;
  for (const service::Key &key : service::keys_of(settings))
    keys.push_back(std::string(key.group) + "/" + key.name);
  for (const service::Key &key : service::class_keys_of(settings.classes.front()))
    if (std::string(key.name) != "groups") keys.push_back(std::string(key.group) + "/" + key.name);
  for (const KeyCase &each : key_cases())
    tested.push_back(std::string(each.group) + "/" + each.key);
  EXPECT_EQ(tested, keys);
}

struct WrongFile {
  const char *text;
  const char *problem;
};

TEST(Settings, what_is_no_settings_file_is_refused_by_line) {
  const WrongFile rows[] = {
      {"[runs]\nparallel\n", "schedd.conf:2: 'parallel' is neither [group] nor key=value"},
      {"[runs\n", "schedd.conf:1: '[runs' is neither"},
      {"=3\n", "schedd.conf:1: '=3' is neither"},
      {"zone=UTC\n", "schedd.conf:1: a key stands before the first [group]"},
      {"\n\n[run]\n",
       "schedd.conf:3: [run] is no group; there are [service], [limits], [runs], [access], [mail], "
       "[class NAME]"},
      {"[service]\nparallel=3\n",
       "schedd.conf:2: parallel is no key of [service]; there are zone, interpreter, start-as, boot-from, store-limit"},
      {"[runs]\nparallel=3\nparallel=4\n", "schedd.conf:3: parallel stands in line 2 already"},
      {"[runs]\n[runs]\n", "schedd.conf:2: [runs] stands in line 1 already"},
      {"[service]\nzone=UT\xff\n", "schedd.conf:2: is no UTF-8 text"},
      {"[service]\nzo\033[31mne=UTC\n", "schedd.conf:2: holds ^[; of control characters only tabs"},
      {"[service]\nzone=\302\233UTC\n", "schedd.conf:2: holds <U+009B>; of control characters only tabs"},
      {"[service]\nzone=UTC\n[access[]\n", "schedd.conf:3: "},
      {"[class default]\ngroups=a\n", "schedd.conf:2: groups is no key of [class default]"},
      {"[class x]\nnice=3\n", "schedd.conf:1: [class x] names no groups"},
      {"[class ]\ngroups=a\n", "schedd.conf:1: [class ] has no name"},
      {"[class x]\ngroups=a\nnice=20\n", "schedd.conf:3: '20' is not allowed for nice"},
      {"[service]\nzone=a\\qb\n", "schedd.conf:2: "},
  };
  for (const WrongFile &row : rows)
    EXPECT_THAT(parse(row.text).problems, ElementsAre(::testing::StartsWith(row.problem))) << row.text;
  EXPECT_THAT(parse(std::string("[runs]\n\0", 8)).problems,
              ElementsAre("schedd.conf: holds a NUL byte; it must be a text"));
}

// Though no line of the file may have one, a value may: by an escape.
TEST(Settings, a_problem_is_one_line_that_a_terminal_can_show) {
  const service::SettingsRead read = service::parse_settings("[service]\nstart-as=x\\r[2J\\nf:9: all is well\n", "f");
  ASSERT_EQ(read.problems.size(), 1u);
  EXPECT_EQ(read.problems[0].find_first_of("\r\n"), std::string::npos);
  EXPECT_NE(read.problems[0].find("x^M[2J^Jf:9: all is well"), std::string::npos) << read.problems[0];
}

TEST(Settings, all_problems_are_told_in_the_order_of_the_file) {
  EXPECT_THAT(
      parse("[class x]\nnice=99\n[mail]\nsend=x\n[nothing]\n[runs]\nparallel=0\n").problems,
      ElementsAre(HasSubstr(":1: "), HasSubstr(":2: "), HasSubstr(":4: "), HasSubstr(":5: "), HasSubstr(":7: ")));
}

TEST(Settings, blanks_comments_and_line_ends_of_another_system_do_no_harm) {
  const auto read = parse("# first\r\n\r\n [runs] \r\n  parallel = 3 \r\n# parallel=9\r\n");
  EXPECT_THAT(read.problems, IsEmpty());
  EXPECT_EQ(read.settings.max_parallel, 3);
}

TEST(Settings, a_class_begins_with_the_default_wherever_that_stands_and_the_first_that_names_a_group_counts) {
  const auto read = parse(
      "[class night]\ngroups=ops;backup\nnice=5\n[class default]\nnice=10\nmemory=100\n"
      "[class day]\ngroups=backup\nmemory=70\n");
  ASSERT_THAT(read.problems, IsEmpty());
  const auto &night = service::class_for(read.settings, {"users", "backup"});
  EXPECT_EQ(night.name, "night");
  EXPECT_EQ(night.nice, 5);
  EXPECT_EQ(night.memory_mib, 100);
  EXPECT_THAT(night.groups, ElementsAre("ops", "backup"));
  EXPECT_EQ(service::class_for(read.settings, {"users"}).nice, 10);
  EXPECT_EQ(service::class_for(read.settings, {}).name, "default");
}

TEST(Settings, a_class_becomes_the_limits_of_a_run_in_their_units) {
  const auto read = parse("[class default]\ntime-limit=7\ngrace=2\nmemory=16\ntasks=9\ncpu=50\noutput=3\nnice=-4\n");
  ASSERT_THAT(read.problems, IsEmpty());
  const service::Limits limits = service::limits_of(read.settings.classes.front());
  EXPECT_EQ(limits.time_s, 7u);
  EXPECT_EQ(limits.grace_ms, 2000u);
  EXPECT_EQ(limits.memory_bytes, 16u * 1024 * 1024);
  EXPECT_EQ(limits.tasks, 9u);
  EXPECT_EQ(limits.cpu_percent, 50u);
  EXPECT_EQ(limits.output_bytes, 3u * 1024);
  EXPECT_EQ(limits.nice, -4);
}

TEST(Settings, the_default_file_has_every_default_and_changes_nothing) {
  const std::string file = service::default_file();
  EXPECT_THAT(parse(file).problems, IsEmpty());
  std::string open;
  std::istringstream lines(file);
  for (std::string line; std::getline(lines, line);)
    open += line.starts_with('#') && !line.starts_with("# ") && !line.starts_with("#groups") ? line.substr(1) + "\n"
                                                                                             : line + "\n";
  EXPECT_THAT(parse(open).problems, IsEmpty());
  EXPECT_THAT(open, HasSubstr("\nparallel=64\n"));
  service::Settings fresh;
  for (const service::Key &key : service::keys_of(fresh))
    EXPECT_EQ(value_after(open, key.group, key.name), service::value_of(key)) << key.name;
}

TEST(Settings, a_reload_takes_right_settings_and_leaves_those_in_use_otherwise) {
  auto in_use = std::make_shared<const service::Settings>();
  const auto before = in_use;
  EXPECT_FALSE(service::reload(parse("[runs]\nparallel=3\nmissed=x\n"), &in_use));
  EXPECT_EQ(in_use, before);
  EXPECT_TRUE(service::reload(parse("[runs]\nparallel=3\n"), &in_use));
  EXPECT_EQ(in_use->max_parallel, 3);
  EXPECT_EQ(before->max_parallel, 64);
}

// Who has many errors in the file is told of so many as fit a screen.
TEST(Settings, a_reload_says_the_first_problems_or_what_waits_for_a_start) {
  auto in_use = std::make_shared<const service::Settings>();
  std::string wrong, said;
  for (int line = 1; line <= 21; line++) {
    wrong += "wrong\n";
    if (line <= 20)
      said += "reload_test: settings: schedd.conf:" + std::to_string(line) +
              ": 'wrong' is neither [group] nor key=value nor a comment that begins with '#'\n";
  }
  host::syslog_open("reload_test", true);
  testing::internal::CaptureStderr();
  EXPECT_FALSE(service::reload(parse(wrong), &in_use));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            said + "reload_test: settings: not read again, those in use stay\n");
  testing::internal::CaptureStderr();
  EXPECT_TRUE(service::reload(parse("[service]\nstart-as=standby\nstore-limit=7\n[runs]\nparallel=3\n"), &in_use));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "reload_test: settings: start-as=standby takes effect when the service starts again\n"
            "reload_test: settings: store-limit=7 takes effect when the service starts again\n"
            "reload_test: settings: read again\n");
  host::syslog_open("reload_test", false);
}

TEST(Settings, a_client_is_told_of_each_limit_that_is_set) {
  const auto read =
      parse("[limits]\nschedules=11\nschedules-per-user=12\njobs-per-user=13\njob-text=14\nlog-size=17\n");
  ASSERT_THAT(read.problems, IsEmpty());
  const control::ConfiguredLimits limits = service::configured_limits(read.settings);
  EXPECT_EQ(limits.schedules, 11u);
  EXPECT_EQ(limits.schedules_per_user, 12u);
  EXPECT_EQ(limits.jobs_per_user, 13u);
  EXPECT_EQ(limits.job_text, 14u);
  EXPECT_EQ(limits.log_size, 17u);
}

TEST(Settings, the_installed_file_is_the_one_of_the_table) {
  std::ostringstream installed;
  installed << std::ifstream(INSTALLED_SETTINGS).rdbuf();
  EXPECT_EQ(installed.str(), service::default_file());
}

struct SettingsFile : ::testing::Test {
  Directory directory;
  std::string path = directory.path() + "/schedd.conf";
  void write(const std::string &text, mode_t mode = 0644) {
    std::ofstream(path) << text;
    chmod(path.c_str(), mode);
  }
  std::vector<std::string> problems(bool must_exist = true) const {
    return service::read_settings(path, must_exist).problems;
  }
};

// An effective user for as long as it stands; only root can have another one.
struct AsUser {
  explicit AsUser(uid_t user) { EXPECT_EQ(seteuid(user), 0); }
  ~AsUser() { EXPECT_EQ(seteuid(getuid()), 0); }
};

TEST_F(SettingsFile, one_that_was_named_must_be_there) {
  EXPECT_THAT(service::read_settings(path, false).problems, IsEmpty());
  EXPECT_THAT(service::read_settings(path, true).problems, ElementsAre(path + ": No such file or directory"));
}

TEST_F(SettingsFile, its_values_and_its_name_are_in_the_settings) {
  write("[mail]\nsend=failure\n");
  const auto read = service::read_settings(path, true);
  EXPECT_THAT(read.problems, IsEmpty());
  EXPECT_EQ(read.settings.mail, service::MailPolicy::failure);
  EXPECT_EQ(read.settings.file, path);
}

// What the C library's last error was does not matter.
TEST_F(SettingsFile, one_that_is_there_counts_whether_it_was_named_or_not) {
  write("[mail]\nsend=failure\n");
  for (const bool named : {true, false}) {
    errno = ENOENT;
    EXPECT_EQ(service::read_settings(path, named).settings.mail, service::MailPolicy::failure) << named;
  }
}

TEST_F(SettingsFile, one_that_was_not_named_and_cannot_be_there_or_be_seen_is_none) {
  write("");
  EXPECT_THAT(service::read_settings(path + "/below", false).problems, IsEmpty());
  EXPECT_THAT(service::read_settings(path + "/below", true).problems, ElementsAre(HasSubstr("Not a directory")));
  const std::string endless = directory.path() + "/" + std::string(300, 'x');
  EXPECT_THAT(service::read_settings(endless, false).problems, ElementsAre(endless + ": File name too long"));
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
  chmod(directory.path().c_str(), 0700);
  const AsUser other(1);
  EXPECT_THAT(problems(false), IsEmpty());
  EXPECT_THAT(problems(true), ElementsAre(path + ": Permission denied"));
}

TEST_F(SettingsFile, one_of_another_user_is_refused_unless_that_is_root) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to give files away";
  chmod(directory.path().c_str(), 0755);
  write("");
  const auto problems_for = [&](uid_t served) {
    const AsUser other(served);
    return problems();
  };
  EXPECT_THAT(problems_for(2), IsEmpty());
  ASSERT_EQ(chown(path.c_str(), 1, 0), 0);
  EXPECT_THAT(problems_for(1), IsEmpty());
  for (const uid_t served : {0, 2})
    EXPECT_THAT(problems_for(served),
                ElementsAre(::testing::StartsWith(path + ": belongs to user 1; give it to root")));
}

TEST_F(SettingsFile, the_usual_one_is_the_systems_for_root_and_otherwise_the_users_own) {
  const auto usual_with = [](const char *base, const char *home) {
    base != nullptr ? setenv("XDG_CONFIG_HOME", base, 1) : unsetenv("XDG_CONFIG_HOME");
    home != nullptr ? setenv("HOME", home, 1) : unsetenv("HOME");
    return service::usual_settings_file();
  };
  const char *home = std::getenv("HOME");
  const std::string home_before = home != nullptr ? home : "";
  if (geteuid() == 0) {
    EXPECT_EQ(usual_with("/base", "/home"), "/etc/schedcli/schedd.conf");
    const AsUser other(1);
    EXPECT_EQ(usual_with("/base", "/home"), "/base/schedcli/schedd.conf");
  }
  const AsUser other(geteuid() == 0 ? 1 : geteuid());
  EXPECT_EQ(usual_with("/base", "/home"), "/base/schedcli/schedd.conf");
  EXPECT_EQ(usual_with("base", "/home"), "/home/.config/schedcli/schedd.conf");
  EXPECT_EQ(usual_with("", "/home"), "/home/.config/schedcli/schedd.conf");
  EXPECT_EQ(usual_with(nullptr, "/home"), "/home/.config/schedcli/schedd.conf");
  EXPECT_EQ(usual_with(nullptr, nullptr), "/.config/schedcli/schedd.conf");
  setenv("HOME", home_before.c_str(), 1);
}

TEST_F(SettingsFile, one_that_others_may_change_is_refused) {
  for (const mode_t mode : {0664, 0646}) {
    write("", mode);
    EXPECT_THAT(problems(), ElementsAre(HasSubstr("can be written by group or others")));
  }
  chmod(path.c_str(), 0644);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(SettingsFile, what_is_no_file_or_without_end_is_refused) {
  EXPECT_THAT(service::read_settings(directory.path(), true).problems, ElementsAre(HasSubstr("is no file")));
  EXPECT_THAT(service::read_settings("/dev/zero", true).problems, ElementsAre(HasSubstr("is no file")));
  const std::string pipe = directory.path() + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_THAT(service::read_settings(pipe, true).problems, ElementsAre(pipe + ": is no file"));
  write(std::string(1 << 20, '#'));
  EXPECT_THAT(problems(), IsEmpty());
  write(std::string((1 << 20) + 1, '#'));
  EXPECT_THAT(problems(), ElementsAre(path + ": is larger than 1 MiB"));
}

}  // namespace
}  // namespace service_test
