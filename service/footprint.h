// SPDX-License-Identifier: Apache-2.0
// The memory of a service that mostly waits.
#pragma once

namespace service {

// Before the first large block.
void keep_freed_memory_small();

// What the start alone needed: freed memory, and the pages of its code, which the kernel maps again where they are
// used.
void give_back_start();

}  // namespace service
