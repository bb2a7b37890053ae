// SPDX-License-Identifier: Apache-2.0
#include "tests/pss/replay_shell.h"

#include <sstream>
#include <utility>

namespace pss_test {
namespace {

using platform_test::Context;

constexpr int unknown_command = -99;
constexpr uint32_t named_host = 0x40000002;  // the shell's kind of a parsed host

using Handler = int (*)(const sch_cli_cmd_ctx *);

int call(Handler handler, Context &&context, bool negate, uint32_t subcommand = 0) {
  context->negate = negate ? 1 : 0;
  context->subcommand = subcommand;
  return handler(context.get());
}

// What follows `words`, with the blanks between them taken as one.
bool follows(std::string text, const char *words, std::string *rest) {
  std::istringstream line(text), wanted(words);
  std::string have, want;
  while (wanted >> want)
    if (!(line >> have) || have != want) return false;
  std::getline(line >> std::ws, *rest);
  return true;
}

int smtp_server(const std::string &rest, bool negate) {
  std::istringstream words(rest);
  std::string host, port;
  uint32_t number = 0;
  words >> host >> port >> number;
  Context context;
  context.string_param(host, 0, named_host);
  if (port == "port") context.integer_param(number);
  return call(sch_cli_config_email_transport, std::move(context), negate, SCH_EMAIL_SMTP);
}

int time_command(const std::string &schedule, const std::string &rest) {
  std::istringstream words(rest);
  std::string form, time, repeat, period;
  words >> form >> time >> repeat >> period;
  if (form == "daily") return call(sch_cli_modify_schedule, Context({schedule, time}), false, SCH_SCHEDULE_DAILY);
  if (form == "weekly") return call(sch_cli_modify_schedule, Context({schedule, time}), false, SCH_SCHEDULE_WEEKLY);
  if (form == "monthly") return call(sch_cli_modify_schedule, Context({schedule, time}), false, SCH_SCHEDULE_MONTHLY);
  if (form != "start") return unknown_command;
  if (repeat.empty()) return call(sch_cli_modify_schedule, Context({schedule, time}), false, SCH_SCHEDULE_ONESHOT);
  return call(sch_cli_modify_schedule, Context({schedule, time, period}), false, SCH_SCHEDULE_PERIODIC);
}

}  // namespace

int ReplayShell::run(const std::string &text) {
  std::istringstream lines(text);
  for (std::string one; std::getline(lines, one);) {
    const int result = line(one);
    if (result == 0) continue;
    failed_ = one;
    return result;
  }
  return 0;
}

int ReplayShell::line(const std::string &text) {
  if (in_job_ && text == "end-job") return end_job();
  if (in_job_) {
    job_text_ += text + ";";
    return 0;
  }
  return command(text);
}

int ReplayShell::command(const std::string &text) {
  std::string rest;
  if (!follows(text, "", &rest) || rest.empty()) return 0;
  const bool negate = follows(text, "no", &rest);
  const std::string positive = negate ? rest : text;
  if (follows(positive, "feature scheduler", &rest)) return call(sch_enable_scheduler, Context(), negate);
  if (follows(positive, "scheduler logfile size", &rest)) {
    Context context;
    if (!negate) context.integer_param(static_cast<uint32_t>(std::stoul(rest)));
    return call(sch_cli_logfile_resize, std::move(context), negate);
  }
  if (follows(positive, "scheduler transport email from", &rest))
    return call(sch_cli_config_email_transport, Context({rest}), negate, SCH_EMAIL_FROM);
  if (follows(positive, "scheduler transport email reply-to", &rest))
    return call(sch_cli_config_email_transport, Context({rest}), negate, SCH_EMAIL_REPLYTO);
  if (follows(positive, "scheduler transport email smtp-server", &rest)) return smtp_server(rest, negate);
  if (follows(positive, "scheduler job name", &rest)) {
    job_ = rest;
    in_job_ = !negate;
    return call(sch_cli_create_delete_job, Context({rest}), negate);
  }
  if (follows(positive, "scheduler schedule name", &rest)) {
    schedule_ = negate ? "" : rest;
    const int result = call(sch_cli_create_delete_schedule, Context({rest}), negate);
    return result == static_cast<int>(SCH_STATUS_EXISTS) ? 0 : result;
  }
  return schedule_.empty() ? unknown_command : schedule_command(positive, negate);
}

int ReplayShell::schedule_command(const std::string &text, bool negate) {
  std::string rest;
  if (follows(text, "job name", &rest))
    return call(sch_cli_modify_schedule, Context({schedule_, rest}), negate, SCH_MODIFY_JOB);
  if (follows(text, "email-addr", &rest))
    return call(sch_cli_modify_schedule_emailaddr, Context({schedule_, rest}), negate);
  if (!follows(text, "time", &rest)) return unknown_command;
  if (negate) return call(sch_cli_modify_schedule, Context({schedule_}), true, SCH_MODIFY_CLEAR_TIME);
  return time_command(schedule_, rest);
}

int ReplayShell::end_job() {
  in_job_ = false;
  const std::string text = std::exchange(job_text_, "");
  if (text.empty()) return 0;
  return call(sch_cli_semicolon_delimiter_define_job, Context({job_, text}), false);
}

}  // namespace pss_test
