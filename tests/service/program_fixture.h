// SPDX-License-Identifier: Apache-2.0
// The real program, in a state directory of its own, with somebody who hears what it tells its supervisor.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace service_test {

class Program {
 public:
  // `notify`: the socket that is told when it is ready.
  // `environment`: assignments.
  explicit Program(std::vector<std::string> arguments, const std::string &notify = {}, uid_t uid = geteuid(),
                   const std::string &path = SCHEDD_PATH, std::vector<std::string> environment = {}) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    arguments.insert(arguments.begin(), path);
    pid_ = fork();
    if (pid_ == 0) {
      for (std::string &assignment : environment)
        putenv(assignment.data());
      run(std::move(arguments), ends[1], notify, uid);
    }
    close(ends[1]);
    output_ = ends[0];
  }
  ~Program() {
    if (pid_ > 0) end(SIGKILL);
    if (output_ >= 0) close(output_);
  }
  Program(const Program &) = delete;
  Program &operator=(const Program &) = delete;

  int wait() {
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  void signal(int number) const { kill(pid_, number); }
  void limit_file_size(rlim_t most) const {
    const rlimit limit = {most, RLIM_INFINITY};
    EXPECT_EQ(prlimit(pid_, RLIMIT_FSIZE, &limit, nullptr), 0);
  }
  void close_output() { close(std::exchange(output_, -1)); }
  int end(int number) {
    kill(pid_, number);
    return wait();
  }
  std::string output() {  // all of it, once the program has ended
    std::string text;
    char buffer[4096];
    for (ssize_t size; (size = read(output_, buffer, sizeof buffer)) > 0;)
      text.append(buffer, static_cast<size_t>(size));
    return text;
  }

 private:
  [[noreturn]] static void run(std::vector<std::string> arguments, int output, const std::string &notify, uid_t uid) {
    for (const int number : {SIGPIPE, SIGXFSZ})  // whoever runs the tests may have had them ignored
      ::signal(number, SIG_DFL);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    if (!notify.empty()) setenv("NOTIFY_SOCKET", notify.c_str(), 1);
    if (uid != geteuid() && setuid(uid) != 0) _exit(99);
    std::vector<char *> pointers;
    for (std::string &argument : arguments)
      pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    execv(pointers[0], pointers.data());
    _exit(98);
  }

  pid_t pid_ = -1;
  int output_ = -1;
};

struct ServiceProgram : ::testing::Test {
  std::string directory, state, notify_path;
  int notify = -1;

  void SetUp() override {
    char path[] = "/tmp/schedcli-program-XXXXXX";
    ASSERT_NE(mkdtemp(path), nullptr);
    directory = path;
    state = directory + "/state";
    notify_path = directory + "/notify";
    notify = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, notify_path.c_str());
    ASSERT_EQ(bind(notify, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
  }
  void TearDown() override {
    close(notify);
    std::filesystem::remove_all(directory);
  }
  std::string told(int timeout_ms = 20000) const {
    pollfd readable = {notify, POLLIN, 0};
    char text[128];
    if (poll(&readable, 1, timeout_ms) != 1) return "(nothing)";
    const ssize_t size = recv(notify, text, sizeof text, 0);
    return {text, static_cast<size_t>(std::max<ssize_t>(size, 0))};
  }
};

}  // namespace service_test
