#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# demo.sh BUILD: one job from its definition to its outcome. Exits non-zero when any of what it shows did not happen.
set -euo pipefail
build=$1
here=$(dirname "$0")
. "$here/private_service.sh"

say() { printf '\n\033[1m%s\033[0m\n' "$*"; }
fail() {
  echo "demo: $*" >&2
  exit 1
}
expect() { # TEXT WHAT: the text holds a line that matches WHAT
  grep -qE -- "$2" <<<"$1" || fail "expected '$2' in: $1"
}

say "1. A private service, with its own state directory"
start_service
cat "$state/schedd.err"

# The schedules are due at the next full minute, or the one after when that is too near to be configured in time.
minutes=1
[ "$(date +%S | sed 's/^0//')" -lt 52 ] || minutes=2
due=$(($(date +%s) / 60 * 60 + 60 * minutes))

say "2. The operator replays a configuration file"
sed -e "s/@AT@/$(date -d "@$due" +%H:%M)/" -e "s/@IN@/$minutes/" "$here/demo.conf" >"$state/demo.conf"
grep -v '^!' "$state/demo.conf"
run "$state/demo.conf" || fail "the configuration was not accepted"

say "3. What is configured"
schedules=$(run -c 'show scheduler schedule')
echo "$schedules"
expect "$schedules" 'nightly-inventory'
expect "$schedules" 'one-time-check'
expect "$schedules" 'Yet to be executed'

say "4. Waiting until $(date -d "@$due" +%H:%M:%S)"
while remaining=$((due - $(date +%s))) && [ "$remaining" -gt 0 ]; do
  printf '\r%2d seconds ' "$remaining"
  sleep 1
done
printf '\rdue now     \n'
for _ in $(seq 40); do
  log=$(run -c 'show scheduler logfile')
  [ "$(grep -c '^Job Name' <<<"$log")" -ge 3 ] && break
  sleep 0.25
done

say "5. The job log: every run, with its output"
echo "$log"
[ "$(grep -c '^Job Name' <<<"$log")" -eq 3 ] || fail "three runs were due, the log has others"
expect "$log" 'Job Name +: disk-use +Job Status: Success \(0\)'
expect "$log" 'Job Name +: link-state +Job Status: Success \(0\)'
expect "$log" 'Job Name +: broken-check +Job Status: Failed \(3\)'
expect "$log" "$(df -h / | awk 'NR == 2 {print $1}')"
expect "$log" '^lo +'
expect "$log" 'looking for the standby supervisor'

say "6. The service is restarted: configuration, status and log are still there"
jobs=$(run -c 'show scheduler job')
schedules=$(run -c 'show scheduler schedule')
stop_service
start_service
[ "$(run -c 'show scheduler job')" = "$jobs" ] || fail "the jobs changed over a restart"
[ "$(run -c 'show scheduler schedule')" = "$schedules" ] || fail "the schedules changed over a restart"
[ "$(run -c 'show scheduler logfile')" = "$log" ] || fail "the log changed over a restart"
run -c 'show scheduler schedule'
expect "$schedules" 'disk-use +Success \(0\)'
expect "$schedules" 'broken-check +Failed +\(3\)'

say "All of it happened. The private service and its files are gone now."
