// SPDX-License-Identifier: Apache-2.0
// Snapshot, shrink, destroy, and other processes at the same store.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>

#include <csignal>

#include "host/files/file_descriptor.h"
#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

class ReplaceTest : public StoreTest {
 protected:
  static uint32_t free_bytes(pss_handle store) {
    uint32_t bytes = 0;
    EXPECT_EQ(pss_free_space(store, &bytes), 0U);
    return bytes;
  }
  static void fill(pss_handle store, int count) {
    (void)host::store_begin(store);
    for (int i = 0; i < count; ++i)
      put(store, "key" + std::to_string(1000 + i), std::string(900, 'v'));
    (void)host::store_commit(store);
  }
};

// A process that opens the store, begins a walk in it and waits to be killed.
class OtherReader {
 public:
  OtherReader() {
    EXPECT_EQ(pipe(ready_), 0);
    EXPECT_EQ(pipe(go_), 0);
    child_ = fork();
    if (child_ == 0) read_and_wait();
  }
  ~OtherReader() {
    if (child_ > 0) end();
  }
  void begin() {
    char byte = 0;
    EXPECT_EQ(write(go_[1], "g", 1), 1);
    EXPECT_EQ(read(ready_[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'r');
  }
  void end() {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
    child_ = 0;
  }

 private:
  void read_and_wait() {
    char byte = 0;
    if (read(go_[0], &byte, 1) != 1) _exit(1);
    uint32_t error = 0;
    pss_cursor cursor{};
    const pss_handle store = pss_open("running:a", &error);
    const char answer = pss_move2location(store, PSS_FIRST, &cursor) != nullptr ? 'r' : 'e';
    if (write(ready_[1], &answer, 1) != 1) _exit(1);
    for (;;)
      pause();
  }

  int ready_[2]{}, go_[2]{};
  pid_t child_ = 0;
};

TEST_F(ReplaceTest, snapshot_is_the_same_store_with_its_limits) {
  const pss_handle store = create("running:a");
  pss_max_key(store, 40);
  put(store, "a", "1");
  put(store, "b", "2");
  EXPECT_EQ(pss_snapshot(store, 0, "startup:a"), 0U);
  const pss_handle copy = open("startup:a");
  EXPECT_EQ(records(copy), (Records{{"a", "1"}, {"b", "2"}}));
  EXPECT_EQ(put(copy, std::string(41, 'k'), "v"), host::err_store_limit);
}

TEST_F(ReplaceTest, snapshot_replaces_all_of_an_older_one_also_while_it_is_open) {
  const pss_handle store = create("running:a"), copy = create("startup:a"), second = open("startup:a");
  put(copy, "old", "1");
  put(store, "new", "2");
  pss_cursor cursor{};
  pss_move2location(copy, PSS_FIRST, &cursor);
  EXPECT_EQ(pss_snapshot(store, 0, "startup:a"), 0U);
  EXPECT_EQ(records(copy), (Records{{"new", "2"}}));
  EXPECT_EQ(pss_move2location(copy, PSS_NEXT, &cursor), nullptr);
  EXPECT_EQ(cursor.error, 0U);
  EXPECT_EQ(put(second, "more", "3"), 0U);
  pss_close(copy);
  pss_close(second);
  opened = {store};
  EXPECT_EQ(records(open("startup:a")), (Records{{"more", "3"}, {"new", "2"}}));
  EXPECT_EQ(records(store), (Records{{"new", "2"}}));
}

TEST_F(ReplaceTest, snapshot_needs_another_store_as_its_destination) {
  const pss_handle store = create("running:a");
  EXPECT_EQ(pss_snapshot(store, 0, "running:a"), host::err_store_uri);
  EXPECT_EQ(pss_snapshot(store, 0, "../a"), host::err_store_uri);
  EXPECT_EQ(pss_snapshot(store, 0, ""), host::err_store_uri);
}

TEST_F(ReplaceTest, snapshot_does_not_overwrite_what_is_no_store) {
  const pss_handle store = create("running:a");
  const std::string path = host::store_path("startup:a");
  write_file(path, "precious");
  EXPECT_EQ(pss_snapshot(store, 0, "startup:a"), host::err_store_unusable);
  EXPECT_EQ(file_content(path), "precious");
  EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

TEST_F(ReplaceTest, open_batch_forbids_snapshot_and_shrink) {
  const pss_handle store = create("running:a"), other = create("running:b");
  (void)host::store_begin(store);
  put(store, "key", "value");
  uint32_t status = 0;
  EXPECT_EQ(pss_snapshot(store, 0, "startup:a"), host::err_store_busy);
  EXPECT_EQ(pss_snapshot(other, 0, "running:a"), host::err_store_busy);
  EXPECT_EQ(pss_shrink(store, &status), 0U);
  EXPECT_EQ(status, host::err_store_busy);
  EXPECT_EQ(pss_destroy("running:a"), host::err_store_busy);
  EXPECT_EQ(host::store_commit(store).code(), 0U);
  EXPECT_EQ(records(store), (Records{{"key", "value"}}));
}

TEST_F(ReplaceTest, free_space_is_what_shrinking_gives_back) {
  pss_handle store = create("running:a");
  fill(store, 300);
  (void)host::store_begin(store);
  for (int i = 0; i < 290; ++i)
    erase(store, "key" + std::to_string(1000 + i));
  (void)host::store_commit(store);
  const auto before = std::filesystem::file_size(host::store_path("running:a"));
  const uint32_t free = free_bytes(store);
  EXPECT_GT(free, 250000U);
  uint32_t status = 1;
  const pss_handle shrunk = pss_shrink(store, &status);
  opened = {shrunk};
  ASSERT_EQ(status, 0U) << host::store_last_error();
  EXPECT_EQ(std::filesystem::file_size(host::store_path("running:a")) + free, before);
  EXPECT_EQ(free_bytes(shrunk), 0U);
  EXPECT_EQ(records(shrunk).size(), 10U);
  EXPECT_EQ(put(store, "key", "value"), host::err_store_bad_handle);
  EXPECT_EQ(put(shrunk, "key", "value"), 0U);
}

TEST_F(ReplaceTest, other_handles_go_on_with_the_shrunk_store) {
  const pss_handle store = create("running:a"), other = open("running:a");
  fill(store, 10);
  uint32_t status = 1;
  const pss_handle shrunk = pss_shrink(store, &status);
  opened = {shrunk, other};
  EXPECT_EQ(put(other, "key", "by the other"), 0U);
  EXPECT_EQ(get(shrunk, "key"), "by the other");
}

TEST_F(ReplaceTest, failed_shrink_keeps_the_old_handle_and_its_records) {
  const pss_handle store = create("running:a");
  put(store, "key", "value");
  std::filesystem::create_directories(host::store_path("running:a") + ".new/in the way");
  uint32_t status = 0;
  EXPECT_EQ(pss_shrink(store, &status), 0U);
  EXPECT_NE(status, 0U);
  EXPECT_EQ(get(store, "key"), "value");
}

TEST_F(ReplaceTest, destroyed_store_takes_its_handles_with_it) {
  const pss_handle store = create("running:a");
  put(store, "key", "value");
  EXPECT_EQ(pss_destroy("running:a"), 0U);
  EXPECT_TRUE(std::filesystem::is_empty(directory));
  EXPECT_EQ(put(store, "key", "value"), host::err_store_bad_handle);
  EXPECT_EQ(pss_destroy("running:a"), host::err_store_absent);
  EXPECT_EQ(records(create("running:a")), Records{});
}

TEST_F(ReplaceTest, store_that_cannot_be_removed_stays_open) {
  const pss_handle store = create("running:a");
  put(store, "key", "value");
  ASSERT_EQ(chmod(directory.c_str(), 0555), 0);
  ASSERT_TRUE(geteuid() != 0 || seteuid(65534) == 0);
  const uint32_t status = pss_destroy("running:a");
  ASSERT_TRUE(getuid() != 0 || seteuid(0) == 0);
  ASSERT_EQ(chmod(directory.c_str(), 0700), 0);
  EXPECT_EQ(status, host::err_not_permitted);
  EXPECT_EQ(get(store, "key"), "value");
  const host::FileDescriptor of_another(::open(host::store_path("running:a").c_str(), O_RDONLY));
  EXPECT_EQ(flock(of_another.get(), LOCK_SH | LOCK_NB), 0) << "other processes may still open it";
}

TEST_F(ReplaceTest, damaged_store_can_be_destroyed) {
  write_file(host::store_path("running:a"), "damaged");
  EXPECT_EQ(pss_destroy("running:a"), 0U);
  EXPECT_EQ(records(create("running:a")), Records{});
}

TEST_F(ReplaceTest, store_of_another_process_is_neither_replaced_nor_destroyed) {
  OtherReader other;
  pss_handle store = create("running:a");
  const pss_handle source = create("running:b");
  put(store, "key", "value");
  other.begin();
  uint32_t status = 0;
  EXPECT_EQ(pss_shrink(store, &status), 0U);
  EXPECT_EQ(status, host::err_store_busy);
  EXPECT_EQ(pss_snapshot(source, 0, "running:a"), host::err_store_busy);
  EXPECT_EQ(pss_destroy("running:a"), host::err_store_busy);
  EXPECT_EQ(put(store, "key", "both may use it"), 0U);
  pss_close(store);
  opened = {source};
  EXPECT_EQ(pss_destroy("running:a"), host::err_store_busy);
  other.end();
  EXPECT_EQ(pss_destroy("running:a"), 0U);
}

TEST_F(ReplaceTest, processes_see_each_others_commits) {
  create("running:a");
  pss_close(opened.back());
  opened.clear();
  EXPECT_EQ(in_another_process([] {
              uint32_t error = 0;
              return put(pss_open("running:a", &error), "key", "from the other") == 0 ? 0 : 1;
            }),
            0);
  EXPECT_EQ(get(open("running:a"), "key"), "from the other");
}

TEST_F(ReplaceTest, killed_reader_does_not_keep_pages_for_ever) {
  OtherReader other;
  const pss_handle store = create("running:a");
  const auto rewrite = [store] {
    for (int i = 0; i < 60; ++i)
      put(store, "key", std::string(1000, 'v'));
  };
  rewrite();
  const auto settled = std::filesystem::file_size(host::store_path("running:a"));
  other.begin();
  rewrite();
  const auto pinned = std::filesystem::file_size(host::store_path("running:a"));
  EXPECT_GT(pinned, settled + 60U * 4096U);
  other.end();
  rewrite();
  EXPECT_EQ(std::filesystem::file_size(host::store_path("running:a")), pinned);
}

}  // namespace
}  // namespace store_test
