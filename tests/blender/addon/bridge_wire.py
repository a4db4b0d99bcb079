"""The bridge's wire as a test client speaks it: one JSON object per line over loopback."""

import json
import socket


class LineConnection:
    """One connection to the bridge, reading whole lines however the bytes arrive."""

    def __init__(self, port, timeout):
        self.sock = socket.create_connection(("127.0.0.1", port), timeout=timeout)
        self.pending = b""

    def send_raw(self, data):
        self.sock.sendall(data)

    def send_message(self, message):
        self.send_raw(json.dumps(message).encode() + b"\n")

    def receive_line(self):
        """The next line without its newline, or None once the bridge has closed the connection."""
        while b"\n" not in self.pending:
            try:
                chunk = self.sock.recv(65536)
            except ConnectionResetError:
                chunk = b""
            if not chunk:
                return None
            self.pending += chunk
        line, self.pending = self.pending.split(b"\n", 1)
        return line

    def receive(self):
        """The next line as JSON, or None once the bridge has closed the connection."""
        line = self.receive_line()
        return None if line is None else json.loads(line)

    def closed_by_bridge(self):
        """Whether the bridge has closed its end (waiting for that, within the timeout)."""
        try:
            return self.sock.recv(1) == b""
        except ConnectionResetError:
            return True

    def close(self):
        self.sock.close()
