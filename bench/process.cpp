// SPDX-License-Identifier: Apache-2.0
#include "bench/process.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace bench {

namespace {

constexpr int patience_ms = 20000;

struct Peer {
  pid_t process;
  int hops;
};
std::vector<Peer> peers;

std::vector<int> usable_cores() {
  cpu_set_t set;
  if (::sched_getaffinity(0, sizeof set, &set) != 0) fail("affinity", std::strerror(errno));
  std::vector<int> cores;
  for (int core = 0; core < CPU_SETSIZE; core++)
    if (CPU_ISSET(core, &set)) cores.push_back(core);
  return cores;
}

const std::vector<int> &cores() {
  static const std::vector<int> found = usable_cores();
  return found;
}

void move(pid_t process, int core) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(core, &set);
  if (::sched_setaffinity(process, sizeof set, &set) != 0) fail("affinity", std::strerror(errno));
}

}  // namespace

void fail(const char *what, const std::string &why) {
  std::fprintf(stderr, "benchmark: %s: %s\n", what, why.c_str());
  std::exit(1);
}

pid_t spawn(std::vector<std::string> command, int hops) {
  std::vector<char *> words;
  for (std::string &word : command)
    words.push_back(word.data());
  words.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  pid_t process = 0;
  const int error = ::posix_spawnp(&process, words[0], &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) fail(words[0], std::strerror(error));
  peers.push_back({process, hops});
  return process;
}

pid_t fork_peer(int hops) {
  const pid_t process = ::fork();
  if (process < 0) fail("fork", std::strerror(errno));
  if (process > 0) peers.push_back({process, hops});
  return process;
}

bool has_two_cores() {
  return cores().size() > 1;
}

void place(Placement placement) {
  move(0, cores().front());
  for (const Peer &peer : peers)
    move(peer.process, placement == Placement::one_core || peer.hops % 2 == 0 ? cores().front() : cores().back());
}

void await(int descriptor) {
  pollfd watched = {descriptor, POLLIN, 0};
  if (::poll(&watched, 1, patience_ms) != 1) fail("start", "a process of the benchmark did not start");
}

void end(pid_t process) {
  if (process <= 0) return;
  std::erase_if(peers, [process](const Peer &peer) { return peer.process == process; });
  ::kill(process, SIGTERM);
  ::waitpid(process, nullptr, 0);
}

}  // namespace bench
