// SPDX-License-Identifier: Apache-2.0
#include "shell/manual.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace shell {
namespace {

TEST(manual, is_the_command_reference_of_the_documentation) {
  std::ifstream file(SCHEDCLI_COMMANDS_MD);
  ASSERT_TRUE(file) << SCHEDCLI_COMMANDS_MD;
  std::ostringstream text;
  text << file.rdbuf();
  EXPECT_EQ(text.str(), manual()) << "after a change of the grammar: schedsh --manual > docs/commands.md";
}

}  // namespace
}  // namespace shell
