// SPDX-License-Identifier: Apache-2.0
#include "platform/memory.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "host/debug.h"

namespace {

std::vector<std::string> messages;

// The row of a type: blocks, bytes, peak, allocations, failures.
std::vector<uint64_t> row(uint32_t owner, uint32_t type) {
  std::istringstream lines(host::memory_statistics());
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    uint32_t row_owner = 0, row_type = 0;
    if (!(fields >> row_owner >> row_type) || row_owner != owner || row_type != type) continue;
    std::vector<uint64_t> numbers(5);
    std::istringstream tail(line.substr(50));  // behind the name, which has blanks
    for (uint64_t &number : numbers)
      tail >> number;
    return numbers;
  }
  return {};
}

std::string last_line() {
  const std::string text = host::memory_statistics();
  return text.substr(text.rfind('\n', text.size() - 2) + 1);
}

using Counts = std::vector<uint64_t>;

TEST(memory_tracker, counts_live_blocks_bytes_peak_and_allocations_by_type) {
  void *first = mtrack_alloc(1, 100, 40), *second = mtrack_alloc(1, 100, 60), *other = mtrack_alloc(1, 101, 7);
  EXPECT_EQ(row(1, 100), (Counts{2, 100, 100, 2, 0}));
  mtrack_free(second);
  void *third = mtrack_alloc(1, 100, 10);
  EXPECT_EQ(row(1, 100), (Counts{2, 50, 100, 3, 0}));
  EXPECT_EQ(row(1, 101), (Counts{1, 7, 7, 1, 0}));
  for (void *block : {first, third, other})
    mtrack_free(block);
  EXPECT_EQ(row(1, 100), (Counts{0, 0, 100, 3, 0}));
}

TEST(memory_tracker, aligns_every_block_for_any_type) {
  for (uint32_t size = 0; size < 40; size++) {
    void *block = mtrack_alloc(1, 102, size);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t), 0u) << size;
    mtrack_free(block);
  }
}

TEST(memory_tracker, gives_a_block_of_its_own_for_size_zero) {
  void *first = mtrack_alloc(1, 103, 0), *second = mtrack_alloc(1, 103, 0);
  EXPECT_NE(first, nullptr);
  EXPECT_NE(first, second);
  EXPECT_EQ(row(1, 103), (Counts{2, 0, 0, 2, 0}));
  mtrack_free(first);
  mtrack_free(second);
}

TEST(memory_tracker, takes_null_as_nothing_to_free) {
  const std::string before = host::memory_statistics();
  mtrack_free(nullptr);
  EXPECT_EQ(host::memory_statistics(), before);
}

TEST(memory_tracker, reports_a_second_free_and_keeps_its_counts) {
  messages.clear();
  void *block = mtrack_alloc(1, 104, 8);
  mtrack_free(block);
  const std::string before = last_line();
  mtrack_free(block);
  EXPECT_NE(last_line(), before);
  EXPECT_EQ(row(1, 104), (Counts{0, 0, 8, 1, 0}));
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].rfind("2 memory tracker: freed twice or never allocated at 0x", 0), 0u) << messages[0];
}

TEST(memory_tracker, reports_a_pointer_that_it_never_gave) {
  messages.clear();
  alignas(std::max_align_t) char foreign[64] = {};
  mtrack_free(foreign + 32);
  EXPECT_EQ(messages.size(), 1u);
}

TEST(memory_tracker, reports_a_block_that_was_written_past_its_end) {
  messages.clear();
  char *block = static_cast<char *>(mtrack_alloc(1, 105, 5));
  block[5] = 'x';
  mtrack_free(block);
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].rfind("2 memory tracker: written past its end at 0x", 0), 0u) << messages[0];
  EXPECT_EQ(row(1, 105), (Counts{0, 0, 5, 1, 0}));
}

TEST(memory_tracker, names_the_types_of_the_scheduler) {
  struct {
    uint32_t type;
    const char *name;
  } const names[] = {{4, "runtime job status entry"},
                     {5, "configuration key"},
                     {6, "job header"},
                     {7, "job fragment"},
                     {12, "joined job text for configuration"},
                     {14, "schedule record, entry, e-mail entry"}};
  for (const auto &expected : names) {
    mtrack_free(mtrack_alloc(224, expected.type, 1));
    char line[64];
    std::snprintf(line, sizeof line, "  224 %4u  %-36s ", expected.type, expected.name);
    EXPECT_NE(host::memory_statistics().find(line), std::string::npos) << line;
  }
}

}  // namespace

// The message of a misuse, instead of one in this machine's log.
extern "C" int tarn_syslog(int priority, const char *format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  messages.push_back(std::to_string(priority) + " " + text);
  return 0;
}
