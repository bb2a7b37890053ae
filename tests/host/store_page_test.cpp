// SPDX-License-Identifier: Apache-2.0
// What the check of a store's file believes of it: a file made by hand, with one word of it changed.
#include <algorithm>
#include <cstring>

#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

using Word = std::size_t;

// Where a page has what.
constexpr std::size_t flags_at = sizeof(Word) + 2, lower_at = flags_at + 2, upper_at = lower_at + 2,
                      count_at = lower_at, head = upper_at + 2;
constexpr uint16_t branch = 1, leaf = 2, overflow = 4, meta = 8;

// Where a meta page has what, and its two tables.
constexpr std::size_t magic_at = head, version_at = magic_at + 4, map_at = version_at + 4 + sizeof(Word),
                      free_at = map_at + sizeof(Word), table_size = 8 + 5 * sizeof(Word),
                      records_at = free_at + table_size, last_page_at = records_at + table_size,
                      transaction_at = last_page_at + sizeof(Word), meta_end = transaction_at + sizeof(Word);
constexpr std::size_t table_flags_at = 4, depth_at = 6, entries_at = 8 + 3 * sizeof(Word),
                      root_at = entries_at + sizeof(Word);

// Where a node has what.
constexpr std::size_t length_at = 0, node_flags_at = 4, key_size_at = 6, node_head = 8;
constexpr uint16_t big_value = 1;

template <typename T>
std::string bytes_of(const T &value) {
  return {reinterpret_cast<const char *>(&value), sizeof value};
}

std::string node(const std::string &key, const std::string &value, std::size_t length, uint16_t flags = 0) {
  return bytes_of(static_cast<uint16_t>(length)) + bytes_of(static_cast<uint16_t>(length >> 16)) + bytes_of(flags) +
         bytes_of(static_cast<uint16_t>(key.size())) + key + value;
}

std::string record(const std::string &key, const std::string &value) {
  return node(key, value, value.size());
}

std::string child(const std::string &key, Word page) {
  return node(key, "", page);
}

std::string words(const std::vector<Word> &values) {
  std::string all;
  for (const Word value : values)
    all += bytes_of(value);
  return all;
}

const std::string description_key(1, '\0');

class HandMade {
 public:
  explicit HandMade(std::size_t page_size = 512) : page_size_(page_size) {}

  template <typename T>
  HandMade &set(std::size_t at, T value) {
    memcpy(text.data() + at, &value, sizeof value);
    return *this;
  }
  std::size_t page(Word number) const { return number * page_size_; }
  // Of a page's node, the first has the number 0.
  std::size_t node_of(Word number, std::size_t which) const {
    uint16_t place = 0;
    memcpy(&place, text.data() + page(number) + head + which * sizeof place, sizeof place);
    return page(number) + place;
  }

  void add_head(Word transaction, Word last_page, Word records_root, uint16_t records_depth, Word free_root) {
    const std::size_t at = add(meta);
    set<uint32_t>(at + magic_at, 0xbeefc0de).set<uint32_t>(at + version_at, 1).set<Word>(at + map_at, 1 << 20);
    set(at + free_at, static_cast<uint32_t>(page_size_)).set<uint16_t>(at + free_at + table_flags_at, 0x4008);
    set<uint16_t>(at + free_at + depth_at, free_root == ~Word{0} ? 0 : 1).set(at + free_at + root_at, free_root);
    set(at + records_at + depth_at, records_depth).set(at + records_at + root_at, records_root);
    set(at + last_page_at, last_page).set(at + transaction_at, transaction);
  }

  void add_page(uint16_t flags, const std::vector<std::string> &nodes) {
    const std::size_t at = add(flags);
    std::size_t lower = head, upper = page_size_;
    for (const std::string &each : nodes) {
      upper -= (each.size() + 1) / 2 * 2;
      text.replace(at + upper, each.size(), each);
      set(at + lower, static_cast<uint16_t>(upper));
      lower += sizeof(uint16_t);
    }
    set(at + lower_at, static_cast<uint16_t>(lower)).set(at + upper_at, static_cast<uint16_t>(upper));
  }

  void add_long_value(uint32_t pages, const std::string &value) {
    const std::size_t at = add(overflow);
    set(at + count_at, pages);
    text.resize(at + pages * page_size_);
    text.replace(at + head, value.size(), value);
  }

  void add_free_page() { add(0); }

  std::string text;

 private:
  std::size_t add(uint16_t flags) {
    const std::size_t at = text.size();
    text.resize(at + page_size_);
    set<Word>(at, at / page_size_).set(at + flags_at, flags);
    return at;
  }

  std::size_t page_size_;
};

std::string description() {
  return "schedpss" + bytes_of(uint32_t{0x01020304}) + bytes_of(static_cast<uint32_t>(sizeof(Word))) +
         bytes_of(uint32_t{510}) + bytes_of(uint32_t{65535}) + std::string(8, '\0');
}

// Which page is what.
constexpr Word root = 2, first_leaf = 3, second_leaf = 4, long_value = 5, free_list = 7, free_page = 8, unwritten = 9;

HandMade sound_file(Word newest_last_page = unwritten) {
  const std::string value(2 * 512 - head, 'v');  // fills its two pages
  HandMade file;
  file.add_head(4, unwritten, root, 2, free_list);
  file.add_head(5, newest_last_page, root, 2, free_list);
  file.add_page(branch, {child("", first_leaf), child("\1b", second_leaf)});
  file.add_page(leaf, {record(description_key, description()), record("\1a", "odd")});
  file.add_page(leaf, {record("\1b", "even"), node("\1c", bytes_of(long_value), value.size(), big_value)});
  file.add_long_value(2, value);
  file.add_page(leaf, {record(bytes_of(Word{1}), words({2, free_page, unwritten}))});
  file.add_free_page();
  return file;
}

HandMade file_of_one_leaf(const std::vector<std::string> &nodes, std::size_t page_size = 512) {
  HandMade file(page_size);
  file.add_head(0, root, root, 1, ~Word{0});
  file.add_head(1, root, root, 1, ~Word{0});
  file.add_page(leaf, nodes);
  return file;
}

HandMade file_of_free_list(const std::vector<std::string> &nodes) {
  HandMade file;
  file.add_head(0, 5, root, 1, 3);
  file.add_head(1, 5, root, 1, 3);
  file.add_page(leaf, {record(description_key, description())});
  file.add_page(leaf, nodes);
  file.add_free_page();
  return file;
}

class PageTest : public StoreTest {
 protected:
  // Why it is not opened; empty: it is.
  std::string fault_of(const std::string &content) {
    write_file(path, content);
    const uint32_t error = open_error("running:a");
    if (error == 0) return "";
    EXPECT_EQ(error, host::err_store_unusable);
    const std::string text = host::store_last_error();
    const std::size_t from = path.size() + 2;
    return text.substr(from, text.find(';', from) - from);
  }

  std::string path = host::store_path("running:a");
};

std::string damaged(Word page) {
  return "is damaged: page " + std::to_string(page) + " is not sound";
}

const std::string foreign = "was not made by this program";

TEST_F(PageTest, sound_file_is_opened_with_all_that_it_holds) {
  const HandMade file = sound_file();
  ASSERT_EQ(fault_of(file.text), "");
  const Records all = {{"a", "odd"}, {"b", "even"}, {"c", std::string(2 * 512 - head, 'v')}};
  EXPECT_EQ(records(open("running:a")), all);
}

struct Word16 {
  std::size_t at;
  Word value;
  std::string fault;
};

// Each row changes one word of 16 bits.
TEST_F(PageTest, each_short_word_is_checked) {
  const HandMade file = sound_file();
  const std::size_t first = file.page(first_leaf), second = file.page(second_leaf), list = file.page(free_list);
  const Word16 rows[] = {
      {flags_at, leaf, "is damaged: page 0 is no meta page"},
      {file.page(1) + flags_at, leaf, "is damaged: page 1 is no meta page"},
      {file.page(1) + magic_at, 0, "is damaged: page 1 is no meta page"},
      {version_at, 2, "is damaged: page 0 is no meta page"},
      {file.page(1) + version_at, 2, "is damaged: page 1 is no meta page"},
      {file.page(1) + free_at, 1024, "is damaged: page 1 is no meta page"},
      {file.page(1) + free_at + table_flags_at, 0x4009, foreign},  // its address would be of its own choice
      {file.page(1) + free_at + table_flags_at, 0x400c, foreign},
      {file.page(1) + free_at + table_flags_at, 8, ""},
      {file.page(1) + records_at + table_flags_at, 4, foreign},
      {file.page(1) + records_at + depth_at, 0, damaged(root)},
      {file.page(1) + records_at + depth_at, 1, damaged(root)},
      {file.page(1) + records_at + depth_at, 32, damaged(first_leaf)},
      {file.page(1) + records_at + depth_at, 33, damaged(root)},
      {file.page(root), first_leaf, damaged(root)},
      {first, root, damaged(first_leaf)},
      {first + flags_at, leaf | 0x10, damaged(first_leaf)},  // as if it had been written already
      {first + flags_at, branch, damaged(first_leaf)},
      {first + lower_at, head - 2, damaged(first_leaf)},
      {first + lower_at, 510, damaged(first_leaf)},
      {first + upper_at, 514, damaged(first_leaf)},
      {first + upper_at, 400, damaged(first_leaf)},  // there is more room than nodes
      {first + head, 100, damaged(first_leaf)},
      {list + head, 512 - 4, damaged(free_list)},
      {file.page(root) + lower_at, head + 2, damaged(root)},
      {file.node_of(root, 1) + length_at, first_leaf, damaged(first_leaf)},
      {file.node_of(root, 1) + length_at, 0, damaged(0)},
      {file.node_of(root, 1) + length_at, 1, damaged(1)},
      {file.node_of(root, 1) + length_at, unwritten, "is cut: it has 4608 bytes and needs page 9"},
      {file.node_of(root, 1) + length_at, unwritten + 1, damaged(unwritten + 1)},
      {file.node_of(root, 1) + length_at + 2, 1, damaged(0x10004)},
      {file.node_of(first_leaf, 1) + node_flags_at, 2, foreign},  // a table within the table
      {file.node_of(first_leaf, 1) + node_flags_at, 4, foreign},  // several values of one key
      {file.node_of(first_leaf, 1) + node_head, 2, damaged(first_leaf)},
      {file.node_of(second_leaf, 1) + length_at, 2 * 512 - head + 1, damaged(long_value)},
      {file.node_of(second_leaf, 1) + length_at + 2, 1, damaged(long_value)},
      {file.node_of(second_leaf, 1) + node_head + 2, long_value + 1, damaged(long_value + 1)},
      {file.node_of(second_leaf, 1) + node_head + 2, root, damaged(root)},
      {second + head + 2, 512 - 8, damaged(second_leaf)},
      {file.page(long_value), long_value + 1, damaged(long_value)},
      {file.page(long_value) + flags_at, leaf, damaged(long_value)},
      {file.page(long_value) + count_at, 0, damaged(long_value)},
      {file.page(long_value) + count_at, 1, damaged(long_value)},
      {file.page(long_value) + count_at, 3, damaged(free_list)},  // which it would reach into
      {file.page(long_value) + count_at, 5, "is cut: it has 4608 bytes and needs page 9"},
      {file.page(long_value) + count_at, 6, damaged(long_value + 1)},
      {list + flags_at, branch, damaged(free_list)},
  };
  for (const Word16 &row : rows)
    EXPECT_EQ(fault_of(HandMade(file).set(row.at, static_cast<uint16_t>(row.value)).text), row.fault)
        << "page " << row.at / 512 << " at " << row.at % 512 << " has " << row.value;
}

TEST_F(PageTest, each_long_word_is_checked) {
  const HandMade file = sound_file();
  const std::size_t newest = file.page(1);
  const Word16 rows[] = {
      {newest + last_page_at, 0, "is damaged: its last page is 0"},
      {newest + last_page_at, 1, damaged(root)},
      {newest + last_page_at, 2047, ""},
      {newest + last_page_at, 2048, "is damaged: its last page is 2048"},
      {newest + map_at, 9 * 512, "is damaged: its last page is 9"},
      {newest + map_at, 10 * 512, ""},
      {newest + records_at + root_at, ~Word{0}, foreign},
      {newest + records_at + root_at, ~Word{0} - 1, damaged(~Word{0} - 1)},
      {newest + free_at + root_at, ~Word{0}, ""},
      {newest + free_at + root_at, second_leaf, damaged(second_leaf)},
  };
  for (const Word16 &row : rows)
    EXPECT_EQ(fault_of(HandMade(file).set(row.at, row.value).text), row.fault)
        << "page " << row.at / 512 << " at " << row.at % 512 << " has " << row.value;
}

// Of two that are as new the first one counts, as it does for whoever reads the file.
TEST_F(PageTest, newest_meta_page_counts) {
  HandMade file = sound_file();
  constexpr std::size_t first_root = records_at + root_at;
  const std::size_t second_root = file.page(1) + first_root, second_transaction = file.page(1) + transaction_at;
  EXPECT_EQ(fault_of(HandMade(file).set<Word>(first_root, 1).text), "");
  EXPECT_EQ(fault_of(HandMade(file).set<Word>(second_root, 1).text), damaged(1));
  file.set<Word>(second_transaction, 4);
  EXPECT_EQ(fault_of(HandMade(file).set<Word>(first_root, 1).text), damaged(1));
  EXPECT_EQ(fault_of(HandMade(file).set<Word>(second_root, 1).text), "");
}

struct Cut {
  std::size_t size;
  const char *fault;
};

TEST_F(PageTest, what_a_cut_file_lacks_is_told) {
  const std::string text = sound_file().text;
  const std::string end_of_head = "is cut: it has " + std::to_string(meta_end - 1) + " bytes",
                    head_alone = "is cut: it has " + std::to_string(meta_end) + " bytes and needs page 2";
  const Cut cuts[] = {
      {19, "is no store, or cut: it has 19 bytes"},
      {20, "is cut: it has 20 bytes"},
      {meta_end - 1, end_of_head.c_str()},
      {meta_end, head_alone.c_str()},
      {1023, "is cut: it has 1023 bytes and needs page 2"},
      {3 * 512, "is cut: it has 1536 bytes and needs page 3"},
      {4 * 512 + 511, "is cut: it has 2559 bytes and needs page 4"},
      {6 * 512, "is cut: it has 3072 bytes and needs page 6"},
      {8 * 512, ""},  // the free pages need not have been written
  };
  for (const Cut &cut : cuts)
    EXPECT_EQ(fault_of(text.substr(0, cut.size)), cut.fault) << cut.size;
  EXPECT_EQ(fault_of(std::string(20, 'x')), "is no store");
  HandMade two_pages = sound_file();
  two_pages.set<Word>(two_pages.page(1) + records_at + root_at, first_leaf);
  EXPECT_EQ(fault_of(two_pages.text.substr(0, 1024)), "is cut: it has 1024 bytes and needs page 3");
}

struct Leaf {
  std::vector<std::string> nodes;
  std::string fault;
};

std::string other_description(std::size_t at, char byte) {
  std::string text = description();
  text[at] = byte;
  return text;
}

TEST_F(PageTest, first_record_has_to_describe_the_store_and_the_others_have_to_be_the_callers) {
  const std::string own = record(description_key, description());
  const Leaf rows[] = {
      {{own}, ""},
      {{}, damaged(root)},
      {{record(std::string(2, '\0'), description())}, foreign},
      {{record("\1", description())}, foreign},
      {{record(description_key, description() + "x")}, foreign},
      {{record(description_key, description().substr(1))}, foreign},
      {{record(description_key, other_description(0, 'S'))}, foreign},
      {{record(description_key, other_description(7, 'x'))}, foreign},
      {{record(description_key, other_description(8, 1))}, damaged(root)},
      {{record(description_key, other_description(12, 2))}, damaged(root)},
      {{own, record("", "value")}, damaged(root)},
      {{own, record("\1", "value")}, ""},
      {{own, record(std::string(1, '\0'), "value")}, damaged(root)},
  };
  for (const Leaf &row : rows)
    EXPECT_EQ(fault_of(file_of_one_leaf(row.nodes).text), row.fault) << &row - rows;
}

TEST_F(PageTest, longest_key_is_the_longest_that_is_believed) {
  const std::string own = record(description_key, description());
  for (const auto &[size, fault] : {std::pair{510U, std::string()}, {511U, damaged(root)}})
    EXPECT_EQ(fault_of(file_of_one_leaf({own, record("\1" + std::string(size, 'k'), "")}, 4096).text), fault) << size;
}

TEST_F(PageTest, freed_pages_are_free_and_told_once) {
  const std::string freed_by = bytes_of(Word{1});
  const Leaf rows[] = {
      {{record(freed_by, words({2, 4, 5}))}, ""},
      {{record(freed_by, words({1, 4})), record(bytes_of(Word{2}), words({1, 5}))}, ""},
      {{record(freed_by, words({1, 4})), record(bytes_of(Word{2}), words({1, 4}))}, damaged(4)},
      {{record(freed_by, words({2, 4, 4}))}, damaged(4)},
      {{record(freed_by, words({2, root, 4}))}, damaged(root)},
      {{record(freed_by, words({2, 4, 3}))}, damaged(3)},
      {{record(freed_by, words({1, 1}))}, damaged(3)},
      {{record(freed_by, words({1, 6}))}, damaged(3)},
      {{record(freed_by, words({2, 4}))}, damaged(3)},
      {{record(freed_by, words({0}))}, ""},
      {{record(freed_by, words({1, 4, 99}))}, ""},  // what is behind the counted ones is nobody's
      {{record(freed_by, std::string(sizeof(Word) - 2, '\0'))}, damaged(3)},
      {{record(freed_by + "xx", words({1, 4}))}, damaged(3)},
      {{record(freed_by.substr(2), words({1, 4}))}, damaged(3)},
  };
  for (const Leaf &row : rows)
    EXPECT_EQ(fault_of(file_of_free_list(row.nodes).text), row.fault) << &row - rows;
}

TEST_F(PageTest, second_page_can_be_a_free_one) {
  HandMade file;
  file.add_head(0, 5, 3, 1, 4);
  file.add_head(1, 5, 3, 1, 4);
  file.add_free_page();
  file.add_page(leaf, {record(description_key, description())});
  file.add_page(leaf, {record(bytes_of(Word{1}), words({2, 2, 5}))});
  EXPECT_EQ(fault_of(file.text), "");
}

TEST_F(PageTest, checked_file_is_not_kept_mapped) {
  HandMade file = sound_file();
  EXPECT_EQ(fault_of(file.set<Word>(file.page(root), 0).text), damaged(root));
  EXPECT_EQ(file_content("/proc/self/maps").find(path), std::string::npos);
}

}  // namespace
}  // namespace store_test
