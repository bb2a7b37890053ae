// SPDX-License-Identifier: Apache-2.0
#include "service/footprint.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

constexpr size_t table_size = 1 << 20, page = 4096;

constexpr std::array<unsigned char, table_size> made_table() {
  std::array<unsigned char, table_size> made{};
  for (size_t i = 0; i < table_size; i += page)
    made[i] = static_cast<unsigned char>(i / page + 1);
  return made;
}
constinit const std::array<unsigned char, table_size> table = made_table();

unsigned sum_of_table() {
  unsigned sum = 0;
  for (size_t i = 0; i < table_size; i += page)
    sum += *const_cast<const volatile unsigned char *>(&table[i]);
  return sum;
}

const char *const names[] = {"first", "kept"};  // set by the loader, and only read afterwards

// Of the mapping that holds the table.
size_t resident_kib() {
  const auto wanted = reinterpret_cast<uintptr_t>(&table[table_size / 2]);
  std::ifstream maps("/proc/self/smaps");
  bool here = false;
  for (std::string line; std::getline(maps, line);) {
    uintptr_t first = 0, end = 0;
    char dash = 0;
    std::istringstream range(line);
    if (range >> std::hex >> first >> dash >> end && dash == '-') here = first <= wanted && wanted < end;
    if (here && line.starts_with("Rss:")) return std::stoul(line.substr(4));
  }
  return 0;
}

TEST(GivingBackTheStart, drops_the_pages_that_were_only_read) {
  (void)sum_of_table();
  ASSERT_GE(resident_kib(), table_size / 1024);
  service::give_back_start();
  EXPECT_LE(resident_kib(), table_size / 1024 / 2);
}

TEST(GivingBackTheStart, leaves_what_is_read_and_what_was_changed_as_it_was) {
  static int changed = 0;
  changed = 7;
  const unsigned sum = sum_of_table();
  service::give_back_start();
  EXPECT_EQ(sum_of_table(), sum);
  EXPECT_EQ(changed, 7);
  EXPECT_STREQ(*const_cast<const char *const volatile *>(&names[1]), "kept");
  EXPECT_THROW((void)std::stoi("none"), std::invalid_argument);  // the tables of exceptions are there too
}

}  // namespace
