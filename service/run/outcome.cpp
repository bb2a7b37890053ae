// SPDX-License-Identifier: Apache-2.0
#include "service/run/outcome.h"

#include <sys/wait.h>

#include <iterator>

namespace service {
namespace {

struct Row {
  const char *word;
  uint32_t exit_code;
};

// Indexed by the reason's value.
constexpr Row rows[] = {
    {"ended", 0},         {"not-yet-run", 110}, {"no-jobs", 111}, {"missed", 112},
    {"skipped", 113},     {"interrupted", 114}, {"stopped", 115}, {"user", 116},
    {"not-started", 117}, {"timed-out", 124},   {"killed", 118},
};
static_assert(std::size(rows) == static_cast<size_t>(Reason::killed) + 1);

const Row &row_of(Reason reason) {
  const auto index = static_cast<size_t>(reason);
  return rows[index < std::size(rows) ? index : static_cast<size_t>(Reason::interrupted)];
}

}  // namespace

const char *word_for(Reason reason) {
  return row_of(reason).word;
}

uint32_t exit_code(Reason reason) {
  return row_of(reason).exit_code;
}

uint32_t recorded_status(int wait_status) {
  constexpr int by_signal = 128;
  const int code = WIFSIGNALED(wait_status) ? by_signal + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
  return static_cast<uint32_t>(code) << 8;
}

}  // namespace service
