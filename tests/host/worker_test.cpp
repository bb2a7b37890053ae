// SPDX-License-Identifier: Apache-2.0
// What a loop serves while one of its callbacks waits for work in another thread.
#include "host/loop/worker.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include <csignal>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>

#include "host/loop/loop.h"
#include "host/loop/watch.h"

namespace {

using host::FileDescriptor;
using host::Loop;
using host::Watch;
using host::Worker;

class WorkerTest : public testing::Test {
 protected:
  struct Bell {
    FileDescriptor descriptor{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    void ring() const { eventfd_write(descriptor.get(), 1); }
    void hear() const {
      eventfd_t rings = 0;
      eventfd_read(descriptor.get(), &rings);
    }
  };

  // Work that ends when finish() is called.
  void wait_for_work() {
    worker->run([this] { finished.acquire(); });
  }
  void finish() { finished.release(); }

  Loop loop;
  std::unique_ptr<Worker> worker = std::move(*Worker::start());
  std::binary_semaphore finished{0};
  Bell reads, changes;
  std::string served;
};

TEST_F(WorkerTest, work_is_done_in_another_thread_before_the_call_returns) {
  std::thread::id thread;
  for (int i = 0; i < 100; i++) {
    thread = {};
    worker->run([&] { thread = std::this_thread::get_id(); });
    ASSERT_NE(thread, std::thread::id());
    ASSERT_NE(thread, std::this_thread::get_id());
  }
}

TEST_F(WorkerTest, signals_are_not_taken_by_its_thread) {
  sigset_t mask;
  sigemptyset(&mask);
  worker->run([&] { pthread_sigmask(SIG_SETMASK, nullptr, &mask); });
  for (const int number : {SIGTERM, SIGHUP, SIGCHLD, SIGUSR1, SIGURG})
    EXPECT_EQ(sigismember(&mask, number), 1) << number;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  EXPECT_EQ(sigismember(&mask, SIGTERM), 0);
}

TEST_F(WorkerTest, what_is_also_for_waits_is_served_in_one_and_the_rest_after_it) {
  const Watch reading = Watch::readable(reads.descriptor.get(), [&] {
                          reads.hear();
                          served += Watch::is_waiting() ? 'R' : 'r';
                          if (Watch::is_waiting()) finish();
                        }).also_in_waits();
  const Watch changing = Watch::readable(changes.descriptor.get(), [&] {
    changes.hear();
    served += Watch::is_waiting() ? 'C' : 'c';
    loop.quit();
  });
  const Watch waiting = Watch::after_ms(0, [&] {
    changes.ring();
    reads.ring();
    wait_for_work();
    served += 'w';
  });
  loop.run();
  EXPECT_EQ(served, "Rwc");
}

TEST_F(WorkerTest, what_is_passed_over_is_called_once_in_the_wait_and_again_after_it) {
  Watch changing;
  changing = Watch::readable(changes.descriptor.get(), [&] {
               served += Watch::is_waiting() ? 'P' : 'c';
               if (Watch::is_waiting()) return changing.pass_over(), reads.ring();
               loop.quit();
             }).also_in_waits();
  const Watch reading = Watch::readable(reads.descriptor.get(), [&] {
                          reads.hear();
                          if (Watch::is_waiting()) finish();
                        }).also_in_waits();
  const Watch waiting = Watch::after_ms(0, [&] {
    changes.ring();
    wait_for_work();
  });
  loop.run();
  EXPECT_EQ(served, "Pc");
}

TEST_F(WorkerTest, a_callback_that_waits_is_not_called_within_itself) {
  const Watch other = Watch::readable(reads.descriptor.get(), [&] {
                        reads.hear();
                        if (Watch::is_waiting()) finish();
                      }).also_in_waits();
  int depth = 0, deepest = 0;
  const Watch waiting = Watch::readable(changes.descriptor.get(), [&] {
                          deepest = std::max(deepest, ++depth);
                          reads.ring();
                          wait_for_work();
                          depth--;
                          changes.hear();
                          loop.quit();
                        }).also_in_waits();
  changes.ring();
  loop.run();
  EXPECT_EQ(deepest, 1);
}

TEST_F(WorkerTest, a_watch_that_ends_in_a_wait_is_not_called_any_more) {
  Watch victim = Watch::readable(changes.descriptor.get(), [&] { served += 'v'; });
  const Watch ending = Watch::readable(reads.descriptor.get(), [&] {
                         reads.hear();
                         victim.stop();
                         if (Watch::is_waiting()) finish();
                       }).also_in_waits();
  victim = std::move(victim).also_in_waits();
  const Watch waiting = Watch::after_ms(0, [&] {
    reads.ring();
    changes.ring();
    wait_for_work();
    loop.quit();
  });
  loop.run();
  EXPECT_EQ(served, "");
}

TEST_F(WorkerTest, a_wait_within_a_wait_serves_nobody_and_leaves_the_outer_one_as_it_is) {
  const Bell inner, done;
  const Watch changing = Watch::readable(changes.descriptor.get(), [&] {
                           changes.hear();
                           served += 'c';
                         }).also_in_waits();
  const Watch reading = Watch::readable(reads.descriptor.get(), [&] {
                          reads.hear();
                          changes.ring();
                          inner.ring();
                          Watch::serve_until_readable(inner.descriptor.get());
                          served += Watch::is_waiting() ? 'w' : '-';
                          done.ring();
                        }).also_in_waits();
  reads.ring();
  Watch::serve_until_readable(done.descriptor.get());
  EXPECT_EQ(served, "wc");
  EXPECT_FALSE(Watch::is_waiting());
}

TEST_F(WorkerTest, work_that_is_asked_for_in_a_wait_is_done_at_once) {
  const Watch asking = Watch::readable(reads.descriptor.get(), [&] {
                         reads.hear();
                         worker->run([&] { served += 'i'; });
                         if (Watch::is_waiting()) finish();
                       }).also_in_waits();
  const Watch waiting = Watch::after_ms(0, [&] {
    reads.ring();
    wait_for_work();
    served += 'o';
    loop.quit();
  });
  loop.run();
  EXPECT_EQ(served, "io");
}

}  // namespace
