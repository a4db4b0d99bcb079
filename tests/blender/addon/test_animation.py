"""Which animation blocks a write: drivers, actions (legacy and layered, through their slot)
and NLA strips, nested meta strips included. Blender's data is stood in for by plain objects
with the same attribute names."""

from types import SimpleNamespace as Data

import pytest


def curve(path="rotation_euler", index=2):
    return Data(data_path=path, array_index=index)


def legacy_action(*curves):
    return Data(is_action_layered=False, is_action_legacy=True, is_empty=not curves, fcurves=list(curves))


def layered_action(slot, *curves):
    bag = Data(fcurves=list(curves))
    strip = Data(channelbag=lambda asked: bag if asked is slot else None)
    return Data(is_action_layered=True, is_action_legacy=False, layers=[Data(strips=[strip])])


def strip(action=None, slot=None, inner=()):
    return Data(action=action, action_slot=slot, strips=list(inner))


def animated(action=None, slot=None, drivers=(), strips=()):
    return Data(animation_data=Data(action=action, action_slot=slot, drivers=list(drivers), nla_tracks=[Data(strips=list(strips))]))


SLOT = object()

CASES = [
    ("no animation", Data(animation_data=None), None),
    ("a driver on the axis", animated(drivers=[curve()]), "driven"),
    ("a driver on another axis", animated(drivers=[curve(index=0)]), None),
    ("a driver on another property", animated(drivers=[curve("location")]), None),
    ("keys in the action", animated(action=legacy_action(curve())), "keyframed"),
    ("an empty action", animated(action=legacy_action()), None),
    ("keys in the slot of a layered action", animated(action=layered_action(SLOT, curve()), slot=SLOT), "keyframed"),
    ("a layered action through another slot", animated(action=layered_action(SLOT, curve()), slot=object()), None),
    ("a layered action with no slot", animated(action=layered_action(SLOT, curve())), None),
    ("keys in an NLA strip", animated(strips=[strip(legacy_action(curve()))]), "keyframed"),
    ("keys in a strip inside meta strips", animated(strips=[strip(inner=[strip(inner=[strip(legacy_action(curve()))])])]), "keyframed"),
    ("a meta strip of other keys", animated(strips=[strip(inner=[strip(legacy_action(curve("scale")))])]), None),
    ("animation that cannot be read", Data(animation_data=Data(drivers=None)), "keyframed"),
]


@pytest.mark.parametrize("block, reason", [case[1:] for case in CASES], ids=[case[0] for case in CASES])
def test_what_animation_blocks_a_write(addon, block, reason):
    assert addon._animation_reason(block, "rotation_euler", 2) == reason
