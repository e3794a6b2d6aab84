#!/usr/bin/env bash
# The packages on a machine of their own: a private copy-on-write view of this one's files. As root.
#   packages_test.sh PACKAGES
set -euo pipefail

packages=$(readlink -f "$1")
if [ "${2-}" != inside ]; then
    view=$(mktemp -d)
    trap 'rmdir "$view"' EXIT
    status=0
    unshare --mount --pid --fork "$0" "$packages" inside "$view" || status=$?
    exit "$status"
fi

view=$3
mount -t tmpfs view "$view"
mkdir "$view"/{upper,work,root}
mount -t overlay view -o "lowerdir=/,upperdir=$view/upper,workdir=$view/work" "$view/root"
mount -t proc proc "$view/root/proc"
mount --rbind /dev "$view/root/dev"
mount -t tmpfs run "$view/root/run"
mkdir "$view/root/run/lock"
mount --bind "$packages" "$view/root/mnt"
cat >"$view/root/run/inside" <<'INSIDE'
set -u
passed=0 failed=0
check() { # NAME COMMAND
    if bash -c "$2" >/run/out 2>&1; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "[  FAILED  ] packages.$1"; cat /run/out; fi
}
dpkg -i --force-depends /mnt/{harbex-host-platform,harbex-network-service,libharbex1,libharbex-dev}_*.deb >/run/dpkg 2>&1 || { cat /run/dpkg; exit 1; }
check Modes '[ "$(stat -c %a /etc/config/harbex/bid.conf /etc/config/harbex/corvane.conf /var/lib/harbex/var/log | xargs)" = "600 600 750" ]'
systemd-tmpfiles --create /usr/lib/tmpfiles.d/harbex-*.conf
/usr/sbin/NetworkService & /usr/sbin/harbex_network_service --foreground >/dev/null &
for _ in $(seq 100); do [ "$(bsh --list | wc -l)" -lt 2 ] || break; sleep 0.1; done
check OwnGateway '[ "$(bsh harbex_network_service.Get_gateway_info | jq -r .data.gw_info.ip4_address)" = "$(ip -json route get 192.0.2.1 | jq -r ".[0].prefsrc")" ]'
setcfg "Brindle ID Service" VELLUM_TOKEN "a.b.9999999999" -f /etc/config/harbex/bid.conf
setcfg Harbex Install_Path /var/lib/harbex -f /etc/config/bpkg.conf
cp -a /etc/config /run/before
check Upgrade 'dpkg -i --force-depends /mnt/harbex-host-platform_*.deb /mnt/harbex-network-service_*.deb'
check SettingsStay 'diff -r /run/before /etc/config'
check TokenStays '[ "$(bsh harbex_network_service.Get_cloudtoken | jq -r .data)" = a.b.9999999999 ]'
pkill -x harbex_network_; pkill -x NetworkService; wait
check Units 'systemd-analyze verify /lib/systemd/system/harbex-*.service'
check Exposure 'systemd-analyze security --offline=true --threshold=40 /lib/systemd/system/harbex-network-service.service | tail -n 1; exit ${PIPESTATUS[0]}'
check Rotation 'logrotate -d /etc/logrotate.d/harbex-network-service'
dpkg -P harbex-network-service harbex-host-platform libharbex-dev libharbex1 >/run/dpkg 2>&1
check Purge 'cd / && left=$(ls -d /etc/config /var/lib/harbex /var/log/network /usr/local/sbin/notify /run/bsvc /run/network /usr/share/harbex /usr/include/harbex 2>/dev/null); echo "left: $left"; [ -z "$left" ]'
echo "[  PASSED  ] $passed tests."
[ "$failed" -eq 0 ] || { echo "[  FAILED  ] $failed tests, listed above"; exit 1; }
INSIDE
exec chroot "$view/root" env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 bash /run/inside
