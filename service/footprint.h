// SPDX-License-Identifier: Apache-2.0
// The memory of a service that mostly waits.
#pragma once

namespace service {

// Before the first large block.
void keep_freed_memory_small();

// The freed memory that the start alone needed.
void give_back_start();

}  // namespace service
