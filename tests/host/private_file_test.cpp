// SPDX-License-Identifier: Apache-2.0
#include "host/files/private_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tests/host/failing_calls.h"
#include "tests/host/store_fixture.h"

namespace files_test {
namespace {

class PrivateFileTest : public store_test::StoreTest {
 protected:
  void write(const std::string &content, mode_t mode = 0600) const {
    store_test::write_file(path, content);
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
  }
  // The content, or what is wrong, without the file's path.
  std::string read(std::size_t limit = 100) const {
    const auto content = host::read_private_file(path, limit);
    if (content) return *content ? **content : "(none)";
    EXPECT_EQ(content.code(), host::err_io);
    return content.error().text.substr(path.size());
  }

  const std::string path = directory + "/file";
  const FailingCalls failing_;
};

TEST_F(PrivateFileTest, its_content_is_read_up_to_the_limit) {
  EXPECT_EQ(read(), "(none)");
  for (const char *content : {"", "x", "text\n"}) {
    write(content);
    EXPECT_EQ(read(5), content);
  }
  EXPECT_EQ(read(4), ": is too large to be this file; restore it from a backup");
}

TEST_F(PrivateFileTest, it_has_to_be_private) {
  const std::string open =
      ": can be used by others than its owner; run chmod 600 on it, and set the passwords anew if it was read";
  write("text");
  for (const mode_t mode : {0640, 0620, 0610, 0604, 0602, 0601}) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    EXPECT_EQ(read(), open) << mode;
  }
  for (const mode_t mode : {0400, 0600, 0700}) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    EXPECT_EQ(read(), "text") << mode;
  }
  if (geteuid() != 0) return;
  ASSERT_EQ(chown(path.c_str(), 7, 0), 0);
  EXPECT_EQ(read(), ": belongs to another user; give it to the service's user (chown)");
}

TEST_F(PrivateFileTest, what_is_no_file_is_refused_without_waiting_for_it) {
  const std::string none = ": is no regular file; move it away";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(read(), none);
  ASSERT_EQ(unlink(path.c_str()), 0);
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  EXPECT_EQ(read(), none);
  ASSERT_EQ(rmdir(path.c_str()), 0);
  ASSERT_EQ(symlink("/etc/passwd", path.c_str()), 0);
  EXPECT_EQ(read(),
            ": cannot open the file: Too many levels of symbolic links; check the state directory and its disk");
}

TEST_F(PrivateFileTest, it_is_read_in_as_many_pieces_as_it_takes) {
  write("0123456789");
  most_at_once = 3;
  EXPECT_EQ(read(), "0123456789");
  trouble = {"read", path, EINTR, 2};
  EXPECT_EQ(read(), "0123456789");
  trouble = {"read", path, EIO};
  EXPECT_EQ(read(), ": cannot read the file: Input/output error; check the state directory and its disk");
}

}  // namespace
}  // namespace files_test
