// SPDX-License-Identifier: Apache-2.0
// The configuration manager asks for the running or the startup configuration as text.
#include "diag/trace.h"
#include "schedcli.h"

namespace {

constexpr int type_running = 1;
constexpr int type_startup = 2;

void close_store(pss_handle store) {
  const uint32_t error = pss_close(store);
  if (error != 0) SCH_TRACE_SERVICE(trace_store, "Error in closing in PSS file 0x%x", error);
}

// 0 when there is no startup store to read.
pss_handle open_startup_store(void *request) {
  const char *uri = acfg_uri_complete(acfg_startup_cfg_uri_prefix_get(request), "", "scheduler_startup");
  SCH_TRACE_SERVICE(trace_store, "Opening Startup config PSS file at %s", uri != nullptr ? uri : "(null)");
  if (uri == nullptr) return 0;
  uint32_t error = 0;
  const pss_handle store = pss_open(uri, &error);
  if (error == 0) return store;
  SCH_TRACE_SERVICE(trace_store, "Error in opening in PSS file 0x%x", error);
  return 0;
}

// Without the debug store only the logging level is lost. A handle that comes with an error is used all the same, as
// meant.
pss_handle open_debug_store(void *request) {
  const char *uri = acfg_uri_complete(acfg_startup_debug_cfg_uri_prefix_get(request), "", "scheduler_debug_startup");
  if (uri == nullptr) {
    SCH_TRACE_SERVICE(trace_store, "Error in getting dbg_uri\n");
    return 0;
  }
  uint32_t error = 0;
  const pss_handle store = pss_open(uri, &error);
  if (error != 0) SCH_TRACE_SERVICE(trace_store, "Error in opening in debyg PSS file 0x%x", error);
  return store;
}

// Restoring overwrites the process's log-file, e-mail and enable globals with the startup store's; it is meant.
void generate_startup(acfg_hdl *handle, void *request) {
  sch_log_file.size = SCH_LOG_SIZE_DEFAULT;
  const pss_handle store = open_startup_store(request);
  if (store == 0) return;
  sch_restore_config_from_pss(&sch_startup_config, store);
  const pss_handle debug_store = open_debug_store(request);
  sch_acfg_gen(&sch_startup_config, handle, debug_store);
  close_store(store);
  if (debug_store != 0) close_store(debug_store);
  sch_free_config(&sch_startup_config);
}

}  // namespace

int sch_acfgcb_cfg_gen(void *message, void *request) {
  SCH_TRACE_SERVICE(trace_store, "Received Request to generate Ascii config");
  acfg_hdl handle = {};
  acfg_hdl_init(&handle);
  switch (acfg_cfg_type_get(request)) {
    case type_running:
      sch_acfg_gen(&sch_running_config, &handle, debug_pss_running);
      break;
    case type_startup:
      generate_startup(&handle, request);
      break;
    default:
      break;
  }
  return acfg_respond(&handle, message, request);
}
