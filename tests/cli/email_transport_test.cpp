// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>

#include "tests/cli/exchange.h"

namespace {

using namespace cli_test;

constexpr uint32_t by_name = 0x40000002;

class EmailTransport : public CliTest {
 protected:
  static Outcome configure(uint32_t subcommand, Context &context, uint32_t negate = 0) {
    context->subcommand = subcommand;
    context->negate = negate;
    return run(sch_cli_config_email_transport, context);
  }
  static std::string settings(uint32_t opcode, const std::function<void(sch_email_transport &)> &fill) {
    return request<sch_email_transport>(opcode, fill);
  }
  static std::string server(const std::string &host, uint32_t kind = 1, uint32_t port = 25,
                            const std::string &vrf = "") {
    return settings(SCH_OP_SET_EMAIL_SMTP, [&](auto &record) {
      put(record.smtp.server, host);
      record.smtp.address_kind = htonl(kind);
      record.smtp.port = htonl(port);
      put(record.smtp.vrf, vrf);
    });
  }
};

TEST_F(EmailTransport, long_texts_are_cut_to_their_fields) {
  const std::string text(300, 'x'), cut(63, 'x');
  EXPECT_THAT(run({"", sch_cli_config_email_transport, SCH_EMAIL_FROM, {text}}).requests,
              ElementsAre(settings(SCH_OP_SET_EMAIL_FROM, [&](auto &record) { put(record.from, cut); })));
  EXPECT_THAT(run({"", sch_cli_config_email_transport, SCH_EMAIL_REPLYTO, {text}}).requests,
              ElementsAre(settings(SCH_OP_SET_EMAIL_REPLYTO, [&](auto &record) {
                put(record.reply_to, cut);
                put(record.reply_to_copy, cut);
              })));
  Context context;
  context.string_param(text, 0, by_name).string_param(text);
  EXPECT_THAT(configure(SCH_EMAIL_SMTP, context).requests,
              ElementsAre(server(text.substr(0, 255), 1, 25, text.substr(0, 255))));
}

TEST_F(EmailTransport, address_kind_follows_the_sub_kind_and_others_are_refused) {
  const std::map<uint32_t, uint32_t> kinds = {{0x40000002, 1}, {0x40000004, 2}, {8, 16}};
  for (uint32_t sub_kind : {0u, 1u, 2u, 4u, 8u, 16u, 0x40000002u, 0x40000004u, 0x40000008u, 0xffffffffu}) {
    Context context;
    context.string_param("host", 0, sub_kind);
    const Outcome outcome = configure(SCH_EMAIL_SMTP, context);
    if (kinds.contains(sub_kind)) {
      EXPECT_THAT(outcome.requests, ElementsAre(server("host", kinds.at(sub_kind))));
    } else {
      EXPECT_TRUE(refused(outcome, 1, "Invalid host address")) << sub_kind;
      EXPECT_EQ(outcome.freed, 1);
    }
  }
}

TEST_F(EmailTransport, a_number_behind_the_host_is_its_port_and_a_text_its_vrf_which_wins) {
  const struct {
    std::function<void(Context &)> add;
    std::string request;
  } rows[] = {
      {[](Context &) {}, server("host")},
      {[](Context &c) { c.integer_param(587); }, server("host", 1, 587)},
      {[](Context &c) { c.string_param("management"); }, server("host", 1, 25, "management")},
      {[](Context &c) { c.uri_param("x"); }, server("host")},
      {[](Context &c) { c.integer_param(587).string_param("blue"); }, server("host", 1, 587, "blue")},
      {[](Context &c) { c.string_param("a-longer-name").string_param("blue"); }, server("host", 1, 25, "blue")},
      {[](Context &c) { c.integer_param(587).integer_param(1); }, server("host", 1, 587)},
      {[](Context &c) { c.integer_param(587).string_param("of four").string_param("x"); }, server("host", 1, 587)},
      {[](Context &c) { c.raw_param(0, SCH_PARAM_INTEGER, nullptr).raw_param(0, SCH_PARAM_STRING, nullptr); },
       server("host")},
  };
  for (const auto &row : rows) {
    Context context;
    context.string_param("host", 0, by_name);
    row.add(context);
    EXPECT_THAT(configure(SCH_EMAIL_SMTP, context).requests, ElementsAre(row.request));
  }
}

TEST_F(EmailTransport, negated_forms_look_at_no_parameter) {
  const std::map<uint32_t, uint32_t> opcodes = {{SCH_EMAIL_FROM, SCH_OP_CLEAR_EMAIL_FROM},
                                                {SCH_EMAIL_REPLYTO, SCH_OP_CLEAR_EMAIL_REPLYTO},
                                                {SCH_EMAIL_SMTP, SCH_OP_CLEAR_EMAIL_SMTP}};
  for (const auto &[subcommand, opcode] : opcodes) {
    Context given;
    given.string_param("host", 0, 99).integer_param(587);
    EXPECT_THAT(configure(subcommand, given, 1).requests, ElementsAre(settings(opcode, [&](auto &record) {
                  if (subcommand == SCH_EMAIL_SMTP) record.smtp.port = htonl(25);
                })));
  }
}

TEST_F(EmailTransport, other_sub_commands_send_opcode_0_and_nothing) {
  for (uint32_t subcommand : {0u, 108u, 112u})
    for (uint32_t negate : {0u, 1u})
      EXPECT_THAT(run({"", sch_cli_config_email_transport, subcommand, {"text"}, negate}).requests,
                  ElementsAre(settings(0, [](auto &) {})));
}

TEST_F(EmailTransport, failures_carry_the_platform_s_text_and_are_handed_on) {
  for (uint32_t status : {exists, other_failure}) {
    fake.replies = {Reply::with("answer", status)};
    const Outcome outcome = run({"", sch_cli_config_email_transport, SCH_EMAIL_FROM, {"a@b"}});
    EXPECT_EQ(outcome.result, static_cast<int>(status));
    EXPECT_EQ(outcome.err, status_line("Error: ", status));
    EXPECT_EQ(outcome.freed, 2);
  }
}

}  // namespace
