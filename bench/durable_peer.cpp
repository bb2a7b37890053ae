// SPDX-License-Identifier: Apache-2.0
#include "bench/durable_peer.h"

#include <lmdb.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <vector>

#include "bench/process.h"
#include "schedcli.h"

namespace bench {

namespace {

// One synced commit of what a job's text is in the store: its header and its one fragment.
class BareCommit {
 public:
  BareCommit(const std::string &path, std::size_t job_text, int schedules) : job_text_(job_text) {
    check(mdb_env_create(&environment_));
    check(mdb_env_set_mapsize(environment_, std::size_t{64} << 20));
    check(mdb_env_open(environment_, path.c_str(), MDB_NOSUBDIR | MDB_NOTLS | MDB_NORDAHEAD, 0600));
    fill(schedules);
  }
  ~BareCommit() { mdb_env_close(environment_); }
  BareCommit(const BareCommit &) = delete;
  BareCommit &operator=(const BareCommit &) = delete;

  void commit(char letter) {
    MDB_txn *transaction = nullptr;
    check(mdb_txn_begin(environment_, nullptr, 0, &transaction));
    put_fragment(transaction, 0, sizeof(sch_job_hdr), letter);
    put_fragment(transaction, 1, job_text_, letter);
    check(mdb_txn_commit(transaction));
  }

 private:
  using Key = std::array<char, sizeof(sch_config_key)>;

  static void check(int code) {
    if (code != 0) fail("LMDB", mdb_strerror(code));
  }
  void fill(int schedules) {
    MDB_txn *transaction = nullptr;
    check(mdb_txn_begin(environment_, nullptr, 0, &transaction));
    check(mdb_dbi_open(transaction, nullptr, 0, &table_));
    for (int i = 0; i < schedules; i++) {
      Key key = {};
      std::snprintf(&key[offsetof(sch_config_key, name)], SCH_NAME_SIZE, "waits-%d", i);
      put(transaction, &key, sizeof(sch_schedule_rec), 's');
    }
    check(mdb_txn_commit(transaction));
  }
  void put_fragment(MDB_txn *transaction, char fragment, std::size_t size, char letter) {
    Key key = {0, 0, 0, 1, 0, 0, 0, fragment, 'b', 'e', 'n', 'c', 'h'};
    put(transaction, &key, size, letter);
  }
  void put(MDB_txn *transaction, Key *key_bytes, std::size_t size, char letter) {
    std::vector<char> value_bytes(size, letter);
    MDB_val key = {key_bytes->size(), key_bytes->data()}, value = {size, value_bytes.data()};
    check(mdb_put(transaction, table_, &key, &value, 0));
  }

  std::size_t job_text_;
  MDB_env *environment_ = nullptr;
  MDB_dbi table_ = 0;
};

[[noreturn]] void answer(int socket, const std::string &path, const DurablePeer::Sizes &sizes, int schedules) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  BareCommit store(path, sizes.job_text, schedules);
  std::vector<char> buffer(sizes.asked);
  while (::recv(socket, buffer.data(), buffer.size(), 0) > 0) {
    store.commit(buffer.back());
    if (::send(socket, buffer.data(), sizes.answered, 0) < 0) break;
  }
  ::_exit(0);
}

}  // namespace

DurablePeer::DurablePeer(const std::string &path, const Sizes &sizes, int schedules) : sizes_(sizes) {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) fail("socket", std::strerror(errno));
  socket_ = ends[0];
  process_ = fork_peer();
  if (process_ == 0) answer(ends[1], path, sizes, schedules);
}

DurablePeer::~DurablePeer() {
  ::close(socket_);
  end(process_);
}

void DurablePeer::ask(char letter) const {
  std::vector<char> buffer(sizes_.asked, letter);
  if (::send(socket_, buffer.data(), buffer.size(), 0) != static_cast<ssize_t>(sizes_.asked) ||
      ::recv(socket_, buffer.data(), buffer.size(), 0) != static_cast<ssize_t>(sizes_.answered))
    fail("durable peer", "a reply of another size");
}

}  // namespace bench
