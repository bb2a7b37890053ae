#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# run.sh BUILD [NAME...]: the benchmarks, all or those named (store, transport, ...); each prints ratios against its peer of the same run.
set -euo pipefail
build=$1
shift
for bench in "$build"/bench/*_bench; do
  name=$(basename "$bench" _bench)
  [ $# -eq 0 ] || [[ " $* " == *" $name "* ]] || continue
  printf '\n-- %s\n' "$name"
  "$bench"
done
