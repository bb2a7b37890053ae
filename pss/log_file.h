// SPDX-License-Identifier: Apache-2.0
// The stored part of the log-file record: everything behind its head.
#pragma once

#include "schedcli.h"

inline constexpr size_t log_file_stored_offset = offsetof(sch_log_file_rec, name);
inline constexpr uint32_t log_file_stored_size = sizeof(sch_log_file_rec) - log_file_stored_offset;

static_assert(log_file_stored_offset == 8 && log_file_stored_size == 532);
static_assert(offsetof(sch_log_file_rec, size) - log_file_stored_offset == 256);
static_assert(offsetof(sch_log_file_rec, read_offset) - log_file_stored_offset == 260);
static_assert(offsetof(sch_log_file_rec, entry_count) - log_file_stored_offset == 268);
