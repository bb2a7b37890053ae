// SPDX-License-Identifier: Apache-2.0
#include "host/files/whole_file.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "host/files/file_descriptor.h"
#include "host/status.h"

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
  EXPECT_EQ(interruptions, 3);
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

TEST(ReadToEnd, tells_what_cannot_be_read) {
  const host::Result<std::string> text = host::read_to_end(-1, 100);
  EXPECT_EQ(text.code(), host::err_io);
  EXPECT_EQ(text.error().text, "Bad file descriptor");
}

}  // namespace
