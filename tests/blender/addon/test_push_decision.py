"""When a freshly read state is pushed, held back, or not sent at all."""

import copy

import pytest

WINDOW = 1.0 / 15.0


def base_state():
    return {
        "mode": "OBJECT",
        "tool": "builtin.move",
        "hasViewport": True,
        "shading": "SOLID",
        "xray": False,
        "cameraView": False,
        "activeName": "Cube",
        "activeType": "MESH",
        "canEdit": True,
        "rotation": {"object": 1, "name": "Cube", "rotationMode": "XYZ", "radians": [0.0, 0.0, 0.0], "blocked": [None] * 3},
        "camera": {"object": 2, "data": 3, "name": "Camera", "lens": 50.0, "blocked": None},
        "light": {"object": 4, "data": 5, "name": "Light", "lightType": "POINT", "energy": 1000.0, "blocked": None},
        "sculpt": {
            "object": 1, "brush": 6, "brushName": "Draw",
            "size": {"scope": "unified", "owner": 7, "value": 50, "blocked": None},
            "strength": {"scope": "brush", "owner": 6, "value": 0.5, "blocked": None},
        },
    }


def changed(state, change):
    state = copy.deepcopy(state)
    change(state)
    return state


VALUE_CHANGES = {
    "rotation": lambda s: s["rotation"]["radians"].__setitem__(0, 0.25),
    "camera": lambda s: s["camera"].__setitem__("lens", 35.0),
    "light": lambda s: s["light"].__setitem__("energy", 10.0),
    "sculpt": lambda s: s["sculpt"]["size"].__setitem__("value", 51),
}


def test_the_same_state_is_not_sent_again(addon):
    assert addon._push_decision(base_state(), base_state(), 0.0, 10.0) == "same"


def test_the_first_state_goes_out_even_right_after_a_push(addon):
    assert addon._push_decision(None, base_state(), 10.0, 10.0) == "send"


@pytest.mark.parametrize("key", sorted(VALUE_CHANGES))
def test_a_value_only_change_inside_the_window_is_deferred(addon, key):
    last = base_state()
    assert addon._push_decision(last, changed(last, VALUE_CHANGES[key]), 10.0, 10.0 + WINDOW * 0.9) == "defer"


@pytest.mark.parametrize("key", sorted(VALUE_CHANGES))
def test_a_value_only_change_once_the_window_has_passed_is_sent(addon, key):
    last = base_state()
    assert addon._push_decision(last, changed(last, VALUE_CHANGES[key]), 0.0, WINDOW) == "send"


@pytest.mark.parametrize(
    "change",
    [
        lambda s: s.__setitem__("tool", "builtin.rotate"),
        lambda s: s.__setitem__("mode", "EDIT_MESH"),
        lambda s: s.__setitem__("xray", True),
        lambda s: s.__setitem__("activeName", "Other"),
        lambda s: (s.__setitem__("tool", "builtin.scale"), s["rotation"]["radians"].__setitem__(1, 2.0)),
    ],
    ids=["tool", "mode", "xray", "active-object", "tool-and-value"],
)
def test_any_other_change_is_sent_at_once(addon, change):
    last = base_state()
    assert addon._push_decision(last, changed(last, change), 10.0, 10.0) == "send"

