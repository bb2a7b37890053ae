// SPDX-License-Identifier: Apache-2.0
// The scheduler's stores by name, and the limits with which it creates each of them.
#pragma once

#include "schedcli.h"

inline constexpr char running_store_name[] = "scheduler_runtime";
inline constexpr char running_db_store_name[] = "scheduler_runtime_database";

// A base or a completed URI that is missing leaves the buffer as it was.
void complete_store_uri(char (&uri)[64], const char *base, const char *name);

// Creates the store with the scheduler's limits; one that exists is not touched.
int create_store(const char *uri);
