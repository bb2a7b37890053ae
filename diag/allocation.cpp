// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <cstring>

#include "diag/short_blocks.h"
#include "diag/trace.h"
#include "platform/memory.h"
#include "schedcli.h"

namespace {

constexpr uint32_t tracker_owner = 224;

// The purpose is meant to be the format itself, without arguments: purposes are plain words.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
void trace_failure(const char *purpose) {
  if (debug_level > trace_config) fprintf(stderr, "Malloc FAILED: %s\n", purpose);
  SCH_TRACE(trace_config, false, purpose);
  SCH_TRACE(trace_config, false, "\n");
}
#pragma GCC diagnostic pop

}  // namespace

void *sch_malloc_check(uint32_t size, uint32_t mem_type, uint32_t, const char *purpose) {
  void *memory = mtrack_alloc(tracker_owner, mem_type, size);
  if (memory == nullptr) {
    trace_failure(purpose);
    sch_syslog_raise(&syslog_msg_SCH_SYSLOG_MALLOC_ERR, purpose);
    return nullptr;
  }
  forget_short_block(memory);
  return memset(memory, 0, size);
}
