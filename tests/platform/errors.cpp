// SPDX-License-Identifier: Apache-2.0
#include "platform/errors.h"

#include "tests/platform/state.h"

namespace platform_test {

std::string error_text(uint32_t error) {
  char text[sizeof "platform error 0xffffffff"];
  std::snprintf(text, sizeof text, "platform error 0x%x", error);
  return text;
}

}  // namespace platform_test

const char *syserr2str(uint32_t error) {
  return platform_test::interned(platform_test::error_text(error));
}
