// SPDX-License-Identifier: Apache-2.0
#include "tests/cli/freed_blocks.h"

namespace {
int freed;
}

extern "C" {

void __real_free(void *memory);
void __real_explicit_bzero(void *memory, size_t length);

void __wrap_explicit_bzero(void *memory, size_t length) {
  cli_test::wiped().emplace_back(static_cast<const char *>(memory), length);
  __real_explicit_bzero(memory, length);
}

void __wrap_free(void *memory) {
  if (memory != nullptr) ++freed;
  __real_free(memory);
}
}

namespace cli_test {

int freed_blocks() {
  return freed;
}

std::vector<std::string> &wiped() {
  static std::vector<std::string> texts;
  return texts;
}

}  // namespace cli_test
