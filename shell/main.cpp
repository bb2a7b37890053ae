// SPDX-License-Identifier: Apache-2.0
#include <getopt.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "control/statuses.h"
#include "host/files/paths.h"
#include "shell/keyboard.h"
#include "shell/manual.h"
#include "shell/script.h"
#include "shell/terminal.h"
#include "shell/zone.h"

#ifndef SCHEDCLI_VERSION
#define SCHEDCLI_VERSION "unknown"
#endif

namespace {

constexpr const char *usage =
    "usage: schedsh [options] [file]\n"
    "Configures and shows the command scheduler: on a terminal, from a file or a pipe, or with -c.\n"
    "  -c COMMAND          carry out COMMAND; may be repeated\n"
    "  -e                  stop at the first command that fails\n"
    "  --state-dir DIR     talk to the service that keeps its state in DIR\n"
    "  --debug             write the debug trace of commands to standard error\n"
    "  --manual            print the command reference\n"
    "  --version, --help\n"
    "The exit status is that of the last command that failed, 0 when all succeeded.\n";

struct Arguments {
  std::vector<std::string> commands;
  const char *file = nullptr;
  bool stop_at_failure = false, debug = false;
};

enum Option { option_state = 256, option_debug, option_help, option_version, option_manual };

constexpr option long_options[] = {
    {"state-dir", required_argument, nullptr, option_state},
    {"debug", no_argument, nullptr, option_debug},
    {"help", no_argument, nullptr, option_help},
    {"version", no_argument, nullptr, option_version},
    {"manual", no_argument, nullptr, option_manual},
    {nullptr, 0, nullptr, 0},
};

// A command given on the command line may carry a password, and everybody can read the list of processes.
void take_command(char *text, Arguments *arguments) {
  arguments->commands.emplace_back(text);
  if (shell::is_secret(text)) std::memset(text, 'x', std::strlen(text));
}

// Whether to go on; otherwise *status is the program's.
bool take_option(int letter, Arguments *arguments, int *status) {
  *status = 0;
  switch (letter) {
    case 'c':
      take_command(optarg, arguments);
      return true;
    case 'e':
      return arguments->stop_at_failure = true;
    case option_debug:
      return arguments->debug = true;
    case option_state:
      host::use_paths(host::resolve_paths(optarg));
      return true;
    case option_help:
      std::fputs(usage, stdout);
      return false;
    case option_version:
      std::puts("schedsh " SCHEDCLI_VERSION);
      return false;
    case option_manual:
      std::fputs(shell::manual().c_str(), stdout);
      return false;
    default:
      std::fputs(usage, stderr);
      *status = shell::usage_status;
      return false;
  }
}

int run_commands(shell::Session &session, const Arguments &arguments) {
  for (const std::string &command : arguments.commands) {
    if (session.over() || (session.feed(command) != 0 && arguments.stop_at_failure)) break;
  }
  session.finish();
  return session.status();
}

int run_file(shell::Session &session, const Arguments &arguments) {
  FILE *file = std::fopen(arguments.file, "re");
  if (file == nullptr) {
    std::fprintf(stderr, "schedsh: %s: %s\n", arguments.file, std::strerror(errno));
    return shell::usage_status;
  }
  shell::run_script(session, file, arguments.file, arguments.stop_at_failure);
  std::fclose(file);
  return session.status();
}

int run(const Arguments &arguments) {
  shell::Options options;
  options.identity = shell::identity_of_process();
  options.debug = arguments.debug;
  options.before_command = shell::follow_service_zone;
  if (isatty(STDIN_FILENO) != 0) options.ask_secret = shell::ask_without_echo;
  options.input_is_stdin = arguments.commands.empty() && arguments.file == nullptr;
  options.interactive = options.input_is_stdin && isatty(STDIN_FILENO) != 0;
  options.reports_failures = arguments.commands.empty() && !options.interactive;
  shell::Session session(options);
  if (!arguments.commands.empty()) return run_commands(session, arguments);
  if (arguments.file != nullptr) return run_file(session, arguments);
  if (options.interactive) {
    shell::run_terminal(session);
  } else {
    shell::run_script(session, stdin, "standard input", arguments.stop_at_failure);
  }
  return session.status();
}

// A password that was typed must not come to lie in a core file.
void forbid_core() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

bool output_arrived() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
  std::fprintf(stderr, "schedsh: standard output: %s\n", std::strerror(errno));
  return false;
}

}  // namespace

int main(int argc, char **argv) {
  forbid_core();
  control::use_error_texts();
  Arguments arguments;
  int letter = 0, status = 0;
  while ((letter = getopt_long(argc, argv, "c:e", long_options, nullptr)) != -1) {
    if (!take_option(letter, &arguments, &status)) return output_arrived() ? status : shell::failure_status;
  }
  if (optind < argc) arguments.file = argv[optind++];
  if (optind < argc || (arguments.file != nullptr && !arguments.commands.empty())) {
    std::fputs(usage, stderr);
    return shell::usage_status;
  }
  status = run(arguments);
  return output_arrived() ? status : shell::failure_status;
}
