// SPDX-License-Identifier: Apache-2.0
#include "service/run/owed_reports.h"

#include <algorithm>
#include <cstring>

#include "platform/pss.h"
#include "service/state/run_state.h"
#include "service/state/schedule_state.h"
#include "service/state/tables.h"

namespace service {
namespace {

struct Record {
  uint32_t version;
  uint32_t creation;  // of the schedule
  uint32_t number, unused;
  uint64_t run;
};
static_assert(sizeof(Record) == 24);

constexpr uint32_t record_version = 1;
constexpr uint32_t numbers_in_keys = 1u << 24;  // keys have no room for more, so numbers wrap; few are owed at once

sch_runtime_key key_of(uint32_t number, const char *schedule) {
  return run_key(owed_report_key, number % numbers_in_keys, schedule);
}

void take(sch_runtime_key key, const pss_buf *value, std::vector<OwedReport> *reports) {
  sch_ntoh_runtime_key(&key);
  Record record;
  if (key.type != owed_report_key || value == nullptr || value->length != sizeof record) return;
  std::memcpy(&record, value->data, sizeof record);
  const sch_schedule_entry *entry = find_schedule({key.name, strnlen(key.name, sizeof key.name)});
  if (entry != nullptr && record.version == record_version && record.creation == creation(*entry->rec))
    reports->push_back({record.number, record.run, entry});
}

}  // namespace

std::vector<OwedReport> read_owed_reports() {
  std::vector<OwedReport> reports;
  pss_cursor cursor = {};
  const pss_buf *found = pss_move2location(pss_running_db, PSS_FIRST, &cursor);
  for (; found != nullptr && cursor.error == 0; found = pss_move2location(pss_running_db, PSS_NEXT, &cursor)) {
    sch_runtime_key key = {};
    std::memcpy(&key, found->data, std::min<size_t>(found->length, sizeof key));
    take(key, pss_getvalue(pss_running_db, &cursor), &reports);
  }
  std::ranges::sort(reports, {}, &OwedReport::number);
  return reports;
}

uint32_t store_owed_report(const OwedReport &report) {
  Record record = {record_version, creation(*report.entry->rec), report.number, 0, report.run};
  sch_runtime_key key = key_of(report.number, report.entry->key->name);
  const pss_buf name = {&key, sizeof key}, value = {&record, sizeof record};
  return pss_store(pss_running_db, 1, &name, &value);
}

uint32_t delete_owed_report(uint32_t number, const char *schedule) {
  sch_runtime_key key = key_of(number, schedule);
  const pss_buf name = {&key, sizeof key};
  const uint32_t error = pss_delete(pss_running_db, &name);
  return error == PSS_ERR_NO_KEY ? 0 : error;
}

}  // namespace service
