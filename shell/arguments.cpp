// SPDX-License-Identifier: Apache-2.0
#include "shell/arguments.h"

#include <cstring>
#include <string_view>

#include "shell/terminal.h"

namespace shell {

namespace {

constexpr control::Program program = {
    "schedsh", "[FILE]",
    "Configures and shows the command scheduler: on a terminal, from a file or a pipe, or with -c.",
    "The exit status is that of the last command that failed, 0 when all succeeded.\n"};

// The values in the types that GOption fills; the texts are freed with the record.
struct Raw {
  char *state_dir = nullptr;
  char **commands = nullptr, **files = nullptr;
  gboolean stop_at_failure = FALSE, debug = FALSE, manual = FALSE;

  Raw() = default;
  Raw(const Raw &) = delete;
  Raw &operator=(const Raw &) = delete;
  ~Raw() {
    g_free(state_dir);
    g_strfreev(commands);
    g_strfreev(files);
  }
};

std::vector<GOptionEntry> entries_for(Raw *raw) {
  return {
      {"command", 'c', 0, G_OPTION_ARG_FILENAME_ARRAY, &raw->commands, "carry out COMMAND; may be repeated", "COMMAND"},
      {"stop-at-failure", 'e', 0, G_OPTION_ARG_NONE, &raw->stop_at_failure, "stop at the first command that fails",
       nullptr},
      {"state-dir", 0, 0, G_OPTION_ARG_FILENAME, &raw->state_dir, "talk to the service that keeps its state in DIR",
       "DIR"},
      {"debug", 0, 0, G_OPTION_ARG_NONE, &raw->debug, "write the debug trace of commands to standard error", nullptr},
      {"manual", 0, 0, G_OPTION_ARG_NONE, &raw->manual, "print the command reference", nullptr},
      {G_OPTION_REMAINING, 0, 0, G_OPTION_ARG_FILENAME_ARRAY, &raw->files, nullptr, nullptr},
  };
}

// The offset of the command in an argument of the form "-cCOMMAND" or "-ecCOMMAND"; 0 for any other argument.
size_t attached_command(std::string_view argument) {
  if (!argument.starts_with('-')) return 0;
  const size_t letter = argument.find_first_not_of('e', 1);
  return letter != argument.npos && argument[letter] == 'c' ? letter + 1 : 0;
}

// Splits such arguments in two, as GOption takes a short option's value only from the next argument.
std::vector<std::string> with_values_apart(int argc, char **argv) {
  std::vector<std::string> apart;
  bool options_over = false;
  for (int i = 0; i < argc; i++) {
    const std::string argument = argv[i];
    options_over = options_over || argument == "--";
    const size_t command = i == 0 || options_over ? 0 : attached_command(argument);
    apart.push_back(command == 0 ? argument : argument.substr(0, command));
    if (command == 0) continue;
    if (command < argument.size())
      apart.push_back(argument.substr(command));
    else if (i + 1 < argc)
      apart.emplace_back(argv[++i]);  // is a command even if it looks like an option
  }
  return apart;
}

// Overwrites a password in the arguments, as every user can read them in the list of processes.
void hide(std::string_view secret, int argc, char **argv) {
  for (int i = 1; i < argc; i++)
    if (const std::string_view argument = argv[i]; argument.ends_with(secret))
      std::memset(argv[i] + argument.size() - secret.size(), 'x', secret.size());
}

control::Parsed take(const Raw &raw, Arguments *arguments) {
  for (char **command = raw.commands; command != nullptr && *command != nullptr; command++)
    arguments->commands.emplace_back(*command);
  arguments->stop_at_failure = raw.stop_at_failure != FALSE;
  arguments->debug = raw.debug != FALSE;
  arguments->manual = raw.manual != FALSE;
  if (raw.state_dir != nullptr) arguments->state_dir = raw.state_dir;
  const guint files = raw.files == nullptr ? 0 : g_strv_length(raw.files);
  if (files > 1) return complain(program, "more than one file is named");
  if (files == 1) arguments->file = raw.files[0];
  if (files == 1 && !arguments->commands.empty())
    return complain(program, "commands come from a file or from -c, not from both");
  return control::Parsed::run;
}

}  // namespace

control::Parsed parse_arguments(int argc, char **argv, Arguments *arguments) {
  std::vector<std::string> apart = with_values_apart(argc, argv);
  std::vector<char *> pointers;
  pointers.reserve(apart.size() + 1);
  for (std::string &argument : apart)
    pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  Raw raw;
  int count = static_cast<int>(apart.size());
  control::Parsed parsed = parse_options(program, entries_for(&raw), &count, pointers.data());
  if (parsed == control::Parsed::run) parsed = take(raw, arguments);
  for (const std::string &command : arguments->commands)
    if (is_secret(command)) hide(command, argc, argv);
  return parsed;
}

}  // namespace shell
