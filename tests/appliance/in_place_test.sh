#!/usr/bin/env bash
# The appliance set up in place, on a machine that refuses namespaces: killed in the middle, and put back by the next run.
#   in_place_test.sh APPLIANCE BUILD
set -euo pipefail

# shellcheck source=tests/support/view.sh
. "${0%/*}/../support/view.sh"
appliance=$(readlink -f "$1") build=$(readlink -f "$2")
touch "$root/.dockerenv"
for tree in "${appliance%/*/*}" "$build"; do mkdir -p "$root$tree" && mount --bind "$tree" "$root$tree"; done
# Below a changed root the kernel makes no user namespace, and none at all for a root without this right.
run() { # COMMAND
    in_view chroot "$root" setpriv --bounding-set=-sys_admin bash -c '"$0" --build "$1" -- sh -c "$2"; exit "$?"' "$appliance" "$build" "$1"
}
# Whatever is not as on this machine.
changed() { (cd "$upper" && find . \( ! -type d ! -exec cmp -s {} /{} \; -o -type d ! -exec test -d /{} \; \) -print | sort); }
failed=0
check() { "${@:2}" >"$work/out" 2>&1 || { failed=1 && echo "[  FAILED  ] in_place.$1"; cat "$work/"{out,said}; }; }

changed >"$work/before"
run 'bsh --list harbex_network_service && grep -qx /etc/config /var/lib/appliance-in-place/made && kill -9 -1' >"$work/said" 2>&1 || true
check IsKilledInTheMiddle grep -q Get_gateway_info "$work/said"
check LeavesItsMarker test -e "$upper/var/lib/appliance-in-place/made" -a -e "$upper/etc/config"
check NextRun run true
check EverythingIsAsBefore diff "$work/before" <(changed)
[ "$failed" -eq 0 ] && echo "[  PASSED  ] 4 tests." || { echo "[  FAILED  ] 1 test"; exit 1; }
