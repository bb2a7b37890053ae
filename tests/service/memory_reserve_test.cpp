// SPDX-License-Identifier: Apache-2.0
#include "service/memory_reserve.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <forward_list>
#include <fstream>
#include <string>

#include "tests/conditions.h"

namespace {

void limit_address_space(rlim_t most) {
  rlimit limit = {};
  getrlimit(RLIMIT_AS, &limit);
  limit.rlim_cur = most;
  ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
}

rlim_t in_use() {
  rlim_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<rlim_t>(getpagesize());
}

TEST(MemoryReserve, is_given_to_the_first_who_lacks_memory_and_taken_back_when_there_is_some) {
  if (conditions::memory_is_the_sanitizers) GTEST_SKIP() << "a sanitizer ends a program that has no memory";
  service::keep_memory_reserve();
  EXPECT_FALSE(service::memory_is_short());
  limit_address_space(in_use());
  std::forward_list<std::string> taken;
  for (int i = 0; i < 100'000 && !service::memory_is_short(); i++)
    ASSERT_NO_THROW(taken.emplace_front(1000, 'x'));
  EXPECT_TRUE(service::memory_is_short());
  EXPECT_NO_THROW(taken.emplace_front(500'000, 'x')) << "for what is under way";
  limit_address_space(RLIM_INFINITY);
  EXPECT_FALSE(service::memory_is_short());
}

}  // namespace
