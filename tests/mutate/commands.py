# SPDX-License-Identifier: Apache-2.0
"""What both kinds of ring run and build with."""

import pathlib
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
MEMORY_LIMIT_MB = 2048  # a mutant's endless growth must not take the machine with it
SANITIZERS = ["-fsanitize=address,undefined", "-fno-sanitize-recover=undefined"]  # a wrong access is noticed too


def run(command, **options):
    return subprocess.run(command, cwd=options.pop("cwd", ROOT), text=True, capture_output=True, **options)


def must(command, **options):
    result = run(command, **options)
    if result.returncode != 0:
        sys.exit(f"{shlex.join(map(str, command))}\n{result.stdout}{result.stderr}")
    return result.stdout
