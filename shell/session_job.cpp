// SPDX-License-Identifier: Apache-2.0
// The session while a job is being defined: first the job is created, then its lines are taken, then they are sent.
#include <utility>

#include "shell/complain.h"
#include "shell/session.h"

namespace shell {

int Session::change_job(const std::string &name, bool remove) {
  Context values(options_.identity, remove, 0, options_.debug);
  values.add_text(name);
  return sch_cli_create_delete_job(values.get());
}

void Session::take_body(std::string name, bool refused) {
  body_.emplace(std::move(name), refused);
}

int Session::feed_body(std::string_view line, std::string_view origin) {
  const JobBody::Close close = body_->add(line);
  if (close == JobBody::Close::open) return 0;
  const JobBody body = *std::exchange(body_, std::nullopt);
  if (close == JobBody::Close::end) enter(Mode::exec);
  return body.refused() ? 0 : outcome(define(body, origin), origin);
}

// A job whose text did not arrive is taken back, so that a failed definition leaves nothing behind.
int Session::define(const JobBody &body, std::string_view origin) {
  int status = failure_status;
  if (!body.problem().empty()) {
    complain(origin, "Error: " + body.problem());
  } else if (body.text().empty()) {
    return 0;
  } else {
    status = sch_cli_define_job(options_.identity.handle, body.text().data(), static_cast<uint32_t>(body.text().size()),
                                body.name().c_str(), options_.identity.user.c_str(), options_.identity.peer.c_str());
  }
  if (status != 0) change_job(body.name(), true);
  return status;
}

int Session::finish(std::string_view origin) {
  if (!body_) return 0;
  const JobBody body = *std::exchange(body_, std::nullopt);
  if (body.refused()) return 0;
  complain(origin, "Error: the input ends before the 'end-job' of job " + body.name() + "; it is not defined");
  change_job(body.name(), true);
  return record(failure_status);
}

void Session::interrupt() {
  if (!body_) return;
  const JobBody body = *std::exchange(body_, std::nullopt);
  if (!body.refused()) change_job(body.name(), true);
}

}  // namespace shell
