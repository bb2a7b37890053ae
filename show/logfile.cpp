// SPDX-License-Identifier: Apache-2.0
// The job log arrives as a stream: one request, a message for each entry, further messages for long output.
#include <cstdio>

#include "cli/exit_status.h"
#include "cli/free_ptr.h"
#include "cli/report.h"
#include "cli/request.h"
#include "db/text_field.h"
#include "diag/trace.h"
#include "platform/debug.h"
#include "show/log_stream.h"
#include "show/request.h"

namespace {

constexpr uint32_t service_destination = 0xfe000000;

uint32_t send(const sch_cli_cmd_ctx *ctx, const show::Request *request, cmi_sent_request *sent) {
  const FieldText user_name(ctx->user_name);
  const FieldText peer_name(ctx->peer_name);
  return cmi_send_request(SCH_SERVICE_SHOW, SCH_CLASS_SHOW, request, sizeof *request, user_name.text, peer_name.text,
                          service_destination, transport_constant, ctx->shell_handle, sent);
}

// Only the answers to this one request.
mts_selector selector_of(const cmi_sent_request *sent) {
  return {{1, 0, 0, mts_rr_token_get(sent)}};
}

}  // namespace

int display_log_entries(uint32_t mts_handle, const cmi_sent_request *sent) {
  const mts_selector selector = selector_of(sent);
  for (;;) {
    show::Reply reply(show::log_length_preset);
    if (!show::receive_log_message(mts_handle, &selector, &reply)) return -1;
    // An empty log is told by the count alone.
    if (reply.holds(sizeof(uint32_t)) && *reply.as<uint32_t>() == 0) return 0;
    const sch_log_entry *message = show::complete_log_message(reply);
    if (message == nullptr) return -1;
    SCH_TRACE_CLI("***LOG ENTRY count %d entry %d", static_cast<int>(message->count),
                  static_cast<int>(message->number));
    collate_and_display_log(mts_handle, message, &selector);  // one entry's failure does not end the listing
    if (message->number == message->count) return 0;
  }
}

int sch_cli_show_logfile(const sch_cli_cmd_ctx *ctx) {
  cli_debug = ctx->debug;
  const FreePtr<show::Request> request = show::new_request(SCH_OP_SHOW_LOG);
  if (!request) return exit_memory;
  if (!show::take_name(ctx, request.get())) return report_missing_parameter();
  cmi_sent_request sent = {};
  const uint32_t status = send(ctx, request.get(), &sent);
  if (status != 0) {
    report_status("Error", status);
    return static_cast<int>(status);
  }
  display_log_entries(ctx->shell_handle, &sent);
  return exit_success;
}

int sch_cli_show_memstats(const sch_cli_cmd_ctx *ctx) {
  const uint32_t argument[2] = {0, 1};
  sdwrap_debug_dump(ctx->shell_handle, service_destination, transport_constant, argument, "mtrack_dump_memstats");
  return exit_success;
}
