// SPDX-License-Identifier: Apache-2.0
// What the store offers beyond platform/pss.h: the batch of one request, dump and load, its bounds.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "host/result.h"
#include "platform/pss.h"

namespace host {

// A batch collects every change made through `store` into one durable transaction. Reads through the store see it,
// until it fails. Until store_commit nothing of it is on disk; store_abort forgets it. Batches do not nest
// (err_store_busy).
Result<void> store_begin(pss_handle store);
Result<void> store_commit(pss_handle store);  // after an error nothing of the batch is kept
void store_abort(pss_handle store);           // harmless without a batch

// The most a store's file may grow to. Records may take a third of it: the rest is what transactions need, so that a
// full store can still be changed and emptied.
void store_set_bound(uint64_t bytes);

// "running:scheduler_runtime" and the like to a file under the state directory; empty when it is no URI of a store.
std::string store_path(const char *uri);
bool store_exists(const char *uri);
// The last failure of a call of platform/pss.h in words, with the path and what to do: those calls give a status alone.
std::string store_last_error();

// Records as text, one a line, the same on every machine.
Result<void> store_dump(const char *uri, FILE *out);
Result<void> store_load(const char *uri,
                        FILE *in);  // replaces the store's records as one transaction, or changes nothing

}  // namespace host
