// SPDX-License-Identifier: Apache-2.0
// Each stored record back into memory, whatever its length.
#include <gmock/gmock.h>

#include <cstring>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::ElementsAre;

namespace {

constexpr const char *full_name = "abcdefghijklmnopqrstuvwxyz012345";

class RestoreTest : public OpenStoreTest {
 protected:
  void restore() {
    fake.history.clear();
    fake.calls.clear();
    EXPECT_EQ(sch_restore_config_from_pss(&sch_running_config, store), 0);
  }
  void restore_only(const std::string &key, const std::string &value) {
    fake.stores["test"].records.clear();
    put("test", key, value);
    restore();
  }
  static std::string email_hex() { return hex(&email_transport_conf, sizeof email_transport_conf); }
  static std::string fragment(int slot, guint n) {
    const GList *node = g_list_nth(sch_job_list[slot].fragments, n);
    return node == nullptr ? "none" : static_cast<const char *>(node->data);
  }
};

TEST_F(RestoreTest, failed_move_ends_the_walk) {
  for (const char *name : {"a", "b", "c"})
    put("test", key_hex(0, 0, name), zeros(144));
  fake.store = {5, false};
  restore();
  EXPECT_EQ(g_list_length(sch_schedule_list), 2u);
}

TEST_F(RestoreTest, unreadable_values_are_skipped) {
  for (const std::string name : {"a", full_name, "c"})
    put("test", key_hex(0, 0, name), zeros(144));
  fake.unreadable_keys = {unhex(key_hex(0, 0, full_name))};
  restore();
  EXPECT_EQ(g_list_length(sch_schedule_list), 2u);
}

TEST_F(RestoreTest, enable_flag_is_the_first_word) {
  restore_only(key_hex(2, 0, ""), "feffffff01");
  EXPECT_EQ(scheduler_enabled, -2);
  restore_only(key_hex(2, 7, "any"), "00000000");
  EXPECT_EQ(scheduler_enabled, 0);
  EXPECT_EQ(sch_schedule_list, nullptr);
}

TEST_F(RestoreTest, short_enable_flag_leaves_the_bytes_that_it_lacks) {
  restore_only(key_hex(2, 0, ""), "");
  EXPECT_EQ(scheduler_enabled, 0);
  restore_only(key_hex(2, 0, ""), "0102");
  EXPECT_EQ(scheduler_enabled, 0x0201);
  restore_only(key_hex(2, 0, ""), "03");
  EXPECT_EQ(scheduler_enabled, 0x0203);
}

TEST_F(RestoreTest, log_file_is_taken_behind_its_head) {
  sch_log_file.head[0] = 0xdddddddd;
  restore_only(key_hex(3, 0, ""),
               padded("n", 256) + "0102030405060708090a0b0c0d0e0f00" + padded("u", 256) + "11121314ffffffff");
  EXPECT_EQ(hex(&sch_log_file, sizeof sch_log_file),
            "dddddddd00000000" + padded("n", 256) + "0102030405060708090a0b0c0d0e0f00" + padded("u", 256) + "11121314");
}

TEST_F(RestoreTest, short_log_file_leaves_the_rest_as_it_was) {
  restore_only(key_hex(3, 0, ""), "78");
  EXPECT_STREQ(sch_log_file.name, "xcheduler_circular_log.dat");
  EXPECT_EQ(sch_log_file.size, 16384);
  restore_only(key_hex(3, 0, ""), "");
  EXPECT_STREQ(sch_log_file.uri, "NONE");
}

TEST_F(RestoreTest, from_address_replaces_the_whole_field) {
  set_text(email_transport_conf.from, 64, std::string(64, 'z'));
  set_text(email_transport_conf.reply_to, 64, "kept");
  restore_only(key_hex(5, 0, ""), hex("a@x.net", 7));
  EXPECT_EQ(email_hex().substr(0, 256), padded("a@x.net", 64) + padded("kept", 64));
}

TEST_F(RestoreTest, from_address_is_cut_at_64_and_shows_with_the_fields_behind_it) {
  set_text(email_transport_conf.reply_to, 64, "next");
  restore_only(key_hex(5, 0, ""), hex(std::string(70, 'f').data(), 70));
  EXPECT_EQ(std::string(email_transport_conf.from, 64), std::string(64, 'f'));
  EXPECT_STREQ(email_transport_conf.reply_to, "next");
  EXPECT_EQ(fake.traces(103).back(), "Configured Global email conf values :From :" + std::string(64, 'f') + "next\n");
}

TEST_F(RestoreTest, reply_to_erases_both_fields_and_fills_them_the_copy_up_to_the_first_terminator) {
  const struct {
    std::string value, reply_to, copy;
  } rows[] = {
      {padded("r@x.net", 64), padded("r@x.net", 64), padded("r@x.net", 64)},
      {"6162", padded("ab", 64), padded("ab", 64)},
      {"610062", "610062" + zeros(61), "61" + zeros(63)},
      {hex(std::string(64, 'r').data(), 64), hex(std::string(64, 'r').data(), 64),
       hex(std::string(64, 'r').data(), 64)},
  };
  for (const auto &row : rows) {
    set_text(email_transport_conf.reply_to, 64, std::string(64, 'z'));
    set_text(email_transport_conf.reply_to_copy, 64, std::string(64, 'z'));
    set_text(email_transport_conf.smtp.server, 256, "server");
    restore_only(key_hex(6, 0, ""), row.value);
    EXPECT_EQ(email_hex().substr(128, 256), row.reply_to + row.copy);
  }
  EXPECT_EQ(fake.traces(103).back(),
            "Configured Global email conf values :reply-to :" + std::string(128, 'r') + "server\n");
}

TEST_F(RestoreTest, smtp_record_is_taken_whole) {
  restore_only(key_hex(7, 0, ""), padded("mail", 256) + "020000000a010000" + padded("blue", 256) + "ffff");
  EXPECT_EQ(hex(&email_transport_conf.smtp, 520), padded("mail", 256) + "020000000a010000" + padded("blue", 256));
  EXPECT_STREQ(email_transport_conf.from, "");
}

TEST_F(RestoreTest, short_smtp_record_counts_as_zero_behind_its_end) {
  for (const size_t length : {0u, 1u, 255u, 256u, 258u, 260u, 263u, 264u, 265u, 519u, 520u}) {
    SCOPED_TRACE(length);
    std::memset(&email_transport_conf.smtp, 0x7a, sizeof email_transport_conf.smtp);
    const std::string value(length, 's');
    restore_only(key_hex(7, 0, ""), hex(value.data(), value.size()));
    EXPECT_EQ(hex(&email_transport_conf.smtp, 520), hex(value.data(), value.size()) + zeros(520 - length));
  }
}

TEST_F(RestoreTest, smtp_fields_without_terminators_show_up_to_the_end_of_the_settings) {
  restore_only(key_hex(7, 0, ""), hex(std::string(520, 'v').data(), 520));
  const std::string shown = fake.traces(103).back();
  EXPECT_EQ(shown, ("Configured Global email conf values :smtp server: " + std::string(520, 'v')).substr(0, 511));
  EXPECT_EQ(
      fake.buginf.back().size(),
      std::string("Configured Global email conf values :smtp server: , port:1987475062, vrf:").size() + 520 + 256);
}

TEST_F(RestoreTest, schedule_email_entry_goes_into_the_one_global_list) {
  put("test", key_hex(8, 0, "nightly"),
      padded("nightly", 32) + "01000000" + padded("a@x.net", 64) + "01000000" + zeros(612) + "ff");
  EXPECT_EQ(sch_restore_config_from_pss(&sch_startup_config, store), 0);
  ASSERT_EQ(g_list_length(sch_schedule_email_list), 1u);
  EXPECT_EQ(hex(sch_schedule_email_list->data, 716),
            padded("nightly", 32) + "01000000" + padded("a@x.net", 64) + "01000000" + zeros(612));
}

TEST_F(RestoreTest, short_schedule_email_entry_is_zero_behind_its_end) {
  restore_only(key_hex(8, 0, "n"), padded(full_name, 32) + "ffff");
  EXPECT_EQ(hex(sch_schedule_email_list->data, 716), padded(full_name, 32) + "ffff" + zeros(682));
  EXPECT_EQ(fake.traces(103).back(), std::string("Configured schedule email conf for ") + full_name + " is 65535\n");
  restore_only(key_hex(8, 0, "n"), "");
  EXPECT_EQ(hex(g_list_last(sch_schedule_email_list)->data, 716), zeros(716));
}

TEST_F(RestoreTest, schedules_enter_the_given_configuration_in_key_order) {
  put("test", key_hex(0, 0, "b"), "01020304" + zeros(139) + "05");
  put("test", key_hex(0, 3, "a"), "aa");
  put("test", key_hex(0, 0, "c"), zeros(144) + "ff");
  EXPECT_EQ(sch_restore_config_from_pss(&sch_startup_config, store), 0);
  EXPECT_EQ(sch_schedule_list, nullptr);
  ASSERT_EQ(g_list_length(startup_schedule_list), 3u);
  const auto *b = static_cast<sch_schedule_entry *>(g_list_nth_data(startup_schedule_list, 0));
  const auto *c = static_cast<sch_schedule_entry *>(g_list_nth_data(startup_schedule_list, 1));
  const auto *a = static_cast<sch_schedule_entry *>(g_list_nth_data(startup_schedule_list, 2));
  EXPECT_EQ(hex(b->key, 40), zeros(8) + padded("b", 32));
  EXPECT_EQ(hex(b->rec, 144), "01020304" + zeros(139) + "05");
  EXPECT_EQ(hex(c->rec, 144), zeros(144));
  EXPECT_EQ(hex(a->key, 40), "0000000003000000" + padded("a", 32));
  EXPECT_EQ(hex(a->rec, 144), "aa" + zeros(143));
}

TEST_F(RestoreTest, job_comes_back_with_its_fragments_in_order) {
  put("test", key_hex(1, 0, "job"), "050000004433221103080000");
  put("test", key_hex(1, 256, "job"), "333300");
  put("test", key_hex(1, 2, "job"), "3232" + zeros(1022));
  put("test", key_hex(1, 1, "job"), "3131" + zeros(1022));
  restore();
  const sch_job_entry &job = sch_job_list[5];
  ASSERT_NE(job.hdr, nullptr);
  EXPECT_EQ(hex(job.hdr, 12), "050000004433221103080000");
  EXPECT_STREQ(job.key->name, "job");
  EXPECT_EQ(g_list_length(job.fragments), 3u);
  EXPECT_EQ(fragment(5, 0), "11");
  EXPECT_EQ(fragment(5, 1), "22");
  EXPECT_EQ(fragment(5, 2), "33");
  EXPECT_THAT(fake.calls_with("mtrack_alloc 224 7"),
              ElementsAre("mtrack_alloc 224 7 1024", "mtrack_alloc 224 7 1024", "mtrack_alloc 224 7 3"));
}

TEST_F(RestoreTest, other_types_add_nothing) {
  for (const uint32_t type : {4u, 9u, 255u, 0xffffffffu}) {
    SCOPED_TRACE(type);
    restore_only(key_hex(type, 0, "x"), "0102030405");
    EXPECT_THAT(fake.traces(103), ElementsAre("got key type " + std::to_string(static_cast<int32_t>(type))));
    EXPECT_THAT(fake.calls_with("mtrack_"), ElementsAre("mtrack_alloc 224 5 40")) << "the key deliberately stays";
  }
  EXPECT_EQ(sch_schedule_list, nullptr);
}

TEST_F(RestoreTest, key_longer_than_40_bytes_is_cut) {
  restore_only(key_hex(0, 0, full_name) + "6162", zeros(144));
  const auto *entry = static_cast<sch_schedule_entry *>(sch_schedule_list->data);
  EXPECT_EQ(hex(entry->key, 40), zeros(8) + padded(full_name, 32));
}

TEST_F(RestoreTest, key_shorter_than_40_bytes_is_zero_behind_its_end) {
  restore_only("", "01000000");
  EXPECT_THAT(fake.traces(103).front(), "got key type 0");
  restore_only("00000002", "01000000");
  EXPECT_EQ(scheduler_enabled, 1);
  restore_only("000000000000000961", "");
  const auto *entry = static_cast<sch_schedule_entry *>(g_list_last(sch_schedule_list)->data);
  EXPECT_EQ(hex(entry->key, 40), "0000000009000000" + padded("a", 32));
}

// A header that lies, a fragment that is shorter than the header makes readers expect, one that cannot be read.
TEST_F(RestoreTest, job_whose_header_lies_is_joined_and_saved_within_its_fragments) {
  struct {
    const char *what;
    std::string length;  // in the header
    std::vector<size_t> fragments;
    std::vector<size_t> saved;  // what a fragment lacks is zero
  } const cases[] = {
      {"only fragment too short", "00040000", {10}, {1024}},
      {"only fragment empty", "00040000", {0}, {1024}},
      {"middle fragment too short", "c4090000", {1024, 7, 452}, {1024, 1024, 452}},
      {"fragment missing", "c4090000", {1024, 452}, {1024, 1024}},
      {"last fragment too long", "01040000", {1024, 1024}, {1024, 1}},
      {"more than all fragments", "ffffffff", {1024, 1024}, {1024, 1024}},
      {"largest positive length", "ffffff7f", {1024, 3}, {1024, 1024}},
      {"no length", "00000000", {1024}, {0}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    platform_test::reset_library();
    fake.reset();
    store = open_store();
    put("test", key_hex(1, 0, "job"), "0000000000000000" + c.length);
    for (uint32_t n = 1; n <= c.fragments.size(); ++n) {
      const std::string text = job_text(c.fragments[n - 1]);
      put("test", key_hex(1, n, "job"), hex(text.data(), text.size()));
    }
    restore();
    std::string joined(8192, '.');
    sch_concat_fragments(sch_job_list[0].fragments, joined.data(),
                         static_cast<int32_t>(std::min(sch_job_list[0].hdr->length, 4096u)));
    EXPECT_EQ(joined.substr(4096), std::string(4096, '.'));
    fake.stores["test"].records.clear();
    EXPECT_EQ(sch_save_job_entry_to_pss(store, &sch_job_list[0]), 0);
    ASSERT_EQ(fake.stores["test"].records.size(), 1 + c.saved.size());
    for (uint32_t n = 1; n <= c.saved.size(); ++n) {
      std::string expected = job_text(std::min(c.saved[n - 1], c.fragments[n - 1]));
      expected.resize(c.saved[n - 1]);
      EXPECT_EQ(fake.stores["test"].records.at(unhex(key_hex(1, n, "job"))), expected);
    }
  }
}

TEST_F(RestoreTest, second_header_of_a_slot_does_not_lengthen_the_first_ones_fragments) {
  put("test", key_hex(1, 0, "a"), "050000000000000002000000");
  put("test", key_hex(1, 1, "a"), "780a");
  put("test", key_hex(1, 0, "b"), "050000000000000000040000");
  restore();
  EXPECT_STREQ(sch_job_list[5].key->name, "a");
  EXPECT_EQ(sch_job_list[5].hdr->length, 1024u);
  fake.stores["test"].records.clear();
  EXPECT_EQ(sch_save_job_entry_to_pss(store, &sch_job_list[5]), 0);
  EXPECT_EQ(fake.stores["test"].records.at(unhex(key_hex(1, 1, "a"))), "x\n" + std::string(1022, '\0'));
}

TEST_F(RestoreTest, random_records_of_any_length_never_leave_their_buffers) {
  uint32_t state = 1;
  auto next = [&state](uint32_t below) {
    state = state * 1664525 + 1013904223;
    return (state >> 8) % below;
  };
  for (int round = 0; round < 300; ++round) {
    platform_test::reset_library();
    fake.reset();
    store = open_store();
    for (int n = 0; n < 12; ++n) {
      std::string key = unhex(key_hex(next(10), next(3), std::string(1, static_cast<char>('a' + next(2)))));
      std::string value(next(800), '\0');
      for (char &byte : value)
        byte = static_cast<char>(next(8) == 0 ? next(256) : next(3));
      key.resize(next(4) == 0 ? next(48) : 40, 'k');
      fake.stores["test"].records[key] = value;
    }
    restore();
    sch_restore_db_from_pss(&sch_running_config, store);
    sch_save_config_to_pss(&sch_running_config, store);
    sch_save_db_to_pss(&sch_running_config, store);
    for (GList *node = sch_schedule_email_list; node != nullptr; node = node->next)
      EXPECT_EQ(sch_save_schedule_email_entry_to_pss(store, static_cast<sch_schedule_email_entry *>(node->data)), 0);
  }
}

}  // namespace
