#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The check of the header finds what it is for, each on a header or an export list with one fault."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
LIBRARY = ""


def checked(header=None, listed=None, platform=None):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "schedcli.h").write_text(header or HEADER)
        (folder / "schedcli.map").write_text(listed or MAP)
        (folder / "platform").mkdir()
        (folder / "platform" / "one.h").write_text(platform or "/* A text of words. */\nint one(void);\n")
        return subprocess.run(
            [sys.executable, ROOT / "tests/library/check_header.py", "--header", folder / "schedcli.h", "--map",
             folder / "schedcli.map", "--platform", folder / "platform", "--library", LIBRARY],
            capture_output=True, text=True)


HEADER = (ROOT / "include/schedcli.h").read_text()
MAP = (ROOT / "schedcli.map").read_text()
LAST = "\n#pragma GCC visibility pop\n#ifdef __cplusplus\n}\n#endif\n#endif\n"


class CheckHeader(unittest.TestCase):
    def refused(self, message, **faults):
        result = checked(**faults)
        self.assertEqual(result.stdout, message + "\n")
        self.assertEqual(result.returncode, 1)

    def test_the_tree_passes(self):
        result = checked()
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("all told, all exported", result.stdout)

    def test_function_without_text(self):
        start = HEADER.index("/* Frees all that the slot owns")
        end = HEADER.index("void sch_free_job_entry")
        self.refused("schedcli.h: sch_free_job_entry has no text", header=HEADER[:start] + HEADER[end:])

    def test_second_function_under_one_text(self):
        start = HEADER.index("/* Gives an element of a list back")
        end = HEADER.index("void free_fragment")
        self.refused("schedcli.h: free_fragment has no text", header=HEADER[:start].rstrip() + "\n" + HEADER[end:])

    def test_text_apart_from_its_function(self):
        self.refused("schedcli.h: print_line has no text",
                     header=HEADER.replace("void print_line", "\nvoid print_line"))

    def test_text_of_a_word(self):
        start = HEADER.index("/* Frees all that the slot owns")
        end = HEADER.index("void sch_free_job_entry")
        self.refused("schedcli.h: sch_free_job_entry has no text",
                     header=HEADER[:start] + "/* Frees. */\n" + HEADER[end:])

    def test_function_not_exported(self):
        header = HEADER.replace(LAST, "\n/* Does what is new here. */\nint sch_new(int value);\n" + LAST)
        self.refused("sch_new is in the header and not exported\nsch_new is in the header and not in the export list",
                     header=header)

    def test_global_not_exported(self):
        header = HEADER.replace(LAST, "\nextern int sch_state;\n" + LAST)
        self.refused("sch_state is in the header and not exported\n"
                     "sch_state is in the header and not in the export list", header=header)

    def test_export_not_in_the_header(self):
        self.refused("cfg_line is exported and not in the header\ncfg_line is in the export list and not in the header",
                     header=HEADER.replace("extern char cfg_line[2048];\n", ""))

    def test_export_list_without_a_symbol(self):
        self.refused("get_val is in the header and not in the export list", listed=MAP.replace("    get_val;\n", ""))

    def test_platform_function_without_text(self):
        self.refused("one.h: one has no text", platform="int one(void);\n")


if __name__ == "__main__":
    LIBRARY = sys.argv.pop()
    unittest.main()
