#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# enter.sh ROOT: boots it. In a mount namespace of its own (unshare -m): the supervisor inside wants the one hierarchy of
# control groups, and the machine's own may be another.
set -euo pipefail
mount -t tmpfs tmpfs /run
mkdir /run/systemd
umount -R -l /sys/fs/cgroup 2>/dev/null || true
mount -t cgroup2 cgroup2 /sys/fs/cgroup
group=/sys/fs/cgroup/schedcli-booted-$$
mkdir "$group"
echo $$ >"$group/cgroup.procs"
export SYSTEMD_NSPAWN_UNIFIED_HIERARCHY=1
exec systemd-nspawn --boot --directory="$1" --register=no --keep-unit --private-network --console=pipe
