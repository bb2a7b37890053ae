// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "shell/actions.h"
#include "shell/complain.h"
#include "shell/configuration_change.h"
#include "shell/crontab.h"
#include "shell/session.h"
#include "shell/whole_input.h"

namespace shell {

namespace {

// The status if some lines could not be expressed; the others are configured.
constexpr int partly_status = 1;

constexpr const char *tables_of_users = "/var/spool/cron/crontabs/";
constexpr const char *table_of_system = "/etc/crontab";
constexpr const char *tables_of_packages = "/etc/cron.d";

int import_failed(const host::Error &error) {
  complain({}, "Error: " + error.text);
  return static_cast<int>(error.code);
}

bool is_wanted(const Session &session) {
  const auto &agrees = session.options().agrees;
  return !agrees || agrees("Configure this? [y/N] ");
}

// The whole result is shown before anything is changed.
int import_into(Session &session, const Match &match, const CrontabImport &import, const std::string &command) {
  for (const CrontabRemark &remark : import.notes)
    complain(remark.place, "note: " + remark.text);
  for (const CrontabRemark &remark : import.left_out)
    complain(remark.place, "cannot be expressed: " + remark.text);
  const ConfigurationText text = {import.configuration, {}, {}};
  std::fwrite(text.text.data(), 1, text.text.size(), stdout);
  std::fflush(stdout);
  WantedChange change;
  change.command = command;
  change.order.overlay = 1;
  change.shows_difference = false;
  if (match.has("check")) change.mode = ChangeMode::check;
  if (change.mode == ChangeMode::apply && !text.text.empty() && !is_wanted(session)) {
    complain({}, "nothing was changed");
    return failure_status;
  }
  const int status = change_to_text(session, text, command, std::move(change));
  return status == 0 && !import.left_out.empty() ? partly_status : status;
}

host::Result<void> add_file(const std::string &path, const CrontabSource &source, CrontabImport *import) {
  const host::Result<std::string> text = read_whole(path);
  if (!text) return text.error();
  add_crontab(source, *text, import);
  return {};
}

// Whether the cron daemon would read this file of /etc/cron.d: it ignores names with a dot, such as package managers'
// backups.
bool is_table_of_package(const std::string &name) {
  return !name.empty() && std::ranges::all_of(name, [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-';
  });
}

std::vector<std::string> system_tables() {
  std::vector<std::string> paths;
  std::error_code none;
  if (std::filesystem::exists(table_of_system, none)) paths.emplace_back(table_of_system);
  for (const auto &file : std::filesystem::directory_iterator(tables_of_packages, none))
    if (is_table_of_package(file.path().filename())) paths.push_back(file.path());
  std::ranges::sort(paths);
  return paths;
}

}  // namespace

int import_crontab_file(Session &session, const Match &match) {
  const std::string &path = *match.value("path");
  if (path == "-" && session.options().input_is_stdin) {
    complain({}, "Error: the commands come from standard input; name the file");
    return failure_status;
  }
  CrontabImport import;
  const std::string name = path == "-" ? "input" : path;
  const host::Result<void> added = add_file(path, {name, false, session.options().identity.user}, &import);
  return added ? import_into(session, match, import, "import crontab " + path) : import_failed(added.error());
}

int import_crontab_of_user(Session &session, const Match &match) {
  const std::string &user = *match.value("user");
  CrontabImport import;
  if (user.find('/') != user.npos) return import_failed({failure_status, user + ": is no user's name"});
  const host::Result<void> added =
      add_file(tables_of_users + user, {user, false, session.options().identity.user}, &import);
  if (!added)
    return import_failed(
        {added.code(), added.error().text + "; 'crontab -l | schedsh -c \"import crontab -\"' needs no rights"});
  return import_into(session, match, import, "import crontab user " + user);
}

int import_crontab_of_system(Session &session, const Match &match) {
  CrontabImport import;
  for (const std::string &path : system_tables())
    if (const host::Result<void> added = add_file(path, {path, true, session.options().identity.user}, &import); !added)
      return import_failed(added.error());
  return import_into(session, match, import, "import crontab system");
}

}  // namespace shell
