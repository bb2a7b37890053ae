// SPDX-License-Identifier: Apache-2.0
// Calls that wait for the disk, which may take long: in the thread that makes them, or in one that a service has for
// them.
#pragma once

#include <functional>

namespace host {

using DiskWork = std::function<void()>;

// From now on `run` is given all such work: it calls it exactly once, and returns when that has returned. It must not
// throw. Null, as at first: the calling thread does it itself.
void wait_for_disk_by(std::function<void(const DiskWork &)> run);

void wait_for_disk(const DiskWork &work);

// As the system's calls of these names.
int flush(int descriptor);       // fsync
int flush_data(int descriptor);  // fdatasync

}  // namespace host
