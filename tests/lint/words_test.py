#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The check of words finds the service's in made-up files of the host, and only those."""
import sys
import unittest

sys.dont_write_bytecode = True  # the tree stays as it is
import words  # noqa: E402

HEADER = """
inline constexpr uint32_t err_no_such_job = 0x40bd0020;
enum class Operation : uint32_t {
  enable_feature = number_of(host::HostOperation::enable_feature),
  history = 11,      // reply: text
  run_schedule = 42,
};
struct HistoryQuery {
"""


class Words(unittest.TestCase):
    def setUp(self):
        self.names, self.numbers = words.words_of(HEADER)

    def found(self, text):
        return list(words.misplaced("host/a.cpp", text, self.names, self.numbers))

    def test_statuses_operations_and_records_are_the_services(self):
        for word in ("err_no_such_job", "run_schedule", "HistoryQuery", "0x40bd0020"):
            self.assertEqual(self.found(f"\nreturn {word};"), [f"host/a.cpp:2: {word} is a word of the service"])

    def test_what_the_service_takes_over_and_common_words_are_not(self):
        self.assertEqual(self.found("enable_feature history 0x40be0001"), [])

    def test_a_comment_may_speak_of_it(self):
        self.assertEqual(self.found("int a;  // as run_schedule"), [])


if __name__ == "__main__":
    unittest.main(verbosity=0)
