#!/usr/bin/env bash
# Kills setcfg at each system call of its own while four others write the same file: the file stays whole, nothing that was
# reported as done is lost, and the next write leaves no temporary file.
#   power_cut_test.sh SETCFG GETCFG
set -euo pipefail

setcfg=$1 getcfg=$2
folder=$(mktemp -d)
file=$folder/corvane.conf
trap 'touch "$folder/stop"; wait; rm -rf "$folder"' EXIT
fail() { echo "[  FAILED  ] 1 test: $*"; exit 1; }

comments=$(printf '# %0200d\n' {1..100})
printf '[s]\nkilled = 0\n%s\n' "$comments" >"$file"
strace -o "$folder/calls" "$setcfg" s killed 1 -f "$file"
writers=()
for writer in 1 2 3 4; do
    for ((n = 1; ; n++)); do
        [ ! -e "$folder/stop" ] || exit 0
        "$setcfg" s "w$writer" "$n" -f "$file" && echo "$n" >"$folder/done$writer"
    done &
    writers+=($!)
done

kills=0
while read -r count call; do
    for ((at = 1; at <= count; at++)); do
        status=0
        { strace -o /dev/null -e inject="$call:signal=KILL:when=$at" "$setcfg" s killed "$call $at" -f "$file"; } 2>/dev/null || status=$?
        [ "$status" -eq 0 ] || [ "$status" -eq 137 ] || fail "setcfg ends with $status at $call $at"
        [ "$status" -eq 0 ] || kills=$((kills + 1))
        [ "$(grep '^#' "$file")" = "$comments" ] || fail "the file is cut at $call $at"
        value=$("$getcfg" s killed -f "$file")
        [ "$status" -ne 0 ] || [ "$value" = "$call $at" ] || fail "what was reported as done is lost at $call $at"
    done
done < <(grep -o '^[a-z_0-9]*(' "$folder/calls" | tr -d '(' | grep -v execve | sort | uniq -c)
touch "$folder/stop"
wait "${writers[@]}"
"$setcfg" s killed end -f "$file"
for writer in 1 2 3 4; do
    [ "$("$getcfg" s "w$writer" -f "$file")" = "$(cat "$folder/done$writer")" ] || fail "a write of writer $writer is lost"
done
[ ! -e "$folder/.setcfg.new" ] || fail "a temporary file stays"
[ "$kills" -gt 20 ] || fail "only $kills kills"
echo "killed at $kills system calls, beside $(cat "$folder"/done? | paste -sd " ") writes of four others"
echo "[  PASSED  ] 1 test"
