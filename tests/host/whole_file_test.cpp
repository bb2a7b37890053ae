// SPDX-License-Identifier: Apache-2.0
#include "host/files/whole_file.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>

#include "host/files/file_descriptor.h"
#include "host/status.h"
#include "tests/host/failing_calls.h"
#include "tests/host/store_fixture.h"

namespace files_test {
namespace {

int pipe_end = -1;
volatile sig_atomic_t interruptions = 0;

// Nothing is in the pipe before, so that each of them finds the reader waiting.
void write_at_the_third(int) {
  interruptions = interruptions + 1;
  if (interruptions != 3) return;
  if (write(pipe_end, "text", 4) != 4) return;
  close(pipe_end);
}

// Interrupts the thread each millisecond, and its calls are not begun again by the system.
class Interruptions {
 public:
  explicit Interruptions(void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    sigaction(SIGALRM, &action, &before_);
    set({{0, 1000}, {0, 1000}});
  }
  ~Interruptions() {
    set({});
    sigaction(SIGALRM, &before_, nullptr);
  }
  Interruptions(const Interruptions &) = delete;
  Interruptions &operator=(const Interruptions &) = delete;

 private:
  static void set(const itimerval &interval) { setitimer(ITIMER_REAL, &interval, nullptr); }
  struct sigaction before_ = {};
};

TEST(ReadToEnd, goes_on_after_a_signal) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const host::FileDescriptor from(ends[0]);
  pipe_end = ends[1];
  const Interruptions interrupted(write_at_the_third);
  const host::Result<std::string> text = host::read_to_end(from.get(), 100);
  ASSERT_TRUE(text) << text.error().text;
  EXPECT_EQ(*text, "text");
  EXPECT_GE(interruptions, 3);
}

TEST(ReadToEnd, reads_one_byte_above_the_limit_and_no_more) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const host::FileDescriptor from(ends[0]);
  host::FileDescriptor into(ends[1]);
  ASSERT_EQ(write(into.get(), "123456789", 9), 9);
  EXPECT_EQ(*host::read_to_end(from.get(), 4), "12345");
  into = host::FileDescriptor();
  EXPECT_EQ(*host::read_to_end(from.get(), 4), "6789");
}

TEST(ReadToEnd, stops_there_also_when_it_comes_in_pieces) {
  const FailingCalls pieces;
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const host::FileDescriptor from(ends[0]), into(ends[1]);
  ASSERT_EQ(write(into.get(), "123456789", 9), 9);
  most_at_once = 2;
  EXPECT_EQ(*host::read_to_end(from.get(), 4), "12345");
}

TEST(ReadToEnd, tells_what_cannot_be_read) {
  const host::Result<std::string> text = host::read_to_end(-1, 100);
  EXPECT_EQ(text.code(), host::err_io);
  EXPECT_EQ(text.error().text, "Bad file descriptor");
}

std::span<const std::byte> bytes_of(const std::string &text) {
  return std::as_bytes(std::span(text));
}

class WholeFileTest : public store_test::StoreTest {
 protected:
  WholeFileTest() { synced.clear(); }
  bool draft_is_there() const { return std::filesystem::exists(path + ".new"); }
  std::string create_error(uint32_t size, const std::string &head) const {
    const auto file = host::create_whole_file(path, size, bytes_of(head));
    if (file) return "";
    EXPECT_EQ(file.code(), host::err_io);
    return file.error().text;
  }

  const std::string path = directory + "/file";
  const FailingCalls failing_;
};

TEST_F(WholeFileTest, has_its_size_its_head_and_zeros_behind_and_is_private_and_durable) {
  const mode_t before = umask(0777);
  const auto file = host::create_whole_file(path, 10, bytes_of("head"));
  umask(before);
  ASSERT_TRUE(file) << file.error().text;
  EXPECT_EQ(store_test::file_content(path), std::string("head") + std::string(6, '\0'));
  struct stat found {};
  ASSERT_EQ(stat(path.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 07777, 0600U);
  EXPECT_FALSE(draft_is_there());
  EXPECT_EQ(synced, (std::vector<std::string>{path + ".new", directory}));
  EXPECT_TRUE(host::write_at(file->get(), bytes_of("tail"), 6));
  EXPECT_EQ(store_test::file_content(path), std::string("head\0\0tail", 10));
}

TEST_F(WholeFileTest, may_have_any_size) {
  for (const uint32_t size : {0U, 1U, 2U, 5000U}) {
    EXPECT_EQ(create_error(size, ""), "") << size;
    EXPECT_EQ(std::filesystem::file_size(path), size);
  }
}

TEST_F(WholeFileTest, replaces_what_a_crash_has_left_and_the_file_itself) {
  store_test::write_file(path + ".new", "half of something that was longer");
  store_test::write_file(path, "old");
  EXPECT_TRUE(host::write_whole_file(path, std::string("new")));
  EXPECT_EQ(store_test::file_content(path), "new");
}

TEST_F(WholeFileTest, that_cannot_be_made_is_told_and_the_old_one_stays) {
  store_test::write_file(path, "old");
  const Trouble rows[] = {
      {"posix_fallocate", path + ".new", ENOSPC},
      {"fchmod", path + ".new", EROFS},
      {"pwrite", path + ".new", EIO},
      {"fsync", path + ".new", EIO},
      {"rename", path, EACCES},
  };
  for (const Trouble &row : rows) {
    trouble = row;
    EXPECT_EQ(create_error(4, "new"),
              path + ": cannot write the file: " + strerror(row.error) + "; check its directory and its disk");
    EXPECT_EQ(store_test::file_content(path), "old") << row.call;
    EXPECT_FALSE(draft_is_there()) << row.call;
  }
  EXPECT_EQ(create_error(4, "new"), "");
  ASSERT_EQ(mkdir((path + ".new").c_str(), 0700), 0);
  EXPECT_EQ(create_error(4, "new"), path + ": cannot write the file: File exists; check its directory and its disk");
}

TEST_F(WholeFileTest, that_has_its_name_but_may_lose_it_is_told) {
  store_test::write_file(path, "text");
  trouble = {"fsync", directory, EIO};
  EXPECT_FALSE(host::rename_file(path, path + "2"));
  EXPECT_EQ(errno, EIO);
  EXPECT_TRUE(host::rename_file(path + "2", path));
  EXPECT_FALSE(host::rename_file(path + "2", path));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(WholeFileTest, is_written_and_read_in_as_many_pieces_as_it_takes) {
  const auto file = host::create_whole_file(path, 12, {});
  ASSERT_TRUE(file);
  most_at_once = 3;
  trouble = {"pwrite", path, EINTR, 2};
  EXPECT_TRUE(host::write_at(file->get(), bytes_of("0123456789"), 2));
  EXPECT_EQ(store_test::file_content(path), std::string(2, '\0') + "0123456789");
  std::string text(20, '-');
  trouble = {"pread", path, EINTR, 2};
  EXPECT_EQ(host::read_at(file->get(), std::as_writable_bytes(std::span(text)).first(7), 4), 7U);
  EXPECT_EQ(text, "2345678" + std::string(13, '-'));
  EXPECT_EQ(host::read_at(file->get(), std::as_writable_bytes(std::span(text)), 4), 8U);
  EXPECT_EQ(text.substr(0, 9), "23456789-");
}

TEST_F(WholeFileTest, that_fails_in_the_midst_is_written_or_read_no_further) {
  const auto file = host::create_whole_file(path, 4, bytes_of("text"));
  ASSERT_TRUE(file);
  std::string text(4, '-');
  trouble = {"pwrite", path, ENOSPC};
  EXPECT_FALSE(host::write_at(file->get(), bytes_of("x"), 0));
  trouble = {"pread", path, EIO};
  EXPECT_EQ(host::read_at(file->get(), std::as_writable_bytes(std::span(text)), 0), 0U);
  EXPECT_TRUE(host::write_at(file->get(), {}, 0));
  EXPECT_EQ(store_test::file_content(path), "text");
}

TEST_F(WholeFileTest, first_line_ends_before_its_end) {
  const std::pair<const char *, const char *> rows[] = {
      {"", ""}, {"\n", ""}, {"one", "one"}, {"one\n", "one"}, {"one\ntwo\n", "one"}, {"\ntwo", ""}};
  for (const auto &[content, line] : rows) {
    store_test::write_file(path, content);
    EXPECT_EQ(host::first_line(path), line) << content;
  }
  EXPECT_EQ(host::first_line(path + "none"), "");
}

}  // namespace
}  // namespace files_test
