// SPDX-License-Identifier: Apache-2.0
#include "acfg/logging_level.h"

#include <cstdio>
#include <cstring>
#include <optional>

#include "acfg/assertion.h"
#include "acfg/line.h"

namespace {

constexpr uint32_t level_default = 5;
constexpr uint32_t level_highest = 7;
constexpr uint32_t level_is_valid = 1;

// The configuration manager's logging owner and group.
constexpr uint32_t logging_owner = 118;
constexpr uint32_t logging_dependency = 1;
constexpr uint32_t logging_group = 115;

struct LevelRecord {
  uint32_t valid;
  uint32_t level;
};
static_assert(sizeof(LevelRecord) == 8);

std::optional<LevelRecord> fetch_level(pss_handle debug_store, const pss_buf *key) {
  uint32_t error = 0;
  const pss_buf *value = pss2_fetch(debug_store, key, &error);
  if (value == nullptr || error != 0 || value->length < sizeof(LevelRecord)) return {};
  LevelRecord record;
  std::memcpy(&record, value->data, sizeof record);
  return record;
}

bool is_written(const LevelRecord &record) {
  return record.valid == level_is_valid && record.level <= level_highest && record.level != level_default;
}

}  // namespace

namespace acfg {

void add_logging_level(acfg_hdl *handle, pss_handle debug_store) {
  const pss_buf *key = sch_get_syslog_pss_key();
  if (key == nullptr || key->data == nullptr) {
    record_assertion("../include/tarn/sdwrap_intf", "sdwrap_sys_asciigen_condserv_startup", 1308);
    return;
  }
  const std::optional<LevelRecord> record = fetch_level(debug_store, key);
  if (!record || !is_written(*record)) return;
  char line[64];
  std::snprintf(line, sizeof line, "logging level %s %d\n", "scheduler", static_cast<int>(record->level));
  acfg_elem_dependency_add(handle, element_logging, logging_owner, logging_dependency);
  acfg_elem_group_config_str_add(handle, logging_group, 0, 3, line);
}

}  // namespace acfg
