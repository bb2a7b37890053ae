// SPDX-License-Identifier: Apache-2.0
// The alarm on the kernel's timers, and the scheduler that it wakes: no request and no test calls for a look at the
// clock. A step of the clock is the test's alone: the machine's clock stays as it is.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <utility>

#include "host/loop/watch.h"
#include "service/run/alarm.h"
#include "service/run/outcome.h"
#include "service/state/tables.h"
#include "tests/service/world.h"

namespace {

// What the kernel knows of the timer that waits for the wall clock.
struct {
  int descriptor = -1;
  int settings = 0;
  bool is_set = false, hears_of_steps = false;
  bool stepped = false;     // the next read answers ECANCELED
  bool before_set = false;  // the next setting does
} kernel;

}  // namespace

extern "C" {

// Named by assembler label: the system's headers declare these with attributes of their own.
int alarm_timerfd_settime(int timer, int flags, const itimerspec *wanted,
                          itimerspec *before) __asm__("timerfd_settime");
ssize_t alarm_read(int descriptor, void *data, size_t size) __asm__("read");

int alarm_timerfd_settime(int timer, int flags, const itimerspec *wanted, itimerspec *before) {
  itimerspec moved = *wanted;
  if ((flags & TFD_TIMER_ABSTIME) != 0) {
    timespec machine = {};
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &machine);
    kernel.descriptor = timer;
    kernel.settings++;
    kernel.is_set = wanted->it_value.tv_sec != 0 || wanted->it_value.tv_nsec != 0;
    kernel.hears_of_steps = (flags & TFD_TIMER_CANCEL_ON_SET) != 0;
    if (kernel.is_set) moved.it_value.tv_sec -= time(nullptr) - machine.tv_sec;
  }
  const long result = syscall(SYS_timerfd_settime, timer, flags, &moved, before);
  if ((flags & TFD_TIMER_ABSTIME) == 0 || !std::exchange(kernel.before_set, false)) return static_cast<int>(result);
  errno = ECANCELED;
  return -1;
}

ssize_t alarm_read(int descriptor, void *data, size_t size) {
  const long got = syscall(SYS_read, descriptor, data, size);
  if (descriptor != kernel.descriptor || !std::exchange(kernel.stepped, false)) return got;
  errno = ECANCELED;
  return -1;
}
}

namespace service_test {
namespace {

using ::testing::ElementsAre;

time_t machine_time() {
  timespec now = {};
  syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
  return now.tv_sec;
}

// By whole seconds exactly, also when one begins meanwhile.
void move_clock(time_t by) {
  time_t machine = 0, ahead = 0;
  do {
    machine = machine_time();
    ahead = time(nullptr) - machine;
  } while (machine_time() != machine);
  do {
    machine = machine_time();
    run_clock_from(machine + ahead + by);
  } while (machine_time() != machine);
}

// The kernel makes the timer's descriptor readable at once, if the timer is set and was to hear of it.
void step_clock(time_t by) {
  move_clock(by);
  if (!kernel.is_set || !kernel.hears_of_steps) return;
  kernel.stepped = true;
  const itimerspec at_once = {{}, {0, 1}};
  syscall(SYS_timerfd_settime, kernel.descriptor, 0, &at_once, nullptr);
}

// Two minutes are beyond the next slot of what a slow machine configured too late for its first.
bool comes_true(host::Loop &loop, const std::function<bool()> &condition) {
  bool over = false;
  const host::Watch patience = host::Watch::after_ms(120000, [&] { over = true; });
  while (!condition() && !over)
    loop.turn();
  return condition();
}

struct AlarmTest : ::testing::Test {
  AlarmTest() {
    run_clock_from(noon);
    kernel = {};
    EXPECT_TRUE(alarm.open([this](time_t step) {
      rung.push_back(step);
      if (then) then();
    }));
  }
  bool rings(size_t times) {
    return comes_true(loop, [&] { return rung.size() >= times; });
  }

  host::Loop loop;
  service::Alarm alarm;
  std::vector<time_t> rung;
  std::function<void()> then;
};

TEST_F(AlarmTest, rings_when_its_moment_has_come_and_when_it_was_set_anew_then) {
  const time_t first = time(nullptr) + 1;
  alarm.set(first + 100);
  alarm.set(first);
  then = [&] {
    EXPECT_GE(time(nullptr), first);
    if (rung.size() == 1) alarm.set(first + 1);
  };
  EXPECT_TRUE(rings(2));
  EXPECT_GE(time(nullptr), first + 1);
  EXPECT_THAT(rung, ElementsAre(0, 0));
}

TEST_F(AlarmTest, set_for_the_moment_that_it_waits_for_already_is_left_alone) {
  const time_t moment = time(nullptr) + 1000;
  alarm.set(moment);
  const int settings = kernel.settings;
  alarm.set(moment);
  EXPECT_EQ(kernel.settings, settings);
}

TEST_F(AlarmTest, rings_again_for_the_moment_of_its_last_ring) {
  const time_t passed = time(nullptr) - 1;
  then = [&] {
    if (rung.size() == 1) alarm.set(passed);
  };
  alarm.set(passed);
  EXPECT_TRUE(rings(2));
}

TEST_F(AlarmTest, tells_by_how_much_the_clock_was_set_and_which_way) {
  step_clock(-3600);
  ASSERT_TRUE(rings(1));
  alarm.set(time(nullptr) + 1000);
  step_clock(7200);
  ASSERT_TRUE(rings(2));
  EXPECT_THAT(rung, ElementsAre(-3600, 7200));
}

TEST_F(AlarmTest, rings_after_a_step_for_the_moment_that_it_was_set_for_before) {
  const time_t moment = time(nullptr) + 1001;
  alarm.set(moment);
  then = [&] { alarm.set(moment); };
  step_clock(1000);
  ASSERT_TRUE(rings(2));
  EXPECT_THAT(rung, ElementsAre(1000, 0));
}

TEST_F(AlarmTest, rings_for_a_step_just_before_it_was_set) {
  kernel.before_set = true;
  move_clock(-60);
  alarm.set(time(nullptr) + 1000);
  ASSERT_TRUE(rings(1));
  EXPECT_THAT(rung, ElementsAre(-60));
}

// What a call before has left in errno is no news of this one.
TEST_F(AlarmTest, that_was_set_without_a_step_rings_for_none) {
  errno = ECANCELED;
  alarm.set(time(nullptr) + 1000);
  bool later = false;
  const host::Watch behind = host::Watch::after_ms(1, [&] { later = true; });
  while (!later)
    loop.turn();
  EXPECT_THAT(rung, ElementsAre());
}

// Schedules that begin at a second of their own, as a client may ask for it. The clock stands until they are
// configured.
struct Awake : ::testing::Test {
  World world;
  Awake() {
    kernel = {};
    EXPECT_EQ(create_job(world, "job", "true\n"), 0u);
  }
  ~Awake() override { world.settle(); }
  void configure(const std::string &name, int period, time_t start) {
    ASSERT_EQ(create_schedule(world, name, {"job"}, every(period, start)), 0u);
  }
  void start(time_t now) {
    run_clock_from(now);
    ASSERT_TRUE(world.parts->scheduler.start());
  }
  // Has run at noon and 1000 seconds.
  void start_after_a_run() {
    configure("hourly", 60, noon + 1000);
    due_now(world, noon + 1000);
    start(noon + 1001);
  }
  bool comes(const std::function<bool()> &condition) { return comes_true(world.loop, condition); }
  static uint32_t runs_of(const std::string &schedule) { return state_of_schedule(schedule).execution_count; }
};

TEST_F(Awake, the_scheduler_takes_one_due_time_after_the_other) {
  configure("first", 60, noon + 1);
  configure("second", 60, noon + 2);
  start(noon);
  EXPECT_TRUE(comes([] { return runs_of("first") == 1 && runs_of("second") == 1; }));
}

TEST_F(Awake, a_due_time_before_the_one_that_it_waits_for_is_not_slept_through) {
  configure("later", 60, noon + 1000);
  start(noon);
  configure("sooner", 1, time(nullptr) + 2);
  world.parts->scheduler.check_soon();
  EXPECT_TRUE(comes([] { return runs_of("sooner") == 1; }));
  EXPECT_EQ(runs_of("later"), 0u);
}

TEST_F(Awake, a_due_time_that_has_come_before_the_start_is_taken_by_it) {
  configure("passed", 60, noon + 1);
  start(noon + 5);
  EXPECT_TRUE(comes([] { return runs_of("passed") == 1; }));
}

TEST_F(Awake, a_clock_that_is_set_forward_is_noticed_at_once) {
  configure("hourly", 60, noon + 1000);
  start(noon);
  step_clock(1010);
  EXPECT_TRUE(comes([] { return runs_of("hourly") == 1; }));
}

TEST_F(Awake, a_clock_that_is_set_while_nothing_is_due_is_heard_of_too) {
  start(noon);
  EXPECT_TRUE(kernel.is_set);
  EXPECT_TRUE(kernel.hears_of_steps);
}

TEST_F(Awake, a_clock_that_had_been_wrong_computes_the_due_times_anew) {
  start_after_a_run();
  const time_t due = state_of_schedule("hourly").next_due;
  step_clock(-10 * 86400);
  EXPECT_TRUE(comes([&] { return state_of_schedule("hourly").next_due < due - 9 * 86400; }));
}

TEST_F(Awake, a_clock_that_is_set_back_a_little_lets_periodic_schedules_go_on) {
  start_after_a_run();
  const time_t due = state_of_schedule("hourly").next_due;
  step_clock(-7200);
  EXPECT_TRUE(comes([&] { return state_of_schedule("hourly").next_due == due - 7200; }));
}

}  // namespace
}  // namespace service_test
