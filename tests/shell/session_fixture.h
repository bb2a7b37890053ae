// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "shell/session.h"
#include "tests/shell/recorder.h"

namespace shell {

inline Options script_options() {
  Options options;
  options.identity = {"operator", "schedsh", 4711};
  return options;
}

class SessionTest : public testing::Test {
 protected:
  void SetUp() override { recorder::reset(); }

  // Feeds the lines; the handlers that they reached.
  std::vector<std::string> calls_of(Session &session, const std::vector<std::string> &lines) {
    recorder::calls.clear();
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    for (const std::string &line : lines)
      session.feed(line);
    out = testing::internal::GetCapturedStdout();
    err = testing::internal::GetCapturedStderr();
    return recorder::calls;
  }

  std::string out, err;
};

using Calls = std::vector<std::string>;

}  // namespace shell
