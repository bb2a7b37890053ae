// SPDX-License-Identifier: Apache-2.0
#include "db/job_names.h"

#include <random>

#include "tests/db/records.h"

using namespace db_test;

namespace {

class JobNames : public platform_test::PlatformTest {
 protected:
  static int walked(const std::string &name) { return slot_named(&sch_running_config, name.c_str()); }

  // The same within a session, where the names are in a table.
  static int found(const std::string &name) {
    const job_name_session session(&sch_running_config);
    return walked(name);
  }
};

TEST_F(JobNames, a_session_finds_what_a_walk_finds) {
  add_job(0, "first");
  add_job(255, "last");
  add_job(7, std::string(32, 'x'));
  for (const std::string &name : {std::string("first"), std::string("last"), std::string(32, 'x'), std::string(31, 'x'),
                                  std::string("firs"), std::string("first-"), std::string()})
    EXPECT_EQ(found(name), walked(name)) << name;
  EXPECT_EQ(found("last"), 255);
}

TEST_F(JobNames, of_slots_of_one_name_the_lowest_is_found_whatever_came_first) {
  const job_name_session session(&sch_running_config);
  add_job(9, "twice");
  EXPECT_EQ(walked("twice"), 9);
  add_job(4, "twice");
  EXPECT_EQ(walked("twice"), 4);
  add_job(6, "twice");
  EXPECT_EQ(walked("twice"), 4);
}

TEST_F(JobNames, a_second_header_of_a_slot_leaves_it_its_name) {
  const job_name_session session(&sch_running_config);
  add_job(3, "kept");
  add_job(3, "refused");
  EXPECT_EQ(walked("kept"), 3);
  EXPECT_EQ(walked("refused"), -1);
}

TEST_F(JobNames, a_full_table_of_names_is_found_in_a_session) {
  std::mt19937 random(7);
  const job_name_session session(&sch_running_config);
  for (uint32_t id = 0; id < SCH_MAX_JOBS; id++)
    add_job(id, "job-" + std::to_string(random() % 1000000) + "-" + std::to_string(id));
  for (int id = 0; id < SCH_MAX_JOBS; id++)
    EXPECT_EQ(walked(sch_job_list[id].key->name), id);
  EXPECT_EQ(walked("job"), -1);
}

TEST_F(JobNames, another_table_is_walked_during_a_session) {
  const job_name_session session(&sch_startup_config);
  add_job(5, "running");
  EXPECT_EQ(walked("running"), 5);
  EXPECT_EQ(slot_named(&sch_startup_config, "running"), -1);
}

TEST_F(JobNames, outside_a_session_a_slot_is_anybodys_to_change) {
  add_job(5, "before");
  EXPECT_EQ(found("before"), 5);
  set_text(sch_job_list[5].key->name, "after");
  EXPECT_EQ(walked("before"), -1);
  EXPECT_EQ(walked("after"), 5);
}

}  // namespace
