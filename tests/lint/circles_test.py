#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The circle check finds made-up circles, and only those."""
import os
import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # the tree stays as it is
import circles  # noqa: E402


class Circles(unittest.TestCase):
    def test_two_files_that_name_each_other_are_one_circle(self):
        self.assertEqual(circles.circles({"a": {"b"}, "b": {"a"}, "c": {"a"}}), [["a", "b"]])

    def test_a_circle_by_a_third_file_is_found(self):
        self.assertEqual(circles.circles({"a": {"b"}, "b": {"c"}, "c": {"a"}}), [["a", "b", "c"]])

    def test_files_that_share_what_they_use_are_none(self):
        self.assertEqual(circles.circles({"a": {"b", "c"}, "b": {"d"}, "c": {"d"}, "d": set()}), [])


class Includes(unittest.TestCase):
    def setUp(self):
        self.before = os.getcwd()
        self.tree = tempfile.TemporaryDirectory()
        os.chdir(self.tree.name)
        self.addCleanup(self.tree.cleanup)
        self.addCleanup(os.chdir, self.before)

    @staticmethod
    def write(path, *included):
        file = pathlib.Path(path)
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text("".join(f'#include "{name}"\n' for name in included))

    def test_a_source_belongs_to_its_header(self):
        self.write("db/list.h")
        self.write("db/list.cpp", "db/list.h", "db/entry.h")
        self.write("db/entry.h", "db/list.h")
        self.assertEqual(circles.circles(circles.included_files()), [["db/entry", "db/list"]])

    def test_a_circle_between_folders_is_found(self):
        self.write("host/files/a.h", "host/store/b.h")
        self.write("host/store/b.h", "host/files/a.h")
        self.assertEqual(circles.circles(circles.included_files()), [["host/files/a", "host/store/b"]])

    def test_a_source_that_includes_its_header_is_no_circle(self):
        self.write("include/api.h")
        self.write("db/list.h", "api.h")
        self.write("db/list.cpp", "db/list.h", "api.h")
        self.assertEqual(circles.circles(circles.included_files()), [])


if __name__ == "__main__":
    unittest.main(verbosity=0)
