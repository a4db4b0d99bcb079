"""The bridge's socket side on real loopback connections, without Blender: the listener, the
hello, the client limit, the line cap and what reaches the request queue."""

import queue
import re
import select
import socket
import time

import pytest

from bridge_wire import LineConnection

WAIT = 5.0


@pytest.fixture
def bridge(addon):
    bridge = addon._Bridge()
    bridge.listen()
    yield bridge
    bridge.close_connections()


class Connection(LineConnection):
    def __init__(self, port):
        super().__init__(port, WAIT)

    def send(self, data):
        self.send_raw(data)


@pytest.fixture
def connect(bridge):
    opened = []

    def connect(authenticate=False):
        connection = Connection(bridge.server.getsockname()[1])
        opened.append(connection)
        if authenticate:
            connection.send_message({"type": "hello", "token": bridge.token})
            assert connection.receive()["ok"] is True
        return connection

    yield connect
    for connection in opened:
        connection.close()


def next_request(bridge):
    return bridge.requests.get(timeout=WAIT)


def wait_until(condition):
    deadline = time.monotonic() + WAIT
    while not condition():
        assert time.monotonic() < deadline, "condition not met in time"
        time.sleep(0.01)


def test_the_listener_is_on_loopback_and_the_info_names_it(addon, bridge):
    host, port = bridge.server.getsockname()
    assert host == "127.0.0.1"
    info = bridge.info("3.4.1")
    assert info["port"] == port
    assert re.fullmatch(r"[0-9a-f]{64}", info["token"])
    assert info["token"] == bridge.token
    assert (info["protocol"], info["version"], info["blender"]) == (1, "1.2.0", "3.4.1")


def test_each_start_makes_a_new_token(addon):
    tokens = set()
    for _ in range(3):
        bridge = addon._Bridge()
        bridge.listen()
        tokens.add(bridge.token)
        bridge.close_connections()
    assert len(tokens) == 3


def test_a_good_hello_is_answered_and_later_requests_are_queued(bridge, connect):
    connection = connect()
    connection.send_message({"type": "hello", "token": bridge.token})
    data = b""
    while not data.endswith(b"\n"):
        data += connection.sock.recv(1024)
    assert data == b'{"type":"hello","ok":true,"protocol":1,"version":"1.2.0"}\n'
    connection.send_message({"type": "state", "id": 1})
    client, message = next_request(bridge)
    assert message == {"type": "state", "id": 1}
    assert client.authed and client in bridge.clients


@pytest.mark.parametrize(
    "first",
    [
        {"type": "hello", "token": "0" * 64},
        {"type": "hello", "token": 12345},
        {"type": "hello"},
        {"type": "state", "id": 1},
        "TOKEN-BUT-WRONG-TYPE",
    ],
    ids=["wrong-token", "token-not-text", "no-token", "request-before-hello", "right-token-wrong-type"],
)
def test_any_other_first_message_is_refused_and_the_connection_closed(bridge, connect, first):
    connection = connect()
    if first == "TOKEN-BUT-WRONG-TYPE":
        first = {"type": "subscribe", "token": bridge.token}
    connection.send_message(first)
    assert connection.receive() == {"type": "hello", "ok": False}
    assert connection.receive() is None
    assert bridge.requests.empty()


def test_lines_that_are_not_json_objects_are_skipped_before_and_after_the_hello(bridge, connect):
    connection = connect()
    connection.send(b"junk\n[1,2]\n\n\"text\"\n")
    connection.send_message({"type": "hello", "token": bridge.token})
    assert connection.receive()["ok"] is True
    connection.send(b"more junk\n{\"type\":\"state\",\"id\":2}\n")
    assert next_request(bridge)[1] == {"type": "state", "id": 2}


def test_a_fifth_client_is_closed_at_once_and_a_freed_place_is_given_again(addon, bridge, connect):
    four = [connect(authenticate=True) for _ in range(addon.MAX_CLIENTS)]
    fifth = connect()
    assert fifth.closed_by_bridge()
    four[0].close()
    wait_until(lambda: len(bridge.clients) == addon.MAX_CLIENTS - 1)
    connect(authenticate=True)


def test_a_line_of_exactly_the_cap_is_read(addon, bridge, connect):
    connection = connect(authenticate=True)
    head = b'{"type":"state","id":3,"pad":"'
    tail = b'"}'
    line = head + b"x" * (addon.MAX_LINE - len(head) - len(tail)) + tail
    assert len(line) == addon.MAX_LINE
    connection.send(line + b"\n")
    assert next_request(bridge)[1]["id"] == 3


@pytest.mark.parametrize("authenticate", [False, True], ids=["before-hello", "after-hello"])
def test_a_line_over_the_cap_closes_the_connection(addon, bridge, connect, authenticate):
    connection = connect(authenticate=authenticate)
    connection.send(b"x" * (addon.MAX_LINE + 1))
    assert connection.closed_by_bridge()
    wait_until(lambda: not bridge.clients)


def closed_while_talking(connection, seconds):
    """Sends a junk line every 0.1 s until the bridge closes the connection (True) or
    `seconds` pass (False)."""
    give_up = time.monotonic() + seconds
    while time.monotonic() < give_up:
        try:
            connection.send(b"not a hello\n")
            readable, _, _ = select.select([connection.sock], [], [], 0.1)
            if readable and connection.sock.recv(1) == b"":
                return True
        except OSError:  # A reset: closed with our junk unread.
            return True
    return False


def test_a_peer_that_never_proves_itself_loses_its_place(addon, bridge, connect, monkeypatch):
    monkeypatch.setattr(addon, "_HELLO_TIMEOUT", 0.3)
    silent = connect()
    chatty = connect()
    # A deadline, not a quiet spell, ends it: a peer that keeps talking is closed all the same.
    # The generous bound is there only because time is the behaviour under test.
    assert closed_while_talking(chatty, 3.0)
    assert silent.closed_by_bridge()
    wait_until(lambda: not bridge.clients)


def test_a_flood_of_requests_waits_instead_of_growing_the_queue(addon, bridge, connect):
    connection = connect(authenticate=True)
    line = b'{"type":"state"}\n'
    connection.send(line * (addon._QUEUE_LIMIT + 100))
    wait_until(lambda: bridge.requests.full())
    time.sleep(0.1)
    assert bridge.requests.qsize() == addon._QUEUE_LIMIT
    drained = 0
    while True:
        try:
            bridge.requests.get(timeout=1.0)
        except queue.Empty:
            break
        drained += 1
    assert drained == addon._QUEUE_LIMIT + 100


def test_stopping_closes_every_client_and_the_listener(bridge, connect):
    port = bridge.server.getsockname()[1]
    connections = [connect(authenticate=True), connect()]
    bridge.close_connections()
    for connection in connections:
        assert connection.closed_by_bridge()
    with pytest.raises(OSError):
        socket.create_connection(("127.0.0.1", port), timeout=WAIT).close()
