// SPDX-License-Identifier: Apache-2.0
// The store's map, which begins small and grows with the records, whoever uses the store meanwhile.
#include <sys/wait.h>

#include <algorithm>
#include <map>
#include <random>
#include <sstream>

#include "host/store/environment.h"
#include "tests/host/store_commits.h"
#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

constexpr std::size_t mib = 1U << 20;

// The limit is the process's, and needs no store.
TEST(LimitTest, limit_above_all_addresses_is_a_large_part_of_them) {
  host::store_set_bound(UINT64_MAX);
  EXPECT_GT(host::records_bound(), SIZE_MAX / 8);
  host::store_set_bound(128U << 20);
}

class BoundTest : public StoreTest {};

// A third of the limit is 10 pages: one of the records and one of each value.
TEST_F(BoundTest, records_fit_up_to_the_last_page_of_their_share) {
  host::store_set_bound(128U << 10);
  const pss_handle store = create("running:a");
  int fitting = 0;
  while (put(store, "key" + std::to_string(fitting), std::string(4000, 'v')) == 0)
    ++fitting;
  EXPECT_EQ(fitting, 9);
}

class GrowthTest : public StoreTest {
 protected:
  using Model = std::map<std::string, std::string>;

  // Bytes of address space that the store's file has in this process.
  static std::size_t map_of(const std::string &uri) {
    std::ifstream maps("/proc/self/maps");
    std::size_t bytes = 0;
    for (std::string line; std::getline(maps, line);) {
      if (!line.ends_with(" " + host::store_path(uri.c_str()))) continue;
      std::size_t begin = 0, end = 0;
      char dash = 0;
      std::istringstream(line) >> std::hex >> begin >> dash >> end;
      bytes += end - begin;
    }
    return bytes;
  }

  // As a dump names it.
  static std::string version_of(const char *uri) {
    char *text = nullptr;
    std::size_t size = 0;
    FILE *out = open_memstream(&text, &size);
    EXPECT_EQ(host::store_dump(uri, out).code(), 0U) << host::store_last_error();
    fclose(out);
    const std::string head(text, std::find(text, text + size, '\n'));
    free(text);
    return head.substr(head.rfind('=') + 1);
  }

  static std::string name(unsigned number) { return "key" + std::to_string(100000 + number); }

  static void put_many(pss_handle store, unsigned count) {
    for (unsigned i = 0; i < count; ++i)
      ASSERT_EQ(put(store, name(i), std::string(900, 'v')), 0U) << host::store_last_error();
  }

  unsigned below(unsigned end) { return static_cast<unsigned>(random_()) % end; }

  // A change at random, made in the store and in the model.
  void change(pss_handle store, Model *model, unsigned keys) {
    const std::string key = name(below(keys));
    if (below(4) == 0) {
      EXPECT_EQ(erase(store, key), model->erase(key) == 1 ? 0U : PSS_ERR_NO_KEY) << host::store_last_error();
      return;
    }
    (*model)[key] = std::string(below(3) == 0 ? below(4000) : below(60), static_cast<char>('a' + below(26)));
    EXPECT_EQ(put(store, key, (*model)[key]), 0U) << host::store_last_error();
  }

  static void expect_same(pss_handle store, const Model &model) {
    EXPECT_EQ(records(store), Records(model.begin(), model.end()));
  }

  std::minstd_rand random_;  // the same from run to run
};

TEST_F(GrowthTest, map_begins_small_and_grows_with_the_records_up_to_the_bound) {
  host::store_set_bound(12 * mib);
  const pss_handle store = create("running:a");
  EXPECT_EQ(map_of("running:a"), mib);
  std::vector<std::size_t> sizes{mib};
  unsigned count = 0;
  while (put(store, name(count++), std::string(900, 'v')) == 0) {
    if (count % 16 != 0) continue;
    if (map_of("running:a") != sizes.back()) sizes.push_back(map_of("running:a"));
    ASSERT_LE(std::filesystem::file_size(host::store_path("running:a")), sizes.back());
  }
  EXPECT_EQ(sizes, (std::vector<std::size_t>{mib, 2 * mib, 4 * mib, 8 * mib}));
  EXPECT_EQ(map_of("running:a"), 12 * mib);
  EXPECT_EQ(records(store).size(), count - 1);
}

TEST_F(GrowthTest, map_of_a_store_that_is_opened_has_room_for_what_it_holds_and_grows_from_there) {
  const pss_handle store = create("running:a");
  put_many(store, 6000);
  pss_close(store);
  opened.clear();
  const std::size_t size = std::filesystem::file_size(host::store_path("running:a"));
  const pss_handle again = open("running:a");
  EXPECT_GE(map_of("running:a"), size);
  EXPECT_LT(map_of("running:a"), size + size / 4);
  put_many(again, 9000);
  EXPECT_EQ(records(again).size(), 9000U);
}

TEST_F(GrowthTest, batch_that_outgrows_the_map_keeps_all_its_changes) {
  const pss_handle store = create("running:a");
  Model model;
  for (int i = 0; i < 200; ++i)
    change(store, &model, 300);
  ASSERT_EQ(map_of("running:a"), mib);
  const uint64_t commits = commits_below(directory);
  ASSERT_EQ(host::store_begin(store).code(), 0U);
  ASSERT_EQ(pss_version_set(store, 3, 4), 0U);
  for (int i = 0; i < 20000; ++i) {
    change(store, &model, 6000);
    if (i % 1000 != 0) continue;
    const std::string key = name(below(6000));
    EXPECT_EQ(get(store, key), model.contains(key) ? model[key] : "(none)") << "as the batch has it";
  }
  EXPECT_EQ(host::store_commit(store).code(), 0U) << host::store_last_error();
  EXPECT_GT(map_of("running:a"), 4 * mib);
  EXPECT_EQ(commits_below(directory), commits + 1);
  expect_same(store, model);
  EXPECT_EQ(version_of("running:a"), "3.4");
}

TEST_F(GrowthTest, batch_that_outgrew_the_map_and_is_forgotten_leaves_no_trace) {
  const pss_handle store = create("running:a");
  put(store, "kept", "as it was");
  ASSERT_EQ(host::store_begin(store).code(), 0U);
  put_many(store, 3000);
  erase(store, "kept");
  pss_version_set(store, 9, 9);
  host::store_abort(store);
  EXPECT_EQ(records(store), (Records{{"kept", "as it was"}}));
  EXPECT_EQ(version_of("running:a"), "0.0");
  EXPECT_EQ(put(store, "after", "it"), 0U);
}

// The end of the map is met by whichever page comes last: of a record, of the tree above it, of the list of free pages
// that a commit writes.
TEST_F(GrowthTest, changes_meet_the_end_of_the_map_at_any_page) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    random_.seed(seed);
    const std::string uri = "running:a" + std::to_string(seed);
    const pss_handle store = create(uri);
    Model model;
    while (std::filesystem::file_size(host::store_path(uri.c_str())) <= mib && !HasFailure()) {
      const bool in_batch = below(2) == 0;
      if (in_batch) (void)host::store_begin(store);
      for (unsigned i = in_batch ? below(40) : 1; i > 0; --i)
        change(store, &model, 700 + 20 * seed);
      EXPECT_EQ(in_batch ? host::store_commit(store).code() : 0, 0U) << host::store_last_error();
    }
    expect_same(store, model);
  }
}

TEST_F(GrowthTest, walk_goes_on_over_a_growth) {
  const pss_handle store = create("running:a");
  put_many(store, 500);
  pss_cursor cursor{};
  const pss_buf *key = pss_move2location(store, PSS_FIRST, &cursor);
  unsigned seen = 0;
  for (; key != nullptr; key = pss_move2location(store, PSS_NEXT, &cursor), ++seen) {
    ASSERT_EQ(text_of(key), name(seen));
    if (seen == 250) put_many(store, 4000);
    ASSERT_EQ(text_of(pss_getvalue(store, &cursor)), std::string(900, 'v'));
  }
  EXPECT_EQ(seen, 4000U);
  EXPECT_GT(map_of("running:a"), 2 * mib);
}

TEST_F(GrowthTest, raised_bound_counts_for_an_open_store) {
  host::store_set_bound(mib);
  const pss_handle store = create("running:a");
  unsigned count = 0;
  while (put(store, name(count), std::string(900, 'v')) == 0)
    ++count;
  host::store_set_bound(8 * mib);
  put_many(store, 4 * count);
  EXPECT_EQ(records(store).size(), 4 * count);
}

TEST_F(GrowthTest, store_above_a_lowered_bound_still_takes_its_version_and_deletions) {
  pss_handle store = create("running:a");
  put_many(store, 1000);
  uint32_t error = 0;
  opened.push_back(pss_shrink(store, &error));
  EXPECT_EQ(error, 0U);
  pss_close(opened.back());
  opened.clear();
  host::store_set_bound(128U << 10);
  store = open("running:a");  // in a map of the file's size
  EXPECT_EQ(put(store, name(1000), "one more"), host::err_store_full);
  EXPECT_EQ(pss_version_set(store, 2, 1), 0U);
  for (unsigned i = 0; i < 990; ++i)
    ASSERT_EQ(erase(store, name(i)), 0U) << host::store_last_error();
  EXPECT_EQ(put(store, name(1000), "one more"), 0U);
  EXPECT_EQ(records(store).size(), 11U);
}

// Another process with the store open, which tells what it reads and writes in it when it is told to.
class OtherUser {
 public:
  OtherUser() {
    EXPECT_EQ(pipe(in_), 0);
    EXPECT_EQ(pipe(out_), 0);
    child_ = fork();
    if (child_ == 0) serve();
    close(in_[0]);
    close(out_[1]);
  }
  ~OtherUser() {
    close(in_[1]);
    int status = 0;
    waitpid(child_, &status, 0);
    EXPECT_EQ(status, 0);
    close(out_[0]);
  }
  OtherUser(const OtherUser &) = delete;
  OtherUser &operator=(const OtherUser &) = delete;

  // 'r': how many records it reads; 'w': 0 when it has written 3000 more.
  int32_t ask(char what) const {
    int32_t answer = -1;
    EXPECT_EQ(write(in_[1], &what, 1), 1);
    EXPECT_EQ(read(out_[0], &answer, sizeof answer), static_cast<ssize_t>(sizeof answer));
    return answer;
  }

 private:
  [[noreturn]] void serve() const {
    close(in_[1]);
    uint32_t error = 0;
    pss_handle store = 0;
    for (char what = 0; read(in_[0], &what, 1) == 1;) {
      if (store == 0) store = pss_open("running:a", &error);
      const int32_t answer = what == 'r' ? count(store) : write_many(store);
      if (write(out_[1], &answer, sizeof answer) != sizeof answer) _exit(1);
    }
    pss_close(store);
    _exit(0);
  }
  static int32_t count(pss_handle store) {
    int32_t records = 0;
    pss_cursor cursor{};
    const pss_buf *key = pss_move2location(store, PSS_FIRST, &cursor);
    for (; key != nullptr; key = pss_move2location(store, PSS_NEXT, &cursor))
      ++records;
    return cursor.error == 0 ? records : -1;
  }
  static int32_t write_many(pss_handle store) {
    (void)host::store_begin(store);
    for (int i = 0; i < 3000; ++i) {
      const std::string key = "other" + std::to_string(100000 + i), value(900, 'o');
      const pss_buf key_buffer = buffer(key), value_buffer = buffer(value);
      pss_store(store, 1, &key_buffer, &value_buffer);
    }
    return static_cast<int32_t>(host::store_commit(store).code());
  }

  int in_[2]{}, out_[2]{};
  pid_t child_ = 0;
};

TEST_F(GrowthTest, another_process_follows_the_growth_when_it_reads_and_when_it_writes) {
  const OtherUser reader, writer;
  const pss_handle store = create("running:a");
  put_many(store, 10);
  EXPECT_EQ(reader.ask('r'), 10);
  EXPECT_EQ(writer.ask('r'), 10);
  put_many(store, 3000);
  EXPECT_EQ(reader.ask('r'), 3000);
  EXPECT_EQ(writer.ask('w'), 0);
  EXPECT_EQ(records(store).size(), 6000U);
  EXPECT_EQ(reader.ask('r'), 6000);
}

// The first call of this process after another one has grown the file, while a walk is on its way in the smaller map.
struct FirstCall {
  const char *name;
  std::function<void(pss_handle)> call;
};

class FirstCallTest : public GrowthTest, public testing::WithParamInterface<FirstCall> {};

TEST_P(FirstCallTest, takes_on_the_larger_map_and_the_walk_goes_on) {
  const OtherUser writer;
  const pss_handle store = create("running:a");
  put(store, "a", "1");
  put(store, "b", "2");
  pss_cursor cursor{};
  ASSERT_EQ(text_of(pss_move2location(store, PSS_FIRST, &cursor)), "a");
  ASSERT_EQ(writer.ask('w'), 0);
  GetParam().call(store);
  EXPECT_EQ(text_of(pss_getvalue(store, &cursor)), "1");
  EXPECT_EQ(text_of(pss_move2location(store, PSS_NEXT, &cursor)), "b");
  unsigned rest = 0;
  for (const pss_buf *key = nullptr; (key = pss_move2location(store, PSS_NEXT, &cursor)) != nullptr; ++rest)
    ASSERT_EQ(text_of(pss_getvalue(store, &cursor)), std::string(900, 'o')) << text_of(key);
  EXPECT_EQ(cursor.error, 0U);
  EXPECT_EQ(rest, 3000U);
}

const FirstCall first_calls[] = {
    {"read",
     [](pss_handle store) {
       const pss_buf key = buffer("b");
       uint32_t error = 0;
       EXPECT_EQ(text_of(pss2_fetch(store, &key, &error)), "2");
     }},
    {"write",
     [](pss_handle store) {
       const pss_buf key = buffer("b"), value = buffer("2");
       EXPECT_EQ(pss_store(store, 1, &key, &value), 0U) << host::store_last_error();
     }},
    {"free_space",
     [](pss_handle store) {
       uint32_t bytes = 0;
       EXPECT_EQ(pss_free_space(store, &bytes), 0U) << host::store_last_error();
     }},
    {"dump",
     [](pss_handle) {
       FILE *out = fopen("/dev/null", "w");
       EXPECT_EQ(host::store_dump("running:a", out).code(), 0U) << host::store_last_error();
       fclose(out);
     }},
    {"snapshot",
     [](pss_handle store) { EXPECT_EQ(pss_snapshot(store, 0, "startup:a"), 0U) << host::store_last_error(); }},
};
INSTANTIATE_TEST_SUITE_P(Growth, FirstCallTest, testing::ValuesIn(first_calls),
                         [](const auto &call) { return call.param.name; });

}  // namespace
}  // namespace store_test
