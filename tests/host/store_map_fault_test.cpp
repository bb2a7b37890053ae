// SPDX-License-Identifier: Apache-2.0
// Address space that ends when a store's map is to grow.
#include <dlfcn.h>
#include <lmdb.h>

#include "tests/host/store_fixture.h"

namespace {

constinit bool no_address_space = false;
constexpr std::size_t more_than_there_is = SIZE_MAX / 4;

}  // namespace

// Asks LMDB's for a map that the system refuses.
extern "C" int mdb_env_set_mapsize(MDB_env *environment, size_t size) {
  static const auto real = reinterpret_cast<int (*)(MDB_env *, size_t)>(dlsym(RTLD_NEXT, "mdb_env_set_mapsize"));
  return real(environment, no_address_space ? more_than_there_is : size);
}

namespace store_test {
namespace {

class MapFaultTest : public StoreTest {
 protected:
  ~MapFaultTest() override { no_address_space = false; }

  // Stores until the store refuses; gives the status.
  uint32_t fill(pss_handle store) {
    no_address_space = true;
    for (;; ++stored_) {
      const uint32_t status = put(store, "key" + std::to_string(100000 + stored_), std::string(900, 'v'));
      if (status != 0) return status;
    }
  }

  // A batch of more than the map holds.
  static void begin_large_batch(pss_handle store) {
    ASSERT_EQ(host::store_begin(store).code(), 0U);
    for (int i = 0; i < 3000; ++i)
      ASSERT_EQ(put(store, "key" + std::to_string(100000 + i), std::string(900, 'v')), 0U);
    no_address_space = true;
  }

  static void expect_no_memory(uint32_t status) {
    EXPECT_EQ(status, host::err_no_memory);
    EXPECT_NE(host::store_last_error().find("Cannot allocate memory; nothing was changed"), std::string::npos)
        << host::store_last_error();
  }

  static void expect_no_memory(const host::Result<void> &result) {
    EXPECT_EQ(result.code(), host::err_no_memory);
    EXPECT_NE(result.error().text.find("Cannot allocate memory; nothing was changed"), std::string::npos);
  }

  unsigned stored_ = 0;
};

TEST_F(MapFaultTest, change_that_finds_no_room_for_a_larger_map_is_refused_and_the_store_serves_again_afterwards) {
  const pss_handle store = create("running:a");
  expect_no_memory(fill(store));
  EXPECT_GT(stored_, 100U);
  expect_no_memory(put(store, "not", "yet"));
  no_address_space = false;
  EXPECT_EQ(records(store).size(), stored_);
  EXPECT_EQ(put(store, "now", "again"), 0U);
  EXPECT_EQ(records(store).size(), stored_ + 1);
}

TEST_F(MapFaultTest, batch_that_finds_no_room_for_a_larger_map_is_nothing_and_the_store_serves_again_afterwards) {
  const pss_handle store = create("running:a");
  put(store, "kept", "as it was");
  begin_large_batch(store);
  erase(store, "kept");
  expect_no_memory(host::store_commit(store));
  expect_no_memory(put(store, "not", "yet"));
  no_address_space = false;
  EXPECT_EQ(records(store), (Records{{"kept", "as it was"}}));
  EXPECT_EQ(put(store, "now", "again"), 0U);
}

TEST_F(MapFaultTest, batch_without_room_for_a_larger_map_can_be_forgotten) {
  const pss_handle store = create("running:a");
  begin_large_batch(store);
  host::store_abort(store);
  no_address_space = false;
  EXPECT_EQ(records(store), Records{});
  ASSERT_EQ(host::store_begin(store).code(), 0U);
  EXPECT_EQ(put(store, "now", "again"), 0U);
  EXPECT_EQ(host::store_commit(store).code(), 0U);
}

TEST_F(MapFaultTest, walk_ends_with_an_error_when_the_store_has_no_map_and_can_begin_again) {
  const pss_handle store = create("running:a");
  for (const char *key : {"a", "b", "c"})
    put(store, key, "value");
  pss_cursor cursor{};
  ASSERT_EQ(text_of(pss_move2location(store, PSS_FIRST, &cursor)), "a");
  expect_no_memory(fill(store));
  EXPECT_EQ(pss_move2location(store, PSS_NEXT, &cursor), nullptr);
  expect_no_memory(cursor.error);
  no_address_space = false;
  EXPECT_EQ(records(store).size(), 3 + stored_);
}

}  // namespace
}  // namespace store_test
