// SPDX-License-Identifier: Apache-2.0
// Work that grows with the number of records and not with its square: measured as the ratio between two sizes in one
// run, with a bound that noise does not reach and a quadratic walk exceeds by far.
#include <algorithm>
#include <ctime>

#include "tests/pss/records.h"

using namespace pss_test;

namespace {

// 32 times as many take 32 times as long, some more for caches; a walk for each append would make it about 1000 times.
constexpr int few = 500, many = 16000;
constexpr double between_linear_and_square = 200;

class SpeedTest : public platform_test::PlatformTest {
 protected:
  // Processor time: what other processes do meanwhile does not count.
  static double now() {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  }

  static std::string name(int n) { return "schedule-" + std::to_string(n); }

  static std::string key(uint32_t type, int n) {
    return std::string("\0\0\0", 3) + static_cast<char>(type) + std::string(4, '\0') + name(n);
  }

  // The best of three, so that a pause of the machine does not count.
  double restore_time(uint32_t type, int count) {
    double best = 1e9;
    for (int attempt = 0; attempt < 3; ++attempt) {
      platform_test::reset_library();
      fake.reset();
      fake.record_calls = false;
      fake.history_allowed = fake.buginf_allowed = false;
      const pss_handle store = open_store();
      for (int n = 0; n < count; ++n)
        fake.stores["test"].records[key(type, n)] = name(n);
      const double start = now();
      sch_restore_config_from_pss(&sch_running_config, store);
      best = std::min(best, now() - start);
      GList *list = type == SCH_CONFIG_SCHEDULE ? sch_schedule_list : sch_schedule_email_list;
      EXPECT_EQ(g_list_length(list), static_cast<guint>(count));
    }
    return best;
  }
};

TEST_F(SpeedTest, restore_of_schedules_is_not_quadratic) {
  const double ratio = restore_time(SCH_CONFIG_SCHEDULE, many) / restore_time(SCH_CONFIG_SCHEDULE, few);
  RecordProperty("ratio", std::to_string(ratio));
  EXPECT_LT(ratio, between_linear_and_square);
}

TEST_F(SpeedTest, restore_of_email_entries_is_not_quadratic) {
  const double ratio = restore_time(SCH_CONFIG_SCHEDULE_EMAIL, many) / restore_time(SCH_CONFIG_SCHEDULE_EMAIL, few);
  RecordProperty("ratio", std::to_string(ratio));
  EXPECT_LT(ratio, between_linear_and_square);
}

TEST_F(SpeedTest, store_of_ten_thousand_schedules_comes_back_with_two_store_calls_for_each) {
  fake.record_calls = false;
  const pss_handle store = open_store();
  for (int n = 0; n < 10000; ++n)
    fake.stores["test"].records[key(SCH_CONFIG_SCHEDULE, n)] = name(n);
  fake.store.calls = 0;
  sch_restore_config_from_pss(&sch_running_config, store);
  EXPECT_EQ(g_list_length(sch_schedule_list), 10000u);
  EXPECT_EQ(fake.store.calls, 2 * 10000 + 1);
  fake.store.calls = 0;
  sch_save_config_to_pss(&sch_running_config, store);
  EXPECT_EQ(fake.store.calls, 10000 + 1) << "and the log file";
}

}  // namespace
