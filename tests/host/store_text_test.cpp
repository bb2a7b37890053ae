// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdio>
#include <utility>

#include "tests/host/store_commits.h"
#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

class TextTest : public StoreTest {
 protected:
  static std::string dump(const std::string &uri, uint32_t expected = 0) {
    char *text = nullptr;
    std::size_t size = 0;
    FILE *out = open_memstream(&text, &size);
    EXPECT_EQ(host::store_dump(uri.c_str(), out).code(), expected) << host::store_last_error();
    fclose(out);
    const std::string result(text, size);
    free(text);
    return result;
  }

  uint32_t load(const std::string &uri, std::string text) {
    text += '\0';  // fmemopen takes no empty buffer
    FILE *in = fmemopen(text.data(), text.size(), "r");
    if (text.size() > 1) {
      fclose(in);
      in = fmemopen(text.data(), text.size() - 1, "r");
    } else {
      getc(in);
    }
    const host::Result<void> loaded = host::store_load(uri.c_str(), in);
    fclose(in);
    words = loaded ? "" : loaded.error().text;
    return loaded.code();
  }

  std::string words;  // of the last load
  static constexpr char head[] = "schedcli-store 1 byte-order=little max-key=40 max-value=1024 version=1.1\n";
};

TEST_F(TextTest, dump_names_limits_and_escapes_what_is_not_plain) {
  const pss_handle store = create("running:a");
  pss_max_key(store, 40);
  pss_max_value(store, 1024);
  pss_version_set(store, 1, 1);
  put(store, std::string("\0\0\0\2k", 5), std::string("\1\0\0\0", 4));
  put(store, "a=b", "x\\y z\n~\x7f\xff");
  put(store, "empty", "");
  EXPECT_EQ(dump("running:a"), std::string(head) +
                                   "\\00\\00\\00\\02k=\\01\\00\\00\\00\n"
                                   "a\\3db=x\\5cy\\20z\\0a~\\7f\\ff\n"
                                   "empty=\n"
                                   "end records=3\n");
}

TEST_F(TextTest, dump_loads_into_the_same_store_again) {
  const pss_handle store = create("running:a");
  pss_max_key(store, 40);
  for (int i = 0; i < 256; ++i) {
    put(store, std::string(1, static_cast<char>(i)) + "key",
        std::string(static_cast<std::size_t>(i), static_cast<char>(i)));
  }
  const std::string text = dump("running:a");
  const uint64_t before = commits_below(directory);
  EXPECT_EQ(load("startup:b", text), 0U) << host::store_last_error();
  EXPECT_EQ(commits_below(directory), before + 1);
  EXPECT_EQ(dump("startup:b"), text);
  EXPECT_EQ(records(open("startup:b")), records(store));
}

TEST_F(TextTest, load_replaces_every_record_also_under_open_handles) {
  const pss_handle store = create("running:a");
  put(store, "old", "1");
  EXPECT_EQ(load("running:a", std::string(head) + "new=2\nend records=1\n"), 0U) << host::store_last_error();
  EXPECT_EQ(records(store), (Records{{"new", "2"}}));
  EXPECT_EQ(put(store, std::string(41, 'k'), "v"), host::err_store_limit);
}

TEST_F(TextTest, records_may_be_loaded_in_any_order) {
  EXPECT_EQ(load("running:a", std::string(head) + "c=3\na=1\nb=2\nend records=3\n"), 0U);
  EXPECT_EQ(records(open("running:a")), (Records{{"a", "1"}, {"b", "2"}, {"c", "3"}}));
}

TEST_F(TextTest, empty_store_is_dumped_and_loaded) {
  create("running:a");
  EXPECT_EQ(load("running:b", dump("running:a")), 0U);
  EXPECT_EQ(records(open("running:b")), Records{});
}

TEST_F(TextTest, bad_dump_changes_nothing_and_names_its_line) {
  struct BadDump {
    std::string text;
    const char *words;
  };
  const std::string start = head;
  const BadDump cases[] = {
      {"", "line 1 is empty"},
      {"hello\n", "line 1 is not the head"},
      {start.substr(0, start.size() - 1), "line 1 is empty"},
      {"schedcli-store 2 byte-order=little max-key=40 max-value=1024 version=1.1\nend records=0\n", "line 1 is not"},
      {"schedcli-store 1 byte-order=big max-key=40 max-value=1024 version=1.1\nend records=0\n", "other byte order"},
      {"schedcli-store 1 byte-order=little max-key=511 max-value=1024 version=1.1\nend records=0\n", "limits"},
      {"schedcli-store 1 byte-order=little max-key=40 max-value=65536 version=1.1\nend records=0\n", "limits"},
      {"schedcli-store 1 byte-order=little max-key=0 max-value=1 version=1.1\nend records=0\n", "limits"},
      {"schedcli-store 1 byte-order=little max-key=40 max-value=1024 version=1.1x\nend records=0\n", "line 1 is not"},
      {start, "line 2 is missing"},
      {start + "a=1\n", "line 3 is missing"},
      {start + "a=1\nend records=1", "line 3 is missing"},
      {start + "a=1\nend records=2\n", "line 3 does not count"},
      {start + "a=1\nend records=1\nb=2\n", "line 3 is not the last one"},
      {start + "a1\nend records=1\n", "line 2 is no record"},
      {start + "=1\nend records=1\n", "has no key"},
      {start + "a=1\na=2\nend records=2\n", "line 3 has the key of an earlier line"},
      {start + "a=1=2\nend records=1\n", "line 2 holds a byte"},
      {start + "a=\\0\nend records=1\n", "line 2 holds a byte"},
      {start + "a=\\0g\nend records=1\n", "line 2 holds a byte"},
      {start + "a=\\0A\nend records=1\n", "line 2 holds a byte"},
      {start + "a=1 \nend records=1\n", "line 2 holds a byte"},
      {start + "a=1\r\nend records=1\n", "line 2 holds a byte"},
      {start + std::string(511, 'k') + "=1\nend records=1\n", "longer than a record"},
      {start + "a=" + std::string(65536, 'v') + "\nend records=1\n", "longer than a record"},
      {start + "a=" + std::string(300000, 'v') + "\nend records=1\n", "line 2 is missing"},
  };
  const pss_handle store = create("running:a");
  put(store, "key", "value");
  for (const BadDump &each : cases) {
    for (const char *uri : {"running:a", "running:b"}) {
      EXPECT_EQ(load(uri, each.text), host::err_bad_value) << each.text;
      EXPECT_NE(words.find(each.words), std::string::npos) << words;
    }
  }
  EXPECT_EQ(records(store), (Records{{"key", "value"}}));
  EXPECT_FALSE(host::store_exists("running:b"));
  EXPECT_FALSE(std::filesystem::exists(host::store_path("running:b") + ".new"));
}

TEST_F(TextTest, dump_of_what_is_no_store_says_so) {
  dump("running:a", host::err_store_absent);
  dump("elsewhere:a", host::err_store_uri);
  write_file(host::store_path("running:a"), "foreign");
  dump("running:a", host::err_store_unusable);
  EXPECT_EQ(load("elsewhere:a", head), host::err_store_uri);
  EXPECT_EQ(load("running:a", std::string(head) + "end records=0\n"), host::err_store_unusable);
  EXPECT_EQ(file_content(host::store_path("running:a")), "foreign");
}

TEST_F(TextTest, directory_of_somebody_else_is_neither_dumped_nor_touched) {
  pss_close(create("running:a"));
  opened.clear();
  std::filesystem::remove(host::store_path("running:a") + "-lock");
  ASSERT_EQ(geteuid() == 0 ? chown(directory.c_str(), 65534, 65534) : chmod(directory.c_str(), 0777), 0);
  dump("running:a", host::err_not_permitted);
  EXPECT_FALSE(std::filesystem::exists(host::store_path("running:a") + "-lock"));
}

TEST_F(TextTest, dump_that_cannot_be_written_is_an_error) {
  create("running:a");
  FILE *full = fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  EXPECT_EQ(host::store_dump("running:a", full).code(), host::err_store_io);
  fclose(full);
}

// Takes nothing at first, and then everything: as a disk that somebody makes room on.
ssize_t refuse_first(void *refused, const char *, size_t size) {
  if (std::exchange(*static_cast<bool *>(refused), true)) return static_cast<ssize_t>(size);
  errno = ENOSPC;
  return 0;
}

TEST_F(TextTest, dump_that_lost_a_part_before_its_end_is_an_error) {
  create("running:a");
  bool refused = false;
  FILE *out = fopencookie(&refused, "w", {nullptr, refuse_first, nullptr, nullptr});
  ASSERT_NE(out, nullptr);
  char small[16];
  setvbuf(out, small, _IOFBF, sizeof small);
  EXPECT_EQ(host::store_dump("running:a", out).code(), host::err_store_io);
  fclose(out);
}

TEST_F(TextTest, load_above_the_bound_changes_nothing) {
  const pss_handle store = create("running:a");
  put(store, "key", "value");
  std::string text = head;
  for (int i = 0; i < 200; ++i)
    text += "key" + std::to_string(1000 + i) + "=" + std::string(1000, 'v') + "\n";
  host::store_set_bound(128U << 10);
  EXPECT_EQ(load("running:a", text + "end records=200\n"), host::err_store_full);
  EXPECT_EQ(records(store), (Records{{"key", "value"}}));
}

}  // namespace
}  // namespace store_test
