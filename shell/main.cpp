// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "control/statuses.h"
#include "host/files/paths.h"
#include "shell/arguments.h"
#include "shell/keyboard.h"
#include "shell/manual.h"
#include "shell/script.h"
#include "shell/service_request.h"
#include "shell/terminal.h"
#include "shell/zone.h"

namespace {

using shell::Arguments;

int run_commands(shell::Session &session, const Arguments &arguments) {
  for (const std::string &command : arguments.commands) {
    if (session.over() || (session.feed(command) != 0 && arguments.stop_at_failure)) break;
  }
  session.finish();
  return session.status();
}

int run_file(shell::Session &session, const Arguments &arguments) {
  const char *name = arguments.file->c_str();
  FILE *file = std::fopen(name, "re");
  if (file == nullptr) {
    std::fprintf(stderr, "schedsh: %s: %s\n", name, std::strerror(errno));
    return shell::usage_status;
  }
  shell::run_script(session, file, name, arguments.stop_at_failure);
  std::fclose(file);
  return session.status();
}

int run(const Arguments &arguments) {
  shell::Options options;
  options.identity = shell::identity_of_process();
  options.debug = arguments.debug;
  options.before_command = shell::follow_service_zone;
  if (isatty(STDIN_FILENO) != 0) options.ask_secret = shell::ask_without_echo;
  options.input_is_stdin = arguments.commands.empty() && !arguments.file;
  options.interactive = options.input_is_stdin && isatty(STDIN_FILENO) != 0;
  if (options.interactive) options.agrees = shell::agrees;
  options.reports_failures = arguments.commands.empty() && !options.interactive;
  shell::Session session(options);
  if (!arguments.commands.empty()) return run_commands(session, arguments);
  if (arguments.file) return run_file(session, arguments);
  if (options.interactive) {
    shell::run_terminal(session);
  } else {
    shell::run_script(session, stdin, "standard input", arguments.stop_at_failure);
  }
  return session.status();
}

// A core file could contain a password that was typed.
void forbid_core() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

// A full log is tens of megabytes: with the C library's own 4 KiB the most time would go into calls of the kernel.
void write_in_large_pieces() {
  static char buffer[64 * 1024];  // what a pipe holds
  if (isatty(STDOUT_FILENO) == 0) std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
}

bool output_arrived() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
  std::fprintf(stderr, "schedsh: standard output: %s\n", std::strerror(errno));
  return false;
}

}  // namespace

int main(int argc, char **argv) {
  forbid_core();
  write_in_large_pieces();
  control::use_error_texts(shell::limits_in_use);
  Arguments arguments;
  int status = 0;
  switch (shell::parse_arguments(argc, argv, &arguments)) {
    case control::Parsed::done:
      break;
    case control::Parsed::wrong:
      return shell::usage_status;
    case control::Parsed::run:
      if (arguments.state_dir) host::use_paths(host::resolve_paths(arguments.state_dir->c_str()));
      if (arguments.manual)
        std::fputs(shell::manual().c_str(), stdout);
      else
        status = run(arguments);
  }
  return output_arrived() ? status : shell::failure_status;
}
