// SPDX-License-Identifier: Apache-2.0
// A job's fragment carries no size, and a damaged store may announce more text than its fragments hold. The allocator
// notes the size of each fragment that it hands out, so that a reader can stop at its end.
#pragma once

#include <cstdint>

inline constexpr uint32_t fragment_memory_type = 7;

extern "C" {
void sch_note_block(const void *block, uint32_t mem_type, uint32_t size);
void sch_forget_fragment(const void *fragment);
// At most `wanted`; a fragment of another allocator is taken to hold what is wanted of it.
uint32_t sch_fragment_bytes(const void *fragment, uint32_t wanted);
}
