// SPDX-License-Identifier: Apache-2.0
// The options of a program, by GLib's GOption.
#pragma once

#include <glib.h>

#include <string>
#include <vector>

namespace control {

enum class Parsed { run, done, wrong };  // done: what was asked for was printed

struct Program {
  const char *name;
  const char *parameters;  // beside the options; null: none
  const char *summary, *description;
};

// Adds --version and --help to the entries, prints what they ask for, and tells what is wrong. The program's own bytes
// (file names, commands) are to be of the type FILENAME, which takes them as they are in any locale.
Parsed parse_options(const Program &program, std::vector<GOptionEntry> entries, int *argc, char **argv);

Parsed complain(const Program &program, const std::string &what);  // and tells where help is

}  // namespace control
