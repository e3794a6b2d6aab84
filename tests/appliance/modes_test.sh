#!/usr/bin/env bash
# Inside the appliance, on a joined NAS: what was made has the modes of the TABLE, another user gets nothing, and tokens go nowhere
# but into setcfg's arguments.
#   modes_test.sh TABLE
set -euo pipefail

failed=0
fail() { failed=$((failed + 1)); echo "[  FAILED  ] modes: $*"; }

# The settings tools tell what they are started with. Then a token ends and is renewed.
for tool in getcfg setcfg; do
    mv "/sbin/$tool" "/sbin/$tool.real"
    printf '%s\n' '#!/bin/bash' "echo $tool \"\$@\" >>/tmp/arguments; exec /sbin/$tool.real \"\$@\"" >"/sbin/$tool"
    chmod 0755 "/sbin/$tool"
done
signin --expires-in -5 | harbexctl sign-in >/dev/null
token=$(bsh harbex_network_service.Get_cloudtoken | jq -r .data)
grep -q "^setcfg .*$token" /tmp/arguments || fail "the token was not renewed"
! grep -v '^setcfg' /tmp/arguments | grep -F -e "$token" || fail "the token is among a tool's arguments"

rows=$(sed -n 's/^| `\([^`]*\)` | \([0-7]*\) |.*/\1 \2/p' "$1")
[ "$(wc -l <<<"$rows")" -gt 10 ] || fail "no table in $1"
while read -r path mode; do
    [ "$(stat -c '%a %u' "$path")" = "$mode 0" ] || fail "$path: $(stat -c '%a %u' "$path"), not $mode 0"
done <<<"$rows"

as_other=(setpriv --reuid 65534 --regid 65534 --clear-groups)
if "${as_other[@]}" true 2>/dev/null; then
    answer=$("${as_other[@]}" bsh harbex_network_service.Get_cloudtoken 2>&1) && fail "another user was answered"
    [ "$answer" = "bsh: harbex_network_service refused the connection" ] || fail "another user got: $answer"
fi
[ "$failed" -eq 0 ]
