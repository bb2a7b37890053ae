// SPDX-License-Identifier: Apache-2.0
// How many blocks the code under test has freed: requests, replies and texts must go on every path.
#pragma once

namespace cli_test {

int freed_blocks();  // since the program began; null does not count

}  // namespace cli_test
