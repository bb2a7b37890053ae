// SPDX-License-Identifier: Apache-2.0
// The lines of the configuration that belong to no job and no schedule: log file and e-mail transport.
#include <arpa/inet.h>

#include <cstdio>

#include "cli/exit_status.h"
#include "show/request.h"

namespace {

// Of the transport record everything up to the port is read.
constexpr uint64_t transport_bytes_read =
    offsetof(sch_email_transport, smtp) + offsetof(sch_smtp_server_rec, port) + sizeof(uint32_t);
static_assert(transport_bytes_read == 456);

void print_smtp_server(const sch_smtp_server_rec &smtp) {
  const int port = static_cast<int>(ntohl(smtp.port));
  std::printf("  scheduler transport email smtp-server %.256s", smtp.server);
  if (port != SCH_SMTP_PORT_DEFAULT) std::printf(" port %d", port);
  std::putchar('\n');
}

void print_transport(const sch_email_transport &transport) {
  if (transport.from[0] != '\0') std::printf("  scheduler transport email from %.64s\n", transport.from);
  // The two blanks before the address are meant.
  if (transport.reply_to[0] != '\0') std::printf("  scheduler transport email reply-to  %.64s\n", transport.reply_to);
  if (transport.smtp.server[0] != '\0') print_smtp_server(transport.smtp);
}

}  // namespace

int get_log_file_config(const sch_cli_cmd_ctx *ctx) {
  sch_request_header request = {SCH_OP_SHOW_LOG_CONFIG, 0};
  show::Reply reply(sizeof request);
  if (!show::ask_service(ctx, SCH_CLASS_SHOW, &request, &reply)) return show::exit_transport_error;
  if (!reply.holds(sizeof(sch_log_config_reply))) return show::report_incomplete_reply();
  std::puts("config terminal");
  std::puts("  feature scheduler");
  std::printf("  scheduler logfile size %d\n", reply.as<sch_log_config_reply>()->size / SCH_LOG_SIZE_UNIT);
  return exit_success;
}

int sch_cli_get_email_transport_config(const sch_cli_cmd_ctx *ctx) {
  sch_request_header request = {SCH_OP_SHOW_EMAIL_CONFIG, 0};
  show::Reply reply(sizeof request);
  if (!show::ask_service(ctx, SCH_CLASS_EMAIL, &request, &reply)) return show::exit_transport_error;
  if (reply.is_null()) return exit_success;
  if (!reply.holds(transport_bytes_read)) return show::report_incomplete_reply();
  print_transport(*reply.as<sch_email_transport>());
  return exit_success;
}
