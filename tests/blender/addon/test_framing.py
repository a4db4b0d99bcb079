"""Splitting received bytes into request lines, the line cap, and reading a line as JSON."""

import json

import pytest


def feed_all(buffer, chunks):
    lines = []
    for chunk in chunks:
        lines += buffer.feed(chunk)
    return lines


def test_a_line_of_exactly_the_cap_without_newline_is_kept_and_completes_later(addon):
    buffer = addon._LineBuffer()
    line = b"x" * addon.MAX_LINE
    assert buffer.feed(line) == []
    assert not buffer.overflowed
    assert buffer.feed(b"\n") == [line]
    assert not buffer.overflowed


def test_one_byte_over_the_cap_without_newline_overflows(addon):
    buffer = addon._LineBuffer()
    buffer.feed(b"x" * addon.MAX_LINE)
    buffer.feed(b"x")
    assert buffer.overflowed


def test_a_complete_line_over_the_cap_overflows_but_earlier_lines_survive(addon):
    buffer = addon._LineBuffer()
    lines = buffer.feed(b"first\n" + b"x" * (addon.MAX_LINE + 1) + b"\nthird\n")
    assert lines == [b"first"]
    assert buffer.overflowed
    assert buffer.feed(b"more\n") == []


def test_the_cap_counts_from_the_last_newline_not_from_the_start_of_the_chunk(addon):
    buffer = addon._LineBuffer()
    full = b"a" * addon.MAX_LINE
    assert buffer.feed(full + b"\n" + full) == [full]
    assert not buffer.overflowed
    assert buffer.feed(b"\n") == [full]


@pytest.mark.parametrize(
    "chunks, expected",
    [
        ([b'{"a":1}\n{"b":2}\n{"c":3}\n'], [b'{"a":1}', b'{"b":2}', b'{"c":3}']),
        ([b'{"a":', b"1}\n"], [b'{"a":1}']),
        ([b'{"a":1}\n{"b"', b":2}\n"], [b'{"a":1}', b'{"b":2}']),
        ([bytes([byte]) for byte in b'{"a":1}\n'], [b'{"a":1}']),
        ([b"\n\n"], [b"", b""]),
        ([b"no newline yet"], []),
    ],
    ids=["several-in-one-chunk", "split-across-chunks", "line-and-a-half", "byte-by-byte", "empty-lines", "incomplete"],
)
def test_lines_come_out_whole_and_in_order(addon, chunks, expected):
    buffer = addon._LineBuffer()
    assert feed_all(buffer, chunks) == expected
    assert not buffer.overflowed


def test_a_long_line_growing_over_many_chunks_overflows_as_it_passes_the_cap(addon):
    buffer = addon._LineBuffer()
    chunk = b"y" * 40000
    buffer.feed(chunk)
    assert not buffer.overflowed
    buffer.feed(chunk)
    assert buffer.overflowed


@pytest.mark.parametrize(
    "line",
    [
        b"not json",
        b"[1, 2, 3]",
        b'"a string"',
        b"42",
        b"null",
        b'{"type": "hello"',
        b"\xff\xfe{}",
        b"[" * 100000,
    ],
    ids=["text", "array", "string", "number", "null", "truncated", "bad-utf8", "deep-nesting"],
)
def test_lines_that_are_not_a_json_object_are_skipped(addon, line):
    assert addon._parse_message(line) is None


def test_an_object_line_is_read_with_its_non_finite_numbers(addon):
    message = addon._parse_message(b'{"type":"set_rotation","radians":NaN,"name":"W\xc3\xbcrfel"}')
    assert message["type"] == "set_rotation"
    assert message["radians"] != message["radians"]
    assert message["name"] == "Würfel"


@pytest.mark.parametrize(
    "message",
    [
        {"type": "hello", "ok": True, "protocol": 1, "version": "1.2.0"},
        {"name": "Würfel \u2013 Kamera", "n": [1, 2.5, None]},
        {"name": "two\nlines"},
    ],
    ids=["hello", "non-ascii", "newline-in-text"],
)
def test_an_encoded_message_is_one_compact_utf8_line(addon, message):
    data = addon._encode(message)
    assert data.endswith(b"\n") and data.count(b"\n") == 1
    text = data.decode("utf-8")
    assert ", " not in text and ": " not in text.replace("Würfel \u2013 Kamera", "")
    assert json.loads(text) == message


def test_the_hello_reply_has_exactly_the_compact_form(addon):
    data = addon._encode({"type": "hello", "ok": True, "protocol": 1, "version": "1.2.0"})
    assert data == b'{"type":"hello","ok":true,"protocol":1,"version":"1.2.0"}\n'


def test_non_finite_numbers_go_out_as_null_wherever_they_are(addon):
    message = {"state": {"radians": [float("nan"), 1.5, float("inf")], "lens": float("-inf")}, "ok": True}
    data = addon._encode(message)
    assert b"NaN" not in data and b"Infinity" not in data
    assert json.loads(data) == {"state": {"radians": [None, 1.5, None], "lens": None}, "ok": True}


def test_a_name_holding_undecodable_bytes_still_makes_a_valid_line(addon):
    data = addon._encode({"name": "bad\udcff"})
    assert json.loads(data.decode("utf-8"))["name"].startswith("bad")
