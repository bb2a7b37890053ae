// SPDX-License-Identifier: Apache-2.0
// What a piece of the library does, as text: for the tables that hold a folder's calls, traces and records.
#pragma once

#include <functional>
#include <string>

#include "tests/platform/platform.h"

namespace platform_test {

// The events of `body` in order: platform calls ("pss_close 1"; with its bytes what is stored or sent) and traces
// ("103| text", which both sinks must have got); calls, or traces of one level, in a row share a line, with " ; "
// between them. Then what stands on standard output and error ("out| ", "err| ") and the result ("= 0"). A line break
// within an event is \n.
std::string journal(const std::function<int()> &body);

// In hexadecimal, but runs of letters in quotes and runs of zeros by their number: "00000001(0 x 4)'job'(0 x 29)".
std::string bytes_text(const std::string &bytes);

// A row of such a table.
struct Conformance {
  const char *scenario;
  std::function<int()> body;
  const char *journal;
};

// In a platform of its own each. `names` are what stands in a journal for parts that come again and again.
template <size_t Count>
void expect_conformance(
    const Conformance (&rows)[Count], const std::function<void()> &prepare = [] {},
    const std::map<std::string, std::string> &names = {}) {
  for (const Conformance &row : rows) {
    reset_library();
    fake.reset();
    set_zone("UTC");
    prepare();
    std::string now = journal(row.body);
    for (const auto &[part, name] : names)
      for (size_t at; (at = now.find(part)) != std::string::npos;)
        now.replace(at, part.size(), name);
    EXPECT_EQ(now, row.journal) << row.scenario;
  }
}

}  // namespace platform_test
