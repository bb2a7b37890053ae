// SPDX-License-Identifier: Apache-2.0
// Stores that the scriptable platform is not, by the linker's --wrap of this test.
#pragma once

#include <string>
#include <vector>

namespace pss_test {

struct StoreHooks {
  bool errors_stick = false;       // a call that succeeds leaves the cursor's error as it was
  std::vector<std::string> order;  // when not empty, walks give these keys, in hexadecimal, in this order
};

extern StoreHooks store_hooks;

}  // namespace pss_test
