#!/bin/sh
# Says in words how the NAS's port is doing. bsh ends with 0 only for a reply with "error" 0.
reply=$(bsh harbex_network_service.Get_port_status --timeout 15) || {
    echo "the port's state cannot be had: ${reply:-no reply}" >&2
    exit 1
}
echo "$reply" | jq -r '.data[] | "\(.port_name) is \(if .carrier_status then "connected" else "not connected" end)"'
