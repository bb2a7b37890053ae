// SPDX-License-Identifier: Apache-2.0
// The bytes of a job's fragment.
#pragma once

#include <cstdint>

// Copies size bytes; those that a short fragment lacks are zero.
void copy_fragment(char *destination, const void *fragment, uint32_t size);
