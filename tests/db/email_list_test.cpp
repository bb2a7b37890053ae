// SPDX-License-Identifier: Apache-2.0
// The addresses of schedules. Traces are in conformance_test.cpp.
#include <gmock/gmock.h>

#include <sstream>

#include "tests/db/records.h"

using namespace platform_test;
using namespace db_test;

namespace {

class EmailList : public PlatformTest {
 protected:
  // Removing leaves the list's elements allocated, as meant; the tests give them back.
  void TearDown() override {
    for (GList *node : nodes_)
      if (node != nullptr && g_list_find(sch_schedule_email_list, node->data) == nullptr) g_list_free_1(node);
    PlatformTest::TearDown();
  }

  sch_schedule_email_entry *find(const char *schedule) {
    sch_schedule_email_entry *entry = nullptr;
    EXPECT_EQ(sch_find_schedule_email_entry(list_, schedule, &entry), 0);
    return entry;
  }
  int add(const std::string &schedule, const std::string &address) {
    const int result = sch_add_schedule_email_entry(list_, schedule.c_str(), address.c_str());
    remember();
    return result;
  }
  void remember() {
    nodes_.clear();
    for (GList *node = *list_; node != nullptr; node = node->next)
      nodes_.push_back(node);
  }
  // The count and the addresses in use, "-" for a free slot, up to the last in use.
  static std::string slots(const sch_schedule_email_entry *entry) {
    std::string text;
    for (const auto &slot : entry->slots)
      text += slot.in_use != 0 ? " " + std::string(slot.address) : " -";
    while (text.ends_with(" -"))
      text.resize(text.size() - 2);
    return std::to_string(entry->count) + text;
  }
  // Steps "+schedule address" and "-schedule address" add and remove an address, "x schedule" removes an entry. The
  // list behind them, and "refused" for each step that was.
  std::string after(const std::string &steps) {
    std::string text;
    std::istringstream all(steps);
    for (std::string step; std::getline(all >> std::ws, step, ',');) {
      std::istringstream words(step.substr(1));
      std::string schedule, address;
      words >> schedule >> address;
      int result = 0;
      if (step[0] == '+') result = add(schedule, address);
      if (step[0] == '-') result = sch_remove_schedule_email_addr(list_, schedule.c_str(), address.c_str());
      if (step[0] == 'x') result = sch_remove_schedule_email_entry(list_, schedule.c_str());
      if (result != 0) text += "refused; ";
    }
    for (const GList *node = *list_; node != nullptr; node = node->next) {
      const auto *entry = static_cast<const sch_schedule_email_entry *>(node->data);
      text += std::string(entry->schedule_name) + " " + slots(entry) + "; ";
    }
    return text;
  }

  GList **list_ = &sch_schedule_email_list;
  std::vector<GList *> nodes_;
};

TEST_F(EmailList, steps_and_what_is_left) {
  const std::string ten = "+n a, +n b, +n c, +n d, +n e, +n f, +n g, +n h, +n i, +n j";
  const struct {
    const char *scenario;
    std::string steps, list;
  } rows[] = {
      {"the first address makes the entry", "+nightly ops@example.net", "nightly 1 ops@example.net; "},
      {"further ones take the lowest free slot", "+n a, +n b, +n c", "n 3 a b c; "},
      {"one already present takes a second slot", "+n a, +n a", "n 2 a a; "},
      {"ten fit", ten, "n 10 a b c d e f g h i j; "},
      {"the eleventh is refused", ten + ", +n k", "refused; n 10 a b c d e f g h i j; "},
      {"a removed one makes room", ten + ", -n d, +n l", "n 10 a b c l e f g h i j; "},
      {"entries are appended in order", "+a x, +b x, +c x", "a 1 x; b 1 x; c 1 x; "},
      {"an address matches its schedule exactly", "+nightly a, +night b", "nightly 1 a; night 1 b; "},
      {"an address goes with its slot", "+n a, +n b, +n c, -n b", "n 2 a - c; "},
      {"all that begin so go", "+n ops, +n ops@example.net, +n dev, +n opsops, -n ops", "n 1 - - dev; "},
      {"all may go, and leave an empty entry", "+n ops1, +n ops2, -n ops", "n 0; "},
      {"which takes another", "+n ops1, +n ops2, -n ops, +n again", "n 1 again; "},
      {"a longer address matches none", "+n ops, +n dev, -n ops@example.net", "n 2 ops dev; "},
      {"a removal matches the beginning of its schedule", "+nightly a, +nightly b, +night b, -night b",
       "nightly 1 a; night 1 b; "},
      {"the last address goes whatever it is, with the entry", "+nightly x, -nightly someone-else", ""},
      {"an entry is removed by its name", "+a x, +b y, +c z, x b", "a 1 x; c 1 z; "},
      {"the first too", "+a x, +b y, x a", "b 1 y; "},
      {"and the only one", "+b y, x b", ""},
      {"by the beginning of a longer name", "+nightly x, +night y, x night", "night 1 y; "},
      {"an empty name removes the first", "+a x, +b y, x", "b 1 y; "},
      {"what is not there is no error", "x a, +night y, x nightly, x Night, x ight, -nightly y", "night 1 y; "},
  };
  for (const auto &row : rows) {
    TearDown();
    nodes_.clear();
    EXPECT_EQ(after(row.steps), row.list) << row.scenario;
  }
}

TEST_F(EmailList, find_matches_the_exact_name_and_clears_the_result) {
  sch_schedule_email_entry other{}, *entry = &other;
  EXPECT_EQ(sch_find_schedule_email_entry(list_, "n", &entry), 0);
  EXPECT_EQ(entry, nullptr);
  add("nightly", "a");
  add("night", "b");
  EXPECT_EQ(slots(find("night")), "1 b");
  EXPECT_EQ(slots(find("nightly")), "1 a");
  for (const char *name : {"", "nigh", "nightlyy", "Night"})
    EXPECT_EQ(find(name), nullptr) << name;
}

TEST_F(EmailList, rest_of_a_new_entry_and_of_a_freed_slot_is_zero) {
  sch_schedule_email_entry expected = {};
  set_text(expected.schedule_name, "n");
  expected.count = 1;
  set_text(expected.slots[0].address, "a");
  expected.slots[0].in_use = 1;
  after("+n a");
  EXPECT_EQ(hex(find("n"), sizeof expected), hex(&expected, sizeof expected));
  after("+n longer, -n longer");
  EXPECT_EQ(hex(find("n"), sizeof expected), hex(&expected, sizeof expected));
}

TEST_F(EmailList, new_entry_is_made_without_looking_for_another) {
  EXPECT_EQ(sch_add_new_schedule_email_entry(list_, "n", "a"), 0);
  EXPECT_EQ(sch_add_new_schedule_email_entry(list_, "n", "b"), 0);
  EXPECT_EQ(after(""), "n 1 a; n 1 b; ");
}

TEST_F(EmailList, longer_name_and_address_are_cut_and_stay_terminated) {
  const std::string name(31, 'n'), address(63, 'a');
  for (const size_t more : {0u, 1u, 100u}) {
    TearDown();
    nodes_.clear();
    add(name + std::string(more, 'n'), address + std::string(more, 'a'));
    add(name, address + std::string(more, 'a'));
    EXPECT_EQ(after(""), name + " 2 " + address + " " + address + "; ");
  }
}

TEST_F(EmailList, slot_that_held_a_longer_address_keeps_nothing_of_it) {
  sch_schedule_email_entry stored = {};
  set_text(stored.schedule_name, "n");
  stored.count = 1;
  set_text(stored.slots[0].address, "stale-and-long");
  EXPECT_EQ(sch_add_schedule_email_entry_from_pss(list_, &stored), 0);
  add("n", "a");
  EXPECT_EQ(hex(find("n")->slots[0].address, 15), "610000000000000000000000000000");
}

TEST_F(EmailList, stored_entry_is_copied_byte_for_byte) {
  sch_schedule_email_entry stored;
  auto *bytes = reinterpret_cast<unsigned char *>(&stored);
  for (size_t i = 0; i < sizeof stored; ++i)
    bytes[i] = static_cast<unsigned char>(i * 11 + 3);
  add("first", "a");
  EXPECT_EQ(sch_add_schedule_email_entry_from_pss(list_, &stored), 0);
  EXPECT_EQ(hex((*list_)->next->data, sizeof stored), hex(&stored, sizeof stored));
}

TEST_F(EmailList, exhausted_memory_fails_and_adds_nothing) {
  const sch_schedule_email_entry stored = {};
  const std::function<int()> rows[] = {
      [&] { return sch_add_new_schedule_email_entry(list_, "n", "a"); },
      [&] { return sch_add_schedule_email_entry_from_pss(list_, &stored); },
      [&] { return sch_add_schedule_email_entry(list_, "n", "a"); },
  };
  for (const auto &add_to_list : rows) {
    fake.reset();
    fake.alloc.nth = 1;
    EXPECT_EQ(add_to_list(), -1);
    EXPECT_EQ(*list_, nullptr);
  }
}

TEST_F(EmailList, removed_entries_are_unlinked_and_deliberately_kept_allocated) {
  after("+a x, +b y, +c z");
  fake.calls.clear();
  sch_remove_schedule_email_entry(list_, "b");
  sch_remove_schedule_email_addr(list_, "c", "z");
  EXPECT_TRUE(fake.calls.empty());
  EXPECT_EQ(fake.live[14], 3);
  EXPECT_STREQ(static_cast<sch_schedule_email_entry *>(nodes_[1]->data)->schedule_name, "b");
  EXPECT_EQ(nodes_[1]->next, nullptr);
  EXPECT_STREQ(static_cast<sch_schedule_email_entry *>(nodes_[2]->data)->slots[0].address, "z");
}

}  // namespace
