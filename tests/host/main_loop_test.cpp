// SPDX-License-Identifier: Apache-2.0
#include "host/transport/main_loop.h"

#include <glib-unix.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <functional>
#include <list>
#include <memory>

#include "host/files/file_descriptor.h"

namespace {

using host::MainLoop;

class Source {
 public:
  static Source time(unsigned milliseconds, const MainLoop &loop, std::function<void()> elapsed) {
    return {g_timeout_source_new(milliseconds), G_SOURCE_FUNC(on_elapsed), loop, std::move(elapsed)};
  }
  static Source readable(int descriptor, const MainLoop &loop, std::function<void()> ready) {
    return {g_unix_fd_source_new(descriptor, G_IO_IN), G_SOURCE_FUNC(on_readable), loop, std::move(ready)};
  }
  ~Source() {
    g_source_destroy(source_);
    g_source_unref(source_);
  }
  Source(const Source &) = delete;
  Source &operator=(const Source &) = delete;

 private:
  using Callback = std::function<void()>;
  Source(GSource *source, GSourceFunc function, const MainLoop &loop, Callback callback) : source_(source) {
    g_source_set_callback(source, function, new Callback(std::move(callback)),
                          [](gpointer data) { delete static_cast<Callback *>(data); });
    g_source_attach(source, loop.context());
  }
  static gboolean on_elapsed(gpointer callback) {
    (*static_cast<Callback *>(callback))();
    return G_SOURCE_CONTINUE;
  }
  static gboolean on_readable(int, GIOCondition, gpointer callback) { return on_elapsed(callback); }

  GSource *source_;
};

// Readable as often as it was rung.
class Bell {
 public:
  Bell(const MainLoop &loop, std::function<void()> ready)
      : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)),
        source_(Source::readable(descriptor_.get(), loop, std::move(ready))) {}
  void ring(eventfd_t times = 1) const { eventfd_write(descriptor_.get(), times); }
  bool hear() const {
    eventfd_t one = 0;
    return eventfd_read(descriptor_.get(), &one) == 0;
  }

 private:
  host::FileDescriptor descriptor_;
  Source source_;
};

// A new source wakes the loop up; the tests begin after that.
void settle(const MainLoop &loop) {
  while (g_main_context_iteration(loop.context(), FALSE)) {
  }
}

TEST(MainLoop, what_was_served_within_the_wait_does_not_reach_the_source) {
  MainLoop loop;
  int served = 0, dispatched = 0;
  const Bell bell(loop, [&] {
    dispatched++;
    loop.quit();
  });
  settle(loop);
  bell.ring(4);
  loop.run([&] { return served < 3 && bell.hear() && ++served != 0; });
  EXPECT_EQ(served, 3);
  EXPECT_EQ(dispatched, 1);
}

TEST(MainLoop, a_source_added_while_serving_ends_the_wait) {
  MainLoop loop;
  std::unique_ptr<Source> added;
  const Bell bell(loop, [] {});
  settle(loop);
  bell.ring();
  loop.run([&] {
    if (!bell.hear()) return false;
    added.reset(new Source(Source::time(0, loop, [&] { loop.quit(); })));
    return true;
  });
  EXPECT_TRUE(added);
}

TEST(MainLoop, a_descriptor_that_is_ready_beside_the_served_one_has_its_turn) {
  MainLoop loop;
  int served = 0;
  const Bell busy(loop, [] {});
  const Bell other(loop, [&] { loop.quit(); });
  settle(loop);
  busy.ring(2);
  loop.run([&] {
    other.ring();
    served++;
    return busy.hear();
  });
  EXPECT_EQ(served, 1);
}

TEST(MainLoop, nothing_is_served_within_the_wait_while_a_time_runs) {
  MainLoop loop;
  int rung = 0;
  const Source hour = Source::time(3600 * 1000, loop, [] {});
  const Bell bell(loop, [&] {
    if (bell.hear() && ++rung == 3) loop.quit();
  });
  bell.ring(3);
  loop.run([] {
    ADD_FAILURE() << "served";
    return false;
  });
  EXPECT_EQ(rung, 3);
}

TEST(MainLoop, any_number_of_descriptors_is_waited_for) {
  MainLoop loop;
  constexpr int many = 50;
  int rung = 0;
  std::list<Bell> bells;
  for (int i = 0; i < many; i++) {
    bells.emplace_back(loop, [&, i] {
      std::next(bells.begin(), i)->hear();
      if (++rung == many) return loop.quit();
      std::next(bells.begin(), i + 1)->ring();
    });
  }
  bells.front().ring();
  loop.run([] { return false; });
  EXPECT_EQ(rung, many);
}

TEST(MainLoop, its_context_is_the_threads_default_one_as_long_as_it_lives) {
  {
    const MainLoop loop;
    EXPECT_EQ(g_main_context_get_thread_default(), loop.context());
  }
  EXPECT_EQ(g_main_context_get_thread_default(), nullptr);
}

}  // namespace
