// SPDX-License-Identifier: Apache-2.0
#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

class WalkTest : public StoreTest {
 protected:
  pss_handle store = create("running:a");
  pss_cursor cursor{};

  void fill(int count) {
    (void)host::store_begin(store);
    for (int i = 0; i < count; ++i)
      put(store, name(i), "value " + std::to_string(i));
    (void)host::store_commit(store);
  }
  static std::string name(int i) { return "key" + std::to_string(1000 + i); }
  std::string first() { return text_of(pss_move2location(store, PSS_FIRST, &cursor)); }
  std::string next() { return text_of(pss_move2location(store, PSS_NEXT, &cursor)); }
  std::string value() { return text_of(pss_getvalue(store, &cursor)); }
};

TEST_F(WalkTest, keys_come_in_the_order_of_their_bytes) {
  const std::string keys[] = {std::string("\0", 1),
                              std::string("\0\0\0\1b", 5),
                              std::string("\0\0\0\2a", 5),
                              "\x7f",
                              "\x7f"
                              "a",
                              "\x80",
                              "\xff",
                              "\xff\xff"};
  for (int i : {5, 2, 7, 0, 3, 6, 1, 4})
    put(store, keys[i], std::to_string(i));
  Records expected;
  for (int i : {0, 1, 2, 3, 4, 5, 6, 7})
    expected.emplace_back(keys[i], std::to_string(i));
  EXPECT_EQ(records(store), expected);
}

TEST_F(WalkTest, empty_store_has_no_first_key_and_no_error) {
  EXPECT_EQ(first(), "(none)");
  EXPECT_EQ(cursor.error, 0U);
  EXPECT_EQ(next(), "(none)");
  EXPECT_EQ(cursor.error, 0U);
}

TEST_F(WalkTest, walk_stays_at_its_end) {
  fill(1);
  EXPECT_EQ(first(), "key1000");
  EXPECT_EQ(next(), "(none)");
  EXPECT_EQ(next(), "(none)");
  EXPECT_EQ(cursor.error, 0U);
  EXPECT_EQ(value(), "(none)");
  EXPECT_EQ(cursor.error, host::err_store_bad_handle);
}

TEST_F(WalkTest, first_starts_a_cursor_again) {
  fill(3);
  first();
  next();
  EXPECT_EQ(first(), "key1000");
  EXPECT_EQ(value(), "value 0");
}

TEST_F(WalkTest, cursor_that_never_started_has_no_next) {
  fill(1);
  EXPECT_EQ(next(), "(none)");
  EXPECT_EQ(cursor.error, host::err_store_bad_handle);
  EXPECT_EQ(value(), "(none)");
}

TEST_F(WalkTest, unknown_place_is_refused) {
  fill(1);
  EXPECT_EQ(pss_move2location(store, 2, &cursor), nullptr);
  EXPECT_EQ(cursor.error, host::err_store_bad_handle);
}

TEST_F(WalkTest, cursor_belongs_to_its_store) {
  fill(2);
  first();
  EXPECT_EQ(pss_move2location(create("running:b"), PSS_NEXT, &cursor), nullptr);
  EXPECT_EQ(cursor.error, host::err_store_bad_handle);
}

TEST_F(WalkTest, walk_that_deletes_as_it_goes_sees_every_record_once) {
  fill(120);
  int seen = 0;
  for (const pss_buf *key = pss_move2location(store, PSS_FIRST, &cursor); key != nullptr;
       key = pss_move2location(store, PSS_NEXT, &cursor)) {
    EXPECT_EQ(text_of(key), name(seen));
    EXPECT_EQ(value(), "value " + std::to_string(seen));
    EXPECT_EQ(pss_delete(store, key), 0U);
    ++seen;
  }
  EXPECT_EQ(seen, 120);
  EXPECT_EQ(records(store), Records{});
}

TEST_F(WalkTest, results_stay_until_the_next_call_on_the_cursor) {
  fill(3);
  const pss_buf *key = pss_move2location(store, PSS_FIRST, &cursor);
  const pss_buf *kept = pss_getvalue(store, &cursor);
  for (int i = 0; i < 50; ++i)
    put(store, name(i), std::string(900, 'x'));
  erase(store, name(0));
  records(store);
  EXPECT_EQ(text_of(key), "key1000");
  EXPECT_EQ(text_of(kept), "value 0");
}

TEST_F(WalkTest, results_are_aligned_for_the_schedulers_records) {
  for (const std::size_t length : {1U, 12U, 144U, 1024U, 60000U}) {
    put(store, std::string(40, 'k') + std::to_string(length), std::string(length, 'v'));
  }
  for (const std::size_t length : {1U, 1024U, 60000U})
    put(store, std::string(40, 'k'), std::string(length, 'v'));
  for (const pss_buf *key = pss_move2location(store, PSS_FIRST, &cursor); key != nullptr;
       key = pss_move2location(store, PSS_NEXT, &cursor)) {
    if (key->length == 40) {
      EXPECT_EQ(reinterpret_cast<uintptr_t>(key->data) % 8, 0U);
    }
    const pss_buf *found = pss_getvalue(store, &cursor);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(found->data) % alignof(std::max_align_t), 0U) << found->length;
  }
}

TEST_F(WalkTest, key_stays_while_its_value_is_read) {
  put(store, "large", std::string(60000, 'v'));
  const pss_buf *key = pss_move2location(store, PSS_FIRST, &cursor);
  EXPECT_EQ(text_of(pss_getvalue(store, &cursor)), std::string(60000, 'v'));
  EXPECT_EQ(text_of(key), "large");
}

TEST_F(WalkTest, walk_sees_what_was_written_ahead_of_it_and_not_behind) {
  fill(2);
  first();
  put(store, "key0999", "behind");
  put(store, "key1000a", "ahead");
  erase(store, "key1001");
  EXPECT_EQ(next(), "key1000a");
  EXPECT_EQ(value(), "ahead");
  EXPECT_EQ(next(), "(none)");
}

TEST_F(WalkTest, value_is_the_one_of_now) {
  fill(2);
  first();
  put(store, "key1000", "changed");
  EXPECT_EQ(value(), "changed");
  erase(store, "key1000");
  EXPECT_EQ(value(), "(none)");
  EXPECT_EQ(cursor.error, PSS_ERR_NO_KEY);
  EXPECT_EQ(next(), "key1001");
  EXPECT_EQ(cursor.error, 0U);
  EXPECT_EQ(value(), "value 1");
}

TEST_F(WalkTest, walks_cross_without_disturbing_each_other) {
  fill(5);
  pss_cursor other{};
  first();
  EXPECT_EQ(text_of(pss_move2location(store, PSS_FIRST, &other)), "key1000");
  EXPECT_EQ(next(), "key1001");
  EXPECT_EQ(next(), "key1002");
  EXPECT_EQ(text_of(pss_move2location(store, PSS_NEXT, &other)), "key1001");
  EXPECT_EQ(text_of(pss_getvalue(store, &other)), "value 1");
  EXPECT_EQ(value(), "value 2");
  EXPECT_EQ(next(), "key1003");
}

TEST_F(WalkTest, walk_goes_on_into_a_batch_and_out_of_it) {
  fill(3);
  first();
  (void)host::store_begin(store);
  put(store, "key1000a", "in the batch");
  EXPECT_EQ(next(), "key1000a");
  EXPECT_EQ(value(), "in the batch");
  host::store_abort(store);
  EXPECT_EQ(value(), "(none)");
  EXPECT_EQ(next(), "key1001");
  EXPECT_EQ(value(), "value 1");
}

TEST_F(WalkTest, unfinished_walks_are_bounded_and_the_stalest_gives_way) {
  fill(40);
  pss_cursor stale{};
  pss_move2location(store, PSS_FIRST, &stale);
  first();
  for (int i = 0; i < 100; ++i) {
    pss_cursor unfinished{};
    pss_move2location(store, PSS_FIRST, &unfinished);
    if (i % 10 == 0) next();
  }
  EXPECT_EQ(next(), "key1011");
  EXPECT_EQ(pss_move2location(store, PSS_NEXT, &stale), nullptr);
  EXPECT_EQ(stale.error, host::err_store_bad_handle);
}

TEST_F(WalkTest, unfinished_walk_does_not_let_the_file_grow_once_something_is_written) {
  for (int i = 0; i < 20; ++i)
    put(store, "key", std::string(1000, 'a'));
  first();
  for (int i = 0; i < 500; ++i)
    put(store, "key", std::string(1000, 'b'));
  EXPECT_LE(std::filesystem::file_size(host::store_path("running:a")), 20U * 4096U);
}

TEST_F(WalkTest, walk_ends_with_its_handle_also_when_another_keeps_the_store_open) {
  fill(2);
  open("running:a");
  first();
  pss_close(store);
  EXPECT_EQ(next(), "(none)");
  EXPECT_EQ(cursor.error, host::err_store_bad_handle);
}

TEST_F(WalkTest, walk_ends_with_its_store) {
  fill(2);
  first();
  pss_close(store);
  store = open("running:a");
  EXPECT_EQ(next(), "(none)");
  EXPECT_EQ(cursor.error, host::err_store_bad_handle);
}

}  // namespace
}  // namespace store_test
