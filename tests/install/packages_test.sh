#!/usr/bin/env bash
# The packages on a machine of their own: a private copy-on-write view of this one's files, with systemd as its first process and a
# network of its own. As root.
#   packages_test.sh PACKAGES
set -euo pipefail

# shellcheck source=tests/support/view.sh
. "${0%/*}/../support/view.sh"
packages=$(readlink -f "$1") checkout=$(readlink -f "${0%/*}/../..")
# Of the machine's own services none starts in the view.
rm -rf "$root"/etc/fstab "$root"/usr/sbin/policy-rc.d "$root"/{etc,usr/lib}/systemd/system/*.wants
mount -t tmpfs run "$root/run"
mkdir -p "$root"/run/{lock,upper,appliance,systemd/system}
mount --bind "$upper" "$root/run/upper"
mount --bind "$packages" "$root/mnt"
# Built again in another folder and without a cache, the programs are the same to the byte, and none names its folder.
again() {
    set -e
    for package in "$packages"/*.deb; do dpkg-deb -x "$package" "$work/unpacked"; done
    mkdir "$work/another"
    cd "$checkout"
    git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$work/another"
    cd "$work/another"
    mv packaging/debian debian
    export CCACHE_DISABLE=1 DH_OPTIONS=--buildsystem=cmake+ninja
    debian/rules override_dh_auto_configure
    ninja -C obj-* getcfg setcfg harbex_network_service harbex
    for program in "$work"/unpacked/usr/{sbin/{getcfg,setcfg,harbex_network_service},lib/*/libharbex.so.1.0}; do
        strip -R .gnu_debuglink "$program"
        strip -R .comment -R .note -o again obj-*/*/"${program##*/}"
        cmp "$program" again
    done
    ! grep -rlaF -e "$checkout" "$work/unpacked"
}
set +e
(again) >"$root/run/again" 2>&1
echo "exit $?" >>"$root/run/again"
set -e
cat >"$root/run/systemd/system/inside.service" <<'UNIT'
[Unit]
DefaultDependencies=no
[Service]
Type=oneshot
Environment=HOME=/root DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
ExecStart=/bin/bash /run/inside
ExecStopPost=/bin/systemctl exit $EXIT_STATUS
StandardOutput=append:/run/output
StandardError=append:/run/output
UNIT
cat >"$root/run/inside" <<'INSIDE'
set -u
passed=0 failed=0
check() { # NAME COMMAND
    if bash -c "$2" >/run/out 2>&1; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "[  FAILED  ] packages.$1"; cat /run/out; fi
}
listing() { (cd /run/upper && find . ! -type d ! -type c | grep -vE '^./(var/(lib/(dpkg|systemd|appliance)|cache|log/(dpkg|corvane_expressd|cloud)[.a-z]*)|etc/(hosts|ld.so.cache|ssl))' | sort); }
settings() { find /etc/config -type f -exec tail -n +1 {} +; }
stands() { harbexctl --json status | jq -c '.data | .state, .virtual_ip, .router, .supernode'; pgrep -x corvane_express; settings; bsh harbex_network_service.Get_cloudtoken; }
export -f listing stands settings
# What is a NAS's own: the edge daemon, its scripts, account tools, and the cloud they talk to.
dpkg-deb -x /mnt/harbex-appliance_*.deb /run/nas
here=/run/nas/usr/share/harbex/appliance programs=/run/nas/usr/libexec/harbex/appliance/bin
echo "$here" >/run/appliance/here
cp -r "$here/rootfs/." / && rm -r /etc/config/{bpkg.conf,harbex}
install -t /usr/local/sbin "$programs"/{cloud,corvane_expressd}
install -t /usr/local/bin "$programs"/{edge_state,vellum_organization_tool} "$here"/{appliance-service,cloudctl,fault,signin}
touch /var/log/scripts.log
listing >/run/before

check BuiltAgain 'tail /run/again; eval "$(tail -n 1 /run/again)"'
dpkg -i --force-depends /mnt/*.deb >/run/dpkg 2>&1 || { cat /run/dpkg; exit 1; }
for _ in $(seq 600); do [ "$(bsh --list | wc -l)" -lt 2 ] || break; sleep 0.1; done
check Started 'systemctl is-active harbex-network-service harbex-network-manager || systemctl status --no-pager -l "harbex-*"'
check Modes '[ "$(stat -c %a /etc/config/harbex/bid.conf /etc/config/harbex/corvane.conf /var/lib/harbex/var/log | xargs)" = "600 600 750" ]'
check OwnGateway '[ "$(bsh harbex_network_service.Get_gateway_info | jq -r .data.gw_info.ip4_address)" = "$(ip -json route get 192.0.2.1 | jq -r ".[0].prefsrc")" ]'
# A NAS that has joined. Its edge is put among the daemon's processes, as if a script of the daemon had started it.
check Join 'for service in cloud corvane_expressd; do appliance-service start "$service" || exit; done; signin | harbexctl sign-in &&
    harbexctl org use "$(harbexctl --json org list | jq -r ".data[0].organization_id")" Any && harbexctl region use auto && harbexctl join'
unit=harbex-network-service.service
pgrep -x corvane_express >"/sys/fs/cgroup$(systemctl show -P ControlGroup "$unit")/cgroup.procs"
export daemon=$(systemctl show -P MainPID "$unit") unit
stands >/run/stood
# The same packages as a later version.
check Later 'mkdir /run/later && for package in /mnt/*.deb; do rm -rf /run/parts && dpkg-deb -R "$package" /run/parts &&
    sed -i "/^Version:/s/\$/+later/" /run/parts/DEBIAN/control && dpkg-deb -Znone -b /run/parts /run/later || exit; done'
check Upgrade 'dpkg -i --force-depends /run/later/*.deb && dpkg-query -W -f "\${Version}" harbex-network-service | grep later'
check Restarted '[ "$(systemctl show -P MainPID "$unit")" != "$daemon" ] && systemctl is-active "$unit"'
for _ in $(seq 600); do [ ! -S /run/bsvc/harbex_network_service.sock ] || break; sleep 0.1; done
check StandsWhereItStood 'stands | diff /run/stood - && grep "tunnels are up" <(harbexctl status)'
# Its scripts do their work within what the unit allows.
check Removal 'bsh harbex_network_service.Device_remove_by_corvane && [ ! -e /etc/config/harbex/cloudagent.cfg ] && ! pgrep -r DRST -x corvane_express'
check Units 'systemd-analyze verify /lib/systemd/system/harbex-*.service'
check Exposure 'systemd-analyze security --offline=true --threshold=40 /lib/systemd/system/harbex-network-service.service | tail -n 1; exit ${PIPESTATUS[0]}'
check Rotation 'logrotate -d /etc/logrotate.d/harbex-network-service'
check Manual 'for page in $(dpkg -L harbex-network-service harbex-host-platform | sed -nE "s|^/usr/s?bin/||p"); do man -w "$page" || exit; done'
check LinkAndLogs '/usr/local/sbin/notify send -A a -C c -M m -l info x && harbexctl event add x && ls /var/log/notification.log /var/log/event.log'
check Purge 'dpkg -P harbex-network-service harbex-host-platform libharbex-dev libharbex1 harbex-appliance'
check NothingStays 'cd / && ! ls -d /etc/config/harbex /var/lib/harbex /var/log/network /run/bsvc /run/network /usr/share/harbex /usr/include/harbex 2>/dev/null && listing | diff /run/before -'
echo "[  PASSED  ] $passed tests."
[ "$failed" -eq 0 ] || { echo "[  FAILED  ] $failed tests, listed above"; exit 1; }
INSIDE
# systemd wants a group of its own for its processes.
mkdir "$work/group"
mount -t cgroup2 group "$work/group"
group=$work/group$(sed -n 's/^0:://p' /proc/self/cgroup)/harbex-packages-$$
mkdir "$group"
status=0
in_view bash -ec 'echo 0 >"$1/cgroup.procs"; exec unshare --cgroup bash -ec "$2" "$0"' "$root" "$group" '
    mount -t cgroup2 group "$0/sys/fs/cgroup"
    cd "$0" && pivot_root . . && umount -l . && cd /
    exec /usr/bin/env -i container=packages PATH=/usr/sbin:/usr/bin setpriv --bounding-set=-sys_module,-sys_boot,-sys_time \
        /lib/systemd/systemd --unit=inside.service --log-target=null' || status=$?
cat "$root/run/output"
find "$group" -depth -type d -exec rmdir {} +
exit "$status"
