// SPDX-License-Identifier: Apache-2.0
#include "service/run/outcome.h"

#include <sys/wait.h>

namespace service {

uint32_t recorded_status(int wait_status) {
  constexpr int by_signal = 128;
  const int code = WIFSIGNALED(wait_status) ? by_signal + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
  return static_cast<uint32_t>(code) << 8;
}

}  // namespace service
