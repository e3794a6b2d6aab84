#!/usr/bin/env bash
# The local SD-WAN edge daemon.
. /etc/init.d/corvane_functions
record "$@"

start() {
    appliance-service start corvane_expressd || exit 1
    [ "$(edge_state show | jq -r .agent)" != true ] || tunnels_up
}

stop() {
    tunnels_down
    appliance-service stop corvane_expressd || exit 1
}

case ${1-} in
    start) start ;;
    stop) stop ;;
    restart) stop; start ;;
    status) appliance-service running corvane_expressd ;;
    *) echo "usage: $0 start|stop|restart|status" >&2; exit 64 ;;
esac
