// SPDX-License-Identifier: Apache-2.0
// A job's text in the operator's editor.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>

#include "control/statuses.h"
#include "host/errors.h"
#include "host/status.h"
#include "shell/actions.h"
#include "shell/draft.h"
#include "shell/job_change.h"
#include "shell/seen.h"
#include "shell/service_request.h"
#include "shell/session.h"

namespace shell {

namespace {

constexpr const char *usual_editor = "editor";  // Debian's link to the administrator's choice

std::string chosen_editor() {
  for (const char *name : {"VISUAL", "EDITOR"})
    if (const char *editor = std::getenv(name); editor != nullptr && *editor != 0) return editor;
  return usual_editor;
}

// By a shell, as $EDITOR may contain arguments.
[[noreturn]] void become_editor(const std::string &path) {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  signal(SIGINT, SIG_DFL);
  signal(SIGPIPE, SIG_DFL);
  const std::string command = chosen_editor() + " \"$1\"";
  execl("/bin/sh", "sh", "-c", command.c_str(), "sh", path.c_str(), static_cast<char *>(nullptr));
  _exit(127);
}

bool run_editor(const std::string &path) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) become_editor(path);
  int status = -1;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return child > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

host::Result<std::string> job_text(const std::string &edited) {
  JobBody body("", false);
  std::istringstream lines(edited);
  for (std::string line; std::getline(lines, line);)
    if (body.add(line) != JobBody::Close::open)
      return host::Error{host::err_bad_value, "a line 'end-job' or 'end' cannot be part of a job"};
  if (!body.problem().empty()) return host::Error{host::err_bad_value, body.problem()};
  return body.text();
}

int store(const Session &session, const std::string &job, const std::string &before, Draft *draft) {
  const host::Result<std::string> text = job_text(draft->text());
  if (!text) {
    draft->keep(text.error().text.c_str());
    return failure_status;
  }
  if (*text == before) return 0;
  const host::Result<SeenJob> now = job_in_use(session.options().identity, job);
  if (!now) {
    draft->keep(now.error().text.c_str());
    return failure_status;
  }
  if (const std::optional<std::string> change = change_since(job, before, *now)) {
    draft->keep("the job was changed by somebody else meanwhile");
    std::fputs(change->c_str(), stderr);
    return failure_status;
  }
  const int status = put_job(session, job, *text);
  if (status != 0) draft->keep("the text was not taken");
  return status;
}

}  // namespace

int edit_job(Session &session, const Match &match) {
  const std::string &job = match.arguments.front().value;
  if (session.options().input_is_stdin && !session.options().interactive) {
    std::fprintf(stderr, "Error: the commands come from standard input, which the editor would read\n");
    return failure_status;
  }
  const host::Result<SeenJob> before = job_in_use(session.options().identity, job);
  if (!before) return failed("job " + job, before.error());
  if (!*before) return failed("job " + job, host::error_of(control::err_no_such_job));
  Draft draft(**before);
  if (draft.path().empty()) {
    std::fprintf(stderr, "Error: no file for the text: %s\n", std::strerror(errno));
    return failure_status;
  }
  if (run_editor(draft.path())) return store(session, job, **before, &draft);
  std::fprintf(stderr, "Error: the editor '%s' failed; the job stays as it was\n", chosen_editor().c_str());
  return failure_status;
}

}  // namespace shell
