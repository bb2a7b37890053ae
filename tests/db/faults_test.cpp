// SPDX-License-Identifier: Apache-2.0
// Every allocation of a public operation fails once and from then on: no crash, nothing half-changed, no leak but the
// key of a refused record, which is meant.
#include <gmock/gmock.h>

#include "tests/db/records.h"

using namespace platform_test;
using namespace db_test;

namespace {

struct Operation {
  const char *name;
  std::function<int()> run;
  int leaks_from;  // from the failure of this allocation on, the key that was taken in stays allocated
};

class Faults : public PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    prepare();
  }
  void prepare() {
    reset_library();
    fake.reset();
    add_job(1, "j", 4);
    add_schedule("s");
    sch_add_new_schedule_email_entry(&sch_schedule_email_list, "s", "a");
  }
  static std::string shape() {
    return std::to_string(g_list_length(sch_job_list[1].fragments)) + " " +
           std::to_string(g_list_length(sch_schedule_list)) + " " +
           std::to_string(g_list_length(sch_schedule_email_list)) + " " +
           (sch_job_list[2].key == nullptr ? "free" : "used");
  }
};

TEST_F(Faults, every_allocation_of_every_operation) {
  const sch_schedule_email_entry stored = {};
  const Operation operations[] = {
      {"schedule", [] { return add_config_entry(stored_key(0, 0, "t"), "value"); }, 2},
      {"header", [] { return add_config_entry(stored_key(1, 0, "k"), bytes_of_hdr(2, 0, 0)); }, 2},
      {"fragment", [] { return add_config_entry(stored_key(1, 1, "j"), "text"); }, 2},
      {"new e-mail", [] { return sch_add_new_schedule_email_entry(&sch_schedule_email_list, "t", "b"); }, 0},
      {"e-mail of a new schedule", [] { return sch_add_schedule_email_entry(&sch_schedule_email_list, "t", "b"); }, 0},
      {"stored e-mail", [&] { return sch_add_schedule_email_entry_from_pss(&sch_schedule_email_list, &stored); }, 0},
  };
  for (const auto &operation : operations)
    for (const bool from_then_on : {false, true}) {
      prepare();
      const int before = fake.alloc.calls;
      EXPECT_EQ(operation.run(), 0) << operation.name;
      const int allocations = fake.alloc.calls - before;
      EXPECT_GT(allocations, 0);
      for (int nth = 1; nth <= allocations; ++nth) {
        prepare();
        const std::string shape_before = shape();
        const int blocks = fake.live_blocks();
        fake.alloc = {before + nth, from_then_on, fake.alloc.calls};
        const int result = operation.run();
        // A schedule's entry, the third allocation, is refused and freed by the add operation, which intake hides.
        EXPECT_EQ(result, nth == 3 ? 0 : -1) << operation.name << " " << nth;
        EXPECT_EQ(fake.live_blocks(), blocks + (nth == operation.leaks_from ? 1 : 0)) << operation.name << " " << nth;
        EXPECT_EQ(shape(), shape_before) << operation.name << " " << nth;
        EXPECT_EQ(fake.syslog.size(), 1u);
      }
    }
}

}  // namespace
