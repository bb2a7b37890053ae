// SPDX-License-Identifier: Apache-2.0
// A reserve of memory, released when an allocation fails: what is under way can be finished with it, and nothing new is
// begun until the reserve could be allocated again.
#pragma once

namespace service {

void keep_memory_reserve();  // to be called once, at the start
bool memory_is_short();      // the reserve was released and cannot be allocated again yet

}  // namespace service
