#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# private_shell.sh BUILD [schedsh ARGUMENT...]: an operator's shell on a private service that ends, with all it kept, with the shell.
set -euo pipefail
build=$1
shift
. "$(dirname "$0")/private_service.sh"
start_service
if [ $# -eq 0 ]; then
  echo "A private service runs on $state; it ends with this shell. Try: configure terminal, feature scheduler, ?"
fi
run "$@"
