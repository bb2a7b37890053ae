// SPDX-License-Identifier: Apache-2.0
#include "pss/stores.h"

#include "diag/trace.h"
#include "platform/sysmgr.h"
#include "pss/fields.h"

char sch_pss_running_uri[64];
char sch_pss_running_db_uri[64];
char sch_debug_pss_running_uri[64];
char sch_pss_startup_uri[64];
char sch_debug_pss_startup_uri[64];

pss_handle pss_running;
pss_handle pss_running_db;
pss_handle debug_pss_running;

namespace {

constexpr uint32_t max_value_limit = SCH_FRAGMENT_SIZE;  // a job's text fragment is the largest value
constexpr uint16_t max_key_limit = sizeof(sch_config_key);
constexpr int create_failed = 65;

int key_size_failure(const char *uri, uint16_t size, uint32_t error) {
  // The error code is deliberately not split into its parts here, unlike that of the value size.
  SCH_TRACE_SERVICE(trace_store, "could not alter key size to %d error 0x%x", size, error);
  sch_syslog_raise(&syslog_msg_SCH_SYSLOG_PSS_ERR, "Set max key size", uri, error);
  return create_failed;
}

int value_size_failure(const char *uri, uint16_t size, uint32_t error) {
  SCH_TRACE_SERVICE(trace_store, "Error in setting max PSS value size to %d for %s", size, uri);
  sch_syserr_log(trace_store, error);
  sch_syslog_raise(&syslog_msg_SCH_SYSLOG_PSS_ERR, "Set max value size", uri, error);
  return create_failed;
}

int limit_new_store(pss_handle store, const char *uri, uint32_t max_value_size, uint16_t max_key_size) {
  if (max_key_size != 0) {
    if (const uint32_t error = pss_max_key(store, max_key_size); error != 0) {
      return key_size_failure(uri, max_key_size, error);
    }
  }
  pss_version_set(store, 1, 1);
  if (max_value_size == 0) return 0;
  const auto size = static_cast<uint16_t>(max_value_size);
  if (const uint32_t error = pss_max_value(store, size); error != 0) return value_size_failure(uri, size, error);
  return 0;
}

void close_store(pss_handle &store) {
  if (store != 0) pss_close(store);
  store = 0;
}

}  // namespace

void complete_store_uri(char (&uri)[64], const char *base, const char *name) {
  if (base == nullptr) return;
  if (const char *completed = sysmgr_uri_complete(base, "", name)) store_text(uri, completed);
}

int sch_pss_uri_init() {
  const char *running = sysmgr_running_cfg_uri_get();
  complete_store_uri(sch_pss_running_uri, running, running_store_name);
  complete_store_uri(sch_pss_running_db_uri, running, running_db_store_name);
  complete_store_uri(sch_debug_pss_running_uri, running, "scheduler_debug_runtime");
  complete_store_uri(sch_pss_startup_uri, sysmgr_startup_cfg_uri_get(), "scheduler_startup");
  complete_store_uri(sch_debug_pss_startup_uri, sysmgr_debug_cfg_uri_get(), "scheduler_debug_startup");
  return 0;
}

int sch_pss_create(const char *uri, uint32_t, uint32_t max_value_size, uint16_t max_key_size) {
  uint32_t error = 0;
  const pss_handle store = pss_create(uri, &error);
  if (error == PSS_ERR_EXISTS) {
    SCH_TRACE_SERVICE(trace_store, "pss_create uri %s exists ret code %x", uri, error);
    return 0;
  }
  if (error != 0) {
    SCH_TRACE_SERVICE(trace_store, "uri %s  ret code %x", uri, error);
    return create_failed;
  }
  // The handle is left open, as the public header says: callers open the store again by its name.
  return limit_new_store(store, uri, max_value_size, max_key_size);
}

int create_store(const char *uri) {
  return sch_pss_create(uri, 1024, max_value_limit, max_key_limit);
}

int sch_pss_close_handles(void *arg) {
  close_store(pss_running);
  close_store(pss_running_db);
  sdwrap_dbg_clean(arg);
  return sdwrap_sys_clean(arg);
}
