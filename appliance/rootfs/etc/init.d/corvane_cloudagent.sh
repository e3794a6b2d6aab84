#!/usr/bin/env bash
# The SD-WAN cloud agent: stands for this NAS in the cloud, and has the tunnels built that the cloud wants.
. /etc/init.d/corvane_functions
record "$@"

start() {
    local id token
    id=$(agent_value DEV_ID)
    token=$(agent_value DEV_TOKEN)
    [ -n "$id" ] && [ -n "$token" ] || { echo "no agent configuration in $(agent_configuration)" >&2; exit 1; }
    edge_state change "$(jq -nc --arg id "$id" --arg token "$token" \
        '{agent: true, dummy_interface: true, device_id: $id, device_token: $token}')"
    tunnels_up
}

stop() {
    tunnels_down
    edge_state change '{"agent": false}'
}

remove_configs() {
    tunnels_down
    edge_state change '{"device_id": null, "device_token": null}'
    rm -f /etc/config/harbex/cloudagent.cfg "$(agent_configuration)"
}

case ${1-} in
    start) start ;;
    stop) stop ;;
    restart) stop; start ;;
    status) edge_state show | jq -e .agent >/dev/null ;;
    remove_dummy_interface) edge_state change '{"dummy_interface": false}' ;;
    remove_corvane_configs) remove_configs ;;
    stop_and_remove_corvane_configs) stop; remove_configs ;;
    *)
        echo "usage: $0 start|stop|restart|status|remove_dummy_interface|remove_corvane_configs|stop_and_remove_corvane_configs" >&2
        exit 64
        ;;
esac
