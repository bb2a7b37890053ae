// SPDX-License-Identifier: Apache-2.0
// What holds of every error text.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <set>
#include <span>
#include <string>

#include "platform/errors.h"

namespace error_texts {

inline void expect_a_text_of_its_own_each(std::span<const uint32_t> codes) {
  std::set<std::string> seen;
  for (const uint32_t code : codes) {
    const std::string text = syserr2str(code);
    EXPECT_NE(text.rfind("unknown", 0), 0u) << std::hex << code;
    EXPECT_TRUE(seen.insert(text).second) << std::hex << code << " has the text of another: " << text;
  }
}

inline void expect_lower_case_and_no_full_stop(std::span<const uint32_t> codes) {
  for (const uint32_t code : codes) {
    const std::string text = syserr2str(code);
    EXPECT_FALSE(std::isupper(static_cast<unsigned char>(text.front()))) << text;
    EXPECT_TRUE(std::isalnum(static_cast<unsigned char>(text.back())) || text.back() == '\'') << text;
  }
}

}  // namespace error_texts
