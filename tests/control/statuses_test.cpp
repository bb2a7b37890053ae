// SPDX-License-Identifier: Apache-2.0
#include "control/statuses.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/errors.h"
#include "tests/error_texts.h"

namespace {

constexpr uint32_t codes[] = {
    control::err_no_such_job,
    control::err_no_such_schedule,
    control::err_job_table_full,
    control::err_bad_name,
    control::err_not_owner,
    control::err_text_too_long,
    control::err_already_assigned,
    control::err_not_assigned,
    control::err_too_many_schedules,
    control::err_not_stored,
    control::err_disabled,
    control::err_too_many_addresses,
    control::err_no_such_address,
    control::err_no_startup,
    control::err_control_character,
    control::err_too_many_own_schedules,
    control::err_too_many_own_jobs,
    control::err_log_too_large,
    control::err_no_such_run,
    control::err_run_under_way,
    control::err_no_jobs,
    control::err_no_history_of_run,
    control::err_no_output_of_run,
    control::err_not_allowed,
    control::err_standby,
    control::err_active,
};

class Statuses : public testing::Test {
 protected:
  void SetUp() override { control::use_error_texts(); }
};

TEST_F(Statuses, have_a_text_of_their_own_each) {
  ::error_texts::expect_a_text_of_its_own_each(codes);
}

TEST_F(Statuses, have_texts_that_begin_in_lower_case_and_end_without_a_full_stop) {
  ::error_texts::expect_lower_case_and_no_full_stop(codes);
}

TEST_F(Statuses, name_the_limit_in_use) {
  control::use_error_texts([] {
    control::ConfiguredLimits limits;
    limits.schedules = 7;
    limits.schedules_per_user = 6;
    limits.jobs_per_user = 5;
    limits.job_text = 4;
    limits.log_size = 3;
    return limits;
  });
  constexpr struct {
    uint32_t code;
    const char *text;
  } rows[] = {
      {control::err_too_many_schedules, "the limit of 7 schedules of all users"},
      {control::err_too_many_own_schedules, "the limit of 6 schedules of one user"},
      {control::err_too_many_own_jobs, "the limit of 5 jobs of one user"},
      {control::err_text_too_long, "longer than the 4 bytes"},
      {control::err_log_too_large, "larger than the 3 KB"},
  };
  for (const auto &row : rows)
    EXPECT_NE(std::string(syserr2str(row.code)).find(row.text), std::string::npos) << syserr2str(row.code);
}

TEST_F(Statuses, name_the_default_limits_before_a_service_was_asked) {
  EXPECT_NE(std::string(syserr2str(control::err_too_many_own_schedules)).find("1000"), std::string::npos);
}

}  // namespace
