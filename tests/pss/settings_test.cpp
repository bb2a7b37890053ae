// SPDX-License-Identifier: Apache-2.0
// The settings before anything has been restored.
#include "tests/pss/records.h"

using namespace pss_test;

namespace {

const sch_email_transport load_time_email = email_transport_conf;
const sch_log_file_rec load_time_log_file = sch_log_file;
const sch_config_key load_time_log_file_key = sch_log_file_key;

TEST(Settings, mail_goes_over_port_25_of_the_management_vrf_to_no_server) {
  EXPECT_EQ(hex(&load_time_email, sizeof load_time_email),
            zeros(64 + 64 + 64) + zeros(256) + "01000000" + "19000000" + "6d616e6167656d656e74" + zeros(246));
}

TEST(Settings, log_file_has_its_default_name_size_and_place) {
  EXPECT_EQ(
      hex(&load_time_log_file, sizeof load_time_log_file),
      zeros(8) + padded("scheduler_circular_log.dat", 256) + "00400000" + zeros(12) + padded("NONE", 256) + zeros(4));
}

TEST(Settings, log_file_key_has_type_3_alone) {
  EXPECT_EQ(hex(&load_time_log_file_key, sizeof load_time_log_file_key), "03000000" + zeros(36));
}

TEST(Settings, scheduler_starts_disabled_with_no_store_named_or_open) {
  EXPECT_EQ(scheduler_enabled, 0);
  for (const auto &uri : {sch_pss_running_uri, sch_pss_running_db_uri, sch_debug_pss_running_uri, sch_pss_startup_uri,
                          sch_debug_pss_startup_uri}) {
    EXPECT_EQ(hex(uri, 64), zeros(64));
  }
  EXPECT_EQ(pss_running, 0u);
  EXPECT_EQ(pss_running_db, 0u);
  EXPECT_EQ(debug_pss_running, 0u);
}

}  // namespace
