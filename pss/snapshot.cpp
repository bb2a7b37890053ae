// SPDX-License-Identifier: Apache-2.0
#include "diag/trace.h"

namespace {

int copy_store(pss_handle source, const char *source_uri, const char *destination_uri) {
  const uint32_t error = pss_snapshot(source, 0, destination_uri);
  if (error == 0) return 0;
  SCH_TRACE_SERVICE(trace_store, "PSS %s to %s snapshot failed", source_uri, destination_uri);
  sch_syserr_log(trace_store, error);
  sch_syslog_raise(&syslog_msg_SCH_SYSLOG_PSS_SNAPSHOT_ERR, source_uri, destination_uri, error);
  return -1;
}

}  // namespace

int sch_pss_snapshot(const char *source_uri, const char *destination_uri) {
  uint32_t error = 0;
  const pss_handle source = pss_open(source_uri, &error);
  if (error != 0) {
    SCH_TRACE_SERVICE(trace_store, "No startup config/Unable to open pss at %s", source_uri);
    return -1;
  }
  const int result = copy_store(source, source_uri, destination_uri);
  pss_close(source);
  return result;
}
