// SPDX-License-Identifier: Apache-2.0
// The options of a program, by GLib's GOption.
#pragma once

#include <glib.h>

#include <string>
#include <vector>

namespace control {

enum class Parsed { run, done, wrong };  // done: --help or --version was printed

struct Program {
  const char *name;
  const char *parameters;  // for the usage line, e.g. "[FILE]"; null: none
  const char *summary, *description;
};

// Parses the arguments by these entries and by --version and --help, which it carries out; reports errors. Entries for
// file names and commands must have the type FILENAME, as GLib converts strings from the locale's character set.
Parsed parse_options(const Program &program, std::vector<GOptionEntry> entries, int *argc, char **argv);

Parsed complain(const Program &program, const std::string &what);  // reports an error and refers to --help

}  // namespace control
