// SPDX-License-Identifier: Apache-2.0
// Start-up of the service: open the running stores, then fill the running configuration from them or from startup.
#include "diag/trace.h"
#include "platform/sysmgr.h"
#include "pss/fields.h"
#include "pss/stores.h"

namespace {

constexpr int open_failed = 66;

struct RunningStore {
  pss_handle &handle;
  const char (&uri)[64];
  const char *failure;
  const char *purpose;
};

const RunningStore running = {pss_running, sch_pss_running_uri, "Cannot open runtime pss at %s", "Open runtime PSS"};
const RunningStore running_db = {pss_running_db, sch_pss_running_db_uri, "Cannot open runtime db pss at %s",
                                 "Open runtime db PSS"};

uint32_t open_store(const RunningStore &store, const char *uri) {
  uint32_t error = 0;
  store.handle = pss_open(uri, &error);
  return error;
}

void report_open_failure(const RunningStore &store, const char *uri, uint32_t error) {
  SCH_TRACE_SERVICE(trace_store, store.failure, uri);
  sch_syserr_log(trace_store, error);
  sch_syslog_raise(&syslog_msg_SCH_SYSLOG_PSS_ERR, store.purpose, uri, error);
}

bool create_and_open(const RunningStore &store) {
  const FieldText uri(store.uri);
  create_store(uri.text);  // if this fails, so does the opening, which reports it
  const uint32_t error = open_store(store, uri.text);
  if (error != 0) report_open_failure(store, uri.text, error);
  return error == 0;
}

// For a standby: a store is created only when it cannot be opened.
uint32_t open_or_create(const RunningStore &store) {
  const FieldText uri(store.uri);
  const uint32_t error = open_store(store, uri.text);
  if (error == 0) return 0;
  report_open_failure(store, uri.text, error);
  create_store(uri.text);
  return open_store(store, uri.text);
}

uint32_t rebuild_empty(const RunningStore &store) {
  const FieldText uri(store.uri);
  pss_destroy(uri.text);
  create_store(uri.text);
  return open_store(store, uri.text);
}

void restore_from_startup() {
  const FieldText uri(sch_pss_startup_uri);
  uint32_t error = 0;
  const pss_handle startup = pss_open(uri.text, &error);
  if (error != 0) {
    SCH_TRACE_SERVICE(trace_store, "No startup config/Unable to open pss at %s", uri.text);
    sch_syserr_log(trace_store, error);
    return;
  }
  SCH_TRACE_SERVICE(trace_store, "Restoring config from startup.");
  sch_restore_config_from_pss(&sch_running_config, startup);
  sch_save_config_to_pss(&sch_running_config, pss_running);
  pss_close(startup);
}

void restore_after_stateless_restart() {
  SCH_TRACE_SERVICE(trace_store, "Stateless restart");
  scheduler_enabled = 0;
  if (sch_pss_startup_uri[0] != '\0') restore_from_startup();
}

void restore_after_stateful_restart() {
  SCH_TRACE_SERVICE(trace_store, "Restoring config from runnning.");
  sch_restore_config_from_pss(&sch_running_config, pss_running);
}

}  // namespace

int sch_pss_init() {
  if (!create_and_open(running) || !create_and_open(running_db)) return open_failed;
  if (sysmgr_is_stateless_restart() != 0) {
    restore_after_stateless_restart();
  } else {
    restore_after_stateful_restart();
  }
  sch_restore_db_from_pss(&sch_running_config, pss_running_db);
  return 0;
}

int sch_standby_pss_init() {
  open_or_create(running);
  return static_cast<int>(open_or_create(running_db));
}

// Handles open before the call are deliberately not closed: their stores are about to be destroyed.
int sch_standby_pss_init_gsync_fail() {
  store_text(sch_pss_running_uri, "");
  store_text(sch_pss_running_db_uri, "");
  const char *base = sysmgr_running_cfg_uri_get();
  complete_store_uri(sch_pss_running_uri, base, running_store_name);
  complete_store_uri(sch_pss_running_db_uri, base, running_db_store_name);
  if (const uint32_t error = rebuild_empty(running); error != 0) return static_cast<int>(error);
  return static_cast<int>(rebuild_empty(running_db));
}
