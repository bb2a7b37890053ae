// SPDX-License-Identifier: Apache-2.0
// Which commands this shell offers: disabling the feature takes the scheduler's away until it is enabled again.
#pragma once

namespace shell {

bool scheduler_tree_registered();
void register_scheduler_tree();

}  // namespace shell
