// SPDX-License-Identifier: Apache-2.0
// How many transactions the stores below a directory have had, as their files tell it.
#pragma once

#include <cstdint>
#include <string>

namespace store_test {

uint64_t commits_below(const std::string &directory);

}  // namespace store_test
