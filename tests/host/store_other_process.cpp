// SPDX-License-Identifier: Apache-2.0
#include <sys/wait.h>

#include "tests/host/store_fixture.h"

namespace store_test {

int StoreTest::in_another_process(const std::function<int()> &body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace store_test
