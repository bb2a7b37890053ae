// SPDX-License-Identifier: Apache-2.0
#include "service/request/logging_level.h"

#include <syslog.h>

#include <cstring>

namespace service {
namespace {

struct LevelRecord {
  uint32_t present;
  int32_t level;
};

}  // namespace

int32_t logging_level(pss_handle debug_store) {
  uint32_t error = 0;
  const pss_buf *value = pss2_fetch(debug_store, sch_get_syslog_pss_key(), &error);
  LevelRecord record = {};
  if (value == nullptr || error != 0 || value->length < sizeof record) return default_logging_level;
  std::memcpy(&record, value->data, sizeof record);
  const bool valid = record.present == 1 && record.level >= LOG_EMERG && record.level <= LOG_DEBUG;
  return valid ? record.level : default_logging_level;
}

uint32_t store_logging_level(pss_handle debug_store, int32_t level) {
  LevelRecord record = {1, level};
  const pss_buf value = {&record, sizeof record};
  return pss_store(debug_store, 1, sch_get_syslog_pss_key(), &value);
}

void apply_logging_level() {
  setlogmask(LOG_UPTO(logging_level(debug_pss_running)));
}

}  // namespace service
