// SPDX-License-Identifier: Apache-2.0
// Every trace of the database goes to each open sink and to no closed one, in order and with its level.
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/db/records.h"

using namespace platform_test;
using namespace db_test;
using ::testing::IsEmpty;

namespace {

struct Trace {
  uint32_t level;
  const char *text;
};

const Trace traces[] = {
    {103, "job j key added"},
    {103, "job k key already present, adding!"},
    {103, "invalid job id 300"},
    {103, "found job id 0"},
    {103, "job j (0) adding fragment 1"},
    {102, "job key not present!"},
    {102, "adding status # 1 for job j"},
    {103, "available job slot 1"},
    {102, "length 1025 fragments 2"},
    {103, "fragment count 2 1024"},
    {103, "email-id a configured for s"},
    {103, "email-id b configured for s"},
    {103, "email-id b removed from s"},
    {103, "removed schedule email entry for s"},
    {103, "Max email-ids configured for full"},
};

void leave_every_trace_once() {
  sch_job_entry *slot = nullptr;
  add_job(0, "j");
  sch_add_job_hdr(&sch_running_config, make_key("k"), make_hdr(0), &slot);
  sch_add_job_hdr(&sch_running_config, make_key("l"), make_hdr(300), &slot);
  sch_add_job_data(&sch_running_config, make_key("j", 1, 1), make_fragment(std::string(1024, 'x')), &slot);
  sch_add_runtime_job_status_entry(&sch_running_config, make_status(5));
  sch_add_runtime_job_status_entry(&sch_running_config, make_status(0));
  sch_first_empty_job_list_entry_index(&sch_running_config);
  std::vector<char> text(1025);
  sch_concat_fragments(slot->fragments, text.data(), 1025);

  GList **list = &sch_schedule_email_list;
  sch_add_schedule_email_entry(list, "s", "a");
  sch_add_schedule_email_entry(list, "s", "b");
  sch_remove_schedule_email_addr(list, "s", "b");
  GList *unlinked = *list;
  sch_remove_schedule_email_entry(list, "s");
  g_list_free_1(unlinked);
  sch_schedule_email_entry full = {};
  set_text(full.schedule_name, "full");
  full.count = 10;
  sch_add_schedule_email_entry_from_pss(list, &full);
  sch_add_schedule_email_entry(list, "full", "c");
}

class Sinks : public PlatformTest {
 protected:
  static std::string expected_on_standard_error(int32_t level) {
    std::string text;
    for (const auto &trace : traces)
      if (level > static_cast<int32_t>(trace.level)) text += trace.text + std::string("\n");
    return text;
  }
};

TEST_F(Sinks, history_takes_every_trace_with_its_level) {
  fake.buginf_allowed = false;
  leave_every_trace_once();
  ASSERT_EQ(fake.history.size(), std::size(traces));
  for (size_t i = 0; i < std::size(traces); ++i) {
    EXPECT_EQ(fake.history[i].text, traces[i].text);
    EXPECT_EQ(fake.history[i].subtype, traces[i].level) << traces[i].text;
    EXPECT_EQ(fake.history[i].module, 0x730000u);
  }
  EXPECT_THAT(fake.buginf, IsEmpty());
}

TEST_F(Sinks, buginf_takes_every_trace) {
  fake.history_allowed = false;
  leave_every_trace_once();
  ASSERT_EQ(fake.buginf.size(), std::size(traces));
  for (size_t i = 0; i < std::size(traces); ++i)
    EXPECT_EQ(fake.buginf[i], traces[i].text);
  EXPECT_THAT(fake.history, IsEmpty());
}

TEST_F(Sinks, standard_error_takes_the_traces_below_the_debug_level) {
  for (const int32_t level : {-1, 0, 102, 103, 104}) {
    reset_library();
    fake.reset();
    debug_level = level;
    cli_debug = 1;  // the command side's gate is not the database's
    EXPECT_EQ(capture(leave_every_trace_once).err, expected_on_standard_error(level)) << level;
  }
}

}  // namespace
