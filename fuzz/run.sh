#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# run.sh [--32] [SECONDS [TARGET...]]: fuzz targets, all unless some are named, each for that long (60) from its corpus; stops at
# the first finding, whose input it names. --32: as 32-bit programs, with the libraries of build/sysroot32.
set -euo pipefail
build=build/fuzz
bits=()
if [ "${1:-}" = --32 ]; then
  shift
  build=build/fuzz32
  bits=(-DCMAKE_TOOLCHAIN_FILE="$PWD/packaging/target32.cmake" -DSCHEDCLI_SYSROOT32="$PWD/build/sysroot32"
    -DSCHEDCLI_GTEST_SOURCE=/usr/src/googletest)
fi
seconds=${1:-60}
targets=("${@:2}")
if [ ${#targets[@]} -eq 0 ]; then
  for source in fuzz/*_fuzz.cpp; do targets+=("$(basename "$source" _fuzz.cpp)"); done
fi
flags="-O1 -gline-tables-only -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer"
cmake -S . -B $build -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_COMPILE_WARNING_AS_ERROR=ON -DCMAKE_C_FLAGS_DEBUG="$flags" -DCMAKE_CXX_FLAGS_DEBUG="$flags" -DSCHEDCLI_FUZZ=ON -DSCHEDCLI_TESTS=OFF \
  "${bits[@]}" >/dev/null
ninja -C $build --quiet "${targets[@]/%/_fuzz}"
# Stores and logs of an input lie in memory where the machine has room there.
TMPDIR=$(mktemp -d -p /dev/shm 2>/dev/null || mktemp -d)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
for name in "${targets[@]}"; do
  printf '\n-- %s, %s seconds\n' "$name" "$seconds"
  mkdir -p "$build/corpus/$name"
  # With a service of its own an input has its own clock too, and the fuzzer would take any time for too long: what hangs there is
  # ended from outside.
  limit=10
  grep -q fuzz/world.h "fuzz/${name}_fuzz.cpp" && limit=0
  timeout --signal=ABRT $((seconds + 60)) "$build/fuzz/${name}_fuzz" -max_total_time="$seconds" -timeout=$limit -artifact_prefix="$build/$name-" \
    "$build/corpus/$name" "fuzz/corpus/$name"
done
