// SPDX-License-Identifier: Apache-2.0
#include "shell/parse_tree.h"

#include <cstring>

#include "platform/feature.h"

namespace {

bool registered = true;

}  // namespace

// The shell's side of the platform: the library calls it in the process that owns the parse tree.
extern "C" int vsh_deregister_parse_tree(uint32_t, const char *tree) {
  if (std::strcmp(tree, "scheduler") != 0) return -1;
  registered = false;
  return 0;
}

namespace shell {

bool scheduler_tree_registered() {
  return registered;
}
void register_scheduler_tree() {
  registered = true;
}

}  // namespace shell
