// SPDX-License-Identifier: Apache-2.0
// Whoever may write to a directory can put something in a file's place just before it is opened, or exchange it just
// behind. What is exchanged here is so at that very moment: this open() comes before the C library's.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#include "host/files/paths.h"
#include "host/files/private_file.h"
#include "host/files/whole_file.h"
#include "host/status.h"
#include "platform/pss.h"

namespace {

std::function<void(const std::string &path)> before_open, behind_open;

void call_once(std::function<void(const std::string &)> &hook, const char *path) {
  if (const auto called = std::exchange(hook, nullptr)) called(path);
}

}  // namespace

extern "C" {
int open_with_hooks(const char *path, int flags, ...) __asm__("open");
int open_with_hooks(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
  va_end(arguments);
  call_once(before_open, path);
  const auto file = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
  call_once(behind_open, path);
  return file;
}
}

namespace {

namespace fs = std::filesystem;

std::string text_of(const fs::path &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

class PlantedFile : public testing::Test {
 protected:
  PlantedFile() {
    char pattern[] = "/tmp/schedcli_planted.XXXXXX";
    directory = mkdtemp(pattern);
    write(victim(), "mine\n");
    host::use_paths(host::resolve_paths((directory / "state").c_str()));
  }
  ~PlantedFile() override {
    before_open = behind_open = nullptr;
    fs::remove_all(directory);
  }

  static void write(const fs::path &path, const std::string &text) {
    std::ofstream(path) << text;
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
  }
  fs::path victim() const { return directory / "victim"; }
  fs::path path() const { return directory / "file"; }

  fs::path directory;
};

TEST_F(PlantedFile, a_draft_is_written_through_no_link_that_was_put_there_at_the_last_moment) {
  for (const bool hard : {false, true}) {
    before_open = [&](const std::string &draft) {
      hard ? fs::create_hard_link(victim(), draft) : fs::create_symlink(victim(), draft);
    };
    EXPECT_FALSE(host::write_whole_file(path(), std::string("new"))) << hard;
    EXPECT_EQ(text_of(victim()), "mine\n") << hard;
    EXPECT_TRUE(host::write_whole_file(path(), std::string("new"))) << "the next time there is none";
    EXPECT_EQ(text_of(path()), "new");
  }
}

TEST_F(PlantedFile, a_store_is_made_through_no_link) {
  fs::create_directory(directory / "state");
  fs::permissions(directory / "state", fs::perms::owner_all);
  fs::create_symlink(victim(), directory / "state/running-a.mdb");
  uint32_t error = 0;
  EXPECT_EQ(pss_create("running:a", &error), 0u);
  EXPECT_EQ(text_of(victim()), "mine\n");
}

TEST_F(PlantedFile, a_private_file_is_read_through_no_link) {
  fs::create_symlink(victim(), path());
  EXPECT_FALSE(host::read_private_file(path(), 100));
}

TEST_F(PlantedFile, a_private_file_is_the_one_that_was_looked_at) {
  write(path(), "others may have written this");
  fs::permissions(path(), fs::perms::group_write, fs::perm_options::add);
  behind_open = [&](const std::string &) { fs::rename(victim(), path()); };
  EXPECT_FALSE(host::read_private_file(path(), 100)) << "what is at the path now is another file";
}

}  // namespace
