// SPDX-License-Identifier: Apache-2.0
#include "db/append.h"

#include <gmock/gmock.h>

#include <vector>

#include "tests/platform/platform.h"

namespace {

std::vector<int> numbers_in(GList *list) {
  std::vector<int> all;
  const GList *before = nullptr;
  for (; list != nullptr; before = list, list = list->next) {
    EXPECT_EQ(list->prev, before);
    all.push_back(GPOINTER_TO_INT(list->data));
  }
  return all;
}

class Append : public ::testing::Test {
 protected:
  ~Append() override {
    g_list_free(list_);
    g_list_free(other_);
  }
  GList *list_ = nullptr, *other_ = nullptr;
};

TEST_F(Append, lengths_count_up_with_and_without_a_session) {
  for (int i = 1; i <= 3; ++i)
    EXPECT_EQ(sch_append(&list_, GINT_TO_POINTER(i)), static_cast<guint>(i));
  const append_session session;
  for (int i = 4; i <= 6; ++i)
    EXPECT_EQ(sch_append(&list_, GINT_TO_POINTER(i)), static_cast<guint>(i));
  EXPECT_EQ(numbers_in(list_), (std::vector{1, 2, 3, 4, 5, 6}));
}

TEST_F(Append, lists_interleave_in_a_session) {
  const append_session session;
  for (int i = 1; i <= 4; ++i) {
    sch_append(&list_, GINT_TO_POINTER(i));
    sch_append(&other_, GINT_TO_POINTER(10 * i));
  }
  EXPECT_EQ(numbers_in(list_), (std::vector{1, 2, 3, 4}));
  EXPECT_EQ(numbers_in(other_), (std::vector{10, 20, 30, 40}));
}

TEST_F(Append, lists_that_share_a_place_interleave) {
  std::vector<GList *> heads(16 * 1024, nullptr);  // more lists than the table of ends has places
  const append_session session;
  for (int round = 1; round <= 3; ++round)
    for (auto &head : heads)
      EXPECT_EQ(sch_append(&head, GINT_TO_POINTER(round)), static_cast<guint>(round));
  for (GList *head : heads) {
    EXPECT_EQ(numbers_in(head), (std::vector{1, 2, 3}));
    g_list_free(head);
  }
}

TEST_F(Append, nothing_is_remembered_between_sessions) {
  {
    const append_session session;
    sch_append(&list_, GINT_TO_POINTER(1));
    sch_append(&list_, GINT_TO_POINTER(2));
  }
  list_ = g_list_delete_link(list_, g_list_last(list_));
  EXPECT_EQ(sch_append(&list_, GINT_TO_POINTER(3)), 2u);
  list_ = g_list_delete_link(list_, g_list_last(list_));
  const append_session session;
  EXPECT_EQ(sch_append(&list_, GINT_TO_POINTER(4)), 2u);
  EXPECT_EQ(numbers_in(list_), (std::vector{1, 4}));
}

TEST_F(Append, inner_session_leaves_the_outer_one_its_memory) {
  const append_session outer;
  sch_append(&list_, GINT_TO_POINTER(1));
  {
    const append_session inner;
    sch_append(&list_, GINT_TO_POINTER(2));
  }
  EXPECT_EQ(sch_append(&list_, GINT_TO_POINTER(3)), 3u);
  EXPECT_EQ(numbers_in(list_), (std::vector{1, 2, 3}));
}

TEST_F(Append, list_emptied_in_a_session_starts_anew) {
  const append_session session;
  sch_append(&list_, GINT_TO_POINTER(1));
  g_list_free(list_);
  list_ = nullptr;
  EXPECT_EQ(sch_append(&list_, GINT_TO_POINTER(2)), 1u);
  EXPECT_EQ(numbers_in(list_), (std::vector{2}));
}

// A walk for each append would visit two thousand million elements, minutes of work.
TEST_F(Append, long_lists_grow_without_walks_in_a_session) {
  const append_session session;
  guint length = 0;
  for (int i = 0; i < 65536; ++i)
    length = sch_append(&list_, GINT_TO_POINTER(i + 1));
  EXPECT_EQ(length, 65536u);
  EXPECT_EQ(g_list_length(list_), 65536u);
}

}  // namespace
