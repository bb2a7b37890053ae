// SPDX-License-Identifier: Apache-2.0
// Stored records in hexadecimal, and database records made by hand.
#pragma once

#include <string>
#include <vector>

#include "tests/platform/platform.h"

namespace pss_test {

using platform_test::fake;
using platform_test::hex;
using platform_test::unhex;

std::string zeros(size_t bytes);                            // in hexadecimal
std::string padded(const std::string &text, size_t bytes);  // hexadecimal of a NUL-padded text

// A stored key: two big-endian words, then the name in 32 bytes.
std::string key_hex(uint32_t type, uint32_t second, const std::string &name);

// What pss_store leaves in fake.calls.
std::string stored(pss_handle store, const std::string &key, const std::string &value);

// Creates and opens a store; the calls that took are not recorded.
pss_handle open_store(const std::string &uri = "test");
void put(const std::string &uri, const std::string &key_hex, const std::string &value_hex);

// A configuration of one record of each kind, in the store that has the name on the scriptable platform.
inline constexpr char running_uri[] = "running:scheduler_runtime", startup_uri[] = "startup:scheduler_startup",
                      running_db_uri[] = "running:scheduler_runtime_database";
void fill_store(const std::string &uri, const std::string &schedule);

// A job in `slot`, its text cut into fragments.
sch_job_entry *add_job(sch_config_db &config, int slot, const std::string &name, const std::string &text);
sch_schedule_entry *add_schedule(sch_config_db &config, const std::string &name, const sch_schedule_rec &rec);
sch_runtime_job_status *add_status(sch_job_entry &slot, uint32_t job_id, const std::string &schedule, uint32_t first,
                                   uint32_t second);
sch_schedule_email_entry email_entry(const std::string &schedule, const std::vector<std::string> &addresses);

void set_text(char *field, size_t size, const std::string &text);  // NUL-padded, unterminated when it fills the field
std::string job_text(size_t length);                               // lines that differ from each other

// With an open store.
class OpenStoreTest : public platform_test::PlatformTest {
 protected:
  pss_handle store = 0;
  void SetUp() override {
    PlatformTest::SetUp();
    store = open_store();
  }
};

inline void open_all_stores() {
  pss_running = open_store("run");
  pss_running_db = open_store("db");
  debug_pss_running = open_store("debug");
  set_text(sch_pss_running_uri, 64, "run");
  set_text(sch_pss_running_db_uri, 64, "db");
  set_text(sch_debug_pss_running_uri, 64, "debug");
}

}  // namespace pss_test
