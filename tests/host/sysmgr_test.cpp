// SPDX-License-Identifier: Apache-2.0
// Each start of the service is a process of its own.
#include "host/sysmgr.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "platform/sysmgr.h"
#include "tests/host/store_fixture.h"

namespace {
std::string notes;  // a file for the directories whose disk was synced, with the number of what was in each
}

extern "C" int syncfs(int descriptor) noexcept {
  const auto directory = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
  const auto entries = std::filesystem::directory_iterator(directory);
  std::ofstream(notes) << directory.string() << " " << std::distance(begin(entries), end(entries)) << "\n";
  return static_cast<int>(syscall(SYS_syncfs, descriptor));
}

namespace store_test {
namespace {

enum Seen { refused = 64, first_since_boot = 1, stateless = 2, running_kept = 4 };

class SysmgrTest : public StoreTest {
 protected:
  ~SysmgrTest() override { unsetenv("SCHEDCLI_BOOT_ID"); }

  // A start in boot `id`; `complete`: up to the marked end of the start-up.
  static int start(const char *id, bool complete, host::BootFrom boot_from = host::BootFrom::startup) {
    setenv("SCHEDCLI_BOOT_ID", id, 1);
    return in_another_process([complete, boot_from] {
      if (!host::sysmgr_prepare(boot_from) || !host::sysmgr_drop_running_configuration())
        return static_cast<int>(refused);
      const int seen = (host::sysmgr_first_start_since_boot() ? first_since_boot : 0) |
                       (sysmgr_is_stateless_restart() != 0 ? stateless : 0) |
                       (host::store_exists("running:scheduler_runtime") ? running_kept : 0);
      if (complete && !host::sysmgr_mark_started()) return static_cast<int>(refused);
      return seen;
    });
  }

  void make_store(const std::string &uri) {
    pss_close(create(uri));
    opened.pop_back();
  }
};

// A service that has started and runs until it is killed.
class Service {
 public:
  Service() {
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    child_ = fork();
    if (child_ == 0) {
      const char answer = host::sysmgr_prepare(host::BootFrom::startup) ? 'y' : 'n';
      if (write(ready[1], &answer, 1) != 1) _exit(1);
      for (;;)
        pause();
    }
    char answer = 0;
    EXPECT_EQ(read(ready[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
  }
  ~Service() { end(); }
  void end() {
    if (child_ > 0) kill(child_, SIGKILL);
    if (child_ > 0) waitpid(child_, nullptr, 0);
    child_ = 0;
  }
  pid_t id() const { return child_; }

 private:
  pid_t child_ = 0;
};

std::string prepare_error(const std::function<int(const std::function<int()> &)> &run, const std::string &file) {
  run([&file] {
    host::Result<void> result = host::sysmgr_prepare(host::BootFrom::startup);
    if (result) result = host::sysmgr_drop_running_configuration();
    write_file(file, result ? "prepared" : result.error().text);
    return 0;
  });
  return file_content(file);
}

TEST_F(SysmgrTest, start_makes_directories_that_nobody_else_can_change) {
  const std::string inner = directory + "/new/state";
  host::use_paths(host::resolve_paths(inner.c_str()));
  EXPECT_EQ(start("boot-1", true), first_since_boot);
  const std::pair<const char *, mode_t> expected[] = {{"", 0700}, {"/run", geteuid() == 0 ? 0755 : 0700}};
  for (const auto &[name, mode] : expected) {
    struct stat found {};
    ASSERT_EQ(stat((inner + name).c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, mode) << name;
  }
}

TEST_F(SysmgrTest, start_is_a_boot_until_one_was_completed) {
  EXPECT_EQ(start("boot-1", false), first_since_boot);
  EXPECT_EQ(start("boot-1", true), first_since_boot);
  EXPECT_EQ(start("boot-1", true), 0);
  EXPECT_EQ(start("boot-1", false), 0);
  EXPECT_EQ(start("boot-2", false), first_since_boot);
  EXPECT_EQ(start("boot-2", false), first_since_boot);
}

TEST_F(SysmgrTest, boot_without_a_startup_configuration_goes_on_with_the_running_one) {
  make_store("running:scheduler_runtime");
  EXPECT_EQ(start("boot-1", true), first_since_boot | running_kept);
  EXPECT_EQ(start("boot-2", true), first_since_boot | running_kept);
}

TEST_F(SysmgrTest, boot_with_a_startup_configuration_drops_the_running_one_alone) {
  make_store("running:scheduler_runtime");
  make_store("running:scheduler_runtime_database");
  make_store("running:scheduler_debug_runtime");
  make_store("startup:scheduler_startup");
  EXPECT_EQ(start("boot-1", false), first_since_boot | stateless);
  EXPECT_TRUE(host::store_exists("running:scheduler_runtime_database"));
  EXPECT_TRUE(host::store_exists("running:scheduler_debug_runtime"));
  EXPECT_TRUE(host::store_exists("startup:scheduler_startup"));
  EXPECT_EQ(start("boot-1", false), first_since_boot | stateless);
}

TEST_F(SysmgrTest, restart_keeps_the_running_configuration_whatever_has_been_saved) {
  EXPECT_EQ(start("boot-1", true), first_since_boot);
  make_store("running:scheduler_runtime");
  make_store("startup:scheduler_startup");
  EXPECT_EQ(start("boot-1", true), running_kept);
}

TEST_F(SysmgrTest, boot_that_goes_on_with_the_running_configuration_drops_nothing) {
  make_store("running:scheduler_runtime");
  make_store("startup:scheduler_startup");
  EXPECT_EQ(start("boot-1", true, host::BootFrom::running), first_since_boot | running_kept);
  EXPECT_EQ(start("boot-2", true, host::BootFrom::running), first_since_boot | running_kept);
}

TEST_F(SysmgrTest, restart_whose_run_directory_was_removed_is_no_boot) {
  make_store("running:scheduler_runtime");
  make_store("startup:scheduler_startup");
  EXPECT_EQ(start("boot-1", true, host::BootFrom::running), first_since_boot | running_kept);
  std::filesystem::remove_all(directory + "/run");
  EXPECT_EQ(start("boot-1", true), running_kept);
}

TEST_F(SysmgrTest, second_service_on_a_run_directory_is_refused_whatever_its_state_directory_is) {
  setenv("SCHEDCLI_RUN_DIR", (directory + "/shared").c_str(), 1);
  host::use_paths(host::resolve_paths((directory + "/first").c_str()));
  Service first;
  host::use_paths(host::resolve_paths((directory + "/second").c_str()));
  unsetenv("SCHEDCLI_RUN_DIR");
  EXPECT_EQ(prepare_error(in_another_process, directory + "/words"),
            directory + "/shared/service.lock: process " + std::to_string(first.id()) +
                " serves this directory already; stop it, or name another run directory");
}

TEST_F(SysmgrTest, new_state_directory_has_this_version) {
  start("boot-1", true);
  EXPECT_EQ(file_content(directory + "/version"), "2\n");
  EXPECT_FALSE(std::filesystem::exists(directory + "/before-version-2"));
}

// What a version before this one left: stores, a marker in the run directory, and no version.
TEST_F(SysmgrTest, copy_of_an_older_state_directory_is_on_the_disk_before_it_has_its_name) {
  make_store("running:scheduler_runtime");
  make_store("startup:scheduler_startup");
  const auto copied = std::filesystem::directory_iterator(directory);
  const auto count = std::distance(begin(copied), end(copied));
  notes = directory + "-notes";
  EXPECT_EQ(start("boot-1", true), first_since_boot | stateless);
  EXPECT_EQ(file_content(notes), directory + "/before-version-2.new " + std::to_string(count) + "\n");
  std::filesystem::remove(notes);
}

TEST_F(SysmgrTest, older_state_directory_is_migrated_once_and_kept) {
  make_store("running:scheduler_runtime");
  make_store("startup:scheduler_startup");
  const std::string store = host::store_path("running:scheduler_runtime");
  const std::string kept = directory + "/before-version-2/" + std::filesystem::relative(store, directory).string();
  std::filesystem::create_directory(directory + "/run");
  write_file(directory + "/run/boot", "boot-1\n");
  const std::string old = file_content(store);
  EXPECT_EQ(start("boot-1", true), running_kept);
  EXPECT_EQ(file_content(kept), old);
  EXPECT_EQ(file_content(directory + "/version"), "2\n");
  write_file(kept, "touched");
  EXPECT_EQ(start("boot-2", true), first_since_boot | stateless);
  EXPECT_EQ(file_content(kept), "touched");
}

TEST_F(SysmgrTest, state_directory_of_a_newer_or_unknown_version_is_refused_and_left_alone) {
  for (const char *version : {"3\n", "x\n", "", "2", "0\n"}) {
    write_file(directory + "/version", version);
    ASSERT_EQ(chmod((directory + "/version").c_str(), 0600), 0);
    EXPECT_EQ(start("boot-1", true), refused) << version;
    EXPECT_EQ(file_content(directory + "/version"), version);
  }
}

TEST_F(SysmgrTest, start_without_a_given_boot_id_uses_the_kernels) {
  EXPECT_EQ(start("", true), first_since_boot);
  EXPECT_EQ(start("", true), 0);
  EXPECT_EQ(file_content(directory + "/boot"), file_content("/proc/sys/kernel/random/boot_id"));
}

TEST_F(SysmgrTest, damaged_marker_is_a_boot) {
  start("boot-1", true);
  write_file(directory + "/boot", "");
  EXPECT_EQ(start("boot-1", true), first_since_boot);
}

TEST_F(SysmgrTest, damaged_running_store_is_told_and_kept) {
  make_store("startup:scheduler_startup");
  const std::string path = host::store_path("running:scheduler_runtime");
  write_file(path, "damaged");
  EXPECT_EQ(start("boot-1", true), refused);
  EXPECT_EQ(prepare_error(in_another_process, directory + "/words").find(path + ": is no store"), 0U);
  EXPECT_EQ(file_content(path), "damaged");
}

TEST_F(SysmgrTest, second_service_is_told_who_the_first_one_is) {
  Service first;
  const std::string words = prepare_error(in_another_process, directory + "/words");
  EXPECT_EQ(words, directory + "/service.lock: process " + std::to_string(first.id()) +
                       " serves this directory already; stop it, or name another state directory");
}

TEST_F(SysmgrTest, killed_service_is_in_nobodys_way) {
  Service first;
  first.end();
  EXPECT_EQ(prepare_error(in_another_process, directory + "/words"), "prepared");
}

TEST_F(SysmgrTest, directory_that_others_can_write_is_refused) {
  ASSERT_EQ(chmod(directory.c_str(), 0777), 0);
  EXPECT_EQ(start("boot-1", true), refused);
  ASSERT_EQ(chmod(directory.c_str(), 0700), 0);
  std::filesystem::create_directory(directory + "/run");
  ASSERT_EQ(chmod((directory + "/run").c_str(), 0770), 0);
  const std::string words = prepare_error(in_another_process, directory + "/words");
  EXPECT_EQ(words.find(directory + "/run: can be written by group or others"), 0U) << words;
}

TEST_F(SysmgrTest, nothing_is_stateless_before_the_service_has_prepared) {
  make_store("startup:scheduler_startup");
  EXPECT_EQ(sysmgr_is_stateless_restart(), 0);
  EXPECT_FALSE(host::sysmgr_first_start_since_boot());
}

TEST(SysmgrUriTest, every_store_of_the_scheduler_has_a_short_uri_and_a_path) {
  struct Named {
    const char *base, *name, *uri;
  };
  const Named cases[] = {
      {sysmgr_running_cfg_uri_get(), "scheduler_runtime", "running:scheduler_runtime"},
      {sysmgr_running_cfg_uri_get(), "scheduler_runtime_database", "running:scheduler_runtime_database"},
      {sysmgr_running_cfg_uri_get(), "scheduler_debug_runtime", "running:scheduler_debug_runtime"},
      {sysmgr_startup_cfg_uri_get(), "scheduler_startup", "startup:scheduler_startup"},
      {sysmgr_debug_cfg_uri_get(), "scheduler_debug_startup", "debug:scheduler_debug_startup"},
  };
  for (const Named &each : cases) {
    EXPECT_STREQ(sysmgr_uri_complete(each.base, "", each.name), each.uri);
    EXPECT_NE(host::store_path(each.uri), "") << each.uri;
  }
}

TEST(SysmgrUriTest, uri_that_does_not_fit_is_none) {
  EXPECT_STREQ(sysmgr_uri_complete("", "", std::string(63, 'a').c_str()), std::string(63, 'a').c_str());
  EXPECT_EQ(sysmgr_uri_complete("", "", std::string(64, 'a').c_str()), nullptr);
  EXPECT_EQ(sysmgr_uri_complete(nullptr, "", "name"), nullptr);
  EXPECT_EQ(sysmgr_uri_complete("running:", "", nullptr), nullptr);
  EXPECT_STREQ(sysmgr_uri_complete("running:", nullptr, "name"), "running:name");
}

}  // namespace
}  // namespace store_test
