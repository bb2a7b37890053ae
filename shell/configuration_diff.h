// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace shell {

// The difference of two configurations, block by block: removed lines begin with "-", added ones with "+", the
// unchanged lines of a changed block with a blank. Empty if they are equal.
std::string configuration_diff(std::string_view before, std::string_view after);

}  // namespace shell
