// SPDX-License-Identifier: Apache-2.0
// Requests while memory runs out: refused, nothing changed, nothing freed twice.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "host/debug.h"
#include "host/status.h"
#include "platform/memory.h"
#include "tests/service/world.h"

namespace {

int allocations_until_failure = 0;

}  // namespace

// Comes before the host's for every caller in the process.
extern "C" void *mtrack_alloc(uint32_t owner, uint32_t mem_type, uint32_t size) {
  static auto *const real = reinterpret_cast<decltype(&mtrack_alloc)>(dlsym(RTLD_NEXT, "mtrack_alloc"));
  if (allocations_until_failure != 0 && --allocations_until_failure == 0) return nullptr;
  return real(owner, mem_type, size);
}

namespace service_test {
namespace {

struct Case {
  const char *name;
  uint32_t opcode;
  Bytes payload;
  int allocations;
};

TEST(Memory, a_request_that_fails_at_any_allocation_changes_nothing_and_frees_nothing_twice) {
  const Case cases[] = {
      {"create a job", SCH_OP_CREATE_JOB, job_payload("new"), 2},
      {"define a job", SCH_OP_DEFINE_JOB, job_payload("old", std::string(2500, 'x') + "\n"), 3},
      {"create a schedule", SCH_OP_CREATE_SCHEDULE, schedule_payload("later"), 3},
  };
  World world;
  world.start();
  ASSERT_EQ(create_job(world, "old", "true\n"), 0u);
  const std::string before = configuration();
  for (const Case &request : cases) {
    for (int nth = 1; nth <= request.allocations; nth++) {
      allocations_until_failure = nth;
      EXPECT_EQ(world.send(root(), SCH_SERVICE_CONFIG, request.opcode, request.payload).status, host::err_no_memory)
          << request.name << ", allocation " << nth;
      EXPECT_EQ(allocations_until_failure, 0) << request.name << ", allocation " << nth;
      allocations_until_failure = 0;
      EXPECT_EQ(configuration(), before) << request.name << ", allocation " << nth;
    }
  }
  EXPECT_NE(host::memory_statistics().find("misuses: 0\n"), std::string::npos) << host::memory_statistics();
}

}  // namespace
}  // namespace service_test
