#!/usr/bin/env bash
# The launcher from outside: exit statuses, options, what stays and what does not.
#   launcher_test.sh APPLIANCE BUILD
set -euo pipefail

appliance=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mark=launcher-test-$$
passed=0 failed=0

enter() { "$appliance" --build "$build" --bare "$@"; }

check() { # NAME STATUS COMMAND …
    local name=$1 expected=$2 status=0
    shift 2
    "$@" >"$work/out" 2>"$work/err" || status=$?
    if [ "$status" -eq "$expected" ]; then
        passed=$((passed + 1))
        return 0
    fi
    failed=$((failed + 1))
    echo "[  FAILED  ] launcher.$name: ended with $status, not $expected"
    cat "$work/out" "$work/err"
}

check StatusPassesThrough 7 enter -- bash -c 'exit 7'
grep -q 'in place' "$work/err" && in_place=yes || in_place=
check UnknownOption 64 enter --dance
check NearestNameIsTold 0 bash -c '"$0" --fault NetworkService.get_currentGWinf=close 2>&1 | grep -q "near: NetworkService.api.get_currentGWinfo,"' "$appliance"
check EveryMethodCanFail 0 enter -- bash -c '
    diff <(fault --list | sed -n "s/^harbex_network_service\.//p") <(bsh --list harbex_network_service | sed "s/ .*//" | sort)'
check CloudFaultFromTheStart 0 enter --fault cloud:/v1.1/me=status:503,body:a=b -- bash -c '[ "$(fault)" = "cloud:/v1.1/me status:503,body:a=b" ]'
https_proxy=http://127.0.0.1:9 check OnlyWhatIsMeantToGetsIn 0 enter -- bash -c '[ -z "${https_proxy-}" ]'
if [ -z "$in_place" ]; then
    # What is tried here does no harm where it succeeds.
    spoil='
        read -r pattern </proc/sys/kernel/core_pattern
        spoiled() { echo "inside: $*"; exit 1; }
        for place in /usr "$1" "$2"; do ! mount -o remount,rw,bind "$place" 2>/dev/null || spoiled "$place can be made writable"; done
        umount /proc/sys 2>/dev/null; mount -o remount,rw,bind /proc/sys 2>/dev/null
        ! echo "$pattern" 2>/dev/null >/proc/sys/kernel/core_pattern || spoiled "the kernel can be set"
        ! mknod /tmp/disk b 7 255 2>/dev/null || spoiled "a device can be made"
        for place in /usr "$1" "$2"; do ! touch "$place/launcher-test" 2>/dev/null || spoiled "$place is writable"; done
        [ "$(stat -c %a /lib)" = 755 ] || spoiled "/lib is not for everybody"
        [ -x "$1/appliance/appliance" ] || spoiled "the checkout is not there"'
    if grep -q 'no user namespace' "$work/err"; then
        echo "appliance: skipped: launcher.MachineAroundStaysItsOwn needs a user namespace below bubblewrap's"
    else
        check MachineAroundStaysItsOwn 0 enter -- bash -c "$spoil" spoil "$(readlink -f "${appliance%/*}/..")" "$(readlink -f "$build")"
    fi
    check Keeps 0 enter --keep "$work/kept" -- bash -c 'setcfg S k kept -f /etc/config/vpn.conf'
    check Kept 0 enter --keep "$work/kept" -- bash -c '[ "$(getcfg S k -f /etc/config/vpn.conf -d none)" = kept ]'
    check LeavesNothing 0 enter -- bash -c "touch /tmp/$mark /etc/config/$mark; echo $mark >/etc/hosts"
    check NothingLeaks 0 bash -c "[ ! -e /tmp/$mark ] && [ ! -e /etc/config/$mark ] && ! grep -q $mark /etc/hosts"
fi
echo "[  PASSED  ] $passed tests."
[ "$failed" -eq 0 ] || { echo "[  FAILED  ] $failed tests."; exit 1; }
