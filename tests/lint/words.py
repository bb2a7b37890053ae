#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""words.py: the host knows no word of the service. What control/ names is not named in host/: statuses, operations of more
than one word, records. Nor are its numbers there."""
import pathlib
import re
import sys

sys.dont_write_bytecode = True  # the tree stays as it is
from sources import sources  # noqa: E402

WORD = re.compile(r"\b[A-Za-z_]\w*\b")
NUMBER = re.compile(r"\b0x[0-9a-f]{8}\b")
COMMENT = re.compile(r"//[^\n]*")


def words_of(text):
    """What a header of control/ gives a name to, but for what it takes over from the host, and its statuses' numbers."""
    taken_over = set(re.findall(r"^\s*(\w+) = number_of\(host::", text, re.M))
    statuses = re.findall(r"\b(err_\w+) = (0x[0-9a-f]{8});", text)
    operations = {name for name in re.findall(r"^\s*(\w+) = \d+,", text, re.M) if "_" in name}
    records = set(re.findall(r"^struct (\w+) \{", text, re.M))
    names = {name for name, _ in statuses} | operations | records
    return names - taken_over, {number for _, number in statuses}


def misplaced(file, text, names, numbers):
    for line_number, line in enumerate(text.splitlines(), 1):
        code = COMMENT.sub("", line)
        for word in WORD.findall(code) + NUMBER.findall(code):
            if word in names or word in numbers:
                yield f"{file}:{line_number}: {word} is a word of the service"


def main():
    names, numbers = set(), set()
    for header in pathlib.Path("control").glob("*.h"):
        found_names, found_numbers = words_of(header.read_text())
        names |= found_names
        numbers |= found_numbers
    if not names or not numbers:
        print("no words of the service found in control/")
        return 1
    faults = [fault for file in sources() if file.parts[0] == "host"
              for fault in misplaced(file, file.read_text(), names, numbers)]
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
