# shellcheck shell=bash
# For tests that change a machine: a private copy-on-write view of this one's files, in memory. To be sourced, as root; starts the
# test anew with mounts of its own. Sets work (a folder), root (the view in it) and upper (what is changed in the view).
if [ "${view-}" != entered ]; then
    unshare --mount true 2>/dev/null || { echo "appliance: skipped: ${0##*/} needs root, and mounts of its own"; exit 77; }
    view=entered exec unshare --mount "$0" "$@"
fi
work=$(mktemp -d) root=$work/root upper=$work/upper
mount -t tmpfs view "$work"
trap 'umount -l "$work"; rmdir "$work"' EXIT
mkdir "$work"/{upper,work,root}
mount -t overlay view -o "lowerdir=/,upperdir=$upper,workdir=$work/work" "$root"
mount -t tmpfs dev "$root/dev"
for device in null zero full random urandom tty; do touch "$root/dev/$device" && mount --bind "/dev/$device" "$root/dev/$device"; done
ln -s pts/ptmx "$root/dev/ptmx"

# Runs COMMAND, seeing the view's files below $root, as the first process of namespaces with a network like a NAS's. Nothing of the
# kernel can be set.
in_view() { # COMMAND …
    timeout --kill-after=5 300 unshare --mount --pid --net --uts --ipc --fork --kill-child --mount-proc="$root/proc" bash -ec '
        ip link add eth0 type veth peer name wan0
        for link in lo eth0 wan0; do ip link set "$link" up; done
        ip addr add 192.168.1.10/24 dev eth0
        ip route add default via 192.168.1.1
        mount -t sysfs -o ro sysfs "$0/sys"
        mount --bind "$0/proc/sys" "$0/proc/sys" && mount -o remount,bind,ro "$0/proc/sys"
        exec "$@"' "$root" "$@"
}
