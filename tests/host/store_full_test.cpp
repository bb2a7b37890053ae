// SPDX-License-Identifier: Apache-2.0
#include <sys/mount.h>
#include <sys/resource.h>

#include <csignal>

#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

class FullTest : public StoreTest {
 protected:
  static constexpr std::size_t value_size = 900;

  // Stores until the store refuses; gives how many it took.
  static int fill(pss_handle store, uint32_t *error) {
    int count = 0;
    while ((*error = put(store, "key" + std::to_string(10000 + count), std::string(value_size, 'v'))) == 0)
      ++count;
    return count;
  }

  void expect_full_and_unchanged(pss_handle store) {
    uint32_t error = 0;
    const int count = fill(store, &error);
    EXPECT_EQ(error, host::err_store_full) << host::store_last_error();
    EXPECT_NE(host::store_last_error().find("nothing was changed"), std::string::npos);
    EXPECT_GT(count, 5);
    EXPECT_EQ(records(store).size(), static_cast<std::size_t>(count));
    EXPECT_EQ(host::store_begin(store).code(), 0U);
    for (int i = 0; i < count; ++i)
      put(store, "more" + std::to_string(10000 + i), std::string(value_size, 'w'));
    EXPECT_EQ(host::store_commit(store).code(), host::err_store_full);
    EXPECT_EQ(records(store).size(), static_cast<std::size_t>(count));
    EXPECT_EQ(get(store, "key10000"), std::string(value_size, 'v'));
  }
};

TEST_F(FullTest, map_at_its_bound_is_an_error_that_changes_nothing) {
  host::store_set_bound(256U << 10);
  const pss_handle store = create("running:a");
  expect_full_and_unchanged(store);
  EXPECT_LE(std::filesystem::file_size(host::store_path("running:a")), 256U << 10);
}

TEST_F(FullTest, batch_that_met_the_bound_takes_nothing_more) {
  host::store_set_bound(256U << 10);
  const pss_handle store = create("running:a");
  uint32_t error = 0;
  (void)host::store_begin(store);
  fill(store, &error);
  EXPECT_EQ(put(store, "small", "record"), host::err_store_full);
  EXPECT_EQ(erase(store, "key10000"), host::err_store_full);
  EXPECT_EQ(host::store_commit(store).code(), host::err_store_full);
  EXPECT_EQ(records(store), Records{});
}

TEST_F(FullTest, full_store_can_be_changed_and_emptied) {
  host::store_set_bound(256U << 10);
  const pss_handle store = create("running:a");
  uint32_t error = 0;
  const int count = fill(store, &error);
  (void)host::store_begin(store);
  for (int i = 0; i < count; ++i)
    put(store, "key" + std::to_string(10000 + i), std::string(value_size, 'w'));
  EXPECT_EQ(host::store_commit(store).code(), 0U);
  for (int i = 0; i < count; ++i)
    EXPECT_EQ(erase(store, "key" + std::to_string(10000 + i)), 0U) << i;
  EXPECT_EQ(fill(store, &error), count);
}

TEST_F(FullTest, store_takes_records_again_under_a_larger_bound) {
  host::store_set_bound(256U << 10);
  const pss_handle store = create("running:a");
  uint32_t error = 0;
  const int count = fill(store, &error);
  pss_close(store);
  opened.clear();
  host::store_set_bound(512U << 10);
  EXPECT_GT(fill(open("running:a"), &error), count * 2);
}

TEST_F(FullTest, store_above_a_lowered_bound_is_read) {
  uint32_t error = 0;
  host::store_set_bound(512U << 10);
  const pss_handle store = create("running:a");
  const int count = fill(store, &error);
  pss_close(store);
  opened.clear();
  host::store_set_bound(128U << 10);
  EXPECT_EQ(records(open("running:a")).size(), static_cast<std::size_t>(count));
}

TEST_F(FullTest, bound_has_a_least_value) {
  host::store_set_bound(0);
  EXPECT_EQ(put(create("running:a"), "key", "value"), 0U);
}

// A file size limit cuts writes as a full disk does, wherever the test runs.
TEST_F(FullTest, file_that_cannot_grow_is_an_error_that_changes_nothing) {
  const int result = in_another_process([this] {
    signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit { 200U << 10, 200U << 10 };
    setrlimit(RLIMIT_FSIZE, &limit);
    const pss_handle store = create("running:a");
    uint32_t error = 0;
    const int count = fill(store, &error);
    if (error != host::err_store_full) return 1;
    if (records(store).size() != static_cast<std::size_t>(count)) return 2;
    pss_close(store);
    opened.clear();
    const pss_handle again = open("running:a");
    if (again == 0 || records(again).size() != static_cast<std::size_t>(count)) return 3;
    if (pss_snapshot(again, 0, "startup:a") != 0 && host::store_exists("startup:a")) return 4;
    return HasFailure() ? 5 : 0;
  });
  EXPECT_EQ(result, 0);
}

TEST_F(FullTest, full_disk_is_an_error_that_changes_nothing) {
  const std::string disk = directory + "/disk";
  std::filesystem::create_directory(disk);
  if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=256k,mode=0700") != 0) GTEST_SKIP() << "cannot mount a small disk";
  host::use_paths(host::resolve_paths(disk.c_str()));
  const pss_handle store = create("running:a");
  expect_full_and_unchanged(store);
  EXPECT_EQ(pss_snapshot(store, 0, "startup:a"), host::err_store_full);
  EXPECT_FALSE(host::store_exists("startup:a"));
  uint32_t error = 0;
  EXPECT_EQ(pss_create("running:b", &error), 0U);
  EXPECT_EQ(error, host::err_store_full) << host::store_last_error();
  EXPECT_FALSE(host::store_exists("running:b"));
  for (const auto &entry : std::filesystem::directory_iterator(disk))
    EXPECT_NE(entry.path().extension(), ".new");
  pss_close(store);
  opened.clear();
  EXPECT_EQ(umount2(disk.c_str(), MNT_DETACH), 0);
}

}  // namespace
}  // namespace store_test
