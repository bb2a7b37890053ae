// SPDX-License-Identifier: Apache-2.0
// The session while a job is being defined: its lines are collected, and sent at the block's end.
#include <cstdio>
#include <utility>

#include "shell/complain.h"
#include "shell/draft.h"
#include "shell/job_change.h"
#include "shell/session.h"

namespace shell {

void Session::take_body(std::string name, bool refused, std::optional<SeenJob> seen) {
  body_.emplace(std::move(name), refused);
  seen_job_ = std::move(seen);
}

int Session::feed_body(std::string_view line, std::string_view origin) {
  const bool was_sound = body_->problem().empty();
  const JobBody::Close close = body_->add(line);
  if (close == JobBody::Close::open) {
    // Reported at once to a person, who can still correct the line.
    if (options_.interactive && was_sound && !body_->problem().empty())
      complain(origin, "Error: " + body_->problem() + "; the up key takes the line back");
    return 0;
  }
  const JobBody body = *std::exchange(body_, std::nullopt);
  if (close == JobBody::Close::end) enter(Mode::exec);
  return body.refused() ? 0 : outcome(define(body, origin), origin);
}

int Session::define(const JobBody &body, std::string_view origin) {
  if (body.problem().empty())
    return was_changed_meanwhile(body) ? failure_status : put_job(*this, body.name(), body.text());
  complain(origin, "Error: " + body.problem());
  return failure_status;
}

bool Session::was_changed_meanwhile(const JobBody &body) const {
  if (!seen_job_) return false;
  const host::Result<SeenJob> now = job_in_use(options_.identity, body.name());
  if (!now || *now == body.text()) return false;  // if the service does not answer, defining the job says so
  const std::optional<std::string> change = change_since(body.name(), *seen_job_, *now);
  if (!change) return false;
  Draft draft(body.text());
  draft.keep("the job was changed by somebody else meanwhile");
  std::fputs(change->c_str(), stderr);
  complain({}, "give the block again to replace what is there now");
  return true;
}

int Session::finish(std::string_view origin) {
  if (!body_) return 0;
  const JobBody body = *std::exchange(body_, std::nullopt);
  if (body.refused()) return 0;
  complain(origin, "Error: the input ends before the 'end-job' of job " + body.name() + "; nothing was changed");
  return record(failure_status);
}

std::optional<std::string> Session::take_back() {
  return body_ ? body_->take_back() : std::nullopt;
}

void Session::interrupt() {
  body_.reset();
}

}  // namespace shell
