// SPDX-License-Identifier: Apache-2.0
// What the memory tracker knows beside platform/memory.h.
#pragma once

#include <cstddef>
#include <cstdint>

namespace host {

uint32_t tracked_size(const void *block);  // as it was asked for; the block must be a live one
size_t tracked_bytes();                    // of all live blocks

}  // namespace host
