// SPDX-License-Identifier: Apache-2.0
#include "service/options.h"

#include <getopt.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace service {
namespace {

constexpr char usage[] =
    "Usage: schedd [OPTION]...\n"
    "The scheduler service: keeps jobs and schedules, and runs what is due.\n"
    "As root it serves all users; as anyone else, that user alone. It stays in the foreground.\n"
    "\n"
    "  --state-dir DIR     where the stores and the job log are\n"
    "  --interpreter PATH  what runs the jobs' text; /bin/sh unless given\n"
    "  --store-limit MIB   the most that each store's file may take, 1 to 1024; 128 unless given\n"
    "  --foreground        messages of the system log also to standard error\n"
    "  --debug LEVEL       traces below this level to standard error\n"
    "  --version           print the version\n"
    "  --help              print this text\n"
    "\n"
    "Exit status: 0 ended by SIGTERM or SIGINT, 1 failed, 2 wrong usage,\n"
    "3 the state directory cannot be used, or another service uses it.\n";

enum Option { state_dir = 1, interpreter, store_limit, foreground, debug, version, help };

constexpr option long_options[] = {
    {"state-dir", required_argument, nullptr, state_dir},
    {"interpreter", required_argument, nullptr, interpreter},
    {"store-limit", required_argument, nullptr, store_limit},
    {"foreground", no_argument, nullptr, foreground},
    {"debug", required_argument, nullptr, debug},
    {"version", no_argument, nullptr, version},
    {"help", no_argument, nullptr, help},
    {nullptr, 0, nullptr, 0},
};

Parsed print(const char *text) {
  return std::fputs(text, stdout) < 0 || std::fflush(stdout) != 0 ? Parsed::wrong : Parsed::done;
}

Parsed complain(const char *what, const char *about) {
  std::fprintf(stderr, "schedd: %s: %s; see schedd --help\n", about, what);
  return Parsed::wrong;
}

struct Range {
  int least, most;
  const char *complaint;
};
constexpr Range levels = {0, 255, "not a level 0 to 255"};
constexpr Range store_limits = {1, 1024, "not a limit of 1 to 1024 MiB"};

Parsed take_number(const char *text, const Range &range, int *number) {
  char *end = nullptr;
  errno = 0;
  const long value = std::strtol(text, &end, 10);
  const bool is_number = errno == 0 && end != text && *end == 0;
  if (!is_number || value < range.least || value > range.most) return complain(range.complaint, text);
  *number = static_cast<int>(value);
  return Parsed::run;
}

Parsed take_interpreter(const char *path, std::string *taken) {
  if (path[0] != '/') return complain("the interpreter needs its whole path", path);
  if (access(path, X_OK) != 0) return complain(std::strerror(errno), path);
  *taken = path;
  return Parsed::run;
}

Parsed take(int which, Options *options) {
  switch (which) {
    case state_dir:
      options->state_dir = optarg;
      return options->state_dir.empty() ? complain("no directory", "--state-dir") : Parsed::run;
    case interpreter:
      return take_interpreter(optarg, &options->interpreter);
    case store_limit:
      return take_number(optarg, store_limits, &options->store_limit_mib);
    case foreground:
      options->foreground = true;
      return Parsed::run;
    case debug:
      return take_number(optarg, levels, &options->debug_level);
    case version:
      return print("schedd " SCHEDCLI_VERSION "\n");
    case help:
      return print(usage);
    default:
      return complain("wrong option", "usage");
  }
}

}  // namespace

Parsed parse_options(int argc, char **argv, Options *options) {
  optind = 0;  // also when called again
  for (int which; (which = getopt_long(argc, argv, "", long_options, nullptr)) != -1;)
    if (const Parsed parsed = take(which, options); parsed != Parsed::run) return parsed;
  return optind < argc ? complain("not an option", argv[optind]) : Parsed::run;
}

}  // namespace service
