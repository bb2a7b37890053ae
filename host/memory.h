// SPDX-License-Identifier: Apache-2.0
// What the memory tracker offers beyond platform/memory.h.
#pragma once

#include <cstddef>
#include <cstdint>

namespace host {

uint32_t tracked_size(const void *block);  // as requested; the block must be allocated
size_t tracked_bytes();                    // of all allocated blocks

}  // namespace host
