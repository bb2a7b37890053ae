#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes each slip that is named in tests/mutate/slips by itself and sees that the test which is said to notice it fails.

Most of them once passed unseen; a row keeps its test from losing its eyes."""

import dataclasses
import sys

sys.dont_write_bytecode = True  # the tree stays as it is
from rows import main  # noqa: E402
from slips import alarm, answers, durability, processes, rights, state  # noqa: E402

GROUPS = (alarm, rights, processes, durability, state, answers)


def in_group(group, row):
    return dataclasses.replace(row, what=f"{group.__name__.removeprefix('slips.')}: {row.what}")


if __name__ == "__main__":
    main(__doc__, [in_group(group, row) for group in GROUPS for row in group.ROWS], "slips")
