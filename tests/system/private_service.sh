# SPDX-License-Identifier: Apache-2.0
# Sourced: a schedd of one's own on a temporary state directory. Needs $build; gives $state, start_service, stop_service, run.
state=$(mktemp -d "${TMPDIR:-/tmp}/schedcli.XXXXXX")
service_pid=

stop_service() {
  [ -n "$service_pid" ] || return 0
  kill -TERM "$service_pid" 2>/dev/null || true
  wait "$service_pid" 2>/dev/null || true
  service_pid=
}

clean_up() {
  stop_service
  rm -rf "$state"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

run() { "$build/shell/schedsh" --state-dir "$state" "$@"; }

start_service() {
  "$build/service/schedd" --state-dir "$state" 2>"$state/schedd.err" &
  service_pid=$!
  local tries
  for tries in $(seq 100); do
    run -c 'show scheduler job' >/dev/null 2>&1 && return
    kill -0 "$service_pid" 2>/dev/null || break
    sleep 0.05
  done
  cat "$state/schedd.err" >&2
  echo "the service did not start (after $tries tries)" >&2
  exit 1
}
