// SPDX-License-Identifier: Apache-2.0
// A service whose stores are full refuses what does not fit, keeps what it has, and takes more under a larger limit.
#include <gtest/gtest.h>

#include "host/files/paths.h"
#include "tests/system/service_process.h"

namespace system_test {
namespace {

constexpr int most_jobs = 40;
const std::string text = std::string(60000, 'x') + "\n";

// Defines further jobs until the service refuses one; gives how many there are then.
int define_until_refused(int count) {
  for (; count < most_jobs; count++) {
    const std::string name = "job" + std::to_string(count);
    if (create_job(name) != 0 || define_job(name, text) != 0) break;
  }
  return count;
}

TEST(StoreLimit, a_full_store_loses_nothing_and_goes_on_under_a_larger_limit) {
  const TemporaryDirectory directory;
  const std::string state = directory.path() + "/state";
  host::use_paths(host::resolve_paths(state.c_str()));
  int defined = 0;
  {
    ServiceProcess small(state, {"--store-limit", "1"});
    ASSERT_TRUE(small.start()) << small.errors();
    ASSERT_EQ(enable_feature(), 0);
    defined = define_until_refused(0);
    EXPECT_GT(defined, 2);
    EXPECT_LT(defined, 1024 * 1024 / 60000);
    EXPECT_EQ(define_job("job0", "short\n"), 0) << "what takes less room is not refused";
    EXPECT_EQ(small.stop(), 0) << small.errors();
  }
  ServiceProcess large(state, {"--store-limit", "16"});
  ASSERT_TRUE(large.start()) << large.errors();
  const auto configuration = shown_configuration();
  ASSERT_TRUE(configuration);
  for (int i = 1; i < defined; i++)
    EXPECT_EQ(configuration->jobs.at("job" + std::to_string(i)), text);
  EXPECT_EQ(configuration->jobs.at("job0"), "short\n");
  EXPECT_EQ(define_until_refused(defined + 1), most_jobs);
}

}  // namespace
}  // namespace system_test
