# SPDX-License-Identifier: GPL-3.0-or-later
"""Kolvo Bridge: lets Kolvo on this Mac follow Blender's state and steer its tools and viewport.

Design rules, binding on any rewrite of this module:
- It listens on 127.0.0.1 only, on a port chosen by the system; never on a network interface.
- Every connection must present a 256-bit token, generated fresh each time Blender starts and
  written to a file only this user can read (folder 0700, file 0600).
- After authentication only a fixed set of named actions, one typed rotation write and one typed
  value write for four named properties are accepted. Nothing sent to the bridge is ever
  executed as code.
- Socket accept and read run on daemon threads and only queue requests; every Blender read and
  write happens on Blender's main loop inside a timer callback.
- State is sent only when it actually changed; while only a contextual value is changing, pushes
  are coalesced to about 15 a second, always ending on the latest value.
- Values are reported exactly as Blender stores them (rotation in radians, never normalised);
  reading never changes anything.

The wire format is one JSON object per line, UTF-8, in both directions. The helpers above the
Blender section use nothing from Blender, so they can be exercised without it.
"""

import collections
import contextlib
import hmac
import json
import math
import os
import queue
import secrets
import socket
import struct
import threading
import time

try:
    import bpy
except ImportError:  # Outside Blender only the plain helpers are usable.
    bpy = None


PROTOCOL = 1
EXTENSION_VERSION = "1.2.0"
INFO_DIR = os.path.join(os.path.expanduser("~"), "Library", "Application Support", "Kolvo", "Blender")
INFO_FILE = os.path.join(INFO_DIR, "bridge.json")
MAX_LINE = 64 * 1024
MAX_CLIENTS = 4
CHECK_INTERVAL = 0.25
PUMP_INTERVAL = 0.02
ROTATION_PUSH_INTERVAL = 1.0 / 15.0
MAX_RADIANS = 1.0e6
SELECT_CYCLE = ("builtin.select_box", "builtin.select_circle", "builtin.select_lasso")
SHADING_NEXT = {
    "SOLID": "MATERIAL",
    "MATERIAL": "RENDERED",
    "RENDERED": "SOLID",
    "WIREFRAME": "SOLID",
}
EDITABLE = frozenset(
    ("MESH", "CURVE", "SURFACE", "META", "FONT", "LATTICE", "ARMATURE", "CURVES", "GREASEPENCIL")
)
EULER_MODES = frozenset(("XYZ", "XZY", "YXZ", "YZX", "ZXY", "ZYX"))
VALUE_KEYS = ("rotation", "camera", "light", "sculpt")
VALUE_MSGBUS_KEYS = (
    ("Camera", "lens"),
    ("Camera", "type"),
    ("PointLight", "energy"),
    ("SpotLight", "energy"),
    ("AreaLight", "energy"),
    ("SunLight", "energy"),
    ("Light", "type"),
    ("Brush", "size"),
    ("Brush", "strength"),
    ("UnifiedPaintSettings", "size"),
    ("UnifiedPaintSettings", "strength"),
    ("Paint", "brush"),
)

# What the message bus watches besides the contextual values: anything the state report shows.
_STATE_MSGBUS_KEYS = (
    ("LayerObjects", "active"),
    ("Object", "mode"),
    ("View3DShading", "type"),
    ("View3DShading", "show_xray"),
    ("RegionView3D", "view_perspective"),
)

_RECEIVE_SIZE = 65536
_REQUESTS_PER_TICK = 32
# A client that floods requests waits on its own socket instead of growing Blender's memory.
_QUEUE_LIMIT = 256
# A peer that never proves itself would otherwise hold one of the few client places for good.
_HELLO_TIMEOUT = 5.0
# A peer that stops reading must not freeze Blender's main loop inside a send.
_SEND_TIMEOUT = 2.0

_WRITER_PROPERTIES = ("lens", "energy", "brush_size", "brush_strength")
_IDENTITY_FIELDS = ("object", "data", "brush", "owner")


# ---------------------------------------------------------------------------------------------
# Plain helpers: framing, authentication, request checks, push decisions, the info file.
# ---------------------------------------------------------------------------------------------


class _LineBuffer:
    """Gathers received bytes and hands back complete lines.

    A line (without its newline) may be at most `limit` bytes; a longer one, complete or still
    arriving, sets `overflowed`, after which the connection is to be dropped.
    """

    def __init__(self, limit=MAX_LINE):
        self._limit = limit
        self._pending = bytearray()
        self.overflowed = False

    def feed(self, chunk):
        """Adds `chunk` and returns the complete lines it finished, in order, without newlines."""
        if self.overflowed:
            return []
        # Earlier bytes hold no newline, so only the new ones need searching.
        search_from = len(self._pending)
        self._pending += chunk
        lines = []
        start = 0
        while True:
            end = self._pending.find(b"\n", search_from)
            if end < 0:
                break
            if end - start > self._limit:
                self.overflowed = True
                break
            lines.append(bytes(self._pending[start:end]))
            start = search_from = end + 1
        if self.overflowed:
            self._pending = bytearray()
            return lines
        del self._pending[:start]
        if len(self._pending) > self._limit:
            self.overflowed = True
            self._pending = bytearray()
        return lines


def _parse_message(line):
    """The JSON object on `line`, or None for anything else (such lines are skipped)."""
    try:
        message = json.loads(line.decode("utf-8"))
    except (ValueError, RecursionError):  # Bad UTF-8 and bad JSON are ValueErrors.
        return None
    return message if isinstance(message, dict) else None


def _is_integer(value):
    # JSON true and false arrive as bools, which Python counts as integers.
    return isinstance(value, int) and not isinstance(value, bool)


def _finite_number(value):
    """`value` as a float when it is a finite JSON number (not a bool), else None."""
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        return None
    try:
        number = float(value)
    except OverflowError:  # An integer too large for a double.
        return None
    return number if math.isfinite(number) else None


def _request_id(message):
    request_id = message.get("id")
    return request_id if _is_integer(request_id) else None


def _hello_accepted(message, token):
    """Whether `message` is a hello carrying `token`, compared in constant time."""
    if message.get("type") != "hello":
        return False
    offered = message.get("token")
    if not isinstance(offered, str):
        return False
    # compare_digest refuses non-ASCII text, so both sides are compared as bytes.
    return hmac.compare_digest(offered.encode("utf-8", "replace"), token.encode("utf-8"))


def _rotation_request(message):
    """(object, rotation mode, axis, radians) of a well-formed rotation write, else None."""
    target = message.get("object")
    rotation_mode = message.get("rotationMode")
    axis = message.get("axis")
    radians = _finite_number(message.get("radians"))
    if not _is_integer(target) or not isinstance(rotation_mode, str):
        return None
    if not _is_integer(axis) or not 0 <= axis <= 2:
        return None
    if radians is None or abs(radians) > MAX_RADIANS:
        return None
    return target, rotation_mode, axis, radians


def _value_request(message):
    """(property, value as float) of a well-formed value write, else None."""
    name = message.get("property")
    value = _finite_number(message.get("value"))
    if not isinstance(name, str) or name not in _WRITER_PROPERTIES or value is None:
        return None
    for field in _IDENTITY_FIELDS:
        if field in message and not _is_integer(message[field]):
            return None
    return name, value


def _round_half_away(value):
    """Nearest integer, halves away from zero (Python's round() would send 50.5 to 50)."""
    magnitude = abs(value)
    whole = math.floor(magnitude)
    # Comparing the remainder, rather than adding 0.5, keeps 0.49999999999999994 at 0.
    if magnitude - whole >= 0.5:
        whole += 1
    return int(whole) if value >= 0 else -int(whole)


def _without_non_finite(value):
    if isinstance(value, float) and not math.isfinite(value):
        return None
    if isinstance(value, dict):
        return {key: _without_non_finite(item) for key, item in value.items()}
    if isinstance(value, (list, tuple)):
        return [_without_non_finite(item) for item in value]
    return value


def _encode(message):
    """One wire line: compact JSON, a newline, UTF-8; non-finite numbers go out as null."""
    try:
        text = json.dumps(message, separators=(",", ":"), ensure_ascii=False, allow_nan=False)
    except ValueError:
        text = json.dumps(_without_non_finite(message), separators=(",", ":"), ensure_ascii=False)
    # Blender names may hold undecodable bytes, kept as lone surrogates; they cannot be UTF-8.
    return (text + "\n").encode("utf-8", "replace")


def _without_values(state):
    return {key: item for key, item in state.items() if key not in VALUE_KEYS}


def _push_decision(last_state, state, last_push, now):
    """What to do with a freshly read `state`: "same", "defer" or "send".

    Only a contextual value moving within ROTATION_PUSH_INTERVAL of the last push is deferred;
    the caller retries on the next pump, so the latest value always goes out.
    """
    if state == last_state:
        return "same"
    if (
        last_state is not None
        and now - last_push < ROTATION_PUSH_INTERVAL
        and _without_values(state) == _without_values(last_state)
    ):
        return "defer"
    return "send"


def _write_info_file(info, folder=INFO_DIR, path=INFO_FILE):
    """Writes the connection details so that only this user can ever read them.

    The folder is forced to 0700 even when it already existed; the file is written under a
    temporary name created 0600 and renamed over the old one, so a reader never sees half a file.
    """
    os.makedirs(folder, mode=0o700, exist_ok=True)
    os.chmod(folder, 0o700)
    temporary = path + ".tmp"
    descriptor = os.open(temporary, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600)
    try:
        # A leftover temporary file keeps its old mode through O_TRUNC, hence the chmod.
        os.chmod(temporary, 0o600)
        with os.fdopen(descriptor, "w", encoding="utf-8") as stream:
            descriptor = None
            stream.write(json.dumps(info, separators=(",", ":")))
            stream.flush()
            os.fsync(stream.fileno())
        os.replace(temporary, path)
    except BaseException:
        if descriptor is not None:
            os.close(descriptor)
        with contextlib.suppress(OSError):
            os.remove(temporary)
        raise


def _remove_info_file(pid, path=INFO_FILE):
    """Removes the info file if it is ours; another Blender may have replaced it since."""
    try:
        with open(path, "r", encoding="utf-8") as stream:
            info = json.load(stream)
        if isinstance(info, dict) and _is_integer(info.get("pid")) and info["pid"] == pid:
            os.remove(path)
            return True
    except (OSError, ValueError):
        pass
    return False


class _Client:
    """One connection. Sends are serialised by `lock`, so lines never interleave on the wire."""

    def __init__(self, conn):
        self.conn = conn
        self.lock = threading.Lock()
        self.authed = False
        self.subscribed = False
        self.alive = True
        # The state this client was last sent, in a reply or a push; it is never pushed again.
        self.known_state = None

    def send(self, message):
        data = _encode(message)
        with self.lock:
            if not self.alive:
                return False
            try:
                self.conn.sendall(data)
                return True
            except OSError:
                pass
        self.close()
        return False

    def close(self):
        self.alive = False
        # shutdown wakes a read thread blocked in recv, which close alone may not.
        with contextlib.suppress(OSError):
            self.conn.shutdown(socket.SHUT_RDWR)
        with contextlib.suppress(OSError):
            self.conn.close()


def _limit_send_time(conn, seconds):
    """Makes a blocking send give up after `seconds` instead of waiting on a stalled peer."""
    whole = int(seconds)
    timeval = struct.pack("ll", whole, int((seconds - whole) * 1e6))
    with contextlib.suppress(OSError, AttributeError):
        conn.setsockopt(socket.SOL_SOCKET, socket.SO_SNDTIMEO, timeval)


# ---------------------------------------------------------------------------------------------
# Blender: the viewport, the state report, the actions and the writes.
# ---------------------------------------------------------------------------------------------

_Viewport = collections.namedtuple("_Viewport", "window screen area region")


def _identity(block):
    """A number naming a data-block: its session id, which survives renames and undo, when this
    Blender has one, else its address."""
    uid = getattr(block, "session_uid", None)
    if _is_integer(uid):
        return uid
    return block.as_pointer()


def _is_editable(block):
    editable = getattr(block, "is_editable", None)
    if editable is not None:
        return bool(editable)
    return getattr(block, "library", None) is None


def _has_temp_override():
    return hasattr(bpy.context, "temp_override")


def _view_override(view):
    """Points Blender's context at `view` (or at least at a window) for the `with` block."""
    if not _has_temp_override():
        return contextlib.nullcontext()
    if view is not None:
        return bpy.context.temp_override(
            window=view.window, screen=view.screen, area=view.area, region=view.region
        )
    windows = bpy.context.window_manager.windows
    if len(windows):
        return bpy.context.temp_override(window=windows[0], screen=windows[0].screen)
    return contextlib.nullcontext()


def _legacy_override(view):
    return {"window": view.window, "screen": view.screen, "area": view.area, "region": view.region}


def _run_operator(operator, view, **properties):
    """Runs `operator` against `view`; call inside `_view_override(view)`. Blenders without
    temp_override take the older override dictionary instead."""
    if view is not None and not _has_temp_override():
        return operator(_legacy_override(view), **properties)
    return operator(**properties)


def _operator_can_run(operator, view):
    if view is not None and not _has_temp_override():
        return operator.poll(_legacy_override(view))
    return operator.poll()


def _push_undo(view, message):
    # The value is already written; an undo step that cannot be made must not undo that.
    try:
        with _view_override(view):
            _run_operator(bpy.ops.ed.undo_push, view, message=message)
    except Exception:
        pass


def _active_tool(context, mode):
    try:
        tool = context.workspace.tools.from_space_view3d_mode(mode, create=False)
        return tool.idname if tool is not None else None
    except Exception:
        return None


def _single_selected(context):
    """The active object when in Object Mode it is selected and is the only selection."""
    if context.mode != "OBJECT":
        return None
    active = context.view_layer.objects.active
    if active is None:
        return None
    selected = context.selected_objects
    if len(selected) != 1 or selected[0] != active:
        return None
    return active


def _action_fcurves(action, slot):
    """The F-curves that `action` applies through `slot`.

    Layered actions keep one channel bag per slot in each keyframe strip; older actions keep a
    single list. Anything unexpected raises, which the caller reads as "keyframed".
    """
    if action is None:
        return []
    layered = getattr(action, "is_action_layered", False)
    legacy = getattr(action, "is_action_legacy", True)
    if layered and not legacy:
        if slot is None:
            return []
        curves = []
        for layer in action.layers:
            for strip in layer.strips:
                bag = strip.channelbag(slot)
                if bag is not None:
                    curves.extend(bag.fcurves)
        return curves
    if getattr(action, "is_empty", False):
        return []
    return list(action.fcurves)


def _strip_actions(strips):
    """(action, slot) of each NLA strip, including those a meta strip holds."""
    for strip in strips:
        if strip.action is not None:
            yield strip.action, getattr(strip, "action_slot", None)
        yield from _strip_actions(strip.strips)


def _animation_reason(block, data_path, index=None):
    """"driven" or "keyframed" when `data_path` (element `index`) of `block` is animated.

    When the animation cannot be inspected the answer is "keyframed": animation is never
    overwritten blind.
    """
    try:
        animation = getattr(block, "animation_data", None)
        if animation is None:
            return None

        def matches(curve):
            return curve.data_path == data_path and (index is None or curve.array_index == index)

        if any(matches(curve) for curve in animation.drivers):
            return "driven"
        sources = [(animation.action, getattr(animation, "action_slot", None))]
        for track in animation.nla_tracks:
            sources.extend(_strip_actions(track.strips))
        for action, slot in sources:
            if any(matches(curve) for curve in _action_fcurves(action, slot)):
                return "keyframed"
        return None
    except Exception:
        return "keyframed"


def _rotation_blocked(obj, axis):
    rotation_mode = obj.rotation_mode
    if rotation_mode not in EULER_MODES:
        return "quaternion" if rotation_mode == "QUATERNION" else "axisAngle"
    if obj.library is not None or not _is_editable(obj):
        return "linked"
    reason = _animation_reason(obj, "rotation_euler", axis)
    if reason is not None:
        return reason
    if obj.lock_rotation[axis]:
        return "locked"
    return None


def _camera_blocked(obj, camera):
    if camera.type != "PERSP":
        return {"ORTHO": "orthographic", "PANO": "panoramic"}.get(camera.type, "customCamera")
    if not _is_editable(camera):
        return "linked"
    return _animation_reason(camera, "lens") or _animation_reason(obj, "data.lens")


def _light_blocked(obj, light):
    if not _is_editable(light):
        return "linked"
    reason = _animation_reason(light, "energy") or _animation_reason(obj, "data.energy")
    if reason is not None:
        return reason
    if light.energy < 0:
        return "negative"
    return None


def _in_hard_range(holder, name, value):
    prop = holder.bl_rna.properties[name]
    return prop.hard_min <= value <= prop.hard_max


def _unified_settings(scene):
    # Newer Blenders keep the unified settings per paint mode, older ones once per scene.
    tool_settings = scene.tool_settings
    unified = getattr(tool_settings.sculpt, "unified_paint_settings", None)
    return unified if unified is not None else tool_settings.unified_paint_settings


def _setting_owner(scene, brush, kind):
    """(scope, owning data-block, holder of the value, animation path) of a brush setting."""
    unified = _unified_settings(scene)
    if getattr(unified, "use_unified_" + kind, False):
        return "unified", scene, unified, unified.path_from_id() + "." + kind
    return "brush", brush, brush, kind


def _is_brush_tool(tool):
    return tool == "builtin.brush" or tool.startswith("builtin_brush.")


def _sculpt_blocked(tool, kind, owner, holder, path):
    if tool is not None and not _is_brush_tool(tool):
        return "notBrushTool"
    if not _is_editable(owner):
        return "linked"
    if kind == "size" and holder.use_locked_size == "SCENE":
        return "sceneRadius"
    return _animation_reason(owner, path)


def _rotation_state(obj):
    if obj is None:
        return None
    return {
        "object": _identity(obj),
        "name": obj.name,
        "rotationMode": obj.rotation_mode,
        "radians": [float(angle) for angle in obj.rotation_euler],
        "blocked": [_rotation_blocked(obj, axis) for axis in range(3)],
    }


def _camera_state(obj):
    if obj is None or obj.type != "CAMERA" or obj.data is None:
        return None
    camera = obj.data
    return {
        "object": _identity(obj),
        "data": _identity(camera),
        "name": obj.name,
        "lens": camera.lens,
        "blocked": _camera_blocked(obj, camera),
    }


def _light_state(obj):
    if obj is None or obj.type != "LIGHT" or obj.data is None:
        return None
    light = obj.data
    return {
        "object": _identity(obj),
        "data": _identity(light),
        "name": obj.name,
        "lightType": light.type,
        "energy": light.energy,
        "blocked": _light_blocked(obj, light),
    }


def _sculpt_state(context, active, tool):
    if context.mode != "SCULPT" or active is None:
        return None
    scene = context.scene
    brush = scene.tool_settings.sculpt.brush
    state = {
        "object": _identity(active),
        "brush": _identity(brush) if brush is not None else None,
        "brushName": brush.name if brush is not None else None,
    }
    for kind in ("size", "strength"):
        if brush is None:
            state[kind] = {"scope": None, "owner": None, "value": None, "blocked": "noBrush"}
            continue
        scope, owner, holder, path = _setting_owner(scene, brush, kind)
        state[kind] = {
            "scope": scope,
            "owner": _identity(owner),
            "value": getattr(holder, kind),
            "blocked": _sculpt_blocked(tool, kind, owner, holder, path),
        }
    return state


def _guarded(reader, *arguments):
    # One broken reader must not take the whole report down with it.
    try:
        return reader(*arguments)
    except Exception:
        return None


def _state_in_context(context, view):
    mode = context.mode
    active = context.view_layer.objects.active
    tool = _active_tool(context, mode)
    space = view.area.spaces.active if view is not None else None
    shading = space.shading.type if space is not None else None
    if space is None:
        xray = camera_view = False
    else:
        xray = bool(space.shading.show_xray_wireframe if shading == "WIREFRAME" else space.shading.show_xray)
        region = space.region_3d
        camera_view = region is not None and region.view_perspective == "CAMERA"
    single = _guarded(_single_selected, context)
    return {
        "mode": mode,
        "tool": tool,
        "hasViewport": view is not None,
        "shading": shading,
        "xray": xray,
        "cameraView": camera_view,
        "activeName": active.name if active is not None else None,
        "activeType": active.type if active is not None else None,
        "canEdit": active is not None and active.type in EDITABLE,
        "rotation": _guarded(_rotation_state, single),
        "camera": _guarded(_camera_state, single),
        "light": _guarded(_light_state, single),
        "sculpt": _guarded(_sculpt_state, context, active, tool),
    }


# Actions: each runs inside the override of the viewport it is given and returns an error text
# or None. This table is the complete command set.


def _set_tool(name):
    def action(context, view):
        _run_operator(bpy.ops.wm.tool_set_by_id, view, name=name, space_type="VIEW_3D")
        return None

    return action


def _cycle_select(context, view):
    current = _active_tool(context, context.mode)
    if current in SELECT_CYCLE:
        following = SELECT_CYCLE[(SELECT_CYCLE.index(current) + 1) % len(SELECT_CYCLE)]
    else:
        following = SELECT_CYCLE[0]
    return _set_tool(following)(context, view)


def _toggle_edit_mode(context, view):
    if context.mode != "OBJECT":
        _run_operator(bpy.ops.object.mode_set, view, mode="OBJECT")
        return None
    active = context.view_layer.objects.active
    if active is None:
        return "no active object"
    if active.type not in EDITABLE:
        return "this object has no Edit Mode"
    if not _operator_can_run(bpy.ops.object.mode_set, view):
        return "Edit Mode is not available here"
    _run_operator(bpy.ops.object.mode_set, view, mode="EDIT")
    return None


def _frame_selected(context, view):
    _run_operator(bpy.ops.view3d.view_selected, view)
    return None


def _toggle_camera_view(context, view):
    if context.scene.camera is None:
        return "the scene has no camera"
    _run_operator(bpy.ops.view3d.view_camera, view)
    return None


def _toggle_xray(context, view):
    _run_operator(bpy.ops.view3d.toggle_xray, view)
    return None


def _cycle_shading(context, view):
    shading = view.area.spaces.active.shading
    shading.type = SHADING_NEXT.get(shading.type, "SOLID")
    return None


_ACTIONS = {
    "cycle_select": _cycle_select,
    "tool_move": _set_tool("builtin.move"),
    "tool_rotate": _set_tool("builtin.rotate"),
    "tool_scale": _set_tool("builtin.scale"),
    "toggle_edit_mode": _toggle_edit_mode,
    "frame_selected": _frame_selected,
    "toggle_camera_view": _toggle_camera_view,
    "toggle_xray": _toggle_xray,
    "cycle_shading": _cycle_shading,
}


# Writers: each runs inside the viewport override and returns an error text or None.


def _write_rotation(context, view, request):
    target, rotation_mode, axis, radians = request
    obj = _single_selected(context)
    if obj is None or _identity(obj) != target or obj.rotation_mode != rotation_mode:
        return "stale target"
    reason = _rotation_blocked(obj, axis)
    if reason is not None:
        return reason
    obj.rotation_euler[axis] = radians
    _push_undo(view, "Kolvo Rotation")
    return None


def _written_object(context, message, object_type):
    """The one selected object when it is still the `object_type` object, with the data, that
    the write names; None when the selection has moved on since the phone saw it."""
    obj = _single_selected(context)
    if obj is None or obj.type != object_type or obj.data is None:
        return None
    if _identity(obj) != message.get("object") or _identity(obj.data) != message.get("data"):
        return None
    return obj


def _write_lens(context, view, message, value):
    obj = _written_object(context, message, "CAMERA")
    if obj is None:
        return "stale target"
    camera = obj.data
    reason = _camera_blocked(obj, camera)
    if reason is not None:
        return reason
    if not _in_hard_range(camera, "lens", value):
        return "out of range"
    camera.lens = value
    _push_undo(view, "Kolvo Focal Length")
    return None


def _write_energy(context, view, message, value):
    obj = _written_object(context, message, "LIGHT")
    if obj is None or obj.data.type != message.get("lightType"):
        return "stale target"
    light = obj.data
    reason = _light_blocked(obj, light)
    if reason is not None:
        return reason
    if value < 0 or not _in_hard_range(light, "energy", value):
        return "out of range"
    light.energy = value
    _push_undo(view, "Kolvo Power")
    return None


def _brush_writer(kind):
    def write(context, view, message, value):
        active = context.view_layer.objects.active
        if context.mode != "SCULPT" or active is None or _identity(active) != message.get("object"):
            return "stale target"
        scene = context.scene
        brush = scene.tool_settings.sculpt.brush
        if brush is None or _identity(brush) != message.get("brush"):
            return "stale target"
        scope, owner, holder, path = _setting_owner(scene, brush, kind)
        if scope != message.get("scope") or _identity(owner) != message.get("owner"):
            return "stale target"
        reason = _sculpt_blocked(_active_tool(context, context.mode), kind, owner, holder, path)
        if reason is not None:
            return reason
        if kind == "size":
            value = _round_half_away(value)
        if not _in_hard_range(holder, kind, value):
            return "out of range"
        # No undo step: Blender itself keeps brush settings out of the undo history.
        setattr(holder, kind, value)
        return None

    return write


_VALUE_WRITERS = {
    "lens": _write_lens,
    "energy": _write_energy,
    "brush_size": _brush_writer("size"),
    "brush_strength": _brush_writer("strength"),
}


def _error_text(error):
    return type(error).__name__ + ": " + str(error)


class _Bridge:
    """The one listening bridge of this Blender: sockets on threads, Blender on the main loop."""

    def __init__(self):
        self.server = None
        self.accept_thread = None
        self.token = ""
        self.requests = queue.Queue(_QUEUE_LIMIT)
        self.clients = []
        self.clients_lock = threading.Lock()
        self.dirty = True
        self.last_state = None
        self.last_check = 0.0
        self.last_push = 0.0
        self.area_pointer = None
        self.owner = object()
        self.running = False

    # -- life cycle --------------------------------------------------------------------------

    def start(self):
        if self.running or bpy.app.background:
            return
        try:
            self.dirty = True
            self.last_state = None
            self.last_check = self.last_push = 0.0
            self.listen()
            _write_info_file(self.info(bpy.app.version_string))
            self.subscribe()
            if _on_depsgraph_update not in bpy.app.handlers.depsgraph_update_post:
                bpy.app.handlers.depsgraph_update_post.append(_on_depsgraph_update)
            if _on_load_post not in bpy.app.handlers.load_post:
                bpy.app.handlers.load_post.append(_on_load_post)
            if not bpy.app.timers.is_registered(_pump):
                bpy.app.timers.register(_pump, first_interval=0.05, persistent=True)
            print("[Kolvo Bridge] listening on 127.0.0.1")
        except Exception as error:
            print("[Kolvo Bridge] could not start: " + str(error))
            self.stop()

    def listen(self):
        """Makes a fresh token and starts accepting connections on a loopback port."""
        self.token = secrets.token_hex(32)
        self.requests = queue.Queue(_QUEUE_LIMIT)
        server = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        try:
            server.bind(("127.0.0.1", 0))
            server.listen(MAX_CLIENTS)
            # Accept wakes now and then to notice a stop; closing a listening socket from
            # another thread does not wake it everywhere.
            server.settimeout(0.5)
        except OSError:
            server.close()
            raise
        self.server = server
        self.running = True
        self.accept_thread = threading.Thread(target=self._accept_loop, name="KolvoBridgeAccept", daemon=True)
        self.accept_thread.start()

    def info(self, blender_version):
        """The contents of the connection-info file."""
        return {
            "port": self.server.getsockname()[1],
            "token": self.token,
            "pid": os.getpid(),
            "protocol": PROTOCOL,
            "version": EXTENSION_VERSION,
            "blender": blender_version,
        }

    def close_connections(self):
        """Stops accepting and drops every client."""
        self.running = False
        if self.server is not None:
            # A socket closed while another thread waits in accept stays open until that wait
            # ends; shutting it down first stops it listening at once where the system allows.
            with contextlib.suppress(OSError):
                self.server.shutdown(socket.SHUT_RDWR)
            with contextlib.suppress(OSError):
                self.server.close()
            self.server = None
        if self.accept_thread is not None and self.accept_thread is not threading.current_thread():
            # Whatever the system, the port is free once the accept thread has gone; its wait is
            # at most half a second.
            self.accept_thread.join(timeout=2.0)
            self.accept_thread = None
        with self.clients_lock:
            clients, self.clients = self.clients, []
        for client in clients:
            client.close()

    def stop(self):
        if bpy is not None:
            with contextlib.suppress(Exception):
                if bpy.app.timers.is_registered(_deferred_start):
                    bpy.app.timers.unregister(_deferred_start)
        self.running = False
        if bpy is not None:
            with contextlib.suppress(Exception):
                if bpy.app.timers.is_registered(_pump):
                    bpy.app.timers.unregister(_pump)
            for handlers, handler in (
                (bpy.app.handlers.depsgraph_update_post, _on_depsgraph_update),
                (bpy.app.handlers.load_post, _on_load_post),
            ):
                while handler in handlers:
                    handlers.remove(handler)
            with contextlib.suppress(Exception):
                bpy.msgbus.clear_by_owner(self.owner)
        self.close_connections()
        _remove_info_file(os.getpid())

    def subscribe(self):
        """(Re)subscribes to the message bus; a file load drops every subscription."""
        bpy.msgbus.clear_by_owner(self.owner)
        for type_name, property_name in _STATE_MSGBUS_KEYS + VALUE_MSGBUS_KEYS:
            rna_type = getattr(bpy.types, type_name, None)
            if rna_type is None:
                continue
            try:
                bpy.msgbus.subscribe_rna(
                    key=(rna_type, property_name), owner=self.owner, args=(), notify=_mark_dirty
                )
            except Exception:
                continue

    # -- threads -----------------------------------------------------------------------------

    def _accept_loop(self):
        server = self.server
        while self.running:
            try:
                conn, address = server.accept()
            except socket.timeout:
                continue
            except OSError:
                break
            if not self.running or address[0] != "127.0.0.1":
                conn.close()
                continue
            client = _Client(conn)
            with self.clients_lock:
                admitted = len(self.clients) < MAX_CLIENTS
                if admitted:
                    self.clients.append(client)
            if not admitted:
                client.close()
                continue
            threading.Thread(
                target=self._read_loop, args=(client,), name="KolvoBridgeClient", daemon=True
            ).start()

    def _read_loop(self, client):
        buffer = _LineBuffer()
        hello_deadline = time.monotonic() + _HELLO_TIMEOUT
        try:
            _limit_send_time(client.conn, _SEND_TIMEOUT)
            while client.alive and self.running:
                if not client.authed:
                    # A deadline, not a per-read timeout: junk lines must not keep the place.
                    remaining = hello_deadline - time.monotonic()
                    if remaining <= 0:
                        return
                    client.conn.settimeout(remaining)
                chunk = client.conn.recv(_RECEIVE_SIZE)
                if not chunk:
                    break
                for line in buffer.feed(chunk):
                    message = _parse_message(line)
                    if message is None:
                        continue
                    if client.authed:
                        self._enqueue(client, message)
                    elif _hello_accepted(message, self.token):
                        client.authed = True
                        client.conn.settimeout(None)
                        client.send(
                            {"type": "hello", "ok": True, "protocol": PROTOCOL, "version": EXTENSION_VERSION}
                        )
                    else:
                        client.send({"type": "hello", "ok": False})
                        return
                    if not client.alive:
                        return
                if buffer.overflowed:
                    return
        except OSError:  # Includes the hello timeout.
            pass
        finally:
            client.close()
            with self.clients_lock:
                if client in self.clients:
                    self.clients.remove(client)

    def _enqueue(self, client, message):
        while client.alive and self.running:
            try:
                self.requests.put((client, message), timeout=0.5)
                return
            except queue.Full:
                continue

    # -- main loop ---------------------------------------------------------------------------

    def _clients(self):
        with self.clients_lock:
            return list(self.clients)

    def _broadcast(self, state, skip=None):
        for client in self._clients():
            if client.subscribed and client.alive and client is not skip and client.known_state != state:
                client.known_state = state
                client.send({"type": "context", "state": state})

    @staticmethod
    def _send_state(client, message):
        client.known_state = message["state"]
        client.send(message)

    def _publish(self, state, now, skip=None):
        """Pushes `state` when it changed, holding back a value-only change that comes too soon
        after the last push; `dirty` then makes the pump try again."""
        decision = _push_decision(self.last_state, state, self.last_push, now)
        if decision == "defer":
            self.dirty = True
        elif decision == "send":
            self.last_state = state
            self.last_push = now
            self._broadcast(state, skip)

    def pump(self):
        if not self.running:
            return None
        try:
            for _ in range(_REQUESTS_PER_TICK):
                try:
                    client, message = self.requests.get_nowait()
                except queue.Empty:
                    break
                if client.alive:
                    self.handle(client, message)
            now = time.monotonic()
            if self.dirty or now - self.last_check >= CHECK_INTERVAL:
                self.dirty = False
                self.last_check = now
                if any(client.subscribed for client in self._clients()):
                    state = _guarded(self.read_state)
                    if state is not None:
                        self._publish(state, now)
        except Exception as error:
            print("[Kolvo Bridge] " + _error_text(error))
        return PUMP_INTERVAL if self.running else None

    def choose_viewport(self):
        """The 3D Viewport to work in: the one used last while it exists, else the largest."""
        views = []
        for window in bpy.context.window_manager.windows:
            screen = window.screen
            for area in screen.areas:
                if area.type != "VIEW_3D":
                    continue
                region = next((region for region in area.regions if region.type == "WINDOW"), None)
                if region is not None:
                    views.append(_Viewport(window, screen, area, region))
        if not views:
            self.area_pointer = None
            return None
        for view in views:
            if view.area.as_pointer() == self.area_pointer:
                return view
        largest = max(views, key=lambda view: view.area.width * view.area.height)
        self.area_pointer = largest.area.as_pointer()
        return largest

    def read_state(self):
        view = self.choose_viewport()
        with _view_override(view):
            return _state_in_context(bpy.context, view)

    def handle(self, client, message):
        request_id = _request_id(message)
        kind = message.get("type")
        try:
            if kind == "subscribe":
                client.subscribed = True
                self._send_state(client, {"type": "state", "id": request_id, "state": self.read_state()})
            elif kind == "state":
                self._send_state(client, {"type": "state", "id": request_id, "state": self.read_state()})
            elif kind == "action":
                name = message.get("name")
                if not isinstance(name, str) or name not in _ACTIONS:
                    client.send({"type": "result", "id": request_id, "ok": False, "error": "unknown action"})
                    return
                self._answer(client, request_id, self._attempt(self._run_action, name))
            elif kind == "set_rotation":
                self._answer(client, request_id, self._attempt(self._set_rotation, message))
            elif kind == "set_value":
                self._answer(client, request_id, self._attempt(self._set_value, message))
            else:
                client.send({"type": "result", "id": request_id, "ok": False, "error": "unknown request"})
        except Exception as error:
            text = str(error) or _error_text(error)
            client.send({"type": "result", "id": request_id, "ok": False, "error": text})

    @staticmethod
    def _attempt(change, argument):
        try:
            return change(argument)
        except Exception as error:
            return _error_text(error)

    def _answer(self, client, request_id, error):
        """Replies to a change with the fresh state and lets the other subscribers see it.

        The requester always gets the state at once. The others get it under the same rule as
        any change, so a value streamed from one client reaches the rest about 15 times a
        second, ending on the last value; the baseline moves only when they are sent it.
        """
        state = self.read_state()
        self._send_state(client, {"type": "result", "id": request_id, "ok": error is None, "error": error, "state": state})
        self._publish(state, time.monotonic(), skip=client)

    def _run_action(self, name):
        view = self.choose_viewport()
        if view is None:
            return "no 3D Viewport is open"
        with _view_override(view):
            return _ACTIONS[name](bpy.context, view)

    def _set_rotation(self, message):
        request = _rotation_request(message)
        if request is None:
            return "invalid rotation request"
        view = self.choose_viewport()
        with _view_override(view):
            return _write_rotation(bpy.context, view, request)

    def _set_value(self, message):
        request = _value_request(message)
        if request is None:
            return "invalid value request"
        name, value = request
        view = self.choose_viewport()
        with _view_override(view):
            return _VALUE_WRITERS[name](bpy.context, view, message, value)


_bridge = _Bridge()


def _persistent(handler):
    # Handlers not marked persistent are dropped when a file loads.
    return bpy.app.handlers.persistent(handler) if bpy is not None else handler


def _mark_dirty(*_arguments):
    _bridge.dirty = True


@_persistent
def _on_depsgraph_update(*_arguments):
    _bridge.dirty = True


@_persistent
def _on_load_post(*_arguments):
    # Loading a file drops every message-bus subscription.
    _bridge.subscribe()
    _bridge.dirty = True


def _pump():
    return _bridge.pump()


def _deferred_start():
    _bridge.start()
    return None


def register():
    # Registration runs with a restricted context; the bridge starts from the main loop.
    if not bpy.app.timers.is_registered(_deferred_start):
        bpy.app.timers.register(_deferred_start, first_interval=0.5, persistent=True)


def unregister():
    _bridge.stop()
