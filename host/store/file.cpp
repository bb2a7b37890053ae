// SPDX-License-Identifier: Apache-2.0
#include "host/store/file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

#include "host/files/file_descriptor.h"
#include "host/status.h"
#include "host/store/failure.h"

namespace host {
namespace {

using Word = std::size_t;  // page numbers and counts in the file have the word size of the machine that made it

// The file format of LMDB 0.9, as far as the check needs it.
constexpr uint32_t format_magic = 0xbeefc0de;
constexpr uint32_t format_version = 1;
constexpr Word no_page = ~Word{0};
constexpr uint32_t smallest_page = 512;
constexpr uint32_t largest_page = 32768;  // places within a page have 16 bits
constexpr unsigned deepest_tree = 32;
// A page must have exactly one of these flags. With the dirty flag LMDB would write into the page where it is mapped.
enum PageFlag : uint16_t { branch_page = 1, leaf_page = 2, overflow_page = 4, meta_page = 8 };
enum NodeFlag : uint16_t { big_value = 1 };
enum TableFlag : uint16_t { integer_keys = 8, one_file = 0x4000 };

struct PageHeader {
  Word number;
  uint16_t pad, flags;
  uint16_t lower, upper;  // an overflow page has its count of pages here
};
struct Table {
  uint32_t pad;
  uint16_t flags, depth;
  Word branch_pages, leaf_pages, overflow_pages, entries, root;
};
struct Meta {
  uint32_t magic, version;
  Word address, map_size;
  Table free_pages, records;
  Word last_page, transaction;
};
struct Node {
  uint16_t low, high, flags, key_size;
};

constexpr std::size_t page_header_size = 2 * sizeof(uint16_t) + 2 * sizeof(uint16_t) + sizeof(Word);

template <typename T>
T load(const std::byte *from) {
  T value;
  memcpy(&value, from, sizeof value);
  return value;
}

// The file in memory, and which of its pages have been found in use.
class Check {
 public:
  Check(const std::byte *data, std::size_t size) : data_(data), size_(size) {}

  // What is wrong with the file; empty: nothing.
  std::string run() {
    if (size_ == 0) return "is empty";
    if (auto fault = read_newest_meta(); !fault.empty()) return fault;
    pages_ = std::min<Word>(meta_.last_page + 1, size_ / page_size_);
    seen_.assign(pages_, false);
    if (meta_.records.root == no_page) return "was not made by this program";
    if (meta_.records.flags != 0) return "was not made by this program";
    if (auto fault = tree(meta_.records, false); !fault.empty()) return fault;
    if (!described_) return "was not made by this program";
    return meta_.free_pages.root == no_page ? "" : tree(meta_.free_pages, true);
  }

 private:
  std::string read_newest_meta() {
    if (auto fault = first_meta(); !fault.empty()) return fault;
    if (size_ < 2 * std::size_t{page_size_}) return cut(2);
    for (std::size_t at : {std::size_t{0}, std::size_t{page_size_}}) {
      const auto header = load<PageHeader>(data_ + at);
      const Meta meta = load<Meta>(data_ + at + page_header_size);
      if (header.flags != meta_page || meta.magic != format_magic || meta.version != format_version ||
          meta.free_pages.pad != page_size_) {
        return "is damaged: page " + std::to_string(at / page_size_) + " is no meta page";
      }
      if (at == 0 || meta.transaction > meta_.transaction) meta_ = meta;
    }
    // The free list's flags also hold those of the environment. With MDB_FIXEDMAP the file would choose the address at
    // which it is mapped.
    if ((meta_.free_pages.flags & ~one_file) != integer_keys) return "was not made by this program";
    const bool fits = meta_.last_page >= 1 && meta_.last_page < meta_.map_size / page_size_;
    return fits ? "" : "is damaged: its last page is " + std::to_string(meta_.last_page);
  }

  std::string first_meta() {
    constexpr std::size_t magic_at_64 = 16, magic_at_32 = 12, least = 20;
    if (size_ < least) return foreign_or_cut();
    const std::size_t here = sizeof(Word) == 8 ? magic_at_64 : magic_at_32;
    const std::size_t other = sizeof(Word) == 8 ? magic_at_32 : magic_at_64;
    const auto magic = load<uint32_t>(data_ + here);
    if (magic != format_magic) {
      if (load<uint32_t>(data_ + other) == format_magic) {
        return std::string("was made by a program with ") + (sizeof(Word) == 8 ? "32" : "64") +
               "-bit words; dump it there and load the dump here";
      }
      if (magic == __builtin_bswap32(format_magic)) {
        return "was made on a machine of the other byte order; dump it there and load the dump here";
      }
      return "is no store";
    }
    if (size_ < page_header_size + sizeof(Meta)) return "is cut: it has " + std::to_string(size_) + " bytes";
    page_size_ = load<Meta>(data_ + page_header_size).free_pages.pad;
    const bool fits = page_size_ >= smallest_page && page_size_ <= largest_page && std::has_single_bit(page_size_);
    return fits ? "" : "is damaged: its page size is " + std::to_string(page_size_);
  }

  std::string foreign_or_cut() const { return "is no store, or cut: it has " + std::to_string(size_) + " bytes"; }

  std::string cut(Word page) const {
    return "is cut: it has " + std::to_string(size_) + " bytes and needs page " + std::to_string(page);
  }

  static std::string damaged(Word page) { return "is damaged: page " + std::to_string(page) + " is not sound"; }

  // Marks `count` pages from `page` on as used; a page that is used twice is damage.
  std::string take(Word page, Word count) {
    if (page > meta_.last_page || count > meta_.last_page + 1 - page) return damaged(page);
    if (page + count > pages_) return cut(page + count - 1);
    for (Word each = page; each < page + count; ++each) {
      if (seen_[each]) return damaged(each);
      seen_[each] = true;
    }
    return "";
  }

  std::string tree(const Table &table, bool is_free_list) {
    if (table.depth == 0 || table.depth > deepest_tree) return damaged(table.root);
    return page(table.root, table.depth, is_free_list);
  }

  std::string page(Word number, unsigned depth, bool is_free_list) {
    if (auto fault = take(number, 1); !fault.empty()) return fault;
    const std::byte *start = data_ + number * page_size_;
    const auto header = load<PageHeader>(start);
    const bool is_leaf = depth == 1;
    const std::size_t entries = (std::size_t{header.lower} - page_header_size) / sizeof(uint16_t);
    if (header.number != number || header.flags != (is_leaf ? leaf_page : branch_page) ||
        header.lower < page_header_size || header.lower > header.upper || header.upper > page_size_ ||
        entries < (is_leaf || is_free_list ? 1U : 2U)) {
      return damaged(number);
    }
    std::size_t room = page_size_ - header.upper;
    for (std::size_t i = 0; i < entries; ++i) {
      const auto at = load<uint16_t>(start + page_header_size + i * sizeof(uint16_t));
      if (at < header.upper || at + sizeof(Node) > page_size_) return damaged(number);
      const auto node = load<Node>(start + at);
      const std::size_t size = is_leaf ? leaf_size(node) : sizeof(Node) + node.key_size;
      const std::size_t even_size = (size + 1) / 2 * 2;
      if (at + size > page_size_ || even_size > room) return damaged(number);
      room -= even_size;  // overlapping nodes need more than there is; LMDB would move them by their sizes
      if (auto fault = is_leaf ? leaf_node(number, at, node, is_free_list) : branch_node(node, depth, is_free_list);
          !fault.empty()) {
        return fault;
      }
    }
    return room == 0 ? "" : damaged(number);
  }

  static std::size_t value_length(const Node &node) { return node.low | std::size_t{node.high} << 16; }

  static std::size_t leaf_size(const Node &node) {
    return sizeof(Node) + node.key_size + ((node.flags & big_value) != 0 ? sizeof(Word) : value_length(node));
  }

  std::string branch_node(const Node &node, unsigned depth, bool is_free_list) {
    uint64_t child = node.low | uint64_t{node.high} << 16;
    if constexpr (sizeof(Word) == 8) child |= uint64_t{node.flags} << 32;
    return page(static_cast<Word>(child), depth - 1, is_free_list);
  }

  std::string leaf_node(Word number, std::size_t at, const Node &node, bool is_free_list) {
    const std::byte *key = data_ + number * page_size_ + at + sizeof(Node);
    const std::byte *value = key + node.key_size;
    const std::size_t length = value_length(node);
    if ((node.flags & ~big_value) != 0) return "was not made by this program";
    if (node.key_size == 0) return damaged(number);
    if ((node.flags & big_value) != 0) {
      const auto first = load<Word>(value);
      if (auto fault = overflow(first, length); !fault.empty()) return fault;
      value = data_ + first * page_size_ + page_header_size;
    }
    if (is_free_list) return free_entry(number, node.key_size, value, length);
    return record(number, key, node.key_size, value, length);
  }

  std::string overflow(Word first, std::size_t length) {
    if (auto fault = take(first, 1); !fault.empty()) return fault;
    const std::byte *start = data_ + first * page_size_;
    const auto header = load<PageHeader>(start);
    const auto count = load<uint32_t>(start + page_header_size - sizeof(uint32_t));
    if (header.number != first || header.flags != overflow_page ||
        page_header_size + length > std::size_t{count} * page_size_) {
      return damaged(first);
    }
    return count == 1 ? "" : take(first + 1, count - 1);
  }

  // The pages that one transaction has freed: their number, then each. None of them may be in use.
  std::string free_entry(Word number, std::size_t key_size, const std::byte *value, std::size_t length) {
    if (key_size != sizeof(Word) || length < sizeof(Word)) return damaged(number);
    const auto count = load<Word>(value);
    if (count > length / sizeof(Word) - 1) return damaged(number);
    for (Word i = 1; i <= count; ++i) {
      const auto freed = load<Word>(value + i * sizeof(Word));
      if (freed > meta_.last_page || freed < 2) return damaged(number);
      if (freed >= pages_) continue;  // a page freed at the file's end need not have been written
      if (seen_[freed]) return damaged(freed);
      seen_[freed] = true;
    }
    return "";
  }

  // The first record describes the store, the others are the caller's.
  std::string record(Word number, const std::byte *key, std::size_t key_size, const std::byte *value,
                     std::size_t length) {
    if (described_) return key[0] == record_prefix && key_size <= largest_key + 1 ? "" : damaged(number);
    if (key_size != 1 || key[0] != description_prefix || length != sizeof(StoreDescription)) {
      return "was not made by this program";
    }
    const auto found = load<StoreDescription>(value);
    const StoreDescription own = new_description();
    described_ = true;
    if (memcmp(found.magic, own.magic, sizeof own.magic) != 0) return "was not made by this program";
    return found.byte_order == own.byte_order && found.word_size == own.word_size ? "" : damaged(number);
  }

  const std::byte *data_;
  std::size_t size_;
  uint32_t page_size_ = 0;
  Meta meta_{};
  Word pages_ = 0;
  std::vector<bool> seen_;
  bool described_ = false;
};

class Mapping {
 public:
  Mapping(int file, std::size_t size)
      : size_(size), data_(size == 0 ? nullptr : mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0)) {}
  Mapping(const Mapping &) = delete;
  Mapping &operator=(const Mapping &) = delete;
  ~Mapping() {
    if (data() != nullptr) munmap(data_, size_);
  }
  const std::byte *data() const { return data_ == MAP_FAILED ? nullptr : static_cast<const std::byte *>(data_); }

 private:
  std::size_t size_;
  void *data_;
};

}  // namespace

StoreDescription new_description() {
  StoreDescription description{{}, store_byte_order, sizeof(Word), largest_key, largest_value, 0, 0};
  memcpy(description.magic, store_magic, sizeof store_magic);
  return description;
}

Result<void> check_store_file(const std::string &path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat found {};
  if (!file || fstat(file.get(), &found) != 0) {
    if (errno == ELOOP) return store_error(err_store_unusable, path, "is a symbolic link");
    return store_result(errno, path);
  }
  if (!S_ISREG(found.st_mode)) return store_error(err_store_unusable, path, "is no regular file");
  const auto size = static_cast<std::size_t>(found.st_size);
  const Mapping mapping(file.get(), size);
  if (size != 0 && mapping.data() == nullptr) return store_result(errno, path);
  const std::string fault = Check(mapping.data(), size).run();
  if (!fault.empty()) return store_error(err_store_unusable, path, fault);
  return {};
}

}  // namespace host
