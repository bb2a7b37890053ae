// SPDX-License-Identifier: Apache-2.0
#include "shell/actions.h"

#include <algorithm>
#include <cstdio>

#include "shell/held_stream.h"
#include "shell/library_call.h"
#include "shell/session.h"

namespace shell {

namespace {

const Command *command_of(int (*handler)(const sch_cli_cmd_ctx *), bool negates) {
  for (const Command &command : commands()) {
    if (command.handler == handler && command.negates() == negates) return &command;
  }
  return nullptr;
}

}  // namespace

int enter_config(Session &session, const Match &) {
  session.enter(Mode::config);
  return 0;
}

int enter_schedule(Session &session, const Match &match) {
  const std::string &name = match.arguments.front().value;
  Context values(session.options().identity, false, 0, session.options().debug);
  values.add_text(name);
  HeldStream held(stderr);
  const int status = sch_cli_create_delete_schedule(values.get());
  std::fputs(with_subject(held.take(), "schedule " + name).c_str(), stderr);
  const bool exists = static_cast<uint32_t>(status) == SCH_STATUS_EXISTS;  // then it is to be changed
  if (status != 0 && !exists) return status;
  session.enter(Mode::schedule, name);
  return 0;
}

int leave_mode(Session &session, const Match &) {
  switch (session.mode()) {
    case Mode::exec:
      session.leave();
      break;
    case Mode::config:
      session.enter(Mode::exec);
      break;
    case Mode::schedule:
      session.enter(Mode::config);
      break;
  }
  return 0;
}

int leave_all_modes(Session &session, const Match &) {
  session.enter(Mode::exec);
  return 0;
}

int list_commands(Session &session, const Match &) {
  const Scope scope = session.scope();
  for (const Mode mode : scope.modes) {
    for (const Command &command : commands()) {
      if (command.mode != mode || (!scope.scheduler_tree && command.in_scheduler_tree())) continue;
      std::printf("%s\n    %s\n", command.syntax, command.help);
    }
  }
  return 0;
}

int debug_on(Session &session, const Match &) {
  session.set_debug(true);
  return 0;
}

int debug_off(Session &session, const Match &) {
  session.set_debug(false);
  return 0;
}

int ask_password(Session &session, const Match &match) {
  const auto &ask = session.options().ask_secret;
  std::optional<std::string> secret = ask ? ask("Password: ") : std::nullopt;
  if (!secret) {
    std::fprintf(stderr, "Error: the password is missing; it is asked for on a terminal only\n");
    return failure_status;
  }
  Context values = session.context(*command_of(sch_cli_aaa_auth_passwd, false));
  if (const std::string *user = match.value("user")) values.add_text(*user, SCH_PARAM_USER_NAME);
  values.add_text(*secret, SCH_PARAM_CLEAR_PASSWORD);
  wipe(&*secret);
  return password_status(sch_cli_aaa_auth_passwd(values.get()));
}

}  // namespace shell
