// SPDX-License-Identifier: Apache-2.0
// How results are mailed: sender, reply-to, SMTP server. The request carries a whole transport record with only the
// setting's fields filled.
#include <arpa/inet.h>

#include <cstdio>
#include <utility>

#include "cli/exit_status.h"
#include "cli/parameters.h"
#include "cli/report.h"
#include "cli/request.h"
#include "db/text_field.h"

namespace {

struct HostKind {
  uint32_t sub_kind;
  uint32_t address_kind;
};
constexpr HostKind host_kinds[] = {{0x40000002, 1}, {0x40000004, 2}, {8, 16}};

uint32_t address_kind_of(const sch_cli_param &host) {
  for (const HostKind &kind : host_kinds) {
    if (kind.sub_kind == host.sub_kind) return kind.address_kind;
  }
  return 0;
}

void fill_from(const char *address, sch_email_transport *conf) {
  copy_text(conf->from, address);
}

void fill_reply_to(const char *address, sch_email_transport *conf) {
  copy_text(conf->reply_to, address);
  copy_text(conf->reply_to_copy, address);
}

void fill_server(const char *host, sch_email_transport *conf) {
  copy_text(conf->smtp.server, host);
}

struct Setting {
  uint32_t subcommand;
  uint32_t set_opcode;
  uint32_t clear_opcode;
  void (*fill)(const char *text, sch_email_transport *conf);
};
constexpr Setting settings[] = {
    {SCH_EMAIL_FROM, SCH_OP_SET_EMAIL_FROM, SCH_OP_CLEAR_EMAIL_FROM, fill_from},
    {SCH_EMAIL_REPLYTO, SCH_OP_SET_EMAIL_REPLYTO, SCH_OP_CLEAR_EMAIL_REPLYTO, fill_reply_to},
    {SCH_EMAIL_SMTP, SCH_OP_SET_EMAIL_SMTP, SCH_OP_CLEAR_EMAIL_SMTP, fill_server},
};

const Setting *find_setting(uint32_t subcommand) {
  for (const Setting &setting : settings) {
    if (setting.subcommand == subcommand) return &setting;
  }
  return nullptr;
}

// The second parameter is a port or a VRF, whichever it is; a VRF behind a port wins over it.
void fill_port_and_vrf(const sch_cli_cmd_ctx *ctx, sch_smtp_server_rec *smtp) {
  const sch_cli_param *second = parameter(ctx, 2);
  if (second != nullptr && is_integer(*second)) smtp->port = htonl(*static_cast<const uint32_t *>(second->value));
  if (second != nullptr && is_string(*second)) copy_text(smtp->vrf, static_cast<const char *>(second->value));
  const sch_cli_param *third = ctx->param_count == 3 ? parameter(ctx, 3) : nullptr;
  if (third != nullptr && is_string(*third)) copy_text(smtp->vrf, static_cast<const char *>(third->value));
}

int fill_smtp_details(const sch_cli_cmd_ctx *ctx, sch_smtp_server_rec *smtp) {
  const uint32_t kind = address_kind_of(*parameter(ctx, 1));
  if (kind == 0) {
    std::fputs("Invalid host address", stderr);
    return exit_refused;
  }
  smtp->address_kind = htonl(kind);
  fill_port_and_vrf(ctx, smtp);
  return exit_success;
}

int fill_setting(const sch_cli_cmd_ctx *ctx, const Setting &setting, sch_email_transport *conf) {
  const char *text = text_parameter(ctx, 1);
  if (text == nullptr) return report_missing_parameter();
  setting.fill(text, conf);
  return setting.subcommand == SCH_EMAIL_SMTP ? fill_smtp_details(ctx, &conf->smtp) : exit_success;
}

int fill(const sch_cli_cmd_ctx *ctx, RequestRecord *record) {
  const Setting *setting = find_setting(ctx->subcommand);
  if (setting == nullptr) return exit_success;  // meant: the request goes out with opcode 0 and an empty record
  auto *conf = record->payload<sch_email_transport>();
  record->set_opcode(ctx->negate != 0 ? setting->clear_opcode : setting->set_opcode);
  if (setting->subcommand == SCH_EMAIL_SMTP)
    conf->smtp.port = htonl(SCH_SMTP_PORT_DEFAULT);  // also when the server is cleared
  return ctx->negate != 0 ? exit_success : fill_setting(ctx, *setting, conf);
}

}  // namespace

int sch_cli_config_email_transport(const sch_cli_cmd_ctx *ctx) {
  cli_debug = ctx->debug;
  RequestRecord record(0, sizeof(sch_email_transport));
  if (!record) return exit_memory;
  const int result = fill(ctx, &record);
  if (result != exit_success) return result;
  const uint32_t status = exchange(std::move(record), ctx);
  if (status != 0) report_status("Error: ", status);  // reads "Error: : <text>": meant
  return static_cast<int>(status);
}
