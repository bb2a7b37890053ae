// SPDX-License-Identifier: Apache-2.0
// What the code under test gives back and wipes: requests, replies and texts must go on every path, and passwords must
// not stay behind in memory.
#pragma once

#include <string>
#include <vector>

namespace cli_test {

int freed_blocks();  // since the program began; null does not count

std::vector<std::string> &wiped();  // the bytes of each explicit_bzero, before it

}  // namespace cli_test
