// SPDX-License-Identifier: Apache-2.0
// Stores whose free space has grown past a bound are compacted; the store's handle changes with it.
#include "diag/trace.h"
#include "pss/fields.h"

pss_handle sch_verify_pss_shrink(pss_handle store, const char *uri, uint32_t max_free, uint32_t *status) {
  uint32_t free = 0;
  *status = pss_free_space(store, &free);
  SCH_TRACE_SERVICE(trace_store, "Free space in %s: %d status: 0x%x ", uri, free, *status);
  if (*status != 0 || free <= max_free) {
    SCH_TRACE_SERVICE(trace_store, "Freespace %d max size %d. Uri %s", free, max_free, uri);
    return store;
  }
  const pss_handle shrunk = pss_shrink(store, status);
  SCH_TRACE_SERVICE(trace_store, "Attempted pss shrink on %s. status: 0x%x\n", uri, *status);
  return *status == 0 ? shrunk : 0;
}

int sch_pss_shrink(uint32_t max_free) {
  const struct {
    pss_handle &handle;
    const char (&uri)[64];
  } stores[] = {{pss_running, sch_pss_running_uri},
                {pss_running_db, sch_pss_running_db_uri},
                {debug_pss_running, sch_debug_pss_running_uri}};
  for (const auto &store : stores) {
    uint32_t status = 0;
    store.handle = sch_verify_pss_shrink(store.handle, FieldText(store.uri).text, max_free, &status);
    if (status != 0) return static_cast<int>(status);
  }
  return 0;
}
