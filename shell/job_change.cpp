// SPDX-License-Identifier: Apache-2.0
#include "shell/job_change.h"

#include <cstdio>

#include "shell/held_stream.h"
#include "shell/library_call.h"
#include "shell/session.h"

namespace shell {

namespace {

int change_job(const Session &session, const std::string &name, bool remove) {
  Context values(session.options().identity, remove, 0, session.options().debug);
  values.add_text(name);
  return sch_cli_create_delete_job(values.get());
}

// A job that exists already is no failure here, as its text is replaced next.
int create_job(const Session &session, const std::string &name, bool *created) {
  HeldStream held(stderr);
  const int status = change_job(session, name, false);
  const std::string messages = held.take();
  *created = status == 0;
  if (messages.find("Error: job exists\n") != std::string::npos) return 0;
  std::fputs(with_subject(messages, "job " + name).c_str(), stderr);
  return status;
}

template <typename Define>
int put(const Session &session, const std::string &name, Define define) {
  bool created = false;
  if (const int status = create_job(session, name, &created); status != 0) return status;
  const int status = define(created);
  if (status != 0 && created) change_job(session, name, true);
  return status;
}

bool is_quoted_whole(std::string_view text) {
  return text.size() >= 2 && text.front() == '"' && text.find('"', 1) == text.size() - 1;
}

std::string_view without_blanks_behind(std::string_view text) {
  const size_t last = text.find_last_not_of(" \t");
  return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

}  // namespace

int put_job(const Session &session, const std::string &name, const std::string &text) {
  const Identity &identity = session.options().identity;
  return put(session, name, [&](bool created) {
    if (created && text.empty()) return 0;
    return sch_cli_define_job(identity.handle, text.data(), static_cast<uint32_t>(text.size()), name.c_str(),
                              identity.user.c_str(), identity.peer.c_str());
  });
}

int put_job_in_one_line(const Session &session, const std::string &name, const std::string &commands) {
  const bool quoted = commands.find_first_of("\"'") != std::string::npos;
  if (quoted) return put_job(session, name, lines_of_commands(commands));
  return put(session, name, [&](bool) {
    Context values(session.options().identity, false, 0, session.options().debug);
    values.add_text(name);
    values.add_text(commands);
    return sch_cli_semicolon_delimiter_define_job(values.get());
  });
}

int remove_job(const Session &session, const std::string &name) {
  return change_job(session, name, true);
}

std::string lines_of_commands(std::string_view commands) {
  commands = without_blanks_behind(commands);
  if (is_quoted_whole(commands)) commands = commands.substr(1, commands.size() - 2);
  std::string lines;
  size_t begin = 0;
  char quote = 0;
  for (size_t at = 0; at <= commands.size(); at++) {
    const char letter = at < commands.size() ? commands[at] : ';';
    const bool ends = at == commands.size() || (letter == ';' && quote == 0);
    if (ends && at > begin) lines.append(commands.substr(begin, at - begin)) += '\n';
    if (ends) begin = at + 1;
    if (quote == 0 && (letter == '"' || letter == '\''))
      quote = letter;
    else if (letter == quote)
      quote = 0;
  }
  return lines;
}

}  // namespace shell
