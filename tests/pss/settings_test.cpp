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

TEST(Settings, records_have_the_stored_layout_in_either_abi) {
  EXPECT_EQ(sizeof(sch_log_file_rec), 540u);
  EXPECT_EQ(offsetof(sch_log_file_rec, size), 8u + 256);
  EXPECT_EQ(offsetof(sch_log_file_rec, read_offset), 8u + 260);
  EXPECT_EQ(offsetof(sch_log_file_rec, entry_count), 8u + 268);
  EXPECT_EQ(sizeof(sch_email_transport), 712u);
  EXPECT_EQ(offsetof(sch_email_transport, reply_to), 64u);
  EXPECT_EQ(offsetof(sch_email_transport, reply_to_copy), 128u);
  EXPECT_EQ(offsetof(sch_email_transport, smtp), 192u);
  EXPECT_EQ(offsetof(sch_smtp_server_rec, address_kind), 256u);
  EXPECT_EQ(offsetof(sch_smtp_server_rec, port), 260u);
  EXPECT_EQ(offsetof(sch_smtp_server_rec, vrf), 264u);
  EXPECT_EQ(offsetof(sch_schedule_rec, jobs), 8u);
  EXPECT_EQ(offsetof(sch_schedule_rec, service_word), 40u);
  EXPECT_EQ(offsetof(sch_schedule_rec, time), 44u);
  EXPECT_EQ(offsetof(sch_schedule_rec, service_tail), 84u);
}

}  // namespace
