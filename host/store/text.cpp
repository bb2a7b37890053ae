// SPDX-License-Identifier: Apache-2.0
// A store as text: a line with the limits, a line for each record in order, and a line with their number, by which a
// truncated dump is noticed. A byte that is not plain text is written as a backslash and two hexadecimal digits.
#include <lmdb.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "host/files/directory.h"
#include "host/files/paths.h"
#include "host/status.h"
#include "host/store/environment.h"
#include "host/store/failure.h"
#include "host/store/replace.h"
#include "host/store/store.h"
#include "host/store/table.h"

namespace host {
namespace {

// Values are the records of the machine that wrote them; machines of the other byte order cannot use them.
constexpr const char *byte_order = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? "little" : "big";
constexpr char head_format[] = "schedcli-store 1 byte-order=%s max-key=%u max-value=%u version=%u.%u\n";
constexpr char tail_format[] = "end records=%llu\n";
constexpr std::size_t longest_line = 3 * (std::size_t{largest_key} + largest_value) + 2;

bool is_plain(unsigned char c) {
  return c > ' ' && c < 0x7f && c != '\\' && c != '=';
}

void append_escaped(std::string *line, const pss_buf &bytes) {
  constexpr char digits[] = "0123456789abcdef";
  const auto *text = static_cast<const unsigned char *>(bytes.data);
  for (uint32_t i = 0; i < bytes.length; ++i) {
    if (is_plain(text[i])) {
      *line += static_cast<char>(text[i]);
    } else {
      *line += {'\\', digits[text[i] >> 4], digits[text[i] & 15]};
    }
  }
}

int digit_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

bool unescape(std::string_view text, std::vector<std::byte> *bytes) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      if (!is_plain(static_cast<unsigned char>(text[i]))) return false;
      bytes->push_back(static_cast<std::byte>(text[i]));
      continue;
    }
    if (i + 2 >= text.size() || digit_value(text[i + 1]) < 0 || digit_value(text[i + 2]) < 0) return false;
    bytes->push_back(static_cast<std::byte>(digit_value(text[i + 1]) << 4 | digit_value(text[i + 2])));
    i += 2;
  }
  return true;
}

// One read transaction for all records, so that writers do not change the dump midway.
int write_records(Store &store, FILE *out) {
  Transaction transaction;
  if (const int code = begin_transaction(store, MDB_RDONLY, &transaction); code != 0) return code;
  MDB_cursor *made_cursor = nullptr;
  if (const int code = mdb_cursor_open(transaction.get(), store_table, &made_cursor); code != 0) return code;
  const Cursor cursor(made_cursor);
  MDB_val key = description_key(), value{};
  int code = mdb_cursor_get(made_cursor, &key, &value, MDB_SET);
  if (code != 0) return code;
  StoreDescription description;
  memcpy(&description, value.mv_data, sizeof description);
  fprintf(out, head_format, byte_order, description.max_key, description.max_value, description.major,
          description.minor);
  unsigned long long records = 0;
  std::string line;
  while ((code = mdb_cursor_get(made_cursor, &key, &value, MDB_NEXT)) == 0) {
    line.clear();
    append_escaped(&line, {static_cast<std::byte *>(key.mv_data) + 1, static_cast<uint32_t>(key.mv_size - 1)});
    line += '=';
    append_escaped(&line, {value.mv_data, static_cast<uint32_t>(value.mv_size)});
    line += '\n';
    fwrite(line.data(), 1, line.size(), out);
    ++records;
  }
  fprintf(out, tail_format, records);
  return code == MDB_NOTFOUND ? 0 : code;
}

// Reads the lines of a dump; keeps the line number and what is wrong there.
class DumpReader {
 public:
  explicit DumpReader(FILE *in) : in_(in) {}

  bool read_head(StoreDescription *description) {
    *description = new_description();
    std::array<char, 8> order{};
    int used = 0;
    if (!next_line()) return wrong("is empty");
    const int found =
        sscanf(line_.c_str(), "schedcli-store 1 byte-order=%7s max-key=%u max-value=%u version=%u.%u%n", order.data(),
               &description->max_key, &description->max_value, &description->major, &description->minor, &used);
    if (found != 5 || line_.size() != static_cast<std::size_t>(used)) return wrong("is not the head of a store's dump");
    if (std::string_view(order.data()) != byte_order) return wrong("comes from a machine of the other byte order");
    if (description->max_key == 0 || description->max_key > largest_key || description->max_value == 0 ||
        description->max_value > largest_value) {
      return wrong("names limits that no store can have");
    }
    return true;
  }

  // Stores every record; the last line must have their number.
  int put_records(MDB_txn *transaction) {
    unsigned long long records = 0;
    while (next_line()) {
      unsigned long long counted = 0;
      int used = 0;
      if (sscanf(line_.c_str(), "end records=%llu%n", &counted, &used) == 1 &&
          line_.size() == static_cast<std::size_t>(used)) {
        return counted == records ? at_end() : refuse("does not count the records above it");
      }
      if (const int code = put_record(transaction); code != 0) return code;
      ++records;
    }
    return refuse("is missing: the dump is cut");
  }

  const std::string &fault() const { return fault_; }

 private:
  bool next_line() {
    line_.clear();
    ++number_;
    for (int c = getc(in_); c != EOF; c = getc(in_)) {
      if (c == '\n') return true;
      if (line_.size() == longest_line) return false;
      line_ += static_cast<char>(c);
    }
    return false;
  }

  int put_record(MDB_txn *transaction) {
    const std::size_t equals = line_.find('=');
    if (equals == std::string::npos) return refuse("is no record");
    std::vector<std::byte> key{record_prefix}, value;
    const std::string_view line = line_;
    if (!unescape(line.substr(0, equals), &key) || !unescape(line.substr(equals + 1), &value)) {
      return refuse("holds a byte that is not escaped, or a wrong escape");
    }
    if (key.size() < 2 || key.size() > largest_key + 1 || value.size() > largest_value) {
      return refuse("is longer than a record can be, or has no key");
    }
    MDB_val where{key.size(), key.data()}, what{value.size(), value.data()};
    int code = mdb_put(transaction, store_table, &where, &what, MDB_NOOVERWRITE);
    if (code == 0) code = check_bound(transaction);
    return code == MDB_KEYEXIST ? refuse("has the key of an earlier line") : code;
  }

  int at_end() { return getc(in_) == EOF ? 0 : refuse("is not the last one"); }

  bool wrong(const char *what) {
    fault_ = "line " + std::to_string(number_) + " " + what;
    return false;
  }
  int refuse(const char *what) {
    wrong(what);
    return EINVAL;
  }

  FILE *in_;
  std::string line_;
  std::size_t number_ = 0;
  std::string fault_;
};

int fill_from(MDB_txn *transaction, void *reader) {
  return static_cast<DumpReader *>(reader)->put_records(transaction);
}

Error bad_dump(const std::string &path, const DumpReader &reader) {
  return store_error(err_bad_value, path, "not loaded, nothing was changed: " + reader.fault());
}

Result<void> load_into(const std::string &path, FILE *in) {
  DumpReader reader(in);
  StoreDescription description;
  if (!reader.read_head(&description)) return bad_dump(path, reader);
  const DirectoryGate gate(path, DirectoryGate::For::replacing);
  if (!gate.held()) return store_result(errno, path);
  const Result<std::string> fresh = fresh_path(path);
  if (!fresh) return fresh.error();
  Result<void> made = make_store_file(*fresh, description, fill_from, &reader);
  if (!made && !reader.fault().empty()) return bad_dump(path, reader);
  return made ? replace_store(path, *fresh) : made;
}

Error not_a_store(const char *uri) {
  return store_error(err_store_uri, uri != nullptr ? uri : "(no URI)", "is not a URI of a store");
}

// Without the lock of a store's users: a dump only reads, and must not keep the service from replacing the file.
Result<pss_handle> open_alone(const std::string &path) {
  const DirectoryGate gate(path, DirectoryGate::For::opening);
  if (!gate.held()) return store_result(errno, path).error();
  return open_path(path, false);
}

}  // namespace

Result<void> store_dump(const char *uri, FILE *out) {
  const std::string path = store_path(uri);
  if (path.empty()) return not_a_store(uri);
  if (Result<void> safe = check_private_directory(paths().state); !safe) return no_place_for_stores(safe.error());
  const Result<pss_handle> handle = open_alone(path);
  if (!handle) return handle.error();
  const int code = write_records(*store_of(*handle), out);
  close_handle(*handle);
  if (code != 0) return store_result(code, path);
  if (fflush(out) != 0 || ferror(out) != 0) return store_error(err_store_io, path, "the dump could not be written");
  return {};
}

Result<void> store_load(const char *uri, FILE *in) {
  const std::string path = store_path(uri);
  if (path.empty()) return not_a_store(uri);
  if (Result<void> made = make_private_directory(paths().state); !made) return no_place_for_stores(made.error());
  return load_into(path, in);
}

}  // namespace host
