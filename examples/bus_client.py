#!/usr/bin/env python3
"""Calls a method of a service on the NAS's bus: bus_client.py SERVICE.METHOD [JSON]. As a module: call(…)."""
import json
import socket
import struct
import sys


def receive(connection, length):
    received = b""
    while len(received) < length:
        chunk = connection.recv(length - len(received))
        if not chunk:
            raise ConnectionError("the service closed the connection without a whole reply")
        received += chunk
    return received


def call(service, method, body="", timeout_s=60):
    """The reply's envelope. OSError when the service is not there, does not answer in time or hangs up."""
    name, payload = method.encode(), body.encode()
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
        connection.settimeout(timeout_s)  # of each step
        connection.connect(f"/var/run/bsvc/{service}.sock")
        connection.sendall(struct.pack("<4sIII", b"BSSQ", 1, len(name), len(payload)) + name + payload)
        magic, version, length = struct.unpack("<4sII", receive(connection, 12))
        if (magic, version) != (b"BSSR", 1):
            raise ConnectionError("this is not the bus's protocol")
        return json.loads(receive(connection, length))


if __name__ == "__main__":
    if not 2 <= len(sys.argv) <= 3 or "." not in sys.argv[1]:
        sys.exit(__doc__)
    reply = call(*sys.argv[1].split(".", 1), *sys.argv[2:])
    print(json.dumps(reply, indent=2))
    sys.exit(0 if reply["error"] == 0 else 1)
