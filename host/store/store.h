// SPDX-License-Identifier: Apache-2.0
// What the store offers beyond platform/pss.h: batches, dump and load, the size limit.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "host/result.h"
#include "platform/pss.h"

namespace host {

// A batch collects every change that is made through `store` into one durable transaction. Reads through the store see
// its changes, until it fails. Nothing of it is on disk before store_commit. While that waits for the disk
// (files/disk.h) reads see the store as it was before the batch. Batches do not nest (err_store_busy).
Result<void> store_begin(pss_handle store);
Result<void> store_commit(pss_handle store);  // after an error nothing of the batch is kept
void store_abort(pss_handle store);           // harmless without a batch

// The largest size of a store's file. Records may use a third of it; transactions need the rest, so that a full store
// can still be changed and emptied.
void store_set_bound(uint64_t bytes);

// The stores of the running and of the startup configuration.
inline constexpr char running_store[] = "running:scheduler_runtime";
inline constexpr char startup_store[] = "startup:scheduler_startup";

// The file under the state directory of a URI such as "running:scheduler_runtime"; empty for what is no store's URI.
std::string store_path(const char *uri);
bool store_exists(const char *uri);
// The text of the last failure of a platform/pss.h call, with the path and what to do: those calls return a status
// alone.
std::string store_last_error();

// Records as text, one a line, the same on every machine.
Result<void> store_dump(const char *uri, FILE *out);
// Replaces all of the store's records, or changes nothing.
Result<void> store_load(const char *uri, FILE *in);

}  // namespace host
