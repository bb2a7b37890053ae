// SPDX-License-Identifier: Apache-2.0
#include "host/files/directory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tests/host/failing_calls.h"
#include "tests/host/store_fixture.h"

namespace files_test {
namespace {

class DirectoryTest : public store_test::StoreTest {
 protected:
  DirectoryTest() { synced.clear(); }
  std::string in(const std::string &name) const { return directory + "/" + name; }
  // Without the directory's path.
  std::string words(const host::Result<void> &result) const {
    const std::string text = result ? "" : result.error().text;
    return text.starts_with(directory) ? text.substr(directory.size()) : text;
  }
  static mode_t mode(const std::string &path) {
    struct stat found {};
    EXPECT_EQ(stat(path.c_str(), &found), 0) << path;
    return found.st_mode & 07777;
  }

  const FailingCalls failing_;
};

TEST_F(DirectoryTest, each_one_that_is_made_is_private_and_durable) {
  const mode_t before = umask(0777);
  const host::Result<void> made = host::make_private_directory(in("a/b/c"));
  umask(before);
  EXPECT_EQ(words(made), "");
  for (const char *name : {"a", "a/b", "a/b/c"})
    EXPECT_EQ(mode(in(name)), 0700U) << name;
  EXPECT_EQ(synced, (std::vector<std::string>{directory, in("a"), in("a/b")}));
}

TEST_F(DirectoryTest, one_that_is_there_is_left_as_it_is) {
  ASSERT_EQ(mkdir(in("a").c_str(), 0700), 0);
  for (const mode_t kept : {mode_t{0700}, mode_t{0755}, mode_t{0500}}) {
    ASSERT_EQ(chmod(in("a").c_str(), kept), 0);
    EXPECT_EQ(words(host::make_private_directory(in("a"))), "");
    EXPECT_EQ(mode(in("a")), kept);
  }
  EXPECT_EQ(synced, std::vector<std::string>{});
}

TEST_F(DirectoryTest, one_that_somebody_else_makes_meanwhile_is_looked_at) {
  trouble = {"mkdir", in("a"), EEXIST};
  EXPECT_EQ(host::make_private_directory(in("a")).code(), host::err_absent);
}

struct Refusal {
  const char *call;
  int error;
  uint32_t status;
  const char *words;
};

TEST_F(DirectoryTest, what_the_system_refuses_is_told_with_what_to_do) {
  const std::string advice = "; check the directory's path and permissions, or name another one";
  const Refusal rows[] = {
      {"mkdir", EACCES, host::err_not_permitted, ": cannot make the directory: Permission denied"},
      {"mkdir", EPERM, host::err_not_permitted, ": cannot make the directory: Operation not permitted"},
      {"mkdir", ENOENT, host::err_absent, ": cannot make the directory: No such file or directory"},
      {"mkdir", EROFS, host::err_io, ": cannot make the directory: Read-only file system"},
      {"chmod", EROFS, host::err_io, ": cannot set the directory's mode: Read-only file system"},
  };
  for (const Refusal &row : rows) {
    trouble = {row.call, in("a"), row.error};
    const host::Result<void> made = host::make_private_directory(in("a"));
    EXPECT_EQ(made.code(), row.status) << row.words;
    EXPECT_EQ(words(made), "/a" + std::string(row.words) + advice);
    rmdir(in("a").c_str());
  }
  trouble = {"fsync", directory, EIO};
  EXPECT_EQ(words(host::make_private_directory(in("a"))),
            "/a: cannot make the directory durable: Input/output error" + advice);
}

TEST_F(DirectoryTest, parent_that_cannot_be_made_is_the_one_that_is_told) {
  trouble = {"mkdir", in("a"), EACCES};
  EXPECT_TRUE(words(host::make_private_directory(in("a/b"))).starts_with("/a: cannot make the directory"));
  store_test::write_file(in("file"), "text");
  const host::Result<void> made = host::make_private_directory(in("file/b"));
  EXPECT_EQ(made.code(), host::err_io);
  EXPECT_TRUE(words(made).starts_with("/file/b: cannot use the directory: Not a directory;")) << words(made);
}

TEST_F(DirectoryTest, what_is_no_private_directory_is_refused) {
  EXPECT_EQ(host::check_private_directory(in("a")).code(), host::err_absent);
  store_test::write_file(in("a"), "text");
  const host::Result<void> file = host::check_private_directory(in("a"));
  EXPECT_EQ(file.code(), host::err_not_permitted);
  EXPECT_EQ(words(file), "/a: is no directory; remove it or name another one");
  ASSERT_EQ(mkdir(in("b").c_str(), 0700), 0);
  for (const mode_t open : {mode_t{0720}, mode_t{0702}, mode_t{0777}}) {
    ASSERT_EQ(chmod(in("b").c_str(), open), 0);
    EXPECT_EQ(words(host::check_private_directory(in("b"))),
              "/b: can be written by group or others; run chmod go-w on it or name another directory");
  }
  if (geteuid() != 0) return;
  ASSERT_EQ(chmod(in("b").c_str(), 0700), 0);
  ASSERT_EQ(chown(in("b").c_str(), 7, 0), 0);
  EXPECT_EQ(words(host::check_private_directory(in("b"))),
            "/b: belongs to user 7, not to user 0; give it to that user (chown) or name another directory");
}

TEST_F(DirectoryTest, one_that_cannot_be_synced_is_not_durable) {
  EXPECT_TRUE(host::sync_directory(directory));
  EXPECT_EQ(synced, std::vector<std::string>{directory});
  EXPECT_FALSE(host::sync_directory(in("none")));
  trouble = {"fsync", directory, EIO};
  EXPECT_FALSE(host::sync_directory(directory));
}

}  // namespace
}  // namespace files_test
