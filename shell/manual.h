// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace shell {

std::string manual();  // the command reference as Markdown, from the grammar

}  // namespace shell
