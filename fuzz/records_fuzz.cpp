// SPDX-License-Identifier: Apache-2.0
// Records of the run-time store, whatever they are: read, shown, found by a restart, and written on.
// Input: records, each a form, a number, the schedule's choice and a value (two bytes of length).
#include <iterator>

#include "control/operations.h"
#include "fuzz/world.h"
#include "service/run/history.h"
#include "service/run/owed_reports.h"
#include "service/state/run_state.h"
#include "service/state/schedule_state.h"
#include "service/state/tables.h"

namespace {

constexpr char schedule[] = "s";
constexpr uint8_t raw_key = 4, keeps_creation = 0x80;

void store(fuzz::Input &input) {
  constexpr service::RunKeyType types[] = {service::owed_report_key, service::counters_key, service::history_key,
                                           service::run_state_key};
  const uint8_t form = input.byte();
  const uint32_t number = input.byte();
  std::string key, value;
  if ((form & 7) >= raw_key) {
    key = input.sized_by_one_byte();
  } else {
    const sch_runtime_key made = service::run_key(types[form & 3], number, (form & 8) != 0 ? "gone" : schedule);
    key.assign(reinterpret_cast<const char *>(&made), sizeof made);
  }
  value = input.sized_by_two_bytes();
  const sch_schedule_entry *entry = service::find_schedule(schedule);
  const uint32_t creation = entry == nullptr ? 0 : service::creation(*entry->rec);
  if ((form & keeps_creation) == 0 && value.size() >= 8)
    value.replace(4, 4, reinterpret_cast<const char *>(&creation), 4);
  const pss_buf name = {key.data(), static_cast<uint32_t>(key.size())};
  const pss_buf bytes = {value.data(), static_cast<uint32_t>(value.size())};
  pss_store(pss_running_db, 1, &name, &bytes);
}

void show(fuzz::World &world) {
  using control::Operation;
  for (const Operation operation : {Operation::show_history, Operation::overview, Operation::show_upcoming})
    for (const host::Bytes &payload :
         {host::Bytes(), fuzz::bytes_of(control::HistoryQuery()), fuzz::bytes_of(uint32_t{0})}) {
      fuzz::read_all(world.ask(operation, payload));
      fuzz::read_all(world.ask(
          Operation::as_json,
          fuzz::bytes_of(operation, std::string(reinterpret_cast<const char *>(payload.data()), payload.size()))));
    }
  service_test::log_of(world);
  if (const sch_schedule_entry *entry = service::find_schedule(schedule)) service::read_history(*entry);
  service::read_owed_reports();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::World world;
  service_test::create_job(world, "j", "true\n");
  service_test::create_schedule(world, schedule, {"j"}, service_test::daily(13, 0));
  fuzz::Input input(data, size);
  while (!input.empty())
    store(input);
  show(world);
  world.stop();
  std::string error;
  if (world.try_start(&error) != 0) return 0;
  show(world);
  service_test::pass_to(world, service_test::noon + 90000);
  show(world);
  return 0;
}
