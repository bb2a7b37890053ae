// SPDX-License-Identifier: Apache-2.0
// The store beside bare LMDB, and its snapshot beside a plain copy of the file: in turns, so that a busy machine
// touches both alike.
#include <fcntl.h>
#include <lmdb.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "bench/rows.h"
#include "host/files/paths.h"
#include "host/store/store.h"
#include "tests/host/store_commits.h"

namespace {

constexpr uint32_t record_count = 2000;
constexpr uint32_t full_count = 16384;  // the largest configuration: 256 jobs of 64 KiB
constexpr uint32_t batch_size = 20;     // records of one request: a job of some 20 KiB
constexpr std::size_t key_size = 40, value_size = 1024, copy_size = 64 * 1024;

[[noreturn]] void fail(const char *what, const std::string &why) {
  fprintf(stderr, "store_bench: %s: %s\n", what, why.c_str());
  exit(1);
}

void want(int code, const char *what) {
  if (code != 0) fail(what, mdb_strerror(code));
}

void want_status(uint32_t status, const char *what) {
  if (status != 0) fail(what, host::store_last_error());
}

using Key = std::array<char, key_size>;

Key key_of(uint32_t number) {
  Key key{};
  snprintf(key.data(), key.size(), "job %06u", number);
  return key;
}

const std::array<char, value_size> &value() {
  static const auto bytes = [] {
    std::array<char, value_size> made{};
    made.fill('v');
    return made;
  }();
  return bytes;
}

// The peer: what a careful program does by hand, with the results copied out of the map as the store's are.
class Bare {
 public:
  explicit Bare(const std::string &path) {
    want(mdb_env_create(&environment_), "create");
    want(mdb_env_set_mapsize(environment_, std::size_t{64} << 20), "map size");
    want(mdb_env_open(environment_, path.c_str(), MDB_NOSUBDIR | MDB_NOTLS | MDB_NORDAHEAD, 0600), "open");
    want(mdb_txn_begin(environment_, nullptr, MDB_RDONLY, &reader_), "reader");
    want(mdb_dbi_open(reader_, nullptr, 0, &table_), "table");
    want(mdb_cursor_open(reader_, table_, &cursor_), "cursor");
    mdb_txn_reset(reader_);
  }
  Bare(const Bare &) = delete;
  Bare &operator=(const Bare &) = delete;
  ~Bare() {
    mdb_cursor_close(cursor_);
    mdb_txn_abort(reader_);
    mdb_env_close(environment_);
  }

  void get(uint32_t number) {
    Key key = key_of(number);
    MDB_val where{key.size(), key.data()}, what{};
    want(mdb_txn_renew(reader_), "renew");
    want(mdb_get(reader_, table_, &where, &what), "get");
    memcpy(copied_value_.data(), what.mv_data, what.mv_size);
    mdb_txn_reset(reader_);
  }

  void walk() {
    MDB_val key{}, found{};
    want(mdb_txn_renew(reader_), "renew");
    want(mdb_cursor_renew(reader_, cursor_), "cursor");
    uint32_t seen = 0;
    for (int code = mdb_cursor_get(cursor_, &key, &found, MDB_FIRST); code == 0;
         code = mdb_cursor_get(cursor_, &key, &found, MDB_NEXT)) {
      memcpy(copied_key_.data(), key.mv_data, key.mv_size);
      memcpy(copied_value_.data(), found.mv_data, found.mv_size);
      ++seen;
    }
    mdb_txn_reset(reader_);
    if (seen != record_count) fail("bare walk", std::to_string(seen) + " records");
  }

  void batch(uint32_t first, uint32_t count) {
    MDB_txn *transaction = nullptr;
    want(mdb_txn_begin(environment_, nullptr, 0, &transaction), "begin");
    for (uint32_t i = 0; i < count; ++i) {
      Key key = key_of((first + i) % record_count);
      MDB_val where{key.size(), key.data()}, what{value_size, const_cast<char *>(value().data())};
      want(mdb_put(transaction, table_, &where, &what, 0), "put");
    }
    want(mdb_txn_commit(transaction), "commit");
  }

 private:
  MDB_env *environment_ = nullptr;
  MDB_txn *reader_ = nullptr;
  MDB_cursor *cursor_ = nullptr;
  MDB_dbi table_ = 0;
  Key copied_key_{};
  std::array<char, value_size> copied_value_{};
};

class Stored {
 public:
  Stored(const char *uri, uint32_t records) {
    uint32_t error = 0;
    handle_ = pss_create(uri, &error);
    want_status(error, "create");
    want_status(pss_max_key(handle_, key_size), "key size");
    want_status(pss_max_value(handle_, value_size), "value size");
    batch(0, records, records);
  }

  void get(uint32_t number) const {
    Key key = key_of(number);
    const pss_buf where{key.data(), key_size};
    uint32_t error = 0;
    pss2_fetch(handle_, &where, &error);
    want_status(error, "get");
  }

  void walk() const {
    pss_cursor cursor{};
    uint32_t seen = 0;
    for (const pss_buf *key = pss_move2location(handle_, PSS_FIRST, &cursor); key != nullptr;
         key = pss_move2location(handle_, PSS_NEXT, &cursor)) {
      seen += pss_getvalue(handle_, &cursor) != nullptr ? 1 : 0;
    }
    if (seen != record_count) fail("walk", std::to_string(seen) + " records");
  }

  void batch(uint32_t first, uint32_t count, uint32_t names = record_count) const {
    want_status(host::store_begin(handle_).code(), "begin");
    for (uint32_t i = 0; i < count; ++i) {
      Key key = key_of((first + i) % names);
      const pss_buf where{key.data(), key_size}, what{const_cast<char *>(value().data()), value_size};
      want_status(pss_store(handle_, 1, &where, &what), "store");
    }
    want_status(host::store_commit(handle_).code(), "commit");
  }

  void snapshot() const { want_status(pss_snapshot(handle_, 0, "startup:bench"), "snapshot"); }

 private:
  pss_handle handle_ = 0;
};

void copy_file(const std::string &from, const std::string &to) {
  static std::array<char, copy_size> piece;
  const int in = open(from.c_str(), O_RDONLY | O_CLOEXEC);
  const int out = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (in < 0 || out < 0) fail("copy", strerror(errno));
  for (ssize_t got = read(in, piece.data(), piece.size()); got > 0; got = read(in, piece.data(), piece.size())) {
    if (write(out, piece.data(), static_cast<std::size_t>(got)) != got) fail("copy", strerror(errno));
  }
  if (fsync(out) != 0) fail("copy", strerror(errno));
  close(in);
  close(out);
}

struct Pair {
  const char *name, *peer;
  double goal;
  int rounds;
  double operations;  // in each round
  std::function<void()> ours, theirs;
};

void compare(const Pair &pair) {
  bench::Samples ours, theirs;
  pair.ours();
  pair.theirs();
  for (int round = 0; round < pair.rounds; ++round) {
    double own = 0, other = 0;
    // Who comes first changes, as the second may find a warmer cache or a busier disk.
    if (round % 2 == 0) own = bench::microseconds(pair.ours);
    other = bench::microseconds(pair.theirs);
    if (round % 2 != 0) own = bench::microseconds(pair.ours);
    ours.push_back(own / pair.operations);
    theirs.push_back(other / pair.operations);
  }
  bench::print_row(std::string("store ") + pair.name, "us", ours, theirs, pair.peer, pair.goal);
}

}  // namespace

int main(int count, char **arguments) {
  std::string directory = count > 1 ? arguments[1] : "/tmp";
  directory += "/schedcli-bench-XXXXXX";
  if (mkdtemp(directory.data()) == nullptr) fail(directory.c_str(), strerror(errno));
  host::use_paths(host::resolve_paths(directory.c_str()));
  {
    Bare bare(directory + "/bare.mdb");
    const Stored stored("running:bench", record_count), full("running:full", full_count);
    bare.batch(0, record_count);
    uint32_t own = 0, other = 0;
    constexpr uint32_t gets = 2000;
    const std::string file = host::store_path("running:full"), copy = directory + "/copy";
    const Pair pairs[] = {
        {"get", "bare LMDB", 1.2, 201, gets,
         [&] {
           for (uint32_t i = 0; i < gets; ++i)
             stored.get(i * 7919 % record_count);
         },
         [&] {
           for (uint32_t i = 0; i < gets; ++i)
             bare.get(i * 7919 % record_count);
         }},
        {"walk", "bare LMDB", 1.15, 201, record_count, [&] { stored.walk(); }, [&] { bare.walk(); }},
        {"batch", "LMDB commit", 1.2, 201, 1, [&] { stored.batch(own += batch_size, batch_size); },
         [&] { bare.batch(other += batch_size, batch_size); }},
        {"snapshot", "copy, fsync", 1.2, 21, 1, [&] { full.snapshot(); }, [&] { copy_file(file, copy); }},
    };
    for (const Pair &pair : pairs)
      compare(pair);
    const uint64_t before = store_test::commits_below(directory);
    stored.batch(0, batch_size);
    if (store_test::commits_below(directory) - before != 1) fail("batch", "not one synced commit");
  }
  std::filesystem::remove_all(directory);
}
