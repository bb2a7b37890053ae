// SPDX-License-Identifier: Apache-2.0
// What reads and walks see of a batch, against a model, and what they see while its commit is being written.
#include <random>

#include "host/files/disk.h"
#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

class BatchTest : public StoreTest {
 protected:
  ~BatchTest() override { host::wait_for_disk_by({}); }

  // A commit calls this before it writes.
  template <typename Look>
  static void while_written(Look look) {
    host::wait_for_disk_by([look](const host::DiskWork &write) {
      look();
      write();
      look();
    });
  }

  pss_handle store = create("running:a");
};

std::string name(unsigned number) {
  return "key" + std::to_string(100 + number);
}

TEST_F(BatchTest, walk_in_a_batch_passes_what_it_deleted_and_meets_what_it_added_in_order) {
  struct {
    Records stored;
    std::vector<std::string> deleted;
    Records added, walked;
  } const cases[] = {
      {{}, {}, {{"a", "1"}}, {{"a", "1"}}},
      {{{"a", "1"}}, {"a"}, {}, {}},
      {{{"a", "1"}}, {}, {{"a", "2"}}, {{"a", "2"}}},
      {{{"a", "1"}, {"b", "2"}}, {"a"}, {}, {{"b", "2"}}},
      {{{"a", "1"}, {"b", "2"}}, {"b"}, {}, {{"a", "1"}}},
      {{{"a", "1"}, {"b", "2"}}, {"a", "b"}, {{"c", "3"}}, {{"c", "3"}}},
      {{{"a", "1"}, {"c", "3"}}, {}, {{"b", "2"}}, {{"a", "1"}, {"b", "2"}, {"c", "3"}}},
      {{{"b", "2"}}, {}, {{"a", "1"}, {"c", "3"}}, {{"a", "1"}, {"b", "2"}, {"c", "3"}}},
      {{{"a", "1"}, {"b", "2"}, {"c", "3"}}, {"a", "b", "c"}, {{"b", "4"}}, {{"b", "4"}}},
      {{{"ab", "1"}}, {}, {{"a", "2"}, {"a\xff", "3"}}, {{"a", "2"}, {"ab", "1"}, {"a\xff", "3"}}},
  };
  for (const auto &each : cases) {
    SCOPED_TRACE(&each - cases);
    const pss_handle tried = create("running:case" + std::to_string(&each - cases));
    for (const auto &[key, value] : each.stored)
      put(tried, key, value);
    ASSERT_EQ(host::store_begin(tried).code(), 0U);
    for (const std::string &key : each.deleted)
      EXPECT_EQ(erase(tried, key), 0U);
    for (const auto &[key, value] : each.added)
      EXPECT_EQ(put(tried, key, value), 0U);
    EXPECT_EQ(records(tried), each.walked);
    EXPECT_EQ(host::store_commit(tried).code(), 0U);
    EXPECT_EQ(records(tried), each.walked);
  }
}

TEST_F(BatchTest, second_deletion_of_a_record_in_a_batch_finds_none) {
  put(store, "a", "1");
  ASSERT_EQ(host::store_begin(store).code(), 0U);
  EXPECT_EQ(erase(store, "a"), 0U);
  EXPECT_EQ(erase(store, "a"), PSS_ERR_NO_KEY);
  EXPECT_EQ(get(store, "a"), "(none)");
  EXPECT_EQ(put(store, "a", "2"), 0U);
  EXPECT_EQ(erase(store, "a"), 0U);
  EXPECT_EQ(host::store_commit(store).code(), 0U);
  EXPECT_EQ(records(store), Records{});
}

TEST_F(BatchTest, random_batches_are_seen_as_a_model_has_them_before_and_after_they_end) {
  std::mt19937 random(7);
  const auto below = [&](unsigned end) { return std::uniform_int_distribution<unsigned>(0, end - 1)(random); };
  std::map<std::string, std::string> kept;
  for (int batch = 0; batch < 150; ++batch) {
    SCOPED_TRACE(batch);
    ASSERT_EQ(host::store_begin(store).code(), 0U);
    auto seen = kept;
    for (unsigned change = below(25); change > 0; --change) {
      const std::string key = name(below(30)), value(below(3000), 'v');
      if (below(3) != 0) {
        EXPECT_EQ(put(store, key, value), 0U);
        seen[key] = value;
      } else {
        EXPECT_EQ(erase(store, key), seen.erase(key) != 0 ? 0U : PSS_ERR_NO_KEY);
      }
      const std::string looked = name(below(30));
      EXPECT_EQ(get(store, looked), seen.contains(looked) ? seen[looked] : "(none)");
    }
    EXPECT_EQ(records(store), Records(seen.begin(), seen.end()));
    if (below(4) == 0) {
      host::store_abort(store);
    } else {
      EXPECT_EQ(host::store_commit(store).code(), 0U);
      kept = seen;
    }
    EXPECT_EQ(records(store), Records(kept.begin(), kept.end()));
  }
}

TEST_F(BatchTest, reads_see_the_store_as_it_was_before_the_batch_until_its_commit_is_done) {
  put(store, "a", "before");
  put(store, "gone", "not yet");
  const Records before = records(store);
  int looks = 0;
  while_written([&] {
    EXPECT_EQ(get(store, "a"), "before");
    EXPECT_EQ(get(store, "new"), "(none)");
    EXPECT_EQ(records(store), before);
    uint32_t bytes = 0;
    EXPECT_EQ(pss_free_space(store, &bytes), 0U);
    ++looks;
  });
  ASSERT_EQ(host::store_begin(store).code(), 0U);
  put(store, "a", "after");
  put(store, "new", "after");
  erase(store, "gone");
  EXPECT_EQ(get(store, "a"), "after");
  EXPECT_EQ(host::store_commit(store).code(), 0U);
  EXPECT_EQ(looks, 2);
  EXPECT_EQ(records(store), (Records{{"a", "after"}, {"new", "after"}}));
}

TEST_F(BatchTest, change_that_is_tried_while_another_is_written_is_refused) {
  uint32_t begun = 0;
  while_written([&] { begun = host::store_begin(store).code(); });
  EXPECT_EQ(put(store, "a", "1"), 0U);
  EXPECT_EQ(begun, host::err_store_busy);
  EXPECT_EQ(get(store, "a"), "1");
}

TEST_F(BatchTest, walk_from_before_the_commit_goes_on_while_it_is_written) {
  for (unsigned i = 0; i < 4; ++i)
    put(store, name(i), "old");
  pss_cursor cursor{};
  ASSERT_EQ(text_of(pss_move2location(store, PSS_FIRST, &cursor)), name(0));
  unsigned next = 1;
  while_written([&] {
    EXPECT_EQ(text_of(pss_move2location(store, PSS_NEXT, &cursor)), name(next++));
    EXPECT_EQ(text_of(pss_getvalue(store, &cursor)), "old");
  });
  EXPECT_EQ(put(store, name(2), "new"), 0U);
  EXPECT_EQ(text_of(pss_move2location(store, PSS_NEXT, &cursor)), name(3));
  EXPECT_EQ(next, 3U);
}

}  // namespace
}  // namespace store_test
