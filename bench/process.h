// SPDX-License-Identifier: Apache-2.0
// The processes of a benchmark: its peers and the service, ended with it.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

[[noreturn]] void fail(const char *what, const std::string &why);

pid_t spawn(std::vector<std::string> command);  // found by PATH; its output is dropped
void await(int descriptor);                     // until something is written to it
void end(pid_t process);

}  // namespace bench
