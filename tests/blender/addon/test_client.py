"""One connection's sending side, over a real socket pair."""

import json
import socket
import threading

import pytest


@pytest.fixture
def pair():
    near, far = socket.socketpair()
    far.settimeout(5)
    yield near, far
    near.close()
    far.close()


def read_lines(sock, count):
    data = b""
    while data.count(b"\n") < count:
        chunk = sock.recv(1 << 20)
        if not chunk:
            break
        data += chunk
    return data.split(b"\n")[:count]


def test_a_message_goes_out_as_compact_json_and_a_newline(addon, pair):
    near, far = pair
    client = addon._Client(near)
    assert client.send({"type": "result", "id": 3, "ok": False, "error": None}) is True
    assert read_lines(far, 1) == [b'{"type":"result","id":3,"ok":false,"error":null}']


def test_a_new_client_has_proven_nothing_yet(addon, pair):
    client = addon._Client(pair[0])
    assert (client.authed, client.subscribed, client.alive) == (False, False, True)


def test_messages_sent_from_several_threads_never_interleave(addon, pair):
    near, far = pair
    client = addon._Client(near)
    threads = 4
    per_thread = 20
    # Large enough that one send takes several system calls.
    padding = "p" * 200000

    def sender(number):
        for index in range(per_thread):
            client.send({"thread": number, "index": index, "padding": padding})

    workers = [threading.Thread(target=sender, args=(number,)) for number in range(threads)]
    for worker in workers:
        worker.start()
    lines = read_lines(far, threads * per_thread)
    for worker in workers:
        worker.join()
    messages = [json.loads(line) for line in lines]
    for number in range(threads):
        assert [m["index"] for m in messages if m["thread"] == number] == list(range(per_thread))


def test_a_send_error_closes_only_that_client(addon):
    broken_near, broken_far = socket.socketpair()
    good_near, good_far = socket.socketpair()
    good_far.settimeout(5)
    try:
        broken = addon._Client(broken_near)
        good = addon._Client(good_near)
        broken_far.close()
        results = [broken.send({"n": number}) for number in range(3)]
        assert results[-1] is False
        assert broken.alive is False
        assert broken_near.fileno() == -1
        assert good.alive is True
        assert good.send({"still": "here"}) is True
        assert read_lines(good_far, 1) == [b'{"still":"here"}']
    finally:
        for sock in (broken_near, good_near, good_far):
            sock.close()


def test_a_closed_client_sends_nothing_and_closing_again_is_harmless(addon, pair):
    near, far = pair
    client = addon._Client(near)
    client.close()
    client.close()
    assert client.alive is False
    assert client.send({"late": True}) is False
    assert far.recv(10) == b""
