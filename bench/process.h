// SPDX-License-Identifier: Apache-2.0
// The processes of a benchmark: its peers and the service, ended with it.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

[[noreturn]] void fail(const char *what, const std::string &why);

pid_t spawn(std::vector<std::string> command, int hops = 1);  // found by PATH; its output is dropped
pid_t fork_peer(int hops = 1);                                // fork(2), for a peer that is no program of its own
void end(pid_t process);

// Where the kernel puts processes that talk changes a round trip more than anything that they do; so they are put
// there: all on one core, or so that each message goes from one core to the other. A peer is as many messages away as
// its hops.
enum class Placement { one_core, two_cores };
void place(Placement placement);  // this process and its peers
bool has_two_cores();
void await(int descriptor);  // until something is written to it

}  // namespace bench
