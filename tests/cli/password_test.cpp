// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "platform/security.h"
#include "tests/cli/exchange.h"
#include "tests/cli/freed_blocks.h"

namespace {

using namespace cli_test;

constexpr uint32_t user_name = 105, clear = 106, sealed = 107;
constexpr int success = 8, failure = 9;

std::string config_call(int operation, const std::string &user, int form, const std::string &password) {
  return "cmi_security_user_config 42 " + std::to_string(operation) + " user=" + user +
         " kind=2 form=" + std::to_string(form) + " password=" + password;
}

class Password : public CliTest {
 protected:
  static Outcome command(Context &context, uint32_t negate = 0) {
    context->negate = negate;
    return run(sch_cli_aaa_auth_passwd, context);
  }
};

TEST_F(Password, a_sealed_password_is_stored_with_its_form) {
  Context context;
  context.string_param("xyz", sealed);
  EXPECT_EQ(command(context).result, success);
  EXPECT_EQ(fake.calls.at(0), config_call(3, "admin", 7, "xyz"));
}

TEST_F(Password, another_user_s_name_replaces_the_operator_s_in_any_order) {
  Context before, behind;
  before.string_param("bob", user_name).string_param("secret", clear);
  behind.string_param("secret", clear).string_param("bob", user_name);
  for (Context *context : {&before, &behind}) {
    fake.calls.clear();
    fake.security_records.clear();
    EXPECT_EQ(command(*context).result, success);
    EXPECT_THAT(fake.calls, UnorderedElementsAre(config_call(3, "bob", 0, "secret"), "check_if_user_remote 42 bob"));
    sch_security_user_rec expected{};  // nothing of "admin" behind "bob"
    std::strcpy(expected.user_name, "bob");
    expected.kind = 2;
    std::strcpy(expected.password, "secret");
    EXPECT_EQ(std::memcmp(&fake.security_records.at(0), &expected, sizeof expected), 0);
  }
}

TEST_F(Password, other_identifiers_are_ignored_whatever_they_hold) {
  Context context;
  context.string_param("x", 104).integer_param(3, 108).raw_param(0, SCH_PARAM_STRING, nullptr).string_param("s", clear);
  EXPECT_EQ(command(context).result, success);
  EXPECT_EQ(fake.calls.at(0), config_call(3, "admin", 0, "s"));
}

TEST_F(Password, values_that_are_no_strings_fail_before_anything_happens) {
  for (uint32_t id : {user_name, clear, sealed}) {
    Context integer, null, unknown;
    integer.integer_param(7, id);
    null.raw_param(id, SCH_PARAM_STRING, nullptr);
    unknown.raw_param(id, 2, "text");
    for (Context *context : {&integer, &null, &unknown})
      for (uint32_t negate : {0u, 1u})
        EXPECT_TRUE(refused(command(*context, negate), failure, "")) << id;
  }
  EXPECT_THAT(fake.calls, IsEmpty());
}

TEST_F(Password, long_values_are_cut_to_their_fields_and_the_name_tried_whole) {
  Context context;
  context.string_param(std::string(300, 'u'), user_name).string_param(std::string(300, 'p'), clear);
  EXPECT_EQ(command(context).result, success);
  EXPECT_THAT(fake.calls, UnorderedElementsAre(config_call(3, std::string(127, 'u'), 0, std::string(127, 'p')),
                                               "check_if_user_remote 42 " + std::string(127, 'u')));
}

TEST_F(Password, removal_for_another_user) {
  Context context;
  context.string_param("bob", user_name);
  EXPECT_EQ(command(context, 1).result, success);
  EXPECT_THAT(fake.calls, ElementsAre(config_call(4, "bob", 0, "")));
}

TEST_F(Password, the_platform_s_refusal_is_silent_for_minus_one_and_named_otherwise) {
  for (uint32_t negate : {0u, 1u}) {
    Context context;
    context.string_param("secret", clear);
    fake.security_result = -1;
    EXPECT_TRUE(refused(command(context, negate), failure, ""));
    fake.security_result = 0x40be0001;
    EXPECT_TRUE(refused(command(context, negate), failure, status_line("Error", 0x40be0001)));
  }
  EXPECT_THAT(fake.calls_with("check_if_user_remote"), IsEmpty());
}

TEST_F(Password, a_password_that_aaa_refuses_is_reported) {
  fake.remote_users = {"admin"};
  fake.aaa_words[1] = 0;
  Context context;
  context.string_param("secret", clear);
  EXPECT_TRUE(refused(command(context), failure, status_line("Error", 0x40bd000f)));
}

TEST_F(Password, no_user_name_at_all_is_reported_by_the_check) {
  Context context;
  context->user_name[0] = '\0';
  context.string_param("secret", clear);
  EXPECT_TRUE(refused(command(context), failure, status_line("Error", 0x40bd0007)));
}

TEST_F(Password, the_record_is_wiped_whether_it_was_stored_or_not) {
  Context stored, refused_one;
  stored.string_param("secret", clear);
  refused_one.string_param("secret", clear).integer_param(1, user_name);
  for (Context *context : {&stored, &refused_one}) {
    wiped().clear();
    command(*context);
    ASSERT_FALSE(wiped().empty());
    const std::string &record = wiped().back();
    ASSERT_EQ(record.size(), sizeof(sch_security_user_rec));
    EXPECT_STREQ(record.c_str() + offsetof(sch_security_user_rec, password), "secret");
  }
}

}  // namespace
