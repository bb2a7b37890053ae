// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <memory>

#include "tests/db/records.h"

using namespace platform_test;
using namespace db_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

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
  int add(const char *schedule, const std::string &address) {
    const int result = sch_add_schedule_email_entry(list_, schedule, address.c_str());
    remember();
    return result;
  }
  void add_stored(const sch_schedule_email_entry &stored) {
    EXPECT_EQ(sch_add_schedule_email_entry_from_pss(list_, &stored), 0);
    remember();
  }
  void remember() {
    nodes_.clear();
    for (GList *node = *list_; node != nullptr; node = node->next)
      nodes_.push_back(node);
  }
  // The addresses in use, "-" for a free slot, up to the last in use.
  static std::string slots(const sch_schedule_email_entry *entry) {
    std::string text;
    for (const auto &slot : entry->slots)
      text += slot.in_use != 0 ? std::string(slot.address) + " " : "- ";
    while (text.ends_with("- "))
      text.resize(text.size() - 2);
    return text;
  }

  GList **list_ = &sch_schedule_email_list;
  std::vector<GList *> nodes_;
};

TEST_F(EmailList, first_address_makes_the_entry) {
  EXPECT_EQ(add("nightly", "ops@example.net"), 0);
  const sch_schedule_email_entry *entry = find("nightly");
  ASSERT_NE(entry, nullptr);
  EXPECT_STREQ(entry->schedule_name, "nightly");
  EXPECT_EQ(entry->count, 1);
  EXPECT_EQ(slots(entry), "ops@example.net ");
  EXPECT_EQ(entry->slots[0].in_use, 1);
  EXPECT_THAT(fake.calls, ElementsAre("mtrack_alloc 224 14 716"));
  EXPECT_THAT(fake.traces(103), ElementsAre("email-id ops@example.net configured for nightly"));
}

TEST_F(EmailList, rest_of_a_new_entry_is_zero) {
  add("n", "a");
  sch_schedule_email_entry expected = {};
  set_text(expected.schedule_name, "n");
  expected.count = 1;
  set_text(expected.slots[0].address, "a");
  expected.slots[0].in_use = 1;
  EXPECT_EQ(hex(find("n"), sizeof expected), hex(&expected, sizeof expected));
}

TEST_F(EmailList, further_addresses_take_the_lowest_free_slot) {
  add("n", "a");
  add("n", "b");
  add("n", "c");
  EXPECT_EQ(slots(find("n")), "a b c ");
  EXPECT_EQ(find("n")->count, 3);
  EXPECT_THAT(fake.traces(103),
              ElementsAre("email-id a configured for n", "email-id b configured for n", "email-id c configured for n"));
}

TEST_F(EmailList, address_already_present_takes_a_second_slot) {
  add("n", "a");
  EXPECT_EQ(add("n", "a"), 0);
  EXPECT_EQ(slots(find("n")), "a a ");
  EXPECT_EQ(find("n")->count, 2);
}

TEST_F(EmailList, eleventh_address_is_refused_and_a_removed_one_makes_room) {
  for (char name = 'a'; name <= 'j'; ++name)
    EXPECT_EQ(add("n", std::string(1, name)), 0);
  EXPECT_EQ(find("n")->count, 10);
  fake.history.clear();
  EXPECT_EQ(add("n", "k"), -1);
  EXPECT_THAT(fake.traces(103), ElementsAre("Max email-ids configured for n"));
  EXPECT_EQ(slots(find("n")), "a b c d e f g h i j ");
  EXPECT_EQ(sch_remove_schedule_email_addr(list_, "n", "d"), 0);
  EXPECT_EQ(find("n")->count, 9);
  EXPECT_EQ(add("n", "l"), 0);
  EXPECT_EQ(slots(find("n")), "a b c l e f g h i j ");
  EXPECT_EQ(find("n")->count, 10);
}

TEST_F(EmailList, find_matches_the_exact_name) {
  add("nightly", "a");
  add("night", "b");
  EXPECT_EQ(slots(find("night")), "b ");
  EXPECT_EQ(slots(find("nightly")), "a ");
  for (const char *name : {"", "nigh", "nightlyy", "Night"})
    EXPECT_EQ(find(name), nullptr) << name;
}

TEST_F(EmailList, find_in_an_empty_list_clears_the_result) {
  sch_schedule_email_entry other{}, *entry = &other;
  EXPECT_EQ(sch_find_schedule_email_entry(list_, "n", &entry), 0);
  EXPECT_EQ(entry, nullptr);
}

TEST_F(EmailList, entries_are_appended_in_order) {
  for (const char *name : {"a", "b", "c"})
    add(name, "x");
  std::string order;
  for (const void *entry : items(*list_))
    order += static_cast<const sch_schedule_email_entry *>(entry)->schedule_name;
  EXPECT_EQ(order, "abc");
}

TEST_F(EmailList, new_entry_is_made_without_looking_for_another) {
  EXPECT_EQ(sch_add_new_schedule_email_entry(list_, "n", "a"), 0);
  EXPECT_EQ(sch_add_new_schedule_email_entry(list_, "n", "b"), 0);
  EXPECT_EQ(g_list_length(*list_), 2u);
  EXPECT_EQ(slots(find("n")), "a ");
  EXPECT_THAT(fake.history, IsEmpty());
}

TEST_F(EmailList, longest_name_and_address_fit) {
  const std::string name(31, 'n'), address(63, 'a');
  add(name.c_str(), address);
  add(name.c_str(), address);
  EXPECT_EQ(find(name.c_str())->schedule_name, name);
  EXPECT_EQ(slots(find(name.c_str())), address + " " + address + " ");
}

TEST_F(EmailList, longer_name_and_address_are_cut_and_stay_terminated) {
  const std::string name(100, 'n'), address(200, 'a');
  add(name.c_str(), address);
  const auto *entry = static_cast<const sch_schedule_email_entry *>((*list_)->data);
  EXPECT_EQ(entry->schedule_name, std::string(31, 'n'));
  EXPECT_EQ(slots(entry), std::string(63, 'a') + " ");
  add(std::string(31, 'n').c_str(), address);
  EXPECT_EQ(slots(entry), std::string(63, 'a') + " " + std::string(63, 'a') + " ");
}

TEST_F(EmailList, slot_that_held_a_longer_address_keeps_nothing_of_it) {
  sch_schedule_email_entry stored = {};
  set_text(stored.schedule_name, "n");
  stored.count = 1;
  set_text(stored.slots[0].address, "stale-and-long");
  add_stored(stored);
  add("n", "a");
  EXPECT_EQ(hex(find("n")->slots[0].address, 15), "610000000000000000000000000000");
}

TEST_F(EmailList, stored_entry_is_copied_byte_for_byte) {
  sch_schedule_email_entry stored;
  auto *bytes = reinterpret_cast<unsigned char *>(&stored);
  for (size_t i = 0; i < sizeof stored; ++i)
    bytes[i] = static_cast<unsigned char>(i * 11 + 3);
  add("first", "a");
  fake.calls.clear();
  add_stored(stored);
  EXPECT_THAT(fake.calls, ElementsAre("mtrack_alloc 224 14 716"));
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
    EXPECT_THAT(fake.traces(), ElementsAre("add schedule email entry", "\n"));
    EXPECT_THAT(fake.syslog,
                ElementsAre(Pair(2, "<<%SCHEDULER-2-SCH_SYSLOG_MALLOC_ERR>> Out of memory: add schedule email entry")));
  }
}

TEST_F(EmailList, removed_entry_is_unlinked_and_deliberately_kept_allocated) {
  add("a", "x");
  add("b", "y");
  add("c", "z");
  fake.calls.clear();
  fake.history.clear();
  EXPECT_EQ(sch_remove_schedule_email_entry(list_, "b"), 0);
  EXPECT_EQ(g_list_length(*list_), 2u);
  EXPECT_EQ(find("b"), nullptr);
  EXPECT_THAT(fake.calls, IsEmpty());
  EXPECT_EQ(fake.live[14], 3);
  EXPECT_STREQ(static_cast<sch_schedule_email_entry *>(nodes_[1]->data)->schedule_name, "b");
  EXPECT_EQ(nodes_[1]->next, nullptr);
  EXPECT_THAT(fake.traces(103), ElementsAre("removed schedule email entry for b"));
}

TEST_F(EmailList, first_entry_removed_moves_the_head) {
  add("a", "x");
  add("b", "y");
  sch_remove_schedule_email_entry(list_, "a");
  EXPECT_STREQ(static_cast<sch_schedule_email_entry *>((*list_)->data)->schedule_name, "b");
  sch_remove_schedule_email_entry(list_, "b");
  EXPECT_EQ(*list_, nullptr);
}

TEST_F(EmailList, removal_matches_the_beginning_of_a_longer_name) {
  add("nightly", "x");
  add("night", "y");
  EXPECT_EQ(sch_remove_schedule_email_entry(list_, "night"), 0);
  EXPECT_EQ(find("nightly"), nullptr);
  EXPECT_NE(find("night"), nullptr);
}

TEST_F(EmailList, removal_of_no_entry_is_silent) {
  EXPECT_EQ(sch_remove_schedule_email_entry(list_, "a"), 0);
  add("night", "y");
  fake.history.clear();
  for (const char *name : {"nightly", "Night", "ight"})
    EXPECT_EQ(sch_remove_schedule_email_entry(list_, name), 0);
  EXPECT_EQ(sch_remove_schedule_email_addr(list_, "nightly", "y"), 0);
  EXPECT_EQ(g_list_length(*list_), 1u);
  EXPECT_EQ(find("night")->count, 1);
  EXPECT_THAT(fake.history, IsEmpty());
}

TEST_F(EmailList, empty_name_removes_the_first_entry) {
  add("a", "x");
  add("b", "y");
  sch_remove_schedule_email_entry(list_, "");
  EXPECT_EQ(find("a"), nullptr);
  EXPECT_NE(find("b"), nullptr);
}

TEST_F(EmailList, last_address_removes_the_entry_whatever_it_is) {
  add("nightly", "x");
  fake.history.clear();
  fake.calls.clear();
  EXPECT_EQ(sch_remove_schedule_email_addr(list_, "nightly", "someone-else"), 0);
  EXPECT_EQ(*list_, nullptr);
  EXPECT_THAT(fake.calls, IsEmpty());
  EXPECT_EQ(fake.live[14], 1);
  EXPECT_STREQ(static_cast<sch_schedule_email_entry *>(nodes_[0]->data)->slots[0].address, "x");
  EXPECT_THAT(fake.traces(103), ElementsAre("email-id someone-else removed from nightly"));
}

TEST_F(EmailList, address_goes_with_its_slot_zeroed) {
  add("n", "a");
  add("n", "b");
  add("n", "c");
  fake.history.clear();
  EXPECT_EQ(sch_remove_schedule_email_addr(list_, "n", "b"), 0);
  EXPECT_EQ(slots(find("n")), "a - c ");
  EXPECT_EQ(find("n")->count, 2);
  EXPECT_EQ(hex(&find("n")->slots[1], 68), std::string(136, '0'));
  EXPECT_THAT(fake.traces(103), ElementsAre("email-id b removed from n"));
}

TEST_F(EmailList, all_addresses_that_begin_so_go) {
  for (const char *address : {"ops", "ops@example.net", "dev", "opsops"})
    add("n", address);
  sch_remove_schedule_email_addr(list_, "n", "ops");
  EXPECT_EQ(slots(find("n")), "- - dev ");
  EXPECT_EQ(find("n")->count, 1);
}

TEST_F(EmailList, address_longer_than_all_matches_none_and_is_traced) {
  add("n", "ops");
  add("n", "dev");
  fake.history.clear();
  EXPECT_EQ(sch_remove_schedule_email_addr(list_, "n", "ops@example.net"), 0);
  EXPECT_EQ(slots(find("n")), "ops dev ");
  EXPECT_THAT(fake.traces(103), ElementsAre("email-id ops@example.net removed from n"));
}

TEST_F(EmailList, schedule_of_an_address_matches_by_its_beginning) {
  add("nightly", "a");
  add("nightly", "b");
  add("night", "b");
  sch_remove_schedule_email_addr(list_, "night", "b");
  EXPECT_EQ(slots(find("nightly")), "a ");
  EXPECT_EQ(slots(find("night")), "b ");
}

TEST_F(EmailList, all_matching_addresses_may_go_and_leave_an_empty_entry) {
  add("n", "ops1");
  add("n", "ops2");
  sch_remove_schedule_email_addr(list_, "n", "ops");
  EXPECT_EQ(find("n")->count, 0);
  EXPECT_EQ(slots(find("n")), "");
  EXPECT_EQ(add("n", "again"), 0);
  EXPECT_EQ(slots(find("n")), "again ");
}

TEST_F(EmailList, traces_reach_standard_error_above_level_103_only) {
  for (const int32_t level : {103, 104}) {
    debug_level = level;
    const Output output = capture([&] { add("n", "a"); });
    EXPECT_EQ(output.err, level > 103 ? "email-id a configured for n\n" : "");
  }
}

}  // namespace
