// SPDX-License-Identifier: Apache-2.0
// The calls and traces of the database in their order. Every trace goes to each open sink and to no closed one.
#include <gmock/gmock.h>

#include "tests/db/records.h"
#include "tests/platform/journal.h"

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

using DbConformance = PlatformTest;

const std::string full_name(32, 'n');

// With this allocation failing.
int add(const std::string &key, const std::string &value, int failing = 0) {
  fake.alloc.nth = failing;
  return add_config_entry(key, value);
}

std::function<int()> joined(size_t length) {
  return [=] {
    add_config_entry(stored_key(1, 0, "j"), bytes_of_hdr(0, 0, static_cast<uint32_t>(length)));
    for (uint32_t n = 1; n <= 3; ++n)
      add_config_entry(stored_key(1, n, "j"), std::string(SCH_FRAGMENT_SIZE, 'x'));
    fake.calls.clear();
    fake.history.clear();
    fake.buginf.clear();
    std::vector<char> text(length);
    return sch_concat_fragments(sch_job_list[0].fragments, text.data(), static_cast<int32_t>(length));
  };
}

const Conformance rows[] = {
    {"intake of a job whose name fills its field",
     [] {
       add_config_entry(stored_key(1, 0, full_name), bytes_of_hdr(0, 0, 4));
       add_config_entry(stored_key(1, 1, full_name), "text");
       sch_add_runtime_job_status_entry(&sch_running_config, make_status(0, full_name));
       return add_config_entry(stored_key(1, 0, full_name), bytes_of_hdr(0, 0, 4));
     },
     R"(mtrack_alloc 224 5 40 ; mtrack_alloc 224 6 12
103| job nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn key added
mtrack_alloc 224 5 40 ; mtrack_alloc 224 7 4
103| found job id 0
mtrack_free 5
103| job nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn (0) adding fragment 1
mtrack_alloc 224 4 44
102| adding status # 1 for job nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn
mtrack_alloc 224 5 40 ; mtrack_alloc 224 6 12
103| job nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn key already present, adding!
mtrack_free 5
= 0)"},
    {"intake of a schedule's key without memory", [] { return add(stored_key(0, 0, "s"), "value", 1); },
     R"(mtrack_alloc 224 5 40
103| add config entry ; \n
tarn_syslog 2 <<%SCHEDULER-2-SCH_SYSLOG_MALLOC_ERR>> Out of memory: add config entry
= -1)"},
    {"of its record", [] { return add(stored_key(0, 0, "s"), "value", 2); },
     R"(mtrack_alloc 224 5 40 ; mtrack_alloc 224 14 144
103| add schedule entry ; \n
tarn_syslog 2 <<%SCHEDULER-2-SCH_SYSLOG_MALLOC_ERR>> Out of memory: add schedule entry
= -1)"},
    {"of a job's header", [] { return add(stored_key(1, 0, "j"), "value", 2); },
     R"(mtrack_alloc 224 5 40 ; mtrack_alloc 224 6 12
103| add job entry ; \n
tarn_syslog 2 <<%SCHEDULER-2-SCH_SYSLOG_MALLOC_ERR>> Out of memory: add job entry
= -1)"},
    {"of a job's fragment", [] { return add(stored_key(1, 1, "j"), "value", 2); },
     R"(mtrack_alloc 224 5 40 ; mtrack_alloc 224 7 5
103| add job entry ; \n
tarn_syslog 2 <<%SCHEDULER-2-SCH_SYSLOG_MALLOC_ERR>> Out of memory: add job entry
= -1)"},
    {"an address without memory",
     [] {
       fake.alloc.nth = 1;
       return sch_add_schedule_email_entry(&sch_schedule_email_list, "n", "a");
     },
     R"(mtrack_alloc 224 14 716
103| add schedule email entry ; \n
tarn_syslog 2 <<%SCHEDULER-2-SCH_SYSLOG_MALLOC_ERR>> Out of memory: add schedule email entry
= -1)"},
    {"a text that is joined", joined(2500), R"(102| length 2500 fragments 3
103| fragment count 3 1024 ; fragment count 2 1024 ; fragment count 1 452
= 0)"},
    {"of whole fragments", joined(2048), R"(102| length 2048 fragments 2
103| fragment count 2 1024 ; fragment count 1 1024
= 0)"},
    {"of no length", joined(0), R"(102| length 0 fragments 0
= 0)"},
    {"of more than there is",
     [] { return sch_concat_fragments(nullptr, nullptr, 1) + sch_concat_fragments(nullptr, nullptr, INT32_MAX); },
     R"(102| length 1 fragments 1 ; length 2147483647 fragments 2097152
= 0)"},
    {"a job id beyond the table", [] { return add(stored_key(1, 0, "j"), bytes_of_hdr(0xffffffff, 0, 0)); },
     R"(mtrack_alloc 224 5 40 ; mtrack_alloc 224 6 12
103| invalid job id -1
mtrack_free 5 ; mtrack_free 6
= 0)"},
    {"what happens in silence: a fragment of no job, a status of no place, addresses of no schedule, a new entry",
     [] {
       sch_job_entry *slot = nullptr;
       add_config_entry(stored_key(1, 1, "j"), "text");
       sch_add_runtime_job_status_entry(&sch_running_config, make_status(256));
       sch_remove_schedule_email_entry(&sch_schedule_email_list, "s");
       sch_remove_schedule_email_addr(&sch_schedule_email_list, "s", "a");
       sch_add_new_schedule_email_entry(&sch_schedule_email_list, "s", "a");
       return sch_find_job(&sch_running_config, "j", &slot);
     },
     R"(mtrack_alloc 224 5 40 ; mtrack_alloc 224 7 4 ; mtrack_free 5 ; mtrack_free 7 ; mtrack_alloc 224 4 44
mtrack_free 4 ; mtrack_alloc 224 14 716
= -1)"},
    {"a job goes with all that it owns",
     [] {
       sch_job_entry *slot = add_job(3, "backup", 8), *found = nullptr;
       sch_add_job_data(&sch_running_config, make_key("backup", 1, 1), make_fragment("text"), &found);
       sch_add_runtime_job_status_entry(&sch_running_config, make_status(3));
       fake.calls.clear();
       sch_free_job_entry(slot);
       return 0;
     },
     R"(mtrack_free 5 ; mtrack_free 6 ; mtrack_free 7 ; mtrack_free 4
= 0)"},
    {"a schedule",
     [] {
       add_schedule("s");
       fake.calls.clear();
       sch_free_schedule_entry(&sch_running_config, sch_schedule_list);
       return 0;
     },
     R"(mtrack_free 5 ; mtrack_free 14 ; mtrack_free 14
= 0)"},
};

TEST_F(DbConformance, of_the_database) {
  const std::string entry = "mtrack_alloc 224 14 " + std::to_string(sizeof(sch_schedule_entry));
  expect_conformance(rows, [] {}, {{entry, "mtrack_alloc 224 14 (an entry)"}});
}

}  // namespace
