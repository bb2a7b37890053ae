// SPDX-License-Identifier: Apache-2.0
#include "tests/shell/recorder.h"

#include <cstdio>
#include <cstring>

#include "control/operations.h"
#include "control/statuses.h"
#include "host/errors.h"
#include "host/files/uri.h"
#include "host/store/store.h"
#include "platform/feature.h"
#include "schedcli.h"
#include "shell/context.h"

namespace recorder {

std::vector<std::string> calls;
std::map<std::string, int> statuses;
std::map<std::string, std::string> messages;
std::string shown_log, user_name, peer_name;
unsigned shell_handle, debug;
host::Bytes control_reply;
uint32_t control_status;
std::map<control::Operation, uint32_t> control_statuses;
std::map<control::Operation, host::Bytes> control_replies;
std::map<control::Operation, std::vector<std::string>> control_payloads;

void reset() {
  control::use_error_texts();
  calls.clear();
  statuses.clear();
  messages.clear();
  control_statuses.clear();
  control_replies.clear();
  control_payloads.clear();
  objects.clear();
  objects_then.clear();
  control_reply.clear();
  shown_log.clear();
  control_status = 0;
}

namespace {

int status_of(const std::string &name) {
  if (const auto message = messages.find(name); message != messages.end()) std::fputs(message->second.c_str(), stderr);
  const auto found = statuses.find(name);
  return found == statuses.end() ? 0 : found->second;
}

std::string quoted(const void *text) {
  return "\"" + std::string(static_cast<const char *>(text)) + "\"";
}

std::string shown(const sch_cli_param &param) {
  std::string text = param.id != 0 ? std::to_string(param.id) + "=" : "";
  switch (param.kind) {
    case SCH_PARAM_STRING:
      text += quoted(param.value);
      break;
    case SCH_PARAM_INTEGER:
      text += std::to_string(*static_cast<const uint32_t *>(param.value));
      break;
    case shell::value_is_file:
      text += "<" + host::file_uri_text(*static_cast<const host::FileUri *>(param.value)) + ">";
      break;
    default:
      text += "?";
  }
  if (param.sub_kind == 0) return text;
  char kind[16];
  std::snprintf(kind, sizeof kind, "@%x", param.sub_kind);
  return text + kind;
}

template <typename Record>
Record take(std::span<const std::byte> *payload) {
  Record record = {};
  if (payload->size() < sizeof record) return record;
  std::memcpy(&record, payload->data(), sizeof record);
  *payload = payload->subspan(sizeof record);
  return record;
}

std::string word_of(control::Operation operation) {
  using control::Operation;
  static const std::map<Operation, const char *> words = {
      {Operation::history, "history"},
      {Operation::running_text, "running_text"},
      {Operation::startup_text, "startup_text"},
      {Operation::copy_running_startup, "copy_running_startup"},
      {Operation::set_logging_level, "set_logging_level"},
      {Operation::get_logging_level, "get_logging_level"},
      {Operation::get_zone, "get_zone"},
      {Operation::status, "status"},
      {Operation::take_over, "take_over"},
      {Operation::show_history, "show_history"},
      {Operation::show_upcoming, "show_upcoming"},
      {Operation::run_schedule, "run_schedule"},
      {Operation::kill_run, "kill_run"},
      {Operation::enable_schedule, "enable_schedule"},
      {Operation::disable_schedule, "disable_schedule"},
      {Operation::find, "find"},
      {Operation::names, "names"},
      {Operation::overview, "overview"},
      {Operation::explain_time, "explain_time"},
      {Operation::raw_output, "raw_output"},
      {Operation::put_configuration, "put_configuration"},
      {Operation::apply_configuration, "apply_configuration"},
  };
  const auto word = words.find(operation);
  return word == words.end() ? std::to_string(static_cast<uint32_t>(operation)) : word->second;
}

// Of what the payload's record has in front, its numbers; then the text behind it.
std::string shown(control::Operation operation, std::span<const std::byte> payload) {
  std::string text;
  const auto add = [&](uint64_t number) { text += " " + std::to_string(number); };
  if (operation == control::Operation::show_history) {
    const auto query = take<control::HistoryQuery>(&payload);
    for (const uint64_t number : {query.run, uint64_t{query.count}, uint64_t{query.failed_only}})
      add(number);
    if (query.since != 0) text += " since " + std::to_string(query.since);
    if (query.job[0] != 0) text += std::string(" job ") + query.job;
  } else if (operation == control::Operation::show_upcoming) {
    add(take<control::UpcomingQuery>(&payload).count);
  } else if (operation == control::Operation::kill_run || operation == control::Operation::raw_output) {
    add(take<uint64_t>(&payload));
  } else if (operation == control::Operation::find || operation == control::Operation::names) {
    text += take<control::ObjectKind>(&payload) == control::ObjectKind::job ? " job" : " schedule";
  } else if (operation == control::Operation::set_logging_level) {
    add(take<uint32_t>(&payload));
  }
  const std::string rest(reinterpret_cast<const char *>(payload.data()), payload.size());
  return rest.empty() ? text : text + " \"" + rest + "\"";
}

int record(const char *name, const sch_cli_cmd_ctx *ctx) {
  std::string call = name;
  if (ctx->negate != 0 || ctx->subcommand != 0) call += ctx->negate != 0 ? " no" : " ";
  if (ctx->subcommand != 0) call += "/" + std::to_string(ctx->subcommand);
  for (unsigned i = 0; i < ctx->param_count; i++)
    call += " " + shown(*ctx->params[i]);
  calls.push_back(call);
  user_name = ctx->user_name;
  peer_name = ctx->peer_name;
  shell_handle = ctx->shell_handle;
  debug = ctx->debug;
  return status_of(name);
}

}  // namespace
}  // namespace recorder

using recorder::record;

extern "C" {

int sch_cli_create_delete_job(const sch_cli_cmd_ctx *ctx) {
  return record("create_delete_job", ctx);
}
int sch_cli_semicolon_delimiter_define_job(const sch_cli_cmd_ctx *ctx) {
  return record("semicolon_define", ctx);
}
int sch_cli_create_delete_schedule(const sch_cli_cmd_ctx *ctx) {
  return record("create_delete_schedule", ctx);
}
int sch_cli_modify_schedule(const sch_cli_cmd_ctx *ctx) {
  return record("modify_schedule", ctx);
}
int sch_cli_modify_schedule_emailaddr(const sch_cli_cmd_ctx *ctx) {
  return record("emailaddr", ctx);
}
int sch_cli_logfile_resize(const sch_cli_cmd_ctx *ctx) {
  return record("logfile_resize", ctx);
}
int sch_cli_logfile_rename(const sch_cli_cmd_ctx *ctx) {
  return record("logfile_rename", ctx);
}
int sch_cli_logfile_clear(const sch_cli_cmd_ctx *ctx) {
  return record("logfile_clear", ctx);
}
int sch_cli_config_email_transport(const sch_cli_cmd_ctx *ctx) {
  return record("email_transport", ctx);
}
int sch_cli_show_jobs(const sch_cli_cmd_ctx *ctx) {
  return record("show_jobs", ctx);
}
int sch_cli_show_schedules(const sch_cli_cmd_ctx *ctx) {
  return record("show_schedules", ctx);
}
int sch_cli_show_config(const sch_cli_cmd_ctx *ctx) {
  return record("show_config", ctx);
}
int sch_cli_show_logfile(const sch_cli_cmd_ctx *ctx) {
  return record("show_logfile", ctx);
}
uint32_t cmi_send_request(uint32_t service, uint32_t, const void *request, uint32_t length, const char *, const char *,
                          uint32_t, uint32_t, uint32_t, cmi_sent_request *) {
  control::LogQuery query = {};
  control::Operation operation = {};
  if (service != host::service_control || length != sizeof operation + sizeof query) return 1;
  std::memcpy(&operation, request, sizeof operation);
  std::memcpy(&query, static_cast<const char *>(request) + sizeof operation, sizeof query);
  if (operation != control::Operation::show_log) return 1;
  recorder::calls.push_back("log run " + std::to_string(query.run) + " last " + std::to_string(query.count) +
                            (query.failed_only != 0 ? " failed" : "") +
                            (query.since != 0 ? " since " + std::to_string(query.since) : "") + " \"" + query.schedule +
                            "\" \"" + query.job + "\"");
  return 0;
}
int display_log_entries(uint32_t, const cmi_sent_request *) {
  std::fputs(recorder::shown_log.c_str(), stdout);
  return recorder::status_of("display_log_entries");
}
int sch_cli_show_memstats(const sch_cli_cmd_ctx *ctx) {
  return record("show_memstats", ctx);
}

int sch_cli_aaa_auth_passwd(const sch_cli_cmd_ctx *ctx) {
  const int status = record("aaa_auth_passwd", ctx);
  return status == 0 ? 8 : status;  // this handler's success
}

int sch_enable_scheduler(const sch_cli_cmd_ctx *ctx) {
  const int status = record("enable_scheduler", ctx);
  if (status == 0 && ctx->negate != 0) vsh_deregister_parse_tree(ctx->shell_handle, "scheduler");
  return status;
}

int sch_cli_define_job(uint32_t handle, const char *text, uint32_t length, const char *job, const char *user,
                       const char *peer) {
  recorder::calls.push_back(std::string("define_job \"") + job + "\" \"" + std::string(text, length) + "\"");
  recorder::shell_handle = handle;
  recorder::user_name = user;
  recorder::peer_name = peer;
  return recorder::status_of("define_job");
}

}  // extern "C"

namespace host {

Result<Bytes> control_request(uint32_t number, std::span<const std::byte> payload) {
  const auto operation = static_cast<control::Operation>(number);
  recorder::calls.push_back("control " + recorder::word_of(operation) + recorder::shown(operation, payload));
  recorder::control_payloads[operation].emplace_back(reinterpret_cast<const char *>(payload.data()), payload.size());
  const auto own = recorder::control_statuses.find(operation);
  const uint32_t status = own != recorder::control_statuses.end() ? own->second : recorder::control_status;
  if (status != 0) return error_of(status);
  const auto reply = recorder::control_replies.find(operation);
  return reply != recorder::control_replies.end() ? reply->second : recorder::control_reply;
}

Result<void> store_dump(const char *uri, FILE *out) {
  recorder::calls.push_back(std::string("store_dump ") + uri);
  std::fputs("dumped\n", out);
  return Error{static_cast<uint32_t>(recorder::status_of("store_dump")), "store_dump"};
}

Result<void> store_load(const char *uri, FILE *in) {
  char line[64] = "";
  const char *read = std::fgets(line, sizeof line, in);
  recorder::calls.push_back(std::string("store_load ") + uri + " " + (read == nullptr ? "nothing" : read));
  return Error{static_cast<uint32_t>(recorder::status_of("store_load")), "store_load"};
}

}  // namespace host
