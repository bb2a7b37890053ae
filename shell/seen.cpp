// SPDX-License-Identifier: Apache-2.0
#include "shell/seen.h"

#include <cstring>

#include "host/errors.h"
#include "host/status.h"
#include "schedcli.h"
#include "schedcli_requests.h"
#include "shell/configuration_diff.h"
#include "shell/show_request.h"

namespace shell {

namespace {

constexpr size_t time_line_limit = 128;

std::string block_of(const std::string &job, const SeenJob &text) {
  return text ? "scheduler job name " + job + "\n" + *text + "end-job\n\n" : "";
}

template <size_t size>
std::string text_of_field(const char (&field)[size]) {
  return {field, strnlen(field, size)};
}

std::string lines_of(const sch_show_schedule_reply &shown) {
  char time_line[time_line_limit] = "";
  sch_acfg_print_schedule_type(&shown.time, time_line, sizeof time_line);
  std::string lines = time_line;
  if (shown.email_count != 0)
    for (const sch_email_slot &slot : shown.emails)
      if (slot.in_use != 0) lines += "email-addr " + text_of_field(slot.address) + "\n";
  return lines;
}

}  // namespace

host::Result<SeenJob> job_in_use(const Identity &identity, const std::string &job) {
  const host::Result<host::Bytes> reply = show_by_name(identity, SCH_OP_SHOW_JOB, job);
  if (!reply) return reply.error();
  if (reply->empty()) return SeenJob();
  sch_show_job_reply shown = {};
  if (reply->size() < sizeof shown) return host::error_of(host::err_bad_reply);
  std::memcpy(&shown, reply->data(), sizeof shown);
  const std::string_view text =
      std::string_view(reinterpret_cast<const char *>(reply->data()), reply->size()).substr(sizeof shown);
  if (shown.length < 0 || static_cast<size_t>(shown.length) > text.size()) return host::error_of(host::err_bad_reply);
  return SeenJob(text.substr(0, static_cast<size_t>(shown.length)));
}

std::optional<std::string> change_since(const std::string &job, const SeenJob &seen, const SeenJob &now) {
  if (seen == now) return std::nullopt;
  std::string what = "this has changed since:\n";
  if (!now) what = "job " + job + " was deleted since:\n";
  if (!seen) what = "job " + job + " was created since:\n";
  return what + configuration_diff(block_of(job, seen), block_of(job, now));
}

host::Result<std::string> schedule_in_use(const Identity &identity, const std::string &schedule) {
  const host::Result<host::Bytes> reply = show_by_name(identity, SCH_OP_SHOW_SCHEDULE, schedule);
  if (!reply) return reply.error();
  sch_show_schedule_reply shown = {};
  if (reply->size() < sizeof shown) return host::error_of(host::err_bad_reply);
  std::memcpy(&shown, reply->data(), sizeof shown);
  std::string block = "scheduler schedule name " + schedule + "\n";
  for (int32_t i = 0; i < shown.job_count; i++) {
    sch_job_status_entry entry = {};
    const size_t at = sizeof shown + static_cast<size_t>(i) * sizeof entry;
    if (at + sizeof entry > reply->size()) return host::error_of(host::err_bad_reply);
    std::memcpy(&entry, reply->data() + at, sizeof entry);
    block += " job name " + text_of_field(entry.name) + "\n";
  }
  return block + lines_of(shown) + "\n";
}

}  // namespace shell
