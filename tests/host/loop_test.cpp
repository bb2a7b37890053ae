// SPDX-License-Identifier: Apache-2.0
#include "host/loop/loop.h"

#include <event2/event.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "host/files/file_descriptor.h"
#include "host/loop/watch.h"
#include "platform/syslog.h"

namespace {

std::vector<std::string> log_lines;

using host::FileDescriptor;
using host::Loop;
using host::Watch;

// A descriptor that is readable until it was heard as often as it was rung.
class Bell {
 public:
  explicit Bell(Watch::Callback ready)
      : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)),
        watch_(Watch::readable(descriptor_.get(), std::move(ready))) {}
  void ring(eventfd_t times = 1) const { eventfd_write(descriptor_.get(), times); }
  bool hear() const {
    eventfd_t one = 0;
    return eventfd_read(descriptor_.get(), &one) == 0;
  }
  Watch &watch() { return watch_; }

 private:
  FileDescriptor descriptor_;
  Watch watch_;
};

struct Pair {
  Pair() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) throw std::bad_alloc();
    here = FileDescriptor(ends[0]);
    there = FileDescriptor(ends[1]);
  }
  FileDescriptor here, there;
};

TEST(Loop, a_readable_descriptor_is_served_until_it_was_read) {
  Loop loop;
  int served = 0;
  Bell bell([&] {
    if (!bell.hear()) return loop.quit();
    if (++served == 3) bell.watch().stop(), loop.quit();
  });
  bell.ring(5);
  loop.run();
  EXPECT_EQ(served, 3);
}

TEST(Loop, every_ready_descriptor_has_its_turn_beside_one_that_is_always_ready) {
  Loop loop;
  int busy_turns = 0;
  Bell busy([&] { busy_turns++; });
  Bell other([&] { loop.quit(); });
  busy.ring();
  other.ring();
  loop.run();
  EXPECT_LE(busy_turns, 1);
}

TEST(Loop, any_number_of_descriptors_is_waited_for) {
  Loop loop;
  constexpr int many = 50;
  int rung = 0;
  std::list<Bell> bells;
  for (int i = 0; i < many; i++) {
    bells.emplace_back([&, i] {
      std::next(bells.begin(), i)->hear();
      if (++rung == many) return loop.quit();
      std::next(bells.begin(), i + 1)->ring();
    });
  }
  bells.front().ring();
  loop.run();
  EXPECT_EQ(rung, many);
}

TEST(Loop, a_turn_without_waiting_returns_when_nothing_is_ready) {
  Loop loop;
  const Watch hour = Watch::after_ms(3600 * 1000, [] { ADD_FAILURE() << "an hour has not passed"; });
  loop.turn_without_waiting();
  EXPECT_TRUE(hour.active());
}

TEST(Loop, times_elapse_in_their_order_and_once) {
  Loop loop;
  std::string order;
  const Watch last = Watch::after_ms(30, [&] { loop.quit(); });
  const Watch second = Watch::after_ms(10, [&] { order += '2'; });
  const Watch first = Watch::after_ms(1, [&] { order += '1'; });
  loop.run();
  EXPECT_EQ(order, "12");
  EXPECT_FALSE(first.active());
}

TEST(Loop, a_time_that_was_stopped_does_not_elapse) {
  Loop loop;
  Watch early = Watch::after_ms(0, [] { ADD_FAILURE() << "stopped"; });
  const Watch late = Watch::after_ms(20, [&] { loop.quit(); });
  early.stop();
  EXPECT_FALSE(early.active());
  loop.run();
}

TEST(Loop, a_callback_may_set_its_own_time_anew) {
  Loop loop;
  int times = 0;
  Watch watch;
  const std::function<void()> again = [&] {
    if (++times == 3) return loop.quit();
    watch = Watch::after_ms(1, again);
  };
  watch = Watch::after_ms(1, again);
  loop.run();
  EXPECT_EQ(times, 3);
}

// Holds a watch and what its callback uses.
struct Owner {
  std::string text = "long enough to be stored apart from the object itself";
  Watch watch;
};

TEST(Loop, a_callback_may_destroy_the_owner_of_its_watch) {
  Loop loop;
  Pair pair;
  auto owner = std::make_unique<Owner>();
  const auto held = std::make_shared<std::string>("what the callback holds lives until it returns");
  std::string seen;
  owner->watch = Watch::readable(pair.here.get(), [&, held] {
    owner.reset();
    seen = *held;
    loop.quit();
  });
  ASSERT_EQ(send(pair.there.get(), "x", 1, 0), 1);
  loop.run();
  EXPECT_EQ(seen, *held);
  EXPECT_EQ(held.use_count(), 1);
}

TEST(Loop, a_watch_destroyed_by_another_one_of_the_same_turn_is_not_called) {
  Loop loop;
  std::unique_ptr<Bell> bells[2];
  int called = 0;
  for (int i = 0; i < 2; i++)
    bells[i] = std::make_unique<Bell>([&, i] {
      called++;
      bells[1 - i].reset();
      loop.quit();
    });
  bells[0]->ring();
  bells[1]->ring();
  loop.run();
  EXPECT_EQ(called, 1);
}

TEST(Loop, an_exception_ends_its_callback_and_nothing_else) {
  Loop loop;
  log_lines.clear();
  Bell failing([&] {
    failing.hear();
    throw std::bad_alloc();
  });
  Bell other([&] {
    other.hear();
    loop.quit();
  });
  failing.ring();
  loop.turn();
  EXPECT_TRUE(failing.watch().active());
  other.ring();
  loop.run();
  EXPECT_EQ(log_lines,
            std::vector<std::string>{std::to_string(LOG_ERR) + " an event was not served to its end: std::bad_alloc"});
}

// By default libevent writes to standard error, which nobody reads in a service.
TEST(Loop, what_the_event_library_has_to_say_goes_to_the_log) {
  const Loop loop;
  log_lines.clear();
  const FileDescriptor file(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
  EXPECT_THROW(Watch::readable(file.get(), [] {}), std::bad_alloc);
  ASSERT_FALSE(log_lines.empty());
  EXPECT_TRUE(log_lines[0].starts_with(std::to_string(LOG_WARNING) + " event loop: ")) << log_lines[0];
}

TEST(Loop, the_other_end_that_has_gone_is_told_beside_what_is_unread) {
  Loop loop;
  Pair pair;
  int gone = 0;
  const Watch watch = Watch::hung_up(pair.here.get(), [&] {
    gone++;
    loop.quit();
  });
  ASSERT_EQ(send(pair.there.get(), "x", 1, 0), 1);
  loop.turn_without_waiting();
  EXPECT_EQ(gone, 0);
  pair.there = FileDescriptor();
  loop.run();
  EXPECT_EQ(gone, 1);
}

TEST(Loop, room_to_write_is_told_when_the_other_end_has_read) {
  Loop loop;
  Pair pair;
  const std::string packet(10000, 'x');
  while (send(pair.here.get(), packet.data(), packet.size(), 0) > 0) {
  }
  bool room = false;
  const Watch watch = Watch::writable(pair.here.get(), [&] {
    room = true;
    loop.quit();
  });
  loop.turn_without_waiting();
  EXPECT_FALSE(room);
  std::string buffer(packet.size(), ' ');
  while (recv(pair.there.get(), buffer.data(), buffer.size(), 0) > 0) {
  }
  loop.run();
  EXPECT_TRUE(room);
}

TEST(Loop, what_cannot_be_waited_for_is_refused) {
  Loop loop;
  const FileDescriptor file(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
  EXPECT_THROW(Watch::readable(file.get(), [] {}), std::bad_alloc);
}

TEST(Loop, no_program_that_is_started_inherits_its_descriptors) {
  const Loop loop;
  int own = 0;
  for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int descriptor = std::stoi(entry.path().filename());
    const int flags = fcntl(descriptor, F_GETFD);
    if (descriptor <= STDERR_FILENO || flags < 0) continue;
    std::error_code gone;
    const std::string what = std::filesystem::read_symlink(entry.path(), gone);
    if (what == "anon_inode:[eventpoll]") own++;
    if (what.starts_with("anon_inode:") || what.starts_with("socket:")) {
      EXPECT_NE(flags & FD_CLOEXEC, 0) << what;
    }
  }
  EXPECT_EQ(own, 1);
}

TEST(Loop, a_loop_gives_its_place_back_when_it_ends) {
  Loop outer;
  Bell bell([&] { outer.quit(); });
  { const Loop inner; }
  Bell later([] {});
  bell.ring();
  outer.run();
  EXPECT_NE(Loop::of_thread(), nullptr);
}

// libevent's memory, of which there is none until somebody makes room.
class NoRoom {
 public:
  NoRoom() {
    has_room = false;
    event_set_mem_functions(allocate, reallocate, free);
  }
  ~NoRoom() {
    std::set_new_handler(nullptr);
    has_room = true;
    event_set_mem_functions(malloc, realloc, free);
  }
  NoRoom(const NoRoom &) = delete;
  NoRoom &operator=(const NoRoom &) = delete;

  static inline bool has_room = true;

 private:
  static void *allocate(size_t size) { return reallocate(nullptr, size); }
  static void *reallocate(void *block, size_t size) {
    if (has_room) return realloc(block, size);
    errno = ENOMEM;
    return nullptr;
  }
};

TEST(Watch, that_finds_no_memory_asks_for_room_as_operator_new_does) {
  const Loop loop;
  const NoRoom there_is_none;
  EXPECT_THROW((void)Watch::after_ms(0, [] {}), std::bad_alloc);
  std::set_new_handler([] {
    if (NoRoom::has_room) throw std::bad_alloc();
    NoRoom::has_room = true;
  });
  EXPECT_TRUE(Watch::after_ms(0, [] {}).active());
}

}  // namespace

// In the place of the host's, for every library of the process.
extern "C" int tarn_syslog(int priority, const char *format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  log_lines.push_back(std::to_string(priority) + " " + text);
  return 0;
}
