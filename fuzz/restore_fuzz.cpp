// SPDX-License-Identifier: Apache-2.0
// A store of any records: restored as configuration and as run-time status, generated as text, saved, freed.
// Input: records, each a key (one byte of length) and a value (two bytes of length).
#include "fuzz/library.h"

using platform_test::fake;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  constexpr char uri[] = "startup:scheduler_startup";
  fuzz::reset();
  fake.cfg_type = 2;
  fake.stores[uri] = {};
  uint32_t error = 0;
  const pss_handle store = pss_open(uri, &error);
  fuzz::Input input(data, size);
  while (!input.empty()) {
    std::string key = input.sized_by_one_byte();
    std::string value = input.sized_by_two_bytes();
    fake.stores[uri].records[platform_test::unhex("16000000")] = value;  // the logging level
    fake.walk.emplace_back(std::move(key), std::move(value));
  }
  sch_restore_config_from_pss(&sch_running_config, store);
  sch_restore_db_from_pss(&sch_running_config, store);
  acfg_hdl handle = {};
  sch_acfg_gen(&sch_running_config, &handle, store);
  sch_save_config_to_pss(&sch_running_config, store);
  sch_save_db_to_pss(&sch_running_config, store);
  sch_free_config(&sch_running_config);
  sch_acfgcb_cfg_gen(nullptr, nullptr);
  return 0;
}
