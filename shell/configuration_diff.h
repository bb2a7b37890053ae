// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace shell {

// What makes the second of two configurations from the first, block by block: what goes with "-", what comes with "+",
// and of a block that is changed its other lines with a blank. Empty: they are the same.
std::string configuration_diff(std::string_view before, std::string_view after);

}  // namespace shell
