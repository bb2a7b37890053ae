// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace service {

struct Options {
  std::string state_dir;  // empty: the usual one
  std::string interpreter = "/bin/sh";
  bool foreground = false;  // the system log's messages also on standard error
  int debug_level = 0;
  int store_limit_mib = 0;  // 0: the usual one
};

enum class Parsed { run, done, wrong };  // done: help or version was printed; wrong: said on standard error

Parsed parse_options(int argc, char **argv, Options *options);

}  // namespace service
