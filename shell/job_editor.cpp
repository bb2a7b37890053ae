// SPDX-License-Identifier: Apache-2.0
// A job's text in the operator's editor.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string_view>

#include "control/statuses.h"
#include "host/errors.h"
#include "host/status.h"
#include "schedcli_requests.h"
#include "shell/actions.h"
#include "shell/configuration_diff.h"
#include "shell/job_change.h"
#include "shell/service_request.h"
#include "shell/session.h"
#include "shell/show_request.h"

namespace shell {

namespace {

constexpr const char *usual_editor = "editor";  // Debian's link to the administrator's choice

host::Result<std::string> text_in_use(const Identity &identity, const std::string &job) {
  const host::Result<host::Bytes> reply = show_by_name(identity, SCH_OP_SHOW_JOB, job);
  if (!reply) return reply.error();
  if (reply->empty()) return host::error_of(control::err_no_such_job);
  sch_show_job_reply shown = {};
  if (reply->size() < sizeof shown) return host::error_of(host::err_bad_reply);
  std::memcpy(&shown, reply->data(), sizeof shown);
  const std::string_view text =
      std::string_view(reinterpret_cast<const char *>(reply->data()), reply->size()).substr(sizeof shown);
  if (shown.length < 0 || static_cast<size_t>(shown.length) > text.size()) return host::error_of(host::err_bad_reply);
  return std::string(text.substr(0, static_cast<size_t>(shown.length)));
}

std::string chosen_editor() {
  for (const char *name : {"VISUAL", "EDITOR"})
    if (const char *editor = std::getenv(name); editor != nullptr && *editor != 0) return editor;
  return usual_editor;
}

// A private file for the editor, removed by the destructor unless it is to be kept.
class Draft {
 public:
  explicit Draft(const std::string &text) {
    const char *directory = std::getenv("TMPDIR");
    path_ = std::string(directory != nullptr && *directory != 0 ? directory : "/tmp") + "/schedsh-job.XXXXXX";
    const int file = mkstemp(path_.data());
    if (file < 0) {
      path_.clear();
      return;
    }
    close(file);
    std::ofstream(path_, std::ios::binary) << text;
  }
  ~Draft() {
    if (!path_.empty()) unlink(path_.c_str());
  }
  Draft(const Draft &) = delete;
  Draft &operator=(const Draft &) = delete;

  const std::string &path() const { return path_; }  // empty: it could not be made
  std::string text() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void keep(const char *why) {
    std::fprintf(stderr, "Error: %s; your text is kept in %s\n", why, path_.c_str());
    path_.clear();
  }

 private:
  std::string path_;
};

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

std::string block_of(const std::string &job, const std::string &text) {
  return "scheduler job name " + job + "\n" + text + "end-job\n\n";
}

int store(const Session &session, const std::string &job, const std::string &before, Draft *draft) {
  const host::Result<std::string> text = job_text(draft->text());
  if (!text) {
    draft->keep(text.error().text.c_str());
    return failure_status;
  }
  if (*text == before) return 0;
  const host::Result<std::string> now = text_in_use(session.options().identity, job);
  if (!now || *now != before) {
    draft->keep("the job was changed by somebody else meanwhile");
    std::fputs(configuration_diff(block_of(job, before), block_of(job, now ? *now : "")).c_str(), stderr);
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
  const host::Result<std::string> before = text_in_use(session.options().identity, job);
  if (!before) return failed("job " + job, before.error());
  Draft draft(*before);
  if (draft.path().empty()) {
    std::fprintf(stderr, "Error: no file for the text: %s\n", std::strerror(errno));
    return failure_status;
  }
  if (run_editor(draft.path())) return store(session, job, *before, &draft);
  std::fprintf(stderr, "Error: the editor '%s' failed; the job stays as it was\n", chosen_editor().c_str());
  return failure_status;
}

}  // namespace shell
