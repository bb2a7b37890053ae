// SPDX-License-Identifier: Apache-2.0
// Where a command writes a file (store dump, copy, | save), somebody else may have put something before.
#include "shell/saved_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {
off_t synced_size = -1;      // of the last file that was
ino_t synced_directory = 0;  // the last one
bool whole_system_synced = false;
}  // namespace

extern "C" int fsync(int file) {
  struct stat status = {};
  if (fstat(file, &status) == 0 && S_ISDIR(status.st_mode))
    synced_directory = status.st_ino;
  else
    synced_size = status.st_size;
  return fdatasync(file);
}

extern "C" int syncfs(int) noexcept {
  whole_system_synced = true;
  return 0;
}

namespace shell {
namespace {

namespace fs = std::filesystem;

std::string text_of(const fs::path &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

class SavedFile : public testing::Test {
 protected:
  SavedFile() {
    char pattern[] = "/tmp/schedsh_saved.XXXXXX";
    directory = mkdtemp(pattern);
    std::ofstream(victim()) << "mine\n";
  }
  ~SavedFile() override { fs::remove_all(directory); }

  fs::path victim() const { return directory / "victim"; }
  fs::path path() const { return directory / "file"; }
  int save() const {
    return write_own_file(path(), [](FILE *file) { return std::fputs("saved\n", file) < 0 ? 1 : 0; });
  }

  fs::path directory;
};

TEST_F(SavedFile, is_made_for_its_owner_alone_and_replaces_what_it_held) {
  EXPECT_EQ(save(), 0);
  std::ofstream(path()) << std::string(10000, 'x');
  EXPECT_EQ(save(), 0);
  EXPECT_EQ(text_of(path()), "saved\n");
  EXPECT_EQ(fs::status(path()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(SavedFile, that_finds_no_room_is_a_failure_wherever_it_ends) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto ignored = signal(SIGXFSZ, SIG_IGN);
  const rlimit small{8192, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const auto save_bytes = [this](size_t size, bool flushed) {
    return write_own_file(path(), [&](FILE *file) {
      const std::string text(size, 'x');
      std::fwrite(text.data(), 1, size, file);
      if (flushed) std::fflush(file);
      return 0;
    });
  };
  EXPECT_EQ(save_bytes(8192, false), 0);
  EXPECT_NE(save_bytes(8193, false), 0);  // in the last buffer
  EXPECT_NE(save_bytes(20000, true), 0);  // before it
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, ignored);
}

TEST_F(SavedFile, is_on_the_disk_with_all_of_it_when_that_is_said) {
  EXPECT_EQ(save(), 0);
  EXPECT_EQ(synced_size, static_cast<off_t>(fs::file_size(path())));
  struct stat status = {};
  ASSERT_EQ(stat(directory.c_str(), &status), 0);
  EXPECT_EQ(synced_directory, status.st_ino);
}

TEST_F(SavedFile, in_a_directory_that_cannot_be_read_is_on_the_disk_all_the_same) {
  if (geteuid() == 0) {
    ASSERT_EQ(chown(directory.c_str(), 65534, 65534), 0);
    ASSERT_EQ(seteuid(65534), 0);
  }
  ASSERT_EQ(chmod(directory.c_str(), 0300), 0);
  whole_system_synced = false;
  EXPECT_EQ(save(), 0);
  EXPECT_TRUE(whole_system_synced);
  chmod(directory.c_str(), 0700);
  seteuid(getuid());
}

TEST_F(SavedFile, is_written_through_no_symbolic_link) {
  fs::create_symlink(victim(), path());
  EXPECT_NE(save(), 0);
  EXPECT_EQ(text_of(victim()), "mine\n");
  fs::remove(path());
  fs::create_symlink(directory / "not-there", path());
  EXPECT_NE(save(), 0);
  EXPECT_FALSE(fs::exists(directory / "not-there"));
}

TEST_F(SavedFile, is_written_through_no_hard_link) {
  fs::create_hard_link(victim(), path());
  EXPECT_NE(save(), 0);
  EXPECT_EQ(text_of(victim()), "mine\n");
}

TEST_F(SavedFile, is_no_device_and_no_pipe_and_nobody_waits_for_its_reader) {
  ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
  EXPECT_NE(save(), 0);
  fs::remove(path());
  fs::create_directory(path());
  EXPECT_NE(save(), 0);
}

TEST_F(SavedFile, of_somebody_else_is_left_alone_by_root_too) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  fs::rename(victim(), path());
  ASSERT_EQ(chown(path().c_str(), 65534, 65534), 0);
  EXPECT_NE(save(), 0);
  EXPECT_EQ(text_of(path()), "mine\n");
}

}  // namespace
}  // namespace shell
