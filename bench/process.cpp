// SPDX-License-Identifier: Apache-2.0
#include "bench/process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace bench {

namespace {

constexpr int patience_ms = 20000;

}  // namespace

void fail(const char *what, const std::string &why) {
  std::fprintf(stderr, "benchmark: %s: %s\n", what, why.c_str());
  std::exit(1);
}

pid_t spawn(std::vector<std::string> command) {
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
  return process;
}

void await(int descriptor) {
  pollfd watched = {descriptor, POLLIN, 0};
  if (::poll(&watched, 1, patience_ms) != 1) fail("start", "a process of the benchmark did not start");
}

void end(pid_t process) {
  if (process <= 0) return;
  ::kill(process, SIGTERM);
  ::waitpid(process, nullptr, 0);
}

}  // namespace bench
