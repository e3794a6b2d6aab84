#!/usr/bin/env bash
# The launcher from outside: exit statuses, options, what stays and what does not.
#   launcher_test.sh APPLIANCE BUILD
set -euo pipefail

appliance=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mark=launcher-test-$$
passed=0 failed=0 skipped=0

enter() { "$appliance" --build "$build" --bare "$@"; }

# Runs COMMAND; fine when it ends with STATUS.
check() { # NAME STATUS COMMAND …
    local name=$1 expected=$2 status=0
    shift 2
    "$@" >"$work/out" 2>"$work/err" || status=$?
    if [ "$status" -eq "$expected" ]; then
        passed=$((passed + 1))
        echo "[       OK ] launcher.$name"
    else
        failed=$((failed + 1))
        echo "[  FAILED  ] launcher.$name: ended with $status, not $expected"
        cat "$work/out" "$work/err"
    fi
}

check StatusPassesThrough 7 enter -- bash -c 'exit 7'
in_place=
! grep -q 'in place' "$work/err" || in_place=yes
check UnknownOption 64 enter --dance
# Runs COMMAND; fine when it is refused as wrong use with WORDS in one line, before anything starts.
check_refused() { # NAME WORDS COMMAND …
    local name=$1 words=$2
    shift 2
    check "$name" 64 "$@"
    grep -qF -e "$words" "$work/err" && [ ! -s "$work/out" ] && return
    failed=$((failed + 1))
    echo "[  FAILED  ] launcher.$name: not '$words':"
    cat "$work/out" "$work/err"
}
check_refused UnknownMethod 'near: corvane_expressd.GetHubInfo' enter --fault corvane_express.GetHubinfo=close -- echo started
check_refused UnknownValue "cannot 'vanish'" enter --fault cloud:/v1.1/me=vanish -- echo started
check_refused UnknownState 'signed-in' enter --state singed-in -- echo started
check EveryMethodCanFail 0 enter -- bash -c '
    diff <(fault --list | sed -n "s/^harbex_network_service\.//p") <(bsh --list harbex_network_service | sed "s/ .*//" | sort)'
check EveryToolHasHelp 0 enter -- bash -c '
    for tool in getcfg setcfg bsh harbexctl signin fault cloudctl appliance-service; do [ -n "$("$tool" --help)" ] || { echo "$tool"; exit 1; }; done'
check NoSuchCommand 127 enter -- no_such_command
check FaultOnNothing 70 enter --fault /sbin/no_such_tool=exit:1 -- true
check NoSuchBuild 70 "$appliance" --build "$work/none" -- true
check CloudFaultFromTheStart 0 enter --fault cloud:/v1.1/me=status:503,body:a=b -- bash -c '[ "$(fault)" = "cloud:/v1.1/me status:503,body:a=b" ]'
check ArgumentsStayWhole 0 enter -- test 'a b$(c)' = 'a b$(c)'

export https_proxy=http://127.0.0.1:9 SSLKEYLOGFILE=/tmp/keys LANG=de_DE.UTF-8 TERM=dumb ASAN_OPTIONS=verbosity=0
check OnlyWhatIsMeantToGetsIn 0 enter -- bash -c '
    [ "$(env -u PWD -u SHLVL -u _ | sed "s/=.*//" | sort | tr "\n" " ")" = "ASAN_OPTIONS HOME LC_ALL PATH TERM TSAN_OPTIONS UBSAN_OPTIONS " ] &&
    export https_proxy && appliance-service start NetworkService &&
    ! grep -z proxy "/proc/$(pgrep -x NetworkService)/environ"; status=$?; appliance-service stop NetworkService; exit $status'
unset https_proxy SSLKEYLOGFILE LANG

if [ -n "$in_place" ]; then
    echo "[  SKIPPED ] launcher.Keep, launcher.NothingLeaks, launcher.MachineAroundStaysItsOwn, launcher.FrontEndAuthor: no namespaces here"
    skipped=4
else
    keep_both() {
        enter --keep "$work/kept" -- bash -c 'setcfg S k kept -f /etc/config/vpn.conf && echo more >/var/tmp/note && touch /opt/harbex/note' &&
            enter --keep "$work/kept" -- bash -c '[ "$(getcfg S k -f /etc/config/vpn.conf -d none)" = kept ] && cat /var/tmp/note /opt/harbex/note' &&
            enter -- bash -c '[ "$(getcfg S k -f /etc/config/vpn.conf -d none)" = none ] && [ ! -e /var/tmp/note ]'
    }
    check Keep 0 keep_both
    # Joined, with own files inside, called from outside; meanwhile nobody else may have the same folders.
    front_end() {
        local nas status=0
        echo mine >"$work/file"
        "$appliance" --build "$build" --state joined --share "$work" --bus "$work/bus" -- \
            bash -c 'cat /share/file && harbexctl --json status && touch /share/up && until [ -e /share/end ]; do sleep 0.02; done' >"$work/nas" 2>&1 &
        nas=$!
        for _ in {1..1500}; do [ ! -e "$work/up" ] && [ -d "/proc/$nas" ] || break; sleep 0.02; done
        python3 - "$work/bus/harbex_network_service.sock" <<'TEXT' || status=1
import socket, struct, sys
daemon = socket.socket(socket.AF_UNIX)
daemon.connect(sys.argv[1])
daemon.sendall(struct.pack("<4sIII", b"BSSQ", 1, 16, 0) + b"Get_gateway_info")
sys.exit(b'"ip4_address": "192.168.1.10"' not in daemon.makefile("rb").read())
TEXT
        "$appliance" --build "$build" --bare --bus "$work/bus" -- true 2>"$work/second" && status=1
        grep -q 'another appliance' "$work/second" || status=1
        touch "$work/end"
        wait "$nas" || status=1
        cat "$work/nas"
        grep -qx mine "$work/nas" && grep -q '"is_on_corvane":1' "$work/nas" || status=1
        return "$status"
    }
    check FrontEndAuthor 0 front_end
    leave_nothing() {
        enter -- bash -c "touch /tmp/$mark /etc/config/$mark; setsid sleep 98765$$ & echo $mark >/etc/hosts; ip link show eth0" || return 1
        [ ! -e "/tmp/$mark" ] && [ ! -e "/etc/config/$mark" ] && ! grep -q "$mark" /etc/hosts || return 1
        # The launcher is back a moment before the last process is gone.
        for _ in {1..500}; do pgrep -f "sleep 98765$$" || return 0; sleep 0.02; done
        return 1
    }
    check NothingLeaks 0 leave_nothing
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
        echo "[  SKIPPED ] launcher.MachineAroundStaysItsOwn: no user namespace below bubblewrap's here"
        skipped=1
    else
        check MachineAroundStaysItsOwn 0 enter -- bash -c "$spoil" spoil "$(readlink -f "${appliance%/*}/..")" "$(readlink -f "$build")"
    fi
fi

# In the words of the other tests, so that whoever counts cases counts these, too.
echo "[  PASSED  ] $passed tests."
[ "$skipped" -eq 0 ] || echo "[  SKIPPED ] $skipped tests."
[ "$failed" -eq 0 ] || { echo "[  FAILED  ] $failed tests."; exit 1; }
