#!/usr/bin/env bash
# The launcher from outside: exit statuses, options, what stays and what does not.
#   launcher_test.sh APPLIANCE BUILD
set -euo pipefail

appliance=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mark=launcher-test-$$
failed=0

enter() { "$appliance" --build "$build" --bare "$@"; }

check() { # NAME STATUS COMMAND …
    local name=$1 expected=$2 status=0
    shift 2
    "$@" >"$work/out" 2>"$work/err" || status=$?
    [ "$status" -ne "$expected" ] || return 0
    failed=1
    echo "[  FAILED  ] launcher.$name: ended with $status, not $expected"
    cat "$work/out" "$work/err"
}

check StatusPassesThrough 7 enter -- bash -c 'exit 7'
grep -q 'in place' "$work/err" && in_place=yes || in_place=
check UnknownOption 64 enter --dance
check EveryMethodCanFail 0 enter -- bash -c '
    diff <(fault --list | sed -n "s/^harbex_network_service\.//p") <(bsh --list harbex_network_service | sed "s/ .*//" | sort)'
check CloudFaultFromTheStart 0 enter --fault cloud:/v1.1/me=status:503,body:a=b -- bash -c '[ "$(fault)" = "cloud:/v1.1/me status:503,body:a=b" ]'
https_proxy=http://127.0.0.1:9 check OnlyWhatIsMeantToGetsIn 0 enter -- bash -c '[ -z "${https_proxy-}" ]'
if [ -z "$in_place" ]; then
    check Keeps 0 enter --keep "$work/kept" -- bash -c 'setcfg S k kept -f /etc/config/vpn.conf'
    check Kept 0 enter --keep "$work/kept" -- bash -c '[ "$(getcfg S k -f /etc/config/vpn.conf -d none)" = kept ]'
    check LeavesNothing 0 enter -- bash -c "touch /tmp/$mark /etc/config/$mark; echo $mark >/etc/hosts"
    check NothingLeaks 0 bash -c "[ ! -e /tmp/$mark ] && [ ! -e /etc/config/$mark ] && ! grep -q $mark /etc/hosts"
fi
[ "$failed" -eq 0 ]
