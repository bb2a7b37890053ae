// SPDX-License-Identifier: Apache-2.0
// What a bare loop needs for the same as the service: the least that a scheduler can do on this machine.
//   floor due USER START STEP COUNT PROGRAM [ARGUMENT]   starts PROGRAM as USER at START and each STEP seconds after it
//   floor burst COUNT STORE PROGRAM                      COUNT at once: an intent for all, PROGRAM for each, its
//   outcome floor link                                           sleeps, with the libraries that it is linked with
#include <grp.h>
#include <lmdb.h>
#include <pwd.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const char *what) {
  std::perror(what);
  std::exit(1);
}

void want(bool right, const char *what) {
  if (!right) fail(what);
}

struct Owner {
  uid_t uid;
  gid_t gid;
};

pid_t spawn(char **command, const Owner *owner) {
  const pid_t pid = vfork();
  want(pid >= 0, "vfork");
  if (pid > 0) return pid;
  if (owner != nullptr && (setgroups(1, &owner->gid) != 0 || setresgid(owner->gid, owner->gid, owner->gid) != 0 ||
                           setresuid(owner->uid, owner->uid, owner->uid) != 0))
    _exit(127);
  execv(command[0], command);
  _exit(127);
}

int due(char **arguments) {
  const passwd *user = getpwnam(arguments[0]);
  want(user != nullptr, arguments[0]);
  const Owner owner = {user->pw_uid, user->pw_gid};
  const int timer = timerfd_create(CLOCK_REALTIME, 0);
  time_t moment = std::atol(arguments[1]);
  for (long left = std::atol(arguments[3]); left > 0; left--, moment += std::atol(arguments[2])) {
    const itimerspec when = {{}, {moment, 0}};
    uint64_t times = 0;
    want(timerfd_settime(timer, TFD_TIMER_ABSTIME, &when, nullptr) == 0, "timer");
    want(read(timer, &times, sizeof times) == sizeof times, "timer");
    waitpid(spawn(arguments + 4, owner.uid != 0 ? &owner : nullptr), nullptr, 0);
  }
  return 0;
}

// One synced commit for each change of many records.
class Store {
 public:
  explicit Store(const char *path) {
    want(mdb_env_create(&environment_) == 0, "LMDB");
    mdb_env_set_mapsize(environment_, std::size_t{64} << 20);
    want(mdb_env_open(environment_, path, MDB_NOSUBDIR, 0600) == 0, "LMDB");
  }
  ~Store() { mdb_env_close(environment_); }
  Store(const Store &) = delete;
  Store &operator=(const Store &) = delete;

  void commit(int kind, int first, int end) {
    MDB_txn *transaction = nullptr;
    MDB_dbi table = 0;
    want(mdb_txn_begin(environment_, nullptr, 0, &transaction) == 0, "LMDB");
    want(mdb_dbi_open(transaction, nullptr, 0, &table) == 0, "LMDB");
    for (int i = first; i < end; i++) {
      char name[40] = {}, bytes[128] = {};
      std::snprintf(name, sizeof name, "%d %d", kind, i);
      MDB_val key = {sizeof name, name}, value = {sizeof bytes, bytes};
      want(mdb_put(transaction, table, &key, &value, 0) == 0, "LMDB");
    }
    want(mdb_txn_commit(transaction) == 0, "LMDB");
  }

 private:
  MDB_env *environment_ = nullptr;
};

double ms_since(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// As the service: so many at once, and outcomes that come together stored together.
int burst(char **arguments) {
  constexpr int at_once = 64;
  constexpr double together_ms = 3;
  const int count = std::atoi(arguments[0]);
  Store store(arguments[1]);
  const auto start = Clock::now();
  store.commit(0, 0, count);
  int begun = 0, ended = 0, stored = 0;
  double last_start = 0, last_commit = ms_since(start);
  while (stored < count) {
    for (; begun < count && begun - ended < at_once; begun++)
      spawn(arguments + 2, nullptr);
    if (begun == count && last_start == 0) last_start = ms_since(start);
    if (ended < count && waitpid(-1, nullptr, 0) > 0) ended++;
    if (ms_since(start) - last_commit < together_ms && ended < count) continue;
    store.commit(1, stored, ended);
    stored = ended;
    last_commit = ms_since(start);
  }
  std::printf("%f %f\n", last_start, ms_since(start));
  return 0;
}

}  // namespace

int main(int count, char **arguments) {
  const std::string what = count > 1 ? arguments[1] : "";
  if (what == "due" && count > 6) return due(arguments + 2);
  if (what == "burst" && count > 4) return burst(arguments + 2);
  if (what == "link") return pause();
  std::fprintf(stderr, "usage: see the top of floor.cpp\n");
  return 2;
}
