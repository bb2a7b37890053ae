// SPDX-License-Identifier: Apache-2.0
#include "platform/errors.h"

#include <gtest/gtest.h>

#include <utility>

#include "host/errors.h"
#include "host/status.h"
#include "schedcli.h"
#include "tests/error_texts.h"

namespace {

constexpr uint32_t codes[] = {
    SCH_STATUS_EXISTS,
    SCH_STATUS_NO_USER_NAME,
    SCH_STATUS_BAD_TIME_FORMAT,
    SCH_STATUS_TIME_OUT_OF_RANGE,
    SCH_STATUS_TIME_IN_PAST,
    SCH_STATUS_AUTHENTICATION_FAILED,
    SCH_STATUS_NO_PASSWORD,
    PSS_ERR_EXISTS,
    PSS_ERR_NO_KEY,
    host::err_not_running,
    host::err_not_permitted,
    host::err_too_large,
    host::err_timed_out,
    host::err_bad_reply,
    host::err_bad_request,
    host::err_unknown_service,
    host::err_unknown_opcode,
    host::err_absent,
    host::err_no_memory,
    host::err_busy,
    host::err_io,
    host::err_too_many_connections,
    host::err_too_many_streams,
    host::err_store_bad_handle,
    host::err_store_limit,
    host::err_store_full,
    host::err_store_absent,
    host::err_store_unusable,
    host::err_store_io,
    host::err_store_uri,
    host::err_store_busy,
    host::err_feature_enabled,
    host::err_feature_disabled,
    host::err_feature_unknown,
    host::err_bad_value,
    host::err_cut_off,
    host::err_state_newer,
    host::err_account_refused,
    host::err_password_too_long,
    host::err_store_gone,
};

TEST(error_texts, each_code_has_a_text_of_its_own) {
  ::error_texts::expect_a_text_of_its_own_each(codes);
}

// A shell and a service of different versions exchange them.
TEST(error_codes, have_the_same_numbers_in_every_version) {
  constexpr std::pair<uint32_t, uint32_t> numbers[] = {
      {host::err_bad_value, 0x40bd002d},
      {host::err_absent, 0x40be0010},
      {host::err_state_newer, 0x40be0012},
      {host::err_not_running, 0x40be0001},
      {host::err_not_permitted, 0x40be0002},
      {host::err_too_large, 0x40be0003},
      {host::err_timed_out, 0x40be0004},
      {host::err_bad_reply, 0x40be0005},
      {host::err_bad_request, 0x40be0006},
      {host::err_unknown_service, 0x40be0007},
      {host::err_unknown_opcode, 0x40be0008},
      {host::err_no_memory, 0x40be0009},
      {host::err_busy, 0x40be000a},
      {host::err_io, 0x40be000b},
      {host::err_cut_off, 0x40be000c},
      {host::err_too_many_connections, 0x40be000e},
      {host::err_too_many_streams, 0x40be000f},
      {host::err_account_refused, 0x40be0011},
      {host::err_password_too_long, 0x40be000d},
      {host::err_store_bad_handle, 0x40480004},
      {host::err_store_limit, 0x40480005},
      {host::err_store_full, 0x40480006},
      {host::err_store_absent, 0x40480007},
      {host::err_store_unusable, 0x40480008},
      {host::err_store_io, 0x40480009},
      {host::err_store_uri, 0x4048000a},
      {host::err_store_busy, 0x4048000b},
      {host::err_store_gone, 0x4048000c},
      {host::err_feature_enabled, 0x40aa0005},
      {host::err_feature_disabled, 0x40aa0006},
      {host::err_feature_unknown, 0x40aa0007},
  };
  for (const auto &[code, number] : numbers)
    EXPECT_EQ(code, number) << syserr2str(code);
}

TEST(error_texts, begin_in_lower_case_and_end_without_a_full_stop) {
  ::error_texts::expect_lower_case_and_no_full_stop(codes);
}

TEST(error_texts, both_codes_of_a_time_format_have_one_text) {
  EXPECT_STREQ(syserr2str(SCH_STATUS_BAD_TIME_FORMAT_2), syserr2str(SCH_STATUS_BAD_TIME_FORMAT));
}

TEST(error_texts, a_service_that_is_not_running_says_what_to_do) {
  EXPECT_STREQ(syserr2str(host::err_not_running),
               "the scheduler service is not running; start schedd, or check the state directory");
}

TEST(error_texts, a_program_adds_its_own) {
  host::use_error_texts([](uint32_t code) {
    constexpr host::ErrorText own[] = {{0x41000001, "own"}, {SCH_STATUS_EXISTS, "not for a program to change"}};
    return host::find_text(own, code);
  });
  EXPECT_STREQ(syserr2str(0x41000001), "own");
  EXPECT_STREQ(syserr2str(SCH_STATUS_EXISTS), "it exists already");
  EXPECT_EQ(host::error_of(0x41000001).text, "own");
  host::use_error_texts(nullptr);
  EXPECT_STREQ(syserr2str(0x41000001), "unknown error 0x41000001");
}

TEST(error_texts, an_unknown_code_shows_its_number) {
  EXPECT_STREQ(syserr2str(0x4000beef), "unknown error 0x4000beef");
  EXPECT_STREQ(syserr2str(0x1), "unknown error 0x00000001");
}

TEST(error_texts, zero_is_success) {
  EXPECT_STREQ(syserr2str(0), "success");
}

}  // namespace
