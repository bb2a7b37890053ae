// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <cstring>

#include "tests/cli/exchange.h"

namespace {

using cli_test::Context;
using cli_test::fake;
using cli_test::Outcome;
using cli_test::Record;
using cli_test::refused;
using cli_test::run;
using cli_test::status_line;
using platform_test::Reply;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t from = 109, reply_to = 110, smtp = 111;
constexpr uint32_t by_name = 0x40000002;

class EmailTransport : public cli_test::CliTest {
 protected:
  static Outcome configure(uint32_t subcommand, Context &context, uint32_t negate = 0) {
    context->subcommand = subcommand;
    context->negate = negate;
    return run(sch_cli_config_email_transport, context);
  }
  static Outcome address(uint32_t subcommand, const std::string &text) {
    Context context({text});
    return configure(subcommand, context);
  }
  static Record server(const std::string &host, uint32_t kind = 1, uint32_t port = 25, const std::string &vrf = "") {
    return Record(17, 712).text(200, host).network_word(456, kind).network_word(460, port).text(464, vrf);
  }
};

// In host byte order; the fixture gives the globals as they were loaded.
TEST_F(EmailTransport, the_settings_are_loaded_with_kind_1_port_25_and_the_management_vrf) {
  sch_email_transport expected = {};
  expected.smtp.address_kind = 1;
  expected.smtp.port = 25;
  std::strcpy(expected.smtp.vrf, "management");
  EXPECT_EQ(std::memcmp(&email_transport_conf, &expected, sizeof expected), 0);
}

TEST_F(EmailTransport, sender_fills_its_field) {
  const Outcome outcome = address(from, "switch@example.org");
  EXPECT_EQ(outcome.result, 0) << outcome;
  EXPECT_EQ(outcome.out + outcome.err, "");
  EXPECT_THAT(outcome.requests, ElementsAre(Record(13, 712).text(8, "switch@example.org").hex()));
  EXPECT_THAT(fake.calls, ElementsAre("cmi_req_resp 5950 3"));
  EXPECT_THAT(fake.history, IsEmpty());
}

TEST_F(EmailTransport, reply_to_fills_its_field_and_the_copy) {
  EXPECT_THAT(address(reply_to, "ops@example.org").requests,
              ElementsAre(Record(15, 712).text(72, "ops@example.org").text(136, "ops@example.org").hex()));
}

TEST_F(EmailTransport, long_texts_are_cut_to_their_fields) {
  const std::string text(300, 'x');
  EXPECT_THAT(address(from, text).requests, ElementsAre(Record(13, 712).text(8, text.substr(0, 63)).hex()));
  EXPECT_THAT(address(reply_to, text).requests,
              ElementsAre(Record(15, 712).text(72, text.substr(0, 63)).text(136, text.substr(0, 63)).hex()));
  Context context;
  context.string_param(text, 0, by_name).string_param(text);
  EXPECT_THAT(configure(smtp, context).requests,
              ElementsAre(server(text.substr(0, 255), 1, 25, text.substr(0, 255)).hex()));
}

TEST_F(EmailTransport, server_has_port_25_unless_given) {
  Context context;
  context.string_param("mail.example.org", 0, by_name);
  EXPECT_THAT(configure(smtp, context).requests, ElementsAre(server("mail.example.org").hex()));
}

TEST_F(EmailTransport, server_golden_bytes) {
  Context context;
  context.string_param("m", 0, 8).integer_param(0x01020304).string_param("v");
  EXPECT_THAT(configure(smtp, context).requests,
              ElementsAre("11000000c8020000" + std::string(2 * 192, '0') + "6d" + std::string(2 * 255, '0') +
                          "00000010" + "01020304" + "76" + std::string(2 * 255, '0')));
}

TEST_F(EmailTransport, address_kind_follows_the_sub_kind) {
  const struct { uint32_t sub_kind, kind; } rows[] = {{0x40000002, 1}, {0x40000004, 2}, {8, 16}};
  for (const auto &row : rows) {
    Context context;
    context.string_param("host", 0, row.sub_kind);
    EXPECT_THAT(configure(smtp, context).requests, ElementsAre(server("host", row.kind).hex()));
  }
}

TEST_F(EmailTransport, other_sub_kinds_are_refused) {
  for (uint32_t sub_kind : {0u, 1u, 2u, 4u, 16u, 0x40000008u, 0xffffffffu}) {
    Context context;
    context.string_param("host", 0, sub_kind);
    const Outcome outcome = configure(smtp, context);
    EXPECT_TRUE(refused(outcome, 1, "Invalid host address")) << sub_kind;
    EXPECT_EQ(outcome.freed, 1);
  }
}

TEST_F(EmailTransport, second_parameter_is_port_or_vrf_by_its_kind) {
  Context port;
  port.string_param("host", 0, by_name).integer_param(587);
  EXPECT_THAT(configure(smtp, port).requests, ElementsAre(server("host", 1, 587).hex()));
  Context vrf;
  vrf.string_param("host", 0, by_name).string_param("management");
  EXPECT_THAT(configure(smtp, vrf).requests, ElementsAre(server("host", 1, 25, "management").hex()));
  Context neither;
  neither.string_param("host", 0, by_name).uri_param("x");
  EXPECT_THAT(configure(smtp, neither).requests, ElementsAre(server("host").hex()));
}

TEST_F(EmailTransport, third_parameter_is_a_vrf_and_wins) {
  Context both;
  both.string_param("host", 0, by_name).integer_param(587).string_param("blue");
  EXPECT_THAT(configure(smtp, both).requests, ElementsAre(server("host", 1, 587, "blue").hex()));
  Context twice;
  twice.string_param("host", 0, by_name).string_param("a-longer-name").string_param("blue");
  EXPECT_THAT(configure(smtp, twice).requests, ElementsAre(server("host", 1, 25, "blue").hex()));
  Context number;
  number.string_param("host", 0, by_name).string_param("red").integer_param(587);
  EXPECT_THAT(configure(smtp, number).requests, ElementsAre(server("host", 1, 25, "red").hex()));
}

TEST_F(EmailTransport, third_of_four_parameters_is_not_read) {
  Context context;
  context.string_param("host", 0, by_name).integer_param(587).string_param("blue").string_param("x");
  EXPECT_THAT(configure(smtp, context).requests, ElementsAre(server("host", 1, 587).hex()));
}

TEST_F(EmailTransport, negated_forms_send_an_empty_record_the_server_s_with_port_25) {
  const struct { uint32_t subcommand, opcode, port; } rows[] = {{from, 14, 0}, {reply_to, 16, 0}, {smtp, 18, 25}};
  for (const auto &row : rows) {
    Context bare;
    EXPECT_THAT(configure(row.subcommand, bare, 1).requests,
                ElementsAre(Record(row.opcode, 712).network_word(460, row.port).hex()));
    Context given;
    given.string_param("host", 0, 99).integer_param(587);
    EXPECT_THAT(configure(row.subcommand, given, 1).requests,
                ElementsAre(Record(row.opcode, 712).network_word(460, row.port).hex()));
  }
}

TEST_F(EmailTransport, other_sub_commands_send_opcode_0_and_nothing) {
  for (uint32_t subcommand : {0u, 108u, 112u}) {
    for (uint32_t negate : {0u, 1u}) {
      Context context({"text"});
      EXPECT_THAT(configure(subcommand, context, negate).requests, ElementsAre(Record(0, 712).hex()));
    }
  }
}

TEST_F(EmailTransport, failures_carry_the_platform_s_text_and_are_handed_on) {
  for (uint32_t status : {0x40bd0002u, 0x40be0001u}) {
    fake.replies = {Reply::with("answer", status)};
    const Outcome outcome = address(from, "a@b");
    EXPECT_EQ(outcome.result, static_cast<int>(status));
    EXPECT_EQ(outcome.err, "Error: : " + platform_test::error_text(status) + "\n");
    EXPECT_EQ(outcome.freed, 2);
  }
}

}  // namespace
