#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# run.sh BUILD: every static check, then the figures. Each check runs even when one before it failed.
set -uo pipefail
build=$1
failed=()
check() { # NAME COMMAND...
  printf -- '-- %s\n' "$1"
  "${@:2}" || failed+=("$1")
}

formatting() { python3 tests/lint/sources.py | xargs clang-format --dry-run --Werror; }

check formatting formatting
check 'ring direction' python3 tests/lint/rings.py "$build"
check 'words of the service' python3 tests/lint/words.py
check 'the check of words' python3 tests/lint/words_test.py
check 'rows of slips and survivors' python3 tests/lint/slip_rows.py
check 'no circles' python3 tests/lint/circles.py "$build"
check 'the circle check' python3 tests/lint/circles_test.py
check 'files that documents name' python3 tests/lint/documents.py
check 'the header as the manual' python3 tests/library/check_header.py --header include/schedcli.h --platform platform \
  --map schedcli.map --library "$build/libschedcli.so"
check "other builds than the presets'" python3 tests/lint/builds.py "$build/../other-builds"
check "static analysis" python3 tests/lint/tidy.py "$build"
check figures python3 tests/lint/figures.py

if [ ${#failed[@]} -gt 0 ]; then
  printf 'lint failed: %s\n' "${failed[*]}" >&2
  exit 1
fi
