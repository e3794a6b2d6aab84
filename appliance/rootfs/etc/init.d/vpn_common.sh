#!/usr/bin/env bash
# Control over the VPN servers' connections. This NAS runs no VPN server, so that there is never a connection to end.
. /etc/init.d/corvane_functions
record "$@"

case ${1-} in
    kick_all_connection | kick_one_connection)
        [ $# -eq 3 ] && [[ $2 =~ ^[0-9]+$ ]] || { echo "usage: $0 $1 TYPE CONNECTION" >&2; exit 64; }
        ;;
    *) echo "usage: $0 kick_all_connection|kick_one_connection TYPE CONNECTION" >&2; exit 64 ;;
esac
