// SPDX-License-Identifier: Apache-2.0
// How the shell learns that a feature's commands are to be removed.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace host {

using ParseTreeHook = std::function<int(uint32_t shell_handle, const std::string &tree)>;

// vsh_deregister_parse_tree calls `hook` and gives its result; without one it is -1.
void set_parse_tree_hook(ParseTreeHook hook);

}  // namespace host
