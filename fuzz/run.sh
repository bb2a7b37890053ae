#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# run.sh [SECONDS]: every fuzz target for that long, from its corpus; stops at the first finding, whose input it names.
set -euo pipefail
seconds=${1:-60}
build=build/fuzz
cmake -S . -B $build -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug -DCMAKE_COMPILE_WARNING_AS_ERROR=ON \
  -DSCHEDCLI_FUZZ=ON -DSCHEDCLI_TESTS=OFF -DSCHEDCLI_PROGRAMS=OFF >/dev/null
ninja -C $build --quiet
for target in $build/fuzz/*_fuzz; do
  name=$(basename "$target" _fuzz)
  printf '\n-- %s, %s seconds\n' "$name" "$seconds"
  mkdir -p "$build/corpus/$name"
  "$target" -max_total_time="$seconds" -timeout=10 -artifact_prefix="$build/$name-" "$build/corpus/$name" "fuzz/corpus/$name"
done
