// SPDX-License-Identifier: Apache-2.0
// Commands about jobs and schedules by name.
#include <cstdio>
#include <optional>
#include <utility>

#include "control/statuses.h"
#include "host/status.h"
#include "shell/actions.h"
#include "shell/job_change.h"
#include "shell/seen.h"
#include "shell/service_request.h"
#include "shell/session.h"

namespace shell {

namespace {

using control::ObjectKind;

std::string some_of(const Names &names) {
  constexpr size_t named = 10;
  std::string text;
  for (size_t i = 0; i < names.size() && i < named; i++)
    text += (i == 0 ? "" : ", ") + names[i];
  return names.size() <= named ? text : text + " and " + std::to_string(names.size() - named) + " more";
}

int show_by_name(Session &session, const Match &match, ObjectKind kind, int (*handler)(const sch_cli_cmd_ctx *)) {
  Context values = session.context(*match.command);
  if (!match.arguments.empty()) {
    const Argument &name = match.arguments.front();
    // The handler prints nothing for a name that does not exist.
    if (const host::Result<Names> found = find_named(kind, name.value); !found)
      return failed(std::string(name.parameter->name) + " " + name.value, found.error());
    values.add_text(name.value);
  }
  return handler(values.get());
}

}  // namespace

int show_jobs(Session &session, const Match &match) {
  return show_by_name(session, match, ObjectKind::job, sch_cli_show_jobs);
}
int show_schedules(Session &session, const Match &match) {
  return show_by_name(session, match, ObjectKind::schedule, sch_cli_show_schedules);
}

// A person is told at once that the job belongs to somebody else; a script is told at the block's end.
int begin_job(Session &session, const Match &match) {
  const std::string &name = match.arguments.front().value;
  std::optional<SeenJob> seen;
  if (session.options().interactive) {
    const host::Result<Names> found = find_named(ObjectKind::job, name);
    if (!found && found.code() != control::err_no_such_job) return failed("job " + name, found.error());
    if (found)
      std::printf("Job %s is there: 'end-job' replaces its commands by these lines, control-C leaves it as it is.\n",
                  name.c_str());
    if (host::Result<SeenJob> now = job_in_use(session.options().identity, name)) seen = std::move(*now);
  }
  session.take_body(name, false, std::move(seen));
  return 0;
}

int define_job_in_one_line(Session &session, const Match &match) {
  return put_job_in_one_line(session, match.arguments.front().value, match.arguments.back().value);
}

namespace {

int rename(const Match &match, ObjectKind kind) {
  const Argument &old_name = match.arguments.front();
  const std::string names = old_name.value + std::string(1, '\0') + *match.value("new-name");
  return request(std::string(old_name.parameter->name) + " " + old_name.value, control::Operation::rename,
                 payload_of(kind, names));
}

}  // namespace

int rename_job(Session &, const Match &match) {
  return rename(match, ObjectKind::job);
}
int rename_schedule(Session &, const Match &match) {
  return rename(match, ObjectKind::schedule);
}

int delete_job(Session &session, const Match &match) {
  const std::string &name = match.arguments.front().value;
  Names users;
  if (!match.has("force"))
    if (host::Result<Names> found = find_named(ObjectKind::job, name)) users = std::move(*found);
  if (users.empty()) return remove_job(session, name);
  std::fprintf(stderr, "Error: job %s is used by %s; take it off there, or add 'force' to delete it there as well\n",
               name.c_str(), some_of(users).c_str());
  return failure_status;
}

}  // namespace shell
