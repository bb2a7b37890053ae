// SPDX-License-Identifier: Apache-2.0
// Commands about runs: show, start and kill them.
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "host/debug.h"
#include "host/errors.h"
#include "platform/cmi.h"
#include "shell/actions.h"
#include "shell/held_stream.h"
#include "shell/run_query.h"
#include "shell/saved_file.h"
#include "shell/service_request.h"
#include "shell/session.h"

namespace shell {

namespace {

// Shows outcomes by the library's own display of the job log's stream.
int show_outcomes(const Session &session, const std::string &subject, const control::LogQuery &query) {
  const Identity &identity = session.options().identity;
  const host::Bytes body = payload_of(control::Operation::show_log, bytes_of(query));
  cmi_sent_request sent = {};
  const uint32_t status =
      cmi_send_request(host::service_control, 0, body.data(), static_cast<uint32_t>(body.size()), identity.user.c_str(),
                       identity.peer.c_str(), 0xfe000000, 136, identity.handle, &sent);
  if (status != 0) return failed(subject, host::error_of(status));
  return display_log_entries(identity.handle, &sent) == 0 ? 0 : failure_status;
}

// Only into a file, as unfiltered output could send control sequences to a terminal.
int save_raw(const Match &match, uint64_t run) {
  host::Bytes output;
  if (const int status = request(subject_of(match), control::Operation::raw_output, payload_of(run), &output);
      status != 0)
    return status;
  return write_own_file(*match.value("output"), [&](FILE *file) {
    const bool whole = output.empty() || std::fwrite(output.data(), output.size(), 1, file) == 1;
    return whole ? 0 : failure_status;
  });
}

int order(const Match &match, control::Operation operation, host::Bytes *reply = nullptr) {
  const std::string schedule = schedule_of(match);
  return request(subject_of(match), operation, std::as_bytes(std::span(schedule)), reply);
}

// Only if nothing was shown, as history and log may still have outcomes of what was deleted.
int shown_or_missing(const std::string &shown, const std::optional<Missing> &missing) {
  std::fwrite(shown.data(), 1, shown.size(), stdout);
  return shown.empty() && missing ? failed(missing->subject, missing->why) : 0;
}

}  // namespace

int show_runs(Session &, const Match &match) {
  host::Bytes runs;
  const int status = request(subject_of(match), control::Operation::show_history, history_query_of(match), &runs);
  const bool none_with_job = runs.empty() && match.value("job") != nullptr;  // a schedule's absence is an error already
  return status != 0 ? status : shown_or_missing(text_of(runs), none_with_job ? missing_in(match) : std::nullopt);
}

int show_run(Session &session, const Match &match) {
  const uint64_t run = number_of(match, "run");
  const int status =
      show_text(subject_of(match), control::Operation::show_history, payload_of(control::HistoryQuery{run, 0, 0}));
  if (status != 0) return status;
  control::LogQuery query = {};
  query.run = run;
  return show_outcomes(session, subject_of(match), query);
}

int show_log(Session &session, const Match &match) {
  const host::WithoutRecordsInHistory quiet;
  if (match.form->terms.size() == 3) {  // without any filter
    Context values = session.context(*match.command);
    return sch_cli_show_logfile(values.get());
  }
  const control::LogQuery query = log_query_of(match);
  const std::optional<Missing> missing = missing_in(match);
  if (!missing) return show_outcomes(session, words_of(match), query);
  HeldStream held(stdout);
  const int status = show_outcomes(session, words_of(match), query);
  return status != 0 ? status : shown_or_missing(held.take(), missing);
}

int save_raw_log(Session &, const Match &match) {
  return save_raw(match, 0);
}
int save_raw_run(Session &, const Match &match) {
  return save_raw(match, number_of(match, "run"));
}

int run_schedule(Session &, const Match &match) {
  host::Bytes reply;
  const int status = order(match, control::Operation::run_schedule, &reply);
  uint64_t number = 0;
  if (status != 0 || reply.size() != sizeof number) return status;
  std::memcpy(&number, reply.data(), sizeof number);
  std::printf("run %llu\n", static_cast<unsigned long long>(number));
  return 0;
}

int kill_run(Session &, const Match &match) {
  const uint64_t number = number_of(match, "run");
  return request(subject_of(match), control::Operation::kill_run, std::as_bytes(std::span(&number, 1)), nullptr);
}

int enable_schedule(Session &, const Match &match) {
  return order(match, control::Operation::enable_schedule);
}
int disable_schedule(Session &, const Match &match) {
  return order(match, control::Operation::disable_schedule);
}

}  // namespace shell
