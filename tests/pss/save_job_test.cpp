// SPDX-License-Identifier: Apache-2.0
// A job's header and text, cut into fragments.
#include <gmock/gmock.h>

#include "tests/pss/records.h"

using namespace pss_test;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

constexpr const char *broken_parts = "Syserr - type:1 facility:576 number:9";

class SaveJobTest : public OpenStoreTest {
 protected:
  sch_job_entry *job(const std::string &text) { return add_job(sch_running_config, 7, "job", text); }
  size_t stored_size(uint32_t fragment) {
    const auto &records = fake.stores["test"].records;
    const auto found = records.find(unhex(key_hex(1, fragment, "job")));
    return found == records.end() ? SIZE_MAX : found->second.size();
  }
};

TEST_F(SaveJobTest, text_is_cut_every_1024_bytes) {
  struct {
    size_t length;
    std::vector<size_t> sizes;
  } const cases[] = {{0, {}},
                     {1, {1}},
                     {1023, {1023}},
                     {1024, {1024}},
                     {1025, {1024, 1}},
                     {2048, {1024, 1024}},
                     {2049, {1024, 1024, 1}},
                     {2500, {1024, 1024, 452}}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.length);
    platform_test::reset_library();
    fake.reset();
    store = open_store();
    const std::string text = job_text(c.length);
    sch_job_entry *slot = job(text);
    EXPECT_EQ(sch_save_job_entry_to_pss(store, slot), 0);
    EXPECT_EQ(fake.stores["test"].records.size(), 1 + c.sizes.size());
    EXPECT_EQ(slot->key->fragment, c.sizes.size());
    std::string joined;
    for (uint32_t n = 1; n <= c.sizes.size(); ++n) {
      EXPECT_EQ(stored_size(n), c.sizes[n - 1]);
      joined += fake.stores["test"].records[unhex(key_hex(1, n, "job"))];
    }
    EXPECT_EQ(joined, text);
  }
}

TEST_F(SaveJobTest, first_fragment_is_stored_with_the_header_length_even_when_that_is_0) {
  sch_job_entry *slot = job("x\n");
  slot->hdr->length = 0;
  EXPECT_EQ(sch_save_job_entry_to_pss(store, slot), 0);
  EXPECT_EQ(stored_size(1), 0u);
}

TEST_F(SaveJobTest, fragments_behind_the_text_are_not_stored) {
  sch_job_entry *slot = job(job_text(3 * 1024));
  slot->hdr->length = 2048;
  EXPECT_EQ(sch_save_job_entry_to_pss(store, slot), 0);
  EXPECT_EQ(stored_size(2), 1024u);
  EXPECT_EQ(stored_size(3), SIZE_MAX);
  slot->hdr->length = 1024;
  fake.stores["test"].records.clear();
  EXPECT_EQ(sch_save_job_entry_to_pss(store, slot), 0);
  EXPECT_EQ(fake.stores["test"].records.size(), 2u);
}

TEST_F(SaveJobTest, list_shorter_than_the_header_tells_ends_the_job) {
  sch_job_entry *slot = job(job_text(2 * 1024));
  slot->hdr->length = 5000;
  EXPECT_EQ(sch_save_job_entry_to_pss(store, slot), 0);
  EXPECT_EQ(fake.stores["test"].records.size(), 3u);
}

// The store is damaged: the pieces are shorter than the header announces.
TEST_F(SaveJobTest, short_fragments_are_stored_with_zero_behind_what_they_hold) {
  put("test", key_hex(1, 0, "job"), "07000000" + zeros(4) + "06040000");
  put("test", key_hex(1, 1, "job"), "6162");
  put("test", key_hex(1, 2, "job"), "636465");
  sch_restore_config_from_pss(&sch_running_config, store);
  fake.calls.clear();
  EXPECT_EQ(sch_save_job_entry_to_pss(store, &sch_job_list[7]), 0);
  EXPECT_THAT(fake.calls, UnorderedElementsAre(stored(store, key_hex(1, 0, "job"), "07000000" + zeros(4) + "06040000"),
                                               stored(store, key_hex(1, 1, "job"), "6162" + zeros(1022)),
                                               stored(store, key_hex(1, 2, "job"), "636465" + zeros(3))));
}

TEST_F(SaveJobTest, slot_without_key_or_header_is_refused_without_a_store_call) {
  sch_job_entry *slot = job("x\n");
  sch_job_hdr *hdr = slot->hdr;
  slot->hdr = nullptr;
  fake.calls.clear();
  EXPECT_EQ(sch_save_job_entry_to_pss(store, slot), -1);
  slot->hdr = hdr;
  slot->key = nullptr;
  EXPECT_EQ(sch_save_job_entry_to_pss(store, slot), -1);
  EXPECT_TRUE(fake.calls.empty());
}

TEST_F(SaveJobTest, each_refused_record_ends_the_save_with_its_own_trace) {
  struct {
    size_t length;
    int nth;
    const char *trace;
    size_t left_stored;
  } const cases[] = {
      {10, 1, "PSS error 0x40480009 while saving the job hdr job", 0},
      {10, 2, "PSS error 0x40480009 while saving the job fragment job", 1},
      {1024, 2, "PSS error 0x40480009 while saving the job fragment job", 1},
      {2500, 1, "PSS error 0x40480009 while saving the job hdr job", 0},
      {2500, 2, "PSS error 0x40480009 saving the job job fragment 1", 1},
      {2500, 3, "PSS error 0x40480009 saving the job job fragment 2", 2},
      {2500, 4, "PSS error 0x40480009 saving the job job fragment 3", 3},
  };
  for (const auto &c : cases) {
    for (const bool from_then_on : {false, true}) {
      SCOPED_TRACE(c.trace);
      platform_test::reset_library();
      fake.reset();
      store = open_store();
      sch_job_entry *slot = job(job_text(c.length));
      fake.store = {c.nth, from_then_on};
      EXPECT_EQ(sch_save_job_entry_to_pss(store, slot), -1);
      EXPECT_EQ(fake.store.calls, c.nth);
      EXPECT_THAT(fake.traces(103), ElementsAre(c.trace, broken_parts));
      EXPECT_EQ(fake.traces().size(), 2u);
      EXPECT_EQ(fake.stores["test"].records.size(), c.left_stored);
      EXPECT_EQ(slot->key->fragment, static_cast<uint32_t>(c.nth - 1));
      EXPECT_TRUE(fake.syslog.empty());
      fake.store = {};
      EXPECT_EQ(sch_save_job_entry_to_pss(store, slot), 0) << "the next save writes everything again";
    }
  }
}

}  // namespace
