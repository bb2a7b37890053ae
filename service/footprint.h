// SPDX-License-Identifier: Apache-2.0
// Keeps the resident memory small, as the service waits most of the time.
#pragma once

namespace service {

// To be called before the first large allocation.
void keep_freed_memory_small();

// Returns to the system the memory that only the start needed.
void give_back_start();

}  // namespace service
