// SPDX-License-Identifier: Apache-2.0
// A fragment of a job's text does not know its own size: readers take as much as the job's header announces. Where a
// damaged store gave fewer bytes than that, the real size of the fragment is noted here. The header is not cut to it
// instead: it is shown and stored as it came, and a record may come by itself, by sch_add_config_entry(), so that there
// is no moment at which all of a job's fragments are known.
#pragma once

#include <cstdint>

// A block that is noted already keeps the smaller size.
void note_short_block(const void *block, uint32_t size);
// To be called when a block is allocated or freed.
void forget_short_block(const void *block);
// The bytes of the block that may be read: `wanted`, or fewer when it is short.
uint32_t readable_of(const void *block, uint32_t wanted);
