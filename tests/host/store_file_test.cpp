// SPDX-License-Identifier: Apache-2.0
// What is on the disk: modes, owners, and files that are no sound store.
#include <fcntl.h>
#include <lmdb.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>

#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

// Of a page: where its header has what, and the header's size.
constexpr std::size_t flags_at = sizeof(std::size_t) + 2, lower_at = flags_at + 2, upper_at = lower_at + 2,
                      header_size = upper_at + 2;
constexpr std::size_t page_size_at = header_size + 8 + 2 * sizeof(std::size_t);
constexpr std::size_t usual_page = 4096;
constexpr uint16_t leaf_flag = 2;

template <typename T>
T word_at(const std::string &file, std::size_t at) {
  T value;
  memcpy(&value, file.data() + at, sizeof value);
  return value;
}

template <typename T, typename Change>
void change_word(std::string &file, std::size_t at, Change change) {
  const auto value = static_cast<T>(change(word_at<T>(file, at)));
  memcpy(file.data() + at, &value, sizeof value);
}

// The first page that has several records.
std::size_t leaf_of_records(const std::string &file) {
  std::size_t page = 2 * usual_page;
  while (word_at<uint16_t>(file, page + flags_at) != leaf_flag ||
         word_at<uint16_t>(file, page + lower_at) < header_size + 2 * sizeof(uint16_t))
    page += usual_page;
  return page;
}

// A page's head is at its beginning and its records at its end.
std::string page_of(std::size_t size, const std::string &usual) {
  std::string page(size, '\0');
  if (word_at<uint16_t>(usual, flags_at) != leaf_flag)
    return page.replace(0, std::min(size, usual.size()), usual, 0, size);
  const std::size_t upper = word_at<uint16_t>(usual, upper_at), lower = word_at<uint16_t>(usual, lower_at);
  page.replace(0, lower, usual, 0, lower);
  page.replace(size - (usual.size() - upper), std::string::npos, usual, upper, std::string::npos);
  const auto moved = [&](std::size_t place) { return place + size - usual.size(); };
  for (std::size_t at = upper_at; at < lower; at += sizeof(uint16_t))
    change_word<uint16_t>(page, at, moved);
  return page;
}

std::string in_pages_of(std::size_t size, const std::string &usual) {
  std::string file;
  for (std::size_t at = 0; at < usual.size(); at += usual_page)
    file += page_of(size, usual.substr(at, usual_page));
  for (const std::size_t meta : {std::size_t{0}, size})
    change_word<uint32_t>(file, meta + page_size_at, [&](uint32_t) { return size; });
  return file;
}

class FileTest : public StoreTest {
 protected:
  static mode_t mode(const std::string &path) {
    struct stat found {};
    EXPECT_EQ(stat(path.c_str(), &found), 0) << path;
    return found.st_mode & 07777;
  }

  std::string path = host::store_path("running:a");

  // A store in which every page is in use.
  std::string compact_store() {
    pss_handle store = create("running:a");
    (void)host::store_begin(store);
    for (int i = 0; i < 60; ++i)
      put(store, "key" + std::to_string(100 + i), std::string(500, 'v'));
    put(store, "long", std::string(20000, 'v'));
    (void)host::store_commit(store);
    uint32_t status = 1;
    store = pss_shrink(store, &status);
    EXPECT_EQ(status, 0U);
    pss_close(store);
    opened.clear();
    return file_content(path);
  }

  void expect_refused(const std::string &content, const std::string &reason, const std::string &what) {
    write_file(path, content);
    EXPECT_EQ(open_error("running:a"), host::err_store_unusable) << what;
    EXPECT_NE(host::store_last_error().find(reason), std::string::npos) << what << ": " << host::store_last_error();
    EXPECT_EQ(host::store_last_error().find(path), 0U) << what;
    EXPECT_NE(host::store_last_error().find("move it away"), std::string::npos) << what;
    EXPECT_TRUE(file_content(path) == content) << what;
  }
};

TEST_F(FileTest, files_are_private_whatever_the_umask) {
  for (const mode_t mask : {mode_t{0}, mode_t{0777}}) {
    const mode_t before = umask(mask);
    const std::string inner = directory + "/" + std::to_string(mask) + "/state";
    host::use_paths(host::resolve_paths(inner.c_str()));
    pss_handle store = create("running:a");
    EXPECT_EQ(put(store, "key", "value"), 0U);
    EXPECT_EQ(pss_snapshot(store, 0, "startup:a"), 0U);
    umask(before);
    EXPECT_EQ(mode(inner), 0700U);
    EXPECT_EQ(mode(inner + "/running-a.mdb"), 0600U);
    EXPECT_EQ(mode(inner + "/running-a.mdb-lock"), 0600U);
    EXPECT_EQ(mode(inner + "/startup-a.mdb"), 0600U);
  }
}

TEST_F(FileTest, no_descriptor_of_a_store_survives_exec) {
  const pss_handle store = create("running:a");
  put(store, "key", "value");
  FILE *listing = popen("ls -l /proc/self/fd", "r");
  std::string text;
  std::array<char, 256> line{};
  while (fgets(line.data(), line.size(), listing) != nullptr)
    text += line.data();
  pclose(listing);
  EXPECT_NE(text.find("pipe"), std::string::npos) << text;
  EXPECT_EQ(text.find(directory), std::string::npos) << text;
}

TEST_F(FileTest, nothing_but_the_store_and_its_lock_file_is_left_beside_it) {
  put(create("running:a"), "key", "value");
  std::vector<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(directory))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"running-a.mdb", "running-a.mdb-lock"}));
}

TEST_F(FileTest, left_over_of_a_crashed_creation_is_in_nobodys_way) {
  write_file(path + ".new", "half a store");
  put(create("running:a"), "key", "value");
  EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

TEST_F(FileTest, damaged_lock_file_does_not_matter) {
  compact_store();
  write_file(path + "-lock", "something else");
  EXPECT_EQ(get(open("running:a"), "key100"), std::string(500, 'v'));
}

TEST_F(FileTest, file_cut_at_any_length_is_refused_and_left_alone) {
  const std::string whole = compact_store();
  for (std::size_t size = 0; size < whole.size(); size += size < 512 ? 37 : 512) {
    expect_refused(whole.substr(0, size), size == 0 ? "empty" : "cut", "cut to " + std::to_string(size));
  }
  expect_refused(whole.substr(0, whole.size() - 1), "cut", "cut by one byte");
  write_file(path, whole);
  EXPECT_EQ(records(open("running:a")).size(), 61U);
}

TEST_F(FileTest, page_of_zeroes_or_of_another_place_is_refused) {
  const std::string whole = compact_store();
  constexpr std::size_t page_size = 4096;
  for (std::size_t at = 0; at < whole.size(); at += page_size) {
    const bool inside_long_value = whole[at + 10] == 'v' || whole.compare(at, 3, "vvv") == 0;
    if (inside_long_value) continue;
    std::string changed = whole;
    std::fill_n(changed.begin() + static_cast<std::ptrdiff_t>(at), page_size, '\0');
    expect_refused(changed, "is ", "zero page at " + std::to_string(at));
    if (at < 2 * page_size) continue;
    changed = whole.substr(0, at) + whole.substr(2 * page_size == at ? 3 * page_size : 2 * page_size, page_size) +
              whole.substr(at + page_size);
    expect_refused(changed, "damaged", "other page at " + std::to_string(at));
  }
}

// The next page would be read for a part of its value.
TEST_F(FileTest, record_that_reaches_over_its_pages_end_is_refused) {
  std::string file = compact_store();
  const std::size_t page = leaf_of_records(file);
  std::vector<std::size_t> nodes;
  for (std::size_t at = page + header_size; at < page + word_at<uint16_t>(file, page + lower_at);
       at += sizeof(uint16_t))
    nodes.push_back(page + word_at<uint16_t>(file, at));
  const auto [lowest, highest] = std::ranges::minmax_element(nodes);
  change_word<uint16_t>(file, *highest, [](uint16_t length) { return length + 2; });
  change_word<uint16_t>(file, *lowest, [](uint16_t length) { return length - 2; });  // as much room as before in all
  expect_refused(file, "damaged", "over the end");
}

struct PageSize {
  std::size_t bytes;
  const char *fault;  // null: none
};

TEST_F(FileTest, pages_may_have_any_size_that_a_machine_can_have_and_no_other) {
  pss_close(create("running:a"));
  opened.clear();
  const std::string usual = file_content(path);
  const PageSize sizes[] = {{256, "its page size is 256"},
                            {512, nullptr},
                            {4095, "its page size is 4095"},
                            {32768, nullptr},
                            {65536, "its page size is 65536"}};
  for (const PageSize &each : sizes) {
    const std::string file = in_pages_of(each.bytes, usual);
    if (each.fault != nullptr) {
      expect_refused(file, each.fault, std::to_string(each.bytes));
      continue;
    }
    write_file(path, file);
    EXPECT_EQ(records(open("running:a")), Records{}) << each.bytes;
    pss_close(opened.back());
    opened.clear();
  }
}

TEST_F(FileTest, foreign_files_are_refused_and_left_alone) {
  expect_refused(std::string(100000, '\0'), "is no store", "zeroes");
  expect_refused("#!/bin/sh\nexit 0\n", "is no store", "script");
  expect_refused("x", "is no store, or cut: it has 1 bytes", "one byte");
  std::string noise(50000, '\0');
  std::mt19937 random(7);
  for (char &c : noise)
    c = static_cast<char>(random());
  expect_refused(noise, "is no store", "noise");
}

TEST_F(FileTest, database_of_another_program_is_refused_and_left_alone) {
  MDB_env *environment = nullptr;
  MDB_txn *transaction = nullptr;
  MDB_dbi table = 0;
  ASSERT_EQ(mdb_env_create(&environment), 0);
  ASSERT_EQ(mdb_env_open(environment, path.c_str(), MDB_NOSUBDIR, 0600), 0);
  ASSERT_EQ(mdb_txn_begin(environment, nullptr, 0, &transaction), 0);
  ASSERT_EQ(mdb_dbi_open(transaction, nullptr, 0, &table), 0);
  MDB_val record{3, const_cast<char *>("abc")};
  ASSERT_EQ(mdb_put(transaction, table, &record, &record, 0), 0);
  ASSERT_EQ(mdb_txn_commit(transaction), 0);
  mdb_env_close(environment);
  expect_refused(file_content(path), "not made by this program", "another program's");
}

// The head of a file that a 32-bit program made: its page header is 12 bytes long, ours 16.
TEST_F(FileTest, store_of_the_other_word_size_is_refused_by_name) {
  std::string file(8192, '\0');
  const uint32_t magic = 0xbeefc0de, version = 1;
  constexpr std::size_t other_header = sizeof(void *) == 8 ? 12 : 16;
  for (const std::size_t page : {std::size_t{0}, std::size_t{4096}}) {
    memcpy(file.data() + page + other_header, &magic, sizeof magic);
    memcpy(file.data() + page + other_header + 4, &version, sizeof version);
  }
  expect_refused(file, sizeof(void *) == 8 ? "32-bit words" : "64-bit words", "other word size");
}

TEST_F(FileTest, store_of_the_other_byte_order_is_refused_by_name) {
  std::string file = compact_store();
  std::reverse(file.begin() + 16, file.begin() + 20);
  expect_refused(file, "other byte order", "other byte order");
}

TEST_F(FileTest, what_is_no_regular_file_is_refused) {
  std::filesystem::create_directory(path);
  EXPECT_EQ(open_error("running:a"), host::err_store_unusable);
  std::filesystem::remove(path);
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(open_error("running:a"), host::err_store_unusable);
  std::filesystem::remove(path);
  write_file(directory + "/elsewhere", "content");
  std::filesystem::create_symlink(directory + "/elsewhere", path);
  EXPECT_EQ(open_error("running:a"), host::err_store_unusable);
  EXPECT_EQ(file_content(directory + "/elsewhere"), "content");
}

TEST_F(FileTest, no_flipped_byte_brings_the_process_down) {
  const std::string whole = compact_store();
  std::mt19937 random(12);  // this one marks a page as written already, which LMDB would believe
  int accepted = 0;
  for (int round = 0; round < 400; ++round) {
    std::string changed = whole;
    for (auto flips = random() % 3 + 1; flips > 0; --flips) {
      const std::size_t page = random() % (whole.size() / 4096) * 4096;
      changed[page + random() % (random() % 2 == 0 ? 64 : 4096)] = static_cast<char>(random());
    }
    write_file(path, changed);
    uint32_t error = 0;
    const pss_handle store = pss_open("running:a", &error);
    if (store == 0) continue;
    ++accepted;
    records(store);
    (void)host::store_begin(store);
    for (int i = 0; i < 60; i += 3)
      erase(store, "key" + std::to_string(100 + i));
    put(store, "key1", std::string(3000, 'w'));
    host::store_abort(store);
    pss_close(store);
  }
  EXPECT_GT(accepted, 0);
}

TEST_F(FileTest, state_directory_is_made_with_its_parents) {
  const std::string inner = directory + "/a/b/c";
  host::use_paths(host::resolve_paths(inner.c_str()));
  EXPECT_EQ(open_error("running:a"), host::err_store_absent);
  EXPECT_FALSE(std::filesystem::exists(directory + "/a"));
  create("running:a");
  EXPECT_EQ(mode(directory + "/a"), 0700U);
  EXPECT_EQ(mode(inner), 0700U);
}

struct BadDirectory {
  const char *what;
  void (*spoil)(const std::string &path);
  const char *words;
};

TEST_F(FileTest, directory_that_others_can_change_is_refused) {
  const BadDirectory cases[] = {
      {"group", [](const std::string &state) { ASSERT_EQ(chmod(state.c_str(), 0770), 0); }, "chmod go-w"},
      {"others", [](const std::string &state) { ASSERT_EQ(chmod(state.c_str(), 0702), 0); }, "chmod go-w"},
      {"owner",
       [](const std::string &state) {
         ASSERT_EQ(chmod(state.c_str(), 0700), 0);
         ASSERT_EQ(geteuid() == 0 ? chown(state.c_str(), 65534, 65534) : chmod(state.c_str(), 0702), 0);
       },
       geteuid() == 0 ? "belongs to user 65534" : "chmod go-w"},
  };
  for (const BadDirectory &each : cases) {
    each.spoil(directory);
    uint32_t error = 0;
    EXPECT_EQ(pss_create("running:a", &error), 0U) << each.what;
    EXPECT_EQ(error, host::err_not_permitted) << each.what;
    EXPECT_NE(host::store_last_error().find(each.words), std::string::npos) << host::store_last_error();
    EXPECT_EQ(host::store_last_error().find(directory), 0U) << host::store_last_error();
    EXPECT_EQ(open_error("running:a"), host::err_not_permitted) << each.what;
  }
  EXPECT_TRUE(std::filesystem::is_empty(directory));
}

TEST_F(FileTest, file_instead_of_the_directory_is_refused) {
  write_file(directory + "/file", "content");
  host::use_paths(host::resolve_paths((directory + "/file").c_str()));
  uint32_t error = 0;
  EXPECT_EQ(pss_create("running:a", &error), 0U);
  EXPECT_EQ(error, host::err_not_permitted);
  EXPECT_EQ(file_content(directory + "/file"), "content");
}

TEST_F(FileTest, unwritable_directory_is_told_to_an_ordinary_user) {
  if (geteuid() != 0) {
    ASSERT_EQ(chmod(directory.c_str(), 0500), 0);
  } else {
    ASSERT_EQ(chown(directory.c_str(), 65534, 65534), 0);
    ASSERT_EQ(chmod(directory.c_str(), 0500), 0);
  }
  const int result = in_another_process([] {
    if (geteuid() == 0 && setuid(65534) != 0) return 100;
    uint32_t error = 0;
    if (pss_create("running:a", &error) != 0) return 101;
    return error == host::err_not_permitted && host::store_last_error().find("Permission denied") != std::string::npos
               ? 0
               : 102;
  });
  EXPECT_EQ(result, 0);
  chmod(directory.c_str(), 0700);
}

}  // namespace
}  // namespace store_test
