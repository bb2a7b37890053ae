// SPDX-License-Identifier: Apache-2.0
// A fragment of a job's text has no size of its own: the job's header tells how much of it is read. Where a damaged
// store gave less than the header announces, what there is stands here, beside the fragment.
#pragma once

#include <cstdint>

// Of a note that is there already, the smaller size stays.
void note_short_block(const void *block, uint32_t size);
// What is allocated anew or freed is no longer short.
void forget_short_block(const void *block);
// The bytes of the block that may be read: `wanted`, or fewer when it is short.
uint32_t readable_of(const void *block, uint32_t wanted);
