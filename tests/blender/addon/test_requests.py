"""Checks made on requests before Blender is touched: the hello, request ids, the rotation and
value writes, and the rounding of a brush size."""

import pytest

TOKEN = "0123456789abcdef" * 4


@pytest.mark.parametrize(
    "message, accepted",
    [
        ({"type": "hello", "token": TOKEN}, True),
        ({"type": "hello", "token": TOKEN, "extra": 1}, True),
        ({"type": "hello", "token": TOKEN.upper()}, False),
        ({"type": "hello", "token": TOKEN[:-1]}, False),
        ({"type": "hello", "token": TOKEN + "0"}, False),
        ({"type": "hello", "token": ""}, False),
        ({"type": "hello", "token": "\u00e9" * 64}, False),
        ({"type": "hello", "token": 123}, False),
        ({"type": "hello", "token": None}, False),
        ({"type": "hello", "token": [TOKEN]}, False),
        ({"type": "hello", "token": {"token": TOKEN}}, False),
        ({"type": "hello"}, False),
        ({"type": "Hello", "token": TOKEN}, False),
        ({"type": "subscribe", "token": TOKEN}, False),
        ({"token": TOKEN}, False),
    ],
    ids=[
        "good", "good-extra-field", "upper-case", "one-short", "one-long", "empty", "non-ascii",
        "number", "null", "list", "object", "missing", "type-case", "wrong-type", "no-type",
    ],
)
def test_hello_is_accepted_only_with_the_exact_token(addon, message, accepted):
    assert addon._hello_accepted(message, TOKEN) is accepted


@pytest.mark.parametrize(
    "message, expected",
    [
        ({"id": 7}, 7),
        ({"id": 0}, 0),
        ({"id": -3}, -3),
        ({"id": True}, None),
        ({"id": False}, None),
        ({"id": 1.0}, None),
        ({"id": "7"}, None),
        ({"id": None}, None),
        ({}, None),
    ],
)
def test_only_an_integer_id_is_echoed(addon, message, expected):
    assert addon._request_id(message) == expected


ROTATION = {"type": "set_rotation", "id": 1, "object": 42, "rotationMode": "XYZ", "axis": 1, "radians": 0.5}


def with_fields(base, **changes):
    message = dict(base)
    for name, value in changes.items():
        if value is MISSING:
            message.pop(name, None)
        else:
            message[name] = value
    return message


MISSING = object()


@pytest.mark.parametrize(
    "changes",
    [
        {"radians": float("nan")},
        {"radians": float("inf")},
        {"radians": float("-inf")},
        {"radians": 2.0e6},
        {"radians": -2.0e6},
        {"radians": 1.0e6 + 1e-9 * 1.0e6},
        {"radians": 10**400},
        {"radians": True},
        {"radians": False},
        {"radians": "0.5"},
        {"radians": None},
        {"radians": [0.5]},
        {"axis": 3},
        {"axis": -1},
        {"axis": 1.0},
        {"axis": True},
        {"axis": "1"},
        {"axis": None},
        {"object": True},
        {"object": 42.0},
        {"object": "42"},
        {"object": None},
        {"rotationMode": 1},
        {"rotationMode": None},
        {"object": MISSING},
        {"rotationMode": MISSING},
        {"axis": MISSING},
        {"radians": MISSING},
    ],
    ids=lambda changes: "-".join("%s=%r" % (k, "missing" if v is MISSING else v) for k, v in changes.items()),
)
def test_malformed_rotation_writes_are_refused(addon, changes):
    assert addon._rotation_request(with_fields(ROTATION, **changes)) is None


@pytest.mark.parametrize(
    "changes, expected",
    [
        ({}, (42, "XYZ", 1, 0.5)),
        ({"radians": 1.0e6}, (42, "XYZ", 1, 1.0e6)),
        ({"radians": -1.0e6}, (42, "XYZ", 1, -1.0e6)),
        ({"radians": 3}, (42, "XYZ", 1, 3.0)),
        ({"radians": 7.5}, (42, "XYZ", 1, 7.5)),
        ({"axis": 0}, (42, "XYZ", 0, 0.5)),
        ({"axis": 2}, (42, "XYZ", 2, 0.5)),
        ({"object": 2**63 - 1}, (2**63 - 1, "XYZ", 1, 0.5)),
        ({"rotationMode": "QUATERNION"}, (42, "QUATERNION", 1, 0.5)),
        ({"id": True}, (42, "XYZ", 1, 0.5)),
    ],
)
def test_well_formed_rotation_writes_are_read_exactly(addon, changes, expected):
    request = addon._rotation_request(with_fields(ROTATION, **changes))
    assert request == expected
    assert type(request[3]) is float


def test_a_nan_written_on_the_wire_is_refused(addon):
    message = addon._parse_message(b'{"type":"set_rotation","object":1,"rotationMode":"XYZ","axis":0,"radians":NaN}')
    assert addon._rotation_request(message) is None


VALUE = {"type": "set_value", "id": 2, "property": "lens", "value": 35.0, "object": 10, "data": 11}


@pytest.mark.parametrize("name", ["lens", "energy", "brush_size", "brush_strength"])
def test_each_writable_property_is_accepted(addon, name):
    assert addon._value_request(with_fields(VALUE, property=name)) == (name, 35.0)


@pytest.mark.parametrize(
    "changes",
    [
        {"property": "Lens"},
        {"property": "rotation"},
        {"property": "location"},
        {"property": "__class__"},
        {"property": 1},
        {"property": None},
        {"property": MISSING},
        {"value": float("nan")},
        {"value": float("inf")},
        {"value": float("-inf")},
        {"value": True},
        {"value": "35"},
        {"value": None},
        {"value": 10**400},
        {"value": MISSING},
        {"object": True},
        {"object": 10.0},
        {"object": "10"},
        {"object": None},
        {"data": False},
        {"data": 11.5},
        {"brush": "3"},
        {"brush": True},
        {"owner": [1]},
        {"owner": 1.0},
    ],
    ids=lambda changes: "-".join("%s=%r" % (k, "missing" if v is MISSING else v) for k, v in changes.items()),
)
def test_malformed_value_writes_are_refused(addon, changes):
    assert addon._value_request(with_fields(VALUE, **changes)) is None


@pytest.mark.parametrize(
    "changes, expected",
    [
        ({"value": 50}, ("lens", 50.0)),
        ({"value": -5.0}, ("lens", -5.0)),
        ({"object": MISSING, "data": MISSING}, ("lens", 35.0)),
        ({"scope": "unified", "lightType": 7}, ("lens", 35.0)),
    ],
    ids=["integer-value", "negative-left-to-the-writer", "no-identities", "other-fields-unchecked"],
)
def test_well_formed_value_writes_give_the_value_as_a_float(addon, changes, expected):
    request = addon._value_request(with_fields(VALUE, **changes))
    assert request == expected
    assert type(request[1]) is float


@pytest.mark.parametrize(
    "value, expected",
    [
        (50.5, 51),
        (50.6, 51),
        (50.4, 50),
        (50.49999, 50),
        (2.5, 3),
        (3.5, 4),
        (0.5, 1),
        (0.49999999999999994, 0),
        (1.0, 1),
        (0.0, 0),
        (-2.5, -3),
        (-0.4, 0),
        (5000.5, 5001),
    ],
)
def test_brush_size_rounds_halves_away_from_zero(addon, value, expected):
    rounded = addon._round_half_away(value)
    assert rounded == expected
    assert type(rounded) is int
