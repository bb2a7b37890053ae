// SPDX-License-Identifier: Apache-2.0
// The look-ups beside the library's lists, against a model that walks.
#include "service/state/tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "service/state/open_table.h"

namespace service_test {
namespace {

using service::ScheduleState;

constexpr uint32_t owners = 4, jobs = 6;

struct Known {
  std::string name;
  uint32_t owner = 0, due = 0;
  std::set<uint32_t> jobs = {};
};

using Model = std::map<uint32_t, Known>;  // by number

std::mt19937 random_bits(20261122);

uint32_t below(size_t bound) {
  return static_cast<uint32_t>(random_bits() % bound);
}

struct TablesTest : ::testing::Test {
  TablesTest() { forget_everything(); }
  ~TablesTest() override { forget_everything(); }

  static void forget_everything() {
    sch_free_config(&sch_running_config);
    service::rebuild_tables();
  }

  sch_schedule_entry &add(const std::string &name, uint32_t owner, uint32_t due = 0) {
    ScheduleState state = {};
    state.owner_tag = owner;
    state.next_due = due;
    sch_schedule_entry *entry = service::add_schedule(name, state);
    model[service::schedule_number(*entry->rec)] = {name, owner, due};
    return *entry;
  }

  sch_schedule_entry &any() {
    auto known = model.begin();
    std::advance(known, below(model.size()));
    return *service::schedule_by_serial(known->first);
  }

  Known &known(const sch_schedule_entry &entry) { return model.at(service::schedule_number(*entry.rec)); }

  void remove(sch_schedule_entry &entry) {
    model.erase(service::schedule_number(*entry.rec));
    service::remove_schedule(entry);
  }

  void expect_names() {
    for (const auto &[number, expected] : model) {
      const sch_schedule_entry *entry = service::find_schedule(expected.name);
      ASSERT_NE(entry, nullptr) << expected.name;
      EXPECT_EQ(service::schedule_number(*entry->rec), number);
      EXPECT_EQ(service::schedule_by_serial(number), entry);
    }
    EXPECT_EQ(service::find_schedule("never"), nullptr);
    EXPECT_EQ(service::schedule_count(), model.size());
    EXPECT_EQ(g_list_length(sch_schedule_list), model.size());
  }

  void expect_order() {
    std::vector<uint32_t> listed, paged, expected;
    for (const auto &row : model)
      expected.push_back(row.first);
    service::for_each_schedule([&](const auto &entry) { listed.push_back(service::schedule_number(*entry.rec)); });
    for (const auto *entry = service::schedule_after(-1); entry != nullptr;
         entry = service::schedule_after(service::schedule_number(*entry->rec)))
      paged.push_back(service::schedule_number(*entry->rec));
    EXPECT_EQ(listed, expected);
    EXPECT_EQ(paged, expected);
    for (uint32_t owner = 1; owner <= owners; owner++)
      expect_order_of(owner);
  }

  void expect_order_of(uint32_t owner) {
    std::vector<uint32_t> paged, expected;
    for (const auto &[number, row] : model)
      if (row.owner == owner) expected.push_back(number);
    for (const auto *entry = service::schedule_after(-1, owner); entry != nullptr;
         entry = service::schedule_after(service::schedule_number(*entry->rec), owner))
      paged.push_back(service::schedule_number(*entry->rec));
    EXPECT_EQ(paged, expected) << owner;
    EXPECT_EQ(service::schedule_count(owner), expected.size()) << owner;
  }

  void expect_due() {
    std::vector<std::pair<uint32_t, uint32_t>> expected;  // due, number
    for (const auto &[number, row] : model)
      if (row.due != 0) expected.emplace_back(row.due, number);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(service::earliest_due(), expected.empty() ? 0 : expected.front().first);
    const auto number_of = [](const sch_schedule_entry *entry) {
      return entry == nullptr ? 0 : service::schedule_number(*entry->rec);
    };
    EXPECT_EQ(number_of(service::first_due()), expected.empty() ? 0 : expected.front().second);
    for (uint32_t owner = 1; owner <= owners; owner++) {
      const auto first =
          std::ranges::find(expected, owner, [&](const auto &row) { return model.at(row.second).owner; });
      EXPECT_EQ(number_of(service::first_due(owner)), first == expected.end() ? 0 : first->second) << owner;
    }
    const uint32_t moment = below(60);
    std::erase_if(expected, [&](const auto &row) { return row.first > moment; });
    std::vector<std::pair<uint32_t, uint32_t>> found;
    for (const sch_schedule_entry *entry : service::schedules_due(moment))
      found.emplace_back(service::state_of(*entry->rec).next_due, service::schedule_number(*entry->rec));
    EXPECT_EQ(found, expected) << moment;
  }

  void expect_users() {
    for (uint32_t id = 0; id < jobs; id++) {
      std::vector<uint32_t> expected, found;
      for (const auto &[number, row] : model)
        if (row.jobs.contains(id)) expected.push_back(number);
      for (const sch_schedule_entry *entry : service::schedules_with_job(id))
        found.push_back(service::schedule_number(*entry->rec));
      EXPECT_EQ(found, expected) << id;
    }
  }

  void expect_equal() {
    expect_names();
    expect_order();
    expect_due();
    expect_users();
  }

  void change_one() {
    sch_schedule_entry &entry = any();
    Known &row = known(entry);
    const uint32_t id = below(jobs);
    switch (below(5)) {
      case 0:
        return remove(entry);
      case 1:
        row.due = below(2) * (1 + below(50));
        return service::set_next_due(entry, row.due);
      case 2: {
        ScheduleState state = service::state_of(*entry.rec);
        state.owner_tag = row.owner = 1 + below(owners);
        return service::set_state(entry, state);
      }
      case 3:
        row.jobs.insert(id).second ? service::assign_job(entry, id)
                                   : (row.jobs.erase(id), service::deassign_job(entry, id));
        return;
      default:
        return change_and_take_back(entry);
    }
  }

  // As a request does that the store refuses.
  void change_and_take_back(sch_schedule_entry &entry) {
    const sch_schedule_rec before = *entry.rec;
    service::set_next_due(entry, 1 + below(50));
    const uint32_t id = below(jobs);
    service::has_job(*entry.rec, id) ? service::deassign_job(entry, id) : service::assign_job(entry, id);
    entry.rec->time.hour = 7;
    service::set_record(entry, before);
    EXPECT_EQ(std::memcmp(entry.rec, &before, sizeof before), 0);
  }

  Model model;
};

TEST_F(TablesTest, random_changes_leave_what_a_walk_over_everything_would_find) {
  for (int step = 0; step < 6000; step++) {
    if (model.empty() || below(3) == 0)
      add("s" + std::to_string(step), 1 + below(owners), below(2) * (1 + below(50)));
    else
      change_one();
    if (step % 50 == 0) expect_equal();
    if (HasFailure()) FAIL() << "step " << step;
  }
  service::rebuild_tables();
  expect_equal();
}

TEST_F(TablesTest, a_number_is_not_used_again_when_its_schedule_is_gone) {
  const uint32_t first = service::schedule_number(*add("a", 1).rec);
  remove(*service::find_schedule("a"));
  EXPECT_EQ(service::schedule_by_serial(first), nullptr);
  EXPECT_GT(service::schedule_number(*add("a", 1).rec), first);
}

TEST_F(TablesTest, schedules_due_together_are_taken_in_the_order_of_their_numbers) {
  for (const char *name : {"c", "a", "b", "e", "d"})
    add(name, 1, 100);
  service::set_next_due(*service::find_schedule("c"), 50);
  service::set_next_due(*service::find_schedule("c"), 100);
  std::string names;
  for (const sch_schedule_entry *entry : service::schedules_due(100))
    names += entry->key->name;
  EXPECT_EQ(names, "cabed");
  EXPECT_TRUE(service::schedules_due(99).empty());
  EXPECT_TRUE(service::schedules_due(-5).empty());
}

TEST_F(TablesTest, a_name_that_fills_its_field_is_found) {
  const std::string name(31, 'x');
  EXPECT_EQ(service::find_schedule(name), nullptr);
  const sch_schedule_entry &entry = add(name, 1);
  EXPECT_EQ(service::find_schedule(name), &entry);
  EXPECT_EQ(service::find_schedule(name.substr(1)), nullptr);
}

TEST_F(TablesTest, jobs_are_found_by_name_and_counted_for_their_owner) {
  ASSERT_EQ(service::find_job("a"), nullptr);
  sch_job_entry *slot = service::add_job("a", 7, 3);
  ASSERT_EQ(slot, &sch_job_list[3]);
  service::add_job("b", 7, 4);
  service::add_job("c", 8, 5);
  EXPECT_EQ(service::find_job("a"), slot);
  EXPECT_EQ(service::job_count(7), 2u);
  service::remove_job(*slot);
  EXPECT_EQ(service::find_job("a"), nullptr);
  EXPECT_EQ(slot->key, nullptr);
  EXPECT_EQ(service::job_count(7), 1u);
  EXPECT_EQ(service::job_count(8), 1u);
}

TEST_F(TablesTest, owners_are_those_with_a_schedule_or_a_job) {
  const auto tags_in_order = [] {
    const std::vector<uint32_t> tags = service::owner_tags();
    return std::set<uint32_t>(tags.begin(), tags.end());
  };
  EXPECT_EQ(tags_in_order(), std::set<uint32_t>());
  add("a", 1);
  sch_schedule_entry &last = add("b", 2);
  sch_job_entry *slot = service::add_job("c", 3, 0);
  EXPECT_EQ(tags_in_order(), (std::set<uint32_t>{1, 2, 3}));
  remove(last);
  EXPECT_EQ(tags_in_order(), (std::set<uint32_t>{1, 3}));
  service::remove_job(*slot);
  EXPECT_EQ(tags_in_order(), (std::set<uint32_t>{1}));
}

// All items have the same hash, so that each look-up meets all of them.
struct Crowded {
  using Key = int;
  static Key key(const int &item) { return item; }
  static uint64_t hash(Key key) { return static_cast<uint64_t>(key % 3) << 62; }
};

TEST(OpenTableTest, items_that_hash_alike_are_all_found_whatever_is_removed_between_them) {
  std::vector<int> items(60);
  std::set<int> expected;
  service::OpenTable<int, Crowded> table;
  for (int i = 0; i < 60; i++)
    items[static_cast<size_t>(i)] = i;
  for (int step = 0; step < 5000; step++) {
    const int key = static_cast<int>(below(items.size()));
    int &item = items[static_cast<size_t>(key)];
    if (expected.erase(key) != 0) {
      table.remove(item);
    } else {
      table.reserve_one();
      table.insert(item);
      expected.insert(key);
    }
    ASSERT_EQ(table.size(), expected.size());
    for (int &each : items)
      ASSERT_EQ(table.find(each) == &each, expected.contains(each)) << step;
  }
}

}  // namespace
}  // namespace service_test
