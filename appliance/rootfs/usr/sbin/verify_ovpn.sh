#!/usr/bin/env bash
# Whether the file of the first argument is an OpenVPN client's configuration.
. /etc/init.d/corvane_functions
record "$@"

[ $# -eq 2 ] && [ -r "$1" ] && grep -q '^remote[[:space:]]' "$1"
