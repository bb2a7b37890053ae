// SPDX-License-Identifier: Apache-2.0
#include "tests/host/store_commits.h"
#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

using RecordTest = StoreTest;

TEST_F(RecordTest, stored_record_is_fetched_also_after_the_store_was_closed) {
  pss_close(create("running:a"));
  opened.clear();
  uint32_t error = 0;
  const pss_handle first = pss_open("running:a", &error);
  EXPECT_EQ(put(first, "key", "value"), 0U);
  EXPECT_EQ(pss_close(first), 0U);
  EXPECT_EQ(get(open("running:a"), "key"), "value");
  EXPECT_TRUE(host::store_exists("running:a"));
  EXPECT_FALSE(host::store_exists("running:b"));
}

TEST_F(RecordTest, storing_again_replaces_the_value) {
  const pss_handle store = create("running:a");
  put(store, "key", "old and long");
  put(store, "key", "new");
  EXPECT_EQ(get(store, "key"), "new");
}

TEST_F(RecordTest, keys_and_values_may_hold_any_byte_and_a_value_none) {
  const pss_handle store = create("running:a");
  const std::string key("\0\x01\xff\0", 4);
  EXPECT_EQ(put(store, key, std::string("\0", 1)), 0U);
  EXPECT_EQ(put(store, "empty", ""), 0U);
  EXPECT_EQ(get(store, key), std::string("\0", 1));
  EXPECT_EQ(get(store, "empty"), "");
}

TEST_F(RecordTest, absent_key_is_told_by_fetch_and_delete) {
  const pss_handle store = create("running:a");
  const pss_buf key = buffer("absent");
  uint32_t error = 0;
  EXPECT_EQ(pss2_fetch(store, &key, &error), nullptr);
  EXPECT_EQ(error, 0x40480003U);
  EXPECT_EQ(pss_delete(store, &key), 0x40480003U);
}

TEST_F(RecordTest, deleted_record_is_gone) {
  const pss_handle store = create("running:a");
  put(store, "key", "value");
  EXPECT_EQ(erase(store, "key"), 0U);
  EXPECT_EQ(records(store), Records{});
}

TEST_F(RecordTest, several_records_are_stored_at_once_or_not_at_all) {
  const pss_handle store = create("running:a");
  pss_max_value(store, 4);
  const pss_buf keys[] = {buffer("a"), buffer("b")}, values[] = {buffer("1"), buffer("22")},
                too_long[] = {buffer("3"), buffer("55555")};
  const uint64_t before = commits_below(directory);
  EXPECT_EQ(pss_store(store, 2, keys, values), 0U);
  EXPECT_EQ(commits_below(directory), before + 1);
  EXPECT_EQ(pss_store(store, 2, keys, too_long), host::err_store_limit);
  EXPECT_EQ(records(store), (Records{{"a", "1"}, {"b", "22"}}));
}

TEST_F(RecordTest, create_of_an_existing_store_is_refused_and_leaves_it_alone) {
  put(create("running:a"), "key", "value");
  uint32_t error = 0;
  EXPECT_EQ(pss_create("running:a", &error), 0U);
  EXPECT_EQ(error, 0x80480011U);
  EXPECT_EQ(get(open("running:a"), "key"), "value");
}

TEST_F(RecordTest, open_of_an_absent_store_makes_none) {
  EXPECT_EQ(open_error("running:a"), host::err_store_absent);
  EXPECT_TRUE(std::filesystem::is_empty(directory));
}

TEST_F(RecordTest, stores_of_one_name_under_different_bases_are_different) {
  put(create("running:a"), "key", "running");
  put(create("startup:a"), "key", "startup");
  put(create("debug:a"), "key", "debug");
  EXPECT_EQ(get(open("running:a"), "key"), "running");
  EXPECT_EQ(get(open("startup:a"), "key"), "startup");
  EXPECT_EQ(get(open("startup-debug:a"), "key"), "debug");
}

TEST_F(RecordTest, names_that_are_no_store_lead_nowhere) {
  const std::string names[] = {"",
                               "running",
                               "running:",
                               "running:.",
                               "running:..",
                               "running:../a",
                               "running:a/b",
                               "running:/etc/passwd",
                               "running:a.mdb",
                               "running:a-b",
                               "running: a",
                               "running:a\n",
                               "other:a",
                               "/tmp/a",
                               "running:" + std::string(56, 'a')};
  for (const std::string &name : names) {
    uint32_t error = 0;
    EXPECT_EQ(pss_create(name.c_str(), &error), 0U) << name;
    EXPECT_EQ(error, host::err_store_uri) << name;
    EXPECT_EQ(open_error(name), host::err_store_uri) << name;
    EXPECT_EQ(pss_destroy(name.c_str()), host::err_store_uri) << name;
    EXPECT_EQ(host::store_path(name.c_str()), "") << name;
    EXPECT_FALSE(host::store_exists(name.c_str())) << name;
  }
  EXPECT_EQ(host::store_path(nullptr), "");
  EXPECT_EQ(host::store_path(("running:" + std::string(55, 'a')).c_str()),
            directory + "/running-" + std::string(55, 'a') + ".mdb");
  EXPECT_TRUE(std::filesystem::is_empty(directory));
}

TEST_F(RecordTest, name_may_have_each_letter_and_digit_and_the_underscore_and_nothing_else) {
  const std::string allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
  for (int c = 1; c < 256; ++c) {
    const std::string name(1, static_cast<char>(c));
    const bool is_allowed = allowed.find(name) != std::string::npos;
    EXPECT_EQ(host::store_path(("running:" + name).c_str()), is_allowed ? directory + "/running-" + name + ".mdb" : "")
        << c;
  }
}

TEST_F(RecordTest, limits_are_kept_and_exact) {
  const pss_handle store = create("running:a");
  EXPECT_EQ(pss_max_key(store, 40), 0U);
  EXPECT_EQ(pss_max_value(store, 1024), 0U);
  EXPECT_EQ(put(store, std::string(40, 'k'), std::string(1024, 'v')), 0U);
  EXPECT_EQ(put(store, std::string(41, 'k'), "v"), host::err_store_limit);
  EXPECT_EQ(put(store, "k", std::string(1025, 'v')), host::err_store_limit);
  EXPECT_EQ(put(store, "", "v"), host::err_store_limit);
  pss_close(store);
  opened.clear();
  EXPECT_EQ(put(open("running:a"), std::string(41, 'k'), "v"), host::err_store_limit);
}

TEST_F(RecordTest, record_without_bytes_has_to_have_none) {
  const pss_handle store = create("running:a");
  const pss_buf key = buffer("key"), value = buffer("value"), nothing{nullptr, 0}, lost{nullptr, 3};
  EXPECT_EQ(pss_store(store, 1, &key, &lost), host::err_store_limit);
  EXPECT_EQ(pss_store(store, 1, &lost, &value), host::err_store_limit);
  EXPECT_EQ(pss_store(store, 1, &nothing, &value), host::err_store_limit);
  EXPECT_EQ(pss_delete(store, &lost), host::err_store_limit);
  uint32_t error = 0;
  EXPECT_EQ(pss2_fetch(store, &lost, &error), nullptr);
  EXPECT_EQ(error, host::err_store_limit);
  EXPECT_EQ(pss_store(store, 1, &key, &nothing), 0U);
  EXPECT_EQ(pss_store(store, 0, nullptr, nullptr), 0U);
  EXPECT_EQ(records(store), (Records{{"key", ""}}));
}

TEST_F(RecordTest, limits_themselves_have_limits) {
  const pss_handle store = create("running:a");
  EXPECT_EQ(pss_max_key(store, 510), 0U);
  EXPECT_EQ(pss_max_key(store, 511), host::err_store_limit);
  EXPECT_EQ(pss_max_key(store, 0), host::err_store_limit);
  EXPECT_EQ(pss_max_value(store, 0), host::err_store_limit);
  EXPECT_EQ(pss_max_value(store, 65535), 0U);
  const std::string key(510, '\xff'), value(65535, 'v');
  EXPECT_EQ(put(store, key, value), 0U);
  EXPECT_EQ(records(store), (Records{{key, value}}));
}

TEST_F(RecordTest, record_above_a_lowered_limit_can_still_be_read_and_deleted) {
  const pss_handle store = create("running:a");
  put(store, "long key", "long value");
  pss_max_key(store, 2);
  EXPECT_EQ(get(store, "long key"), "long value");
  EXPECT_EQ(erase(store, "long key"), 0U);
}

TEST_F(RecordTest, two_handles_are_one_store_and_close_apart) {
  const pss_handle first = create("running:a"), second = open("running:a");
  EXPECT_NE(first, second);
  put(first, "key", "value");
  EXPECT_EQ(get(second, "key"), "value");
  EXPECT_EQ(pss_close(first), 0U);
  EXPECT_EQ(put(second, "key", "still there"), 0U);
  EXPECT_EQ(put(first, "key", "value"), host::err_store_bad_handle);
  EXPECT_EQ(pss_close(first), host::err_store_bad_handle);
}

TEST_F(RecordTest, handle_that_was_closed_is_not_a_later_one) {
  const pss_handle first = create("running:a");
  pss_close(first);
  const pss_handle second = open("running:a");
  EXPECT_NE(first, second);
  EXPECT_EQ(put(first, "key", "value"), host::err_store_bad_handle);
}

TEST_F(RecordTest, no_call_takes_a_handle_that_is_none) {
  for (const pss_handle handle : {0U, 1U, 4095U, 0xffffffffU}) {
    const pss_buf key = buffer("key");
    pss_cursor cursor{};
    uint32_t error = 0, bytes = 1;
    EXPECT_EQ(pss_store(handle, 1, &key, &key), host::err_store_bad_handle);
    EXPECT_EQ(pss_delete(handle, &key), host::err_store_bad_handle);
    EXPECT_EQ(pss2_fetch(handle, &key, &error), nullptr);
    EXPECT_EQ(error, host::err_store_bad_handle);
    EXPECT_EQ(pss_move2location(handle, PSS_FIRST, &cursor), nullptr);
    EXPECT_EQ(cursor.error, host::err_store_bad_handle);
    EXPECT_EQ(pss_getvalue(handle, &cursor), nullptr);
    EXPECT_EQ(pss_max_key(handle, 40), host::err_store_bad_handle);
    EXPECT_EQ(pss_max_value(handle, 40), host::err_store_bad_handle);
    EXPECT_EQ(pss_version_set(handle, 1, 1), host::err_store_bad_handle);
    EXPECT_EQ(pss_snapshot(handle, 0, "startup:a"), host::err_store_bad_handle);
    EXPECT_EQ(pss_free_space(handle, &bytes), host::err_store_bad_handle);
    EXPECT_EQ(bytes, 0U);
    EXPECT_EQ(pss_shrink(handle, &error), 0U);
    EXPECT_EQ(error, host::err_store_bad_handle);
    EXPECT_EQ(pss_close(handle), host::err_store_bad_handle);
    EXPECT_EQ(host::store_begin(handle).code(), host::err_store_bad_handle);
    EXPECT_EQ(host::store_commit(handle).code(), host::err_store_bad_handle);
    host::store_abort(handle);
  }
}

TEST_F(RecordTest, every_change_outside_a_batch_is_one_commit) {
  const pss_handle store = create("running:a");
  const uint64_t before = commits_below(directory);
  put(store, "a", "1");
  put(store, "b", "2");
  erase(store, "a");
  EXPECT_EQ(commits_below(directory), before + 3);
}

TEST_F(RecordTest, deleting_what_is_absent_commits_nothing) {
  const pss_handle store = create("running:a");
  const uint64_t before = commits_below(directory);
  erase(store, "a");
  EXPECT_EQ(commits_below(directory), before);
}

TEST_F(RecordTest, batch_is_one_commit_and_is_seen_before_it) {
  const pss_handle store = create("running:a"), other = open("running:a");
  put(store, "gone", "1");
  const uint64_t before = commits_below(directory);
  ASSERT_EQ(host::store_begin(store).code(), 0U);
  for (int i = 0; i < 100; ++i)
    EXPECT_EQ(put(store, "key" + std::to_string(100 + i), "value"), 0U);
  EXPECT_EQ(erase(store, "gone"), 0U);
  EXPECT_EQ(erase(store, "absent"), PSS_ERR_NO_KEY);
  EXPECT_EQ(get(other, "key150"), "value");
  EXPECT_EQ(records(store).size(), 100U);
  EXPECT_EQ(commits_below(directory), before);
  EXPECT_EQ(host::store_commit(store).code(), 0U);
  EXPECT_EQ(commits_below(directory), before + 1);
  EXPECT_EQ(records(store).size(), 100U);
}

TEST_F(RecordTest, batch_without_a_change_commits_nothing) {
  const pss_handle store = create("running:a");
  const uint64_t before = commits_below(directory);
  (void)host::store_begin(store);
  erase(store, "absent");
  EXPECT_EQ(host::store_commit(store).code(), 0U);
  EXPECT_EQ(commits_below(directory), before);
}

TEST_F(RecordTest, aborted_batch_leaves_no_trace) {
  const pss_handle store = create("running:a");
  put(store, "kept", "1");
  (void)host::store_begin(store);
  put(store, "kept", "2");
  put(store, "new", "3");
  pss_max_key(store, 7);
  host::store_abort(store);
  host::store_abort(store);
  EXPECT_EQ(records(store), (Records{{"kept", "1"}}));
  EXPECT_EQ(put(store, "eight888", "limits are as before"), 0U);
}

TEST_F(RecordTest, batches_do_not_nest_and_commit_wants_one) {
  const pss_handle store = create("running:a");
  EXPECT_EQ(host::store_commit(store).code(), host::err_store_busy);
  EXPECT_EQ(host::store_begin(store).code(), 0U);
  EXPECT_EQ(host::store_begin(store).code(), host::err_store_busy);
  EXPECT_EQ(put(store, "key", "value"), 0U);
  EXPECT_EQ(host::store_commit(store).code(), 0U);
  EXPECT_EQ(get(store, "key"), "value");
}

TEST_F(RecordTest, refused_record_does_not_spoil_the_batch) {
  const pss_handle store = create("running:a");
  (void)host::store_begin(store);
  put(store, "a", "1");
  EXPECT_EQ(put(store, "", "2"), host::err_store_limit);
  put(store, "b", "3");
  EXPECT_EQ(host::store_commit(store).code(), 0U);
  EXPECT_EQ(records(store), (Records{{"a", "1"}, {"b", "3"}}));
}

TEST_F(RecordTest, batches_of_two_stores_are_apart) {
  const pss_handle first = create("running:a"), second = create("running:b");
  (void)host::store_begin(first);
  (void)host::store_begin(second);
  put(first, "key", "1");
  put(second, "key", "2");
  host::store_abort(first);
  EXPECT_EQ(host::store_commit(second).code(), 0U);
  EXPECT_EQ(get(first, "key"), "(none)");
  EXPECT_EQ(get(second, "key"), "2");
}

TEST_F(RecordTest, closing_the_last_handle_forgets_its_batch) {
  const pss_handle store = create("running:a");
  (void)host::store_begin(store);
  put(store, "key", "value");
  pss_close(store);
  EXPECT_EQ(records(open("running:a")), Records{});
}

TEST_F(RecordTest, handles_are_bounded) {
  const pss_handle store = create("running:a");
  uint32_t error = 0;
  std::size_t count = 1;
  for (; pss_open("running:a", &error) != 0; ++count) {
  }
  EXPECT_EQ(error, host::err_store_busy);
  EXPECT_EQ(count, 4094U);
  EXPECT_EQ(put(store, "key", "value"), 0U);
  EXPECT_EQ(pss_destroy("running:a"), 0U);
  opened.clear();
}

}  // namespace
}  // namespace store_test
