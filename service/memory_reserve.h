// SPDX-License-Identifier: Apache-2.0
// Memory for the moment at which there is no more: what is under way comes to its end with it, and nothing is begun
// until it could be taken back.
#pragma once

namespace service {

void keep_memory_reserve();  // of this process, from now on
bool memory_is_short();      // it was given away, and cannot be taken back yet

}  // namespace service
