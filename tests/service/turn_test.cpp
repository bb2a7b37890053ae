// SPDX-License-Identifier: Apache-2.0
#include "service/run/turn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace service {
namespace {

using ::testing::ElementsAre;

constexpr uint32_t administrator = 1, anna = 1001, ben = 1002, carla = 1003;

struct Shared : ::testing::Test {
  Turn<std::string> turn{{8, 4, 2}, administrator};

  std::vector<std::string> begun() {
    std::vector<std::string> all;
    while (std::optional<std::string> ticket = turn.next())
      all.push_back(*ticket);
    return all;
  }
  void wait(uint32_t owner, const std::string &name, int count) {
    for (int i = 1; i <= count; i++)
      turn.wait(owner, name + std::to_string(i));
  }
};

TEST_F(Shared, owners_begin_in_turn_and_each_owners_runs_in_their_order) {
  wait(anna, "a", 3);
  wait(ben, "b", 1);
  wait(carla, "c", 2);
  EXPECT_THAT(begun(), ElementsAre("a1", "b1", "c1", "a2", "c2", "a3"));
  EXPECT_EQ(turn.waiting(), 0u);
}

TEST_F(Shared, nobody_has_more_than_a_share_and_a_place_given_back_is_theirs_again) {
  wait(anna, "a", 6);
  EXPECT_THAT(begun(), ElementsAre("a1", "a2", "a3", "a4"));
  turn.give_back(anna);
  EXPECT_THAT(begun(), ElementsAre("a5"));
}

TEST_F(Shared, the_administrator_is_bound_by_no_share_but_leaves_the_places_for_others) {
  wait(administrator, "r", 8);
  EXPECT_THAT(begun(), ElementsAre("r1", "r2", "r3", "r4", "r5", "r6"));
  wait(anna, "a", 2);
  EXPECT_THAT(begun(), ElementsAre("a1"));
}

TEST_F(Shared, of_many_owners_no_more_begin_than_there_are_places) {
  for (uint32_t owner = anna; owner < anna + 9; owner++)
    wait(owner, "a", 1);
  EXPECT_EQ(begun().size(), 8u);
}

TEST_F(Shared, owners_with_all_the_usual_places_keep_nobody_from_beginning) {
  wait(anna, "a", 100);
  wait(ben, "b", 100);
  EXPECT_EQ(begun().size(), 6u);
  wait(carla, "c", 2);
  EXPECT_THAT(begun(), ElementsAre("c1"));
}

TEST_F(Shared, a_ticket_taken_out_is_nobodys_turn_any_more) {
  wait(anna, "a", 2);
  EXPECT_EQ(turn.take([](const std::string &ticket) { return ticket == "a1"; }), "a1");
  EXPECT_EQ(turn.take([](const std::string &ticket) { return ticket == "a1"; }), std::nullopt);
  EXPECT_THAT(begun(), ElementsAre("a2"));
  wait(ben, "b", 1);
  EXPECT_THAT(turn.clear(), ElementsAre("b1"));
  EXPECT_THAT(begun(), ElementsAre());
}

TEST_F(Shared, running_and_waiting_are_counted_through_all_changes) {
  const auto expect = [this](size_t running, size_t waiting) {
    EXPECT_EQ(turn.running(), running);
    EXPECT_EQ(turn.waiting(), waiting);
    size_t visited = 0;
    turn.for_each_waiting([&](const std::string &) { visited++; });
    EXPECT_EQ(visited, waiting);
  };
  expect(0, 0);
  wait(anna, "a", 6);
  wait(ben, "b", 1);
  expect(0, 7);
  begun();
  expect(5, 2);
  turn.take([](const std::string &ticket) { return ticket == "a5"; });
  expect(5, 1);
  turn.give_back(anna);
  expect(4, 1);
  EXPECT_THAT(turn.clear(), ElementsAre("a6"));
  expect(4, 0);
  turn.give_back(ben);
  for (int i = 0; i < 3; i++)
    turn.give_back(anna);
  expect(0, 0);
}

TEST_F(Shared, owners_of_whom_nothing_waits_any_more_keep_the_places_of_what_runs) {
  for (const bool one_by_one : {true, false}) {
    wait(anna, "a", 5);
    EXPECT_EQ(begun().size(), 4u);
    if (one_by_one)
      EXPECT_EQ(turn.take([](const std::string &) { return true; }), "a5");
    else
      EXPECT_THAT(turn.clear(), ElementsAre("a5"));
    wait(anna, "more", 1);
    EXPECT_THAT(begun(), ElementsAre());
    turn.give_back(anna);
    EXPECT_THAT(begun(), ElementsAre("more1"));
    for (int i = 0; i < 4; i++)
      turn.give_back(anna);
  }
}

TEST_F(Shared, an_owner_whose_only_ticket_was_taken_out_has_a_turn_again_and_only_one) {
  wait(anna, "a", 1);
  turn.take([](const std::string &) { return true; });
  wait(anna, "b", 2);
  wait(ben, "c", 2);
  EXPECT_THAT(begun(), ElementsAre("b1", "c1", "b2", "c2"));
}

TEST_F(Shared, the_last_of_several_that_was_taken_out_leaves_the_others_their_turn) {
  wait(anna, "a", 3);
  EXPECT_EQ(turn.take([](const std::string &ticket) { return ticket == "a3"; }), "a3");
  EXPECT_THAT(begun(), ElementsAre("a1", "a2"));
}

TEST_F(Shared, other_limits_count_for_what_waits) {
  wait(anna, "a", 8);
  EXPECT_EQ(begun().size(), 4u);
  turn.set_limits({8, 5, 2});
  EXPECT_THAT(begun(), ElementsAre("a5"));
  turn.set_limits({8, 8, 3});
  EXPECT_THAT(begun(), ElementsAre());
  turn.set_limits({8, 8, 0});
  EXPECT_THAT(begun(), ElementsAre("a6", "a7", "a8"));
  wait(ben, "b", 1);
  EXPECT_THAT(begun(), ElementsAre());
}

}  // namespace
}  // namespace service
