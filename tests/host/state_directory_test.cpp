// SPDX-License-Identifier: Apache-2.0
// What a service finds in its state directory, takes over, and makes of it. Each start is a process of its own, and in
// it a call of the system can be made to fail.
#include "host/state_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <set>

#include "tests/host/store_fixture.h"

namespace {

std::string failing;   // the call and its path
std::string log_file;  // of the process that takes the directory

bool fails(const std::string &call) {
  if (call != failing) return false;
  errno = EDQUOT;
  return true;
}

std::string file_of(int descriptor) {
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
}

}  // namespace

// In the place of the C library's, for every library of the process.
extern "C" {
int flock(int descriptor, int operation) noexcept {
  return fails("flock " + file_of(descriptor)) ? -1 : static_cast<int>(syscall(SYS_flock, descriptor, operation));
}
int fchmod(int descriptor, mode_t mode) noexcept {
  return fails("fchmod " + file_of(descriptor)) ? -1 : static_cast<int>(syscall(SYS_fchmod, descriptor, mode));
}
int chmod(const char *path, mode_t mode) noexcept {
  return fails(std::string("chmod ") + path) ? -1 : static_cast<int>(syscall(SYS_fchmodat, AT_FDCWD, path, mode));
}
int rename(const char *from, const char *to) noexcept {
  return fails(std::string("rename ") + to) ? -1
                                            : static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
int syncfs(int descriptor) noexcept {
  return fails("syncfs " + file_of(descriptor)) ? -1 : static_cast<int>(syscall(SYS_syncfs, descriptor));
}
int fsync(int descriptor) {
  return fails("fsync " + file_of(descriptor)) ? -1 : static_cast<int>(syscall(SYS_fsync, descriptor));
}
void vsyslog(int priority, const char *format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  std::ofstream(log_file, std::ios::app) << LOG_PRI(priority) << " " << text << "\n";
}
}

namespace store_test {
namespace {

namespace fs = std::filesystem;

class StateDirectoryTest : public StoreTest {
 protected:
  StateDirectoryTest() { log_file = directory + "-log"; }
  ~StateDirectoryTest() override {
    fs::remove(log_file);
    fs::remove(words_file());
  }

  // Why the directory is not taken, without its path; empty: it is taken.
  std::string take(const std::string &failing_call = "") {
    const std::string words = words_file();
    const int code = in_another_process([&] {
      failing = failing_call;
      const host::Result<void> taken = host::take_state_directory();
      failing.clear();
      write_file(words, taken ? "" : taken.error().text);
      return taken ? 0 : taken.code() == host::err_io ? 1 : taken.code() == host::err_state_newer ? 2 : 3;
    });
    const std::string text = file_content(words);
    EXPECT_EQ(code, text.empty() ? 0 : text.find("newer version") != std::string::npos ? 2 : 1) << text;
    return text.starts_with(directory) ? text.substr(directory.size()) : text;
  }

  std::string in_state(const std::string &name) const { return directory + "/" + name; }

  void write_private(const std::string &name, const std::string &content) const {
    write_file(in_state(name), content);
    ASSERT_EQ(chmod(in_state(name).c_str(), 0600), 0);
  }

  void make_store(const std::string &uri) {
    pss_close(create(uri));
    opened.pop_back();
  }

  mode_t mode(const std::string &name) const {
    struct stat found {};
    EXPECT_EQ(stat(in_state(name).c_str(), &found), 0) << name;
    return found.st_mode & 07777;
  }

  std::set<std::string> names_in(const std::string &name) const {
    std::set<std::string> names;
    for (const auto &entry : fs::recursive_directory_iterator(in_state(name)))
      names.insert(fs::relative(entry.path(), in_state(name)));
    return names;
  }

 private:
  std::string words_file() const { return directory + "-words"; }
};

TEST_F(StateDirectoryTest, new_one_has_locks_that_tell_who_has_them_and_this_version) {
  const mode_t before = umask(0777);
  EXPECT_EQ(take(), "");
  umask(before);
  EXPECT_EQ(names_in(""), (std::set<std::string>{"run", "run/service.lock", "service.lock", "version"}));
  for (const char *name : {"service.lock", "run/service.lock", "version"})
    EXPECT_EQ(mode(name), 0600U) << name;
  EXPECT_EQ(file_content(in_state("service.lock")), file_content(in_state("run/service.lock")));
  EXPECT_EQ(file_content(in_state("version")), "2\n");
  EXPECT_EQ(file_content(log_file), "");
}

TEST_F(StateDirectoryTest, lock_of_an_ended_process_is_taken_over_with_nothing_of_it_left) {
  EXPECT_EQ(take(), "");
  write_file(in_state("service.lock"), std::string(100, '9') + "\n");
  const int id = in_another_process([&] {
    const bool taken = static_cast<bool>(host::take_state_directory());
    return taken && file_content(in_state("service.lock")) == std::to_string(getpid()) + "\n" ? 0 : 1;
  });
  EXPECT_EQ(id, 0);
}

TEST_F(StateDirectoryTest, process_takes_it_once_however_often_it_asks) {
  EXPECT_EQ(in_another_process([] { return host::take_state_directory() && host::take_state_directory() ? 0 : 1; }), 0);
}

// What it starts might outlive the service, which could not start again.
TEST_F(StateDirectoryTest, locks_are_not_handed_on_to_what_the_service_starts) {
  EXPECT_EQ(in_another_process([&] {
              if (!host::take_state_directory()) return 1;
              const std::string list = "ls -l /proc/self/fd > " + log_file;
              if (std::system(list.c_str()) != 0) return 2;
              return file_content(log_file).find("service.lock") == std::string::npos ? 0 : 3;
            }),
            0);
}

TEST_F(StateDirectoryTest, lock_that_is_a_link_is_not_followed) {
  write_file(in_state("elsewhere"), "mine\n");
  fs::create_symlink(in_state("elsewhere"), in_state("service.lock"));
  EXPECT_EQ(take(), "/service.lock: Too many levels of symbolic links; check the directory's permissions");
  EXPECT_EQ(file_content(in_state("elsewhere")), "mine\n");
}

TEST_F(StateDirectoryTest, one_that_others_can_write_is_refused_before_anything_is_made_in_it) {
  ASSERT_EQ(chmod(directory.c_str(), 0777), 0);
  EXPECT_EQ(host::take_state_directory().code(), host::err_not_permitted);
  EXPECT_TRUE(fs::is_empty(directory));
}

struct Failing {
  const char *call;
  std::string words;
};

TEST_F(StateDirectoryTest, what_the_system_refuses_is_told_with_what_to_do) {
  const std::string quota = "Disk quota exceeded";
  const Failing rows[] = {
      {"flock /service.lock", "/service.lock: " + quota},
      {"fchmod /service.lock", "/service.lock: " + quota + "; make room on the disk"},
      {"chmod /run", "/run: cannot open the directory to users: " + quota},
      {"syncfs /before-version-2.new",
       "/before-version-2: cannot keep a copy of the older state: " + quota + "; make room on the disk"},
      {"chmod /before-version-2.new",
       "/before-version-2: cannot keep a copy of the older state: " + quota + "; make room on the disk"},
      {"rename /before-version-2",
       "/before-version-2: cannot keep a copy of the older state: " + quota + "; make room on the disk"},
  };
  if (geteuid() != 0) GTEST_SKIP() << "the run directory is open to every user where root serves";
  fs::create_directory(in_state("run"));
  ASSERT_EQ(chmod(in_state("run").c_str(), 0700), 0);
  make_store("running:scheduler_runtime");
  for (const Failing &row : rows) {
    const std::string call(row.call);
    EXPECT_EQ(take(std::string(call).insert(call.find('/'), directory)), row.words) << call;
    EXPECT_FALSE(fs::exists(in_state("before-version-2"))) << call;
    EXPECT_FALSE(fs::exists(in_state("before-version-2.new"))) << call;
    EXPECT_FALSE(fs::exists(in_state("version"))) << call;
  }
  EXPECT_EQ(take(), "");
  EXPECT_TRUE(fs::exists(in_state("before-version-2")));
}

TEST_F(StateDirectoryTest, copy_of_the_older_state_that_cannot_be_made_durable_is_told) {
  fs::create_directory(in_state("run"));
  write_private("version", "1\n");
  EXPECT_EQ(take("fsync " + directory), ": Disk quota exceeded");
  EXPECT_EQ(file_content(in_state("version")), "1\n");
}

struct Version {
  const char *text;
  std::string words;
};

TEST_F(StateDirectoryTest, version_is_a_number_that_this_service_knows) {
  const std::string none = "/version: holds no version; restore it, or name another state directory";
  const auto newer = [](const std::string &version) {
    return ": was written by a newer version of the service (" + version +
           ", this one knows 2); install that, or name another state directory";
  };
  const Version rows[] = {
      {"2\n", ""},
      {"3\n", newer("3")},
      {"1000000\n", newer("1000000")},
      {"1000001\n", none},
      {"0\n", none},
      {"-1\n", none},
      {"2", none},
      {"2\n\n", none},
      {"2x\n", none},
      {"\n", none},
      {"x\n", none},
      {"", none},
      {"00000000000003\n", newer("3")},
      {"0000000000000003\n", "/version: is too large to be this file; restore it from a backup"},
  };
  for (const Version &row : rows) {
    write_private("version", row.text);
    EXPECT_EQ(take(), row.words) << row.text;
    EXPECT_EQ(file_content(in_state("version")), row.text);
  }
}

TEST_F(StateDirectoryTest, version_that_is_there_is_not_written_again) {
  EXPECT_EQ(take(), "");
  struct stat before {
  }, behind{};
  ASSERT_EQ(stat(in_state("version").c_str(), &before), 0);
  EXPECT_EQ(take(), "");
  ASSERT_EQ(stat(in_state("version").c_str(), &behind), 0);
  EXPECT_EQ(before.st_ino, behind.st_ino);
}

TEST_F(StateDirectoryTest, either_store_of_the_configuration_is_an_older_state) {
  for (const char *uri : {"running:scheduler_runtime", "startup:scheduler_startup"}) {
    make_store(uri);
    EXPECT_EQ(take(), "");
    EXPECT_TRUE(fs::exists(in_state("before-version-2"))) << uri;
    EXPECT_EQ(file_content(in_state("version")), "2\n");
    for (const auto &entry : fs::directory_iterator(directory))
      fs::remove_all(entry.path());
  }
}

TEST_F(StateDirectoryTest, older_state_is_copied_with_all_that_is_the_services) {
  write_private("version", "1\n");
  write_private("passwords", "secret");
  fs::create_directories(in_state("flash/logs"));
  write_file(in_state("flash/logs/a"), "text");
  fs::create_directory(in_state("before-version-1"));
  fs::create_directory(in_state("run"));
  ASSERT_EQ(mkfifo(in_state("pipe").c_str(), 0600), 0);
  fs::create_directory(in_state("before-version-2.new"));  // of an attempt that was broken off
  write_file(in_state("before-version-2.new/half"), "a copy");
  EXPECT_EQ(take(), "");
  EXPECT_EQ(names_in("before-version-2"),
            (std::set<std::string>{"flash", "flash/logs", "flash/logs/a", "passwords", "version"}));
  EXPECT_EQ(file_content(in_state("before-version-2/version")), "1\n");
  EXPECT_EQ(mode("before-version-2"), 0700U);
  EXPECT_EQ(file_content(in_state("version")), "2\n");
  EXPECT_FALSE(fs::exists(in_state("before-version-2.new")));
  EXPECT_EQ(file_content(log_file), std::to_string(LOG_NOTICE) + " state directory " + directory +
                                        ": migrated from version 1 to 2; the old state is kept in " + directory +
                                        "/before-version-2\n");
}

TEST_F(StateDirectoryTest, marker_of_the_boot_is_taken_over_unless_there_is_one) {
  write_private("version", "1\n");
  EXPECT_EQ(take(), "");
  EXPECT_FALSE(fs::exists(in_state("boot")));
  for (const char *boot : {"boot-1\n", "boot-2\n"}) {
    write_private("version", "1\n");
    write_file(in_state("run/boot"), boot);
    EXPECT_EQ(take(), "");
    EXPECT_EQ(file_content(in_state("boot")), "boot-1\n");
  }
}

}  // namespace
}  // namespace store_test
