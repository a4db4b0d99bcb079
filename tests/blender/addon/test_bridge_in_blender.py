"""The add-on inside a real Blender on a virtual display, driven over its socket as Kolvo drives it.

Each scene is one Blender started by blender_under_xvfb.py and shared by the tests of one class;
scenes are prepared with --setup-expr when Blender starts, never through the bridge. Tests in a
class run in the order written, and a few rely on it (the viewport's shading can be cycled once
without reaching the slow Material Preview)."""

import json
import math
import os
import re
import shutil
import signal
import socket
import stat
import subprocess
import sys
import threading
import time

import pytest

from bridge_wire import LineConnection

HERE = os.path.dirname(os.path.abspath(__file__))
SUPERVISOR = os.path.join(HERE, "..", "blender_under_xvfb.py")
INFO_IN_HOME = os.path.join("Library", "Application Support", "Kolvo", "Blender")
WAIT = 10.0


class BlenderRun:
    """One Blender under the supervisor, with the bridge up and its connection file read."""

    def __init__(self, workdir, setup):
        for program in ("blender", "Xvfb"):
            if shutil.which(program) is None:
                pytest.fail("%s is not installed; scripts/setup installs it" % program)
        self.home = os.path.join(str(workdir), "home")
        self.pid_file = os.path.join(str(workdir), "blender.pid")
        self.log = os.path.join(str(workdir), "blender.log")
        self.info_dir = os.path.join(self.home, INFO_IN_HOME)
        self.info_file = os.path.join(self.info_dir, "bridge.json")
        command = [sys.executable, SUPERVISOR, "--home", self.home, "--pid-file", self.pid_file, "--log", self.log]
        for expression in setup:
            command += ["--setup-expr", expression]
        self.supervisor = subprocess.Popen(command)
        self.connections = []
        deadline = time.monotonic() + 90
        while not os.path.exists(self.pid_file):
            if self.supervisor.poll() is not None or time.monotonic() > deadline:
                self.stop()
                pytest.fail("Blender did not come up:\n" + self.log_tail())
            time.sleep(0.05)
        with open(self.pid_file, encoding="utf-8") as stream:
            self.blender_pid = int(stream.read())
        with open(self.info_file, encoding="utf-8") as stream:
            self.info = json.load(stream)

    def log_tail(self):
        try:
            with open(self.log, encoding="utf-8", errors="replace") as stream:
                return stream.read()[-3000:]
        except OSError:
            return "(no log)"

    def children(self):
        """Process ids started by the supervisor (Blender and Xvfb)."""
        path = "/proc/%d/task/%d/children" % (self.supervisor.pid, self.supervisor.pid)
        with open(path, encoding="ascii") as stream:
            return [int(pid) for pid in stream.read().split()]

    def connect(self, authenticate=True):
        """A connection, authenticated unless asked not to. A place freed by an earlier test's
        connection is released by the bridge's reader a moment after the close, hence retries."""
        deadline = time.monotonic() + WAIT
        while True:
            connection = Connection(self.info["port"])
            self.connections.append(connection)
            if not authenticate:
                return connection
            connection.send({"type": "hello", "token": self.info["token"]})
            reply = connection.receive()
            if reply is not None:
                assert reply == {"type": "hello", "ok": True, "protocol": 1, "version": "1.2.0"}
                return connection
            assert time.monotonic() < deadline, "the bridge kept refusing connections"
            time.sleep(0.05)

    def close_connections(self):
        for connection in self.connections:
            connection.close()
        self.connections = []

    def stop(self):
        """Asks the supervisor to stop Blender as a quitting user would; returns its status."""
        self.close_connections()
        if self.supervisor.poll() is None:
            self.supervisor.send_signal(signal.SIGTERM)
            try:
                self.supervisor.wait(30)
            except subprocess.TimeoutExpired:
                self.supervisor.kill()
                self.supervisor.wait()
        return self.supervisor.returncode


class Connection(LineConnection):
    def __init__(self, port):
        super().__init__(port, WAIT)
        self.pushes = []
        self.next_id = 1

    def send(self, message):
        self.send_message(message)

    def receive(self):
        """The next message, or None once the bridge has closed the connection."""
        line = self.receive_line()
        if line is None:
            return None
        assert b"NaN" not in line and b"Infinity" not in line
        return json.loads(line)

    def call(self, message):
        """Sends a request and returns its reply; pushes arriving first are kept in `pushes`."""
        if "id" not in message:
            message = dict(message, id=self.next_id)
            self.next_id += 1
        self.send(message)
        while True:
            reply = self.receive()
            assert reply is not None, "the bridge closed the connection instead of replying"
            if reply["type"] != "context":
                return reply
            self.pushes.append(reply["state"])

    def state(self):
        reply = self.call({"type": "state"})
        assert reply["type"] == "state"
        return reply["state"]

    def action(self, name):
        reply = self.call({"type": "action", "name": name})
        assert reply["type"] == "result"
        return reply


def running_blender(tmp_path_factory, name, *setup):
    run = BlenderRun(tmp_path_factory.mktemp(name), setup)
    try:
        yield run
    finally:
        run.stop()


# Scenes. Each is Python run in Blender before the add-on loads.

SELECT_ONLY = """
import bpy
layer = bpy.data.scenes[0].view_layers[0]
chosen = {names}
for obj in bpy.data.objects:
    obj.select_set(obj.name in chosen, view_layer=layer)
layer.objects.active = bpy.data.objects[{active!r}]
"""

DEFAULT_SCENE = """
import bpy
cube = bpy.data.objects['Cube']
cube.keyframe_insert('rotation_euler', index=1)
cube.lock_rotation[2] = True
for screen in bpy.data.screens:
    for area in screen.areas:
        if area.type == 'VIEW_3D':
            area.spaces.active.shading.type = 'WIREFRAME'
"""

# Stands in for a user working in Blender: a file named after a change, dropped into
# HOME/user-does, makes Blender's main loop carry that change out.
USER_IN_BLENDER = """
import bpy, os
def _user_does():
    folder = os.path.join(os.environ['HOME'], 'user-does')
    for name in sorted(os.listdir(folder)) if os.path.isdir(folder) else []:
        os.remove(os.path.join(folder, name))
        window = bpy.context.window_manager.windows[0]
        area = next(area for area in window.screen.areas if area.type == 'VIEW_3D')
        region = next(region for region in area.regions if region.type == 'WINDOW')
        with bpy.context.temp_override(window=window, area=area, region=region):
            if name == 'pick-cursor-tool':
                bpy.ops.wm.tool_set_by_id(name='builtin.cursor', space_type='VIEW_3D')
            elif name == 'turn-cube':
                bpy.data.objects['Cube'].rotation_euler[0] = 2.5
            elif name.startswith('select-'):
                chosen = bpy.data.objects[name[len('select-'):]]
                layer = bpy.context.view_layer
                for obj in layer.objects:
                    obj.select_set(obj == chosen, view_layer=layer)
                layer.objects.active = chosen
            elif name == 'pick-draw-brush':
                bpy.ops.wm.tool_set_by_id(name='builtin_brush.Draw', space_type='VIEW_3D')
            elif name == 'lock-brush-size-to-scene':
                settings = bpy.context.scene.tool_settings
                for holder in (settings.unified_paint_settings, settings.sculpt.brush):
                    holder.use_locked_size = 'SCENE'
            elif name == 'drop-brush':
                bpy.context.scene.tool_settings.sculpt.brush = None
        if name == 'reopen-file-and-turn-cube':
            # Saved and opened again as File › Open would; every data-block is then new.
            path = os.path.join(os.environ['HOME'], 'reopened.blend')
            bpy.ops.wm.save_as_mainfile(filepath=path, copy=True)
            bpy.ops.wm.open_mainfile(filepath=path)
            bpy.data.objects['Cube'].rotation_euler[0] = 1.25
            return 0.1
    return 0.1
bpy.app.timers.register(_user_does, first_interval=0.1, persistent=True)
"""

CAMERA_SCENE = SELECT_ONLY.format(names="{'Camera'}", active="Camera") + """
bpy.data.objects['Camera'].rotation_mode = 'QUATERNION'
"""

LIGHT_SCENE = SELECT_ONLY.format(names="{'Light'}", active="Light") + """
bpy.data.objects['Light'].driver_add('rotation_euler', 0)
"""

TWO_SELECTED_SCENE = SELECT_ONLY.format(names="{'Cube', 'Light'}", active="Cube")

# Objects whose values the phone may see but not change: cameras that have no focal length, a
# rotation kept as an axis and angle, a light with negative power, and camera data linked from
# another file.
ODD_OBJECTS_SCENE = """
import bpy, os
scene = bpy.data.scenes[0]
def add(name, data):
    obj = bpy.data.objects.new(name, data)
    scene.collection.objects.link(obj)
    return obj
for kind in ('ORTHO', 'PANO'):
    camera = bpy.data.cameras.new(kind.title())
    camera.type = kind
    add(kind.title(), camera)
add('Spinner', None).rotation_mode = 'AXIS_ANGLE'
dark = bpy.data.lights.new('Dark', 'POINT')
dark.energy = -10.0
add('Dark', dark)
library = os.path.join(os.environ['HOME'], 'library.blend')
lens = bpy.data.cameras.new('Borrowed')
bpy.data.libraries.write(library, {lens})
bpy.data.cameras.remove(lens)
with bpy.data.libraries.load(library, link=True) as (source, target):
    target.cameras = ['Borrowed']
add('Borrowed', target.cameras[0])
"""

# Sculpt Mode needs an operator and a window, so it is entered from Blender's first timer tick.
SCULPT_SCENE = """
import bpy
def enter_sculpt_mode():
    window = bpy.context.window_manager.windows[0]
    area = next(area for area in window.screen.areas if area.type == 'VIEW_3D')
    region = next(region for region in area.regions if region.type == 'WINDOW')
    with bpy.context.temp_override(window=window, area=area, region=region):
        bpy.ops.object.mode_set(mode='SCULPT')
bpy.app.timers.register(enter_sculpt_mode, first_interval=0.0)
"""


def user_does(blender, change):
    """Has Blender carry out a change as its user would (see USER_IN_BLENDER)."""
    folder = os.path.join(blender.home, "user-does")
    os.makedirs(folder, exist_ok=True)
    open(os.path.join(folder, change), "w").close()


def after_user_does(blender, connection, change, shows):
    """The state once a change made in Blender shows, as the bridge's periodic check finds it."""
    user_does(blender, change)
    deadline = time.monotonic() + WAIT
    while True:
        state = connection.state()
        if shows(state):
            return state
        assert time.monotonic() < deadline, "Blender never showed the change " + change
        time.sleep(0.05)


def rotation_write(rotation, axis, radians, **changes):
    message = {
        "type": "set_rotation",
        "object": rotation["object"],
        "rotationMode": rotation["rotationMode"],
        "axis": axis,
        "radians": radians,
    }
    message.update(changes)
    return message


STATE_KEYS = {
    "mode", "tool", "hasViewport", "shading", "xray", "cameraView", "activeName", "activeType",
    "canEdit", "rotation", "camera", "light", "sculpt",
}


@pytest.fixture(scope="class")
def default_scene(tmp_path_factory):
    yield from running_blender(tmp_path_factory, "default", DEFAULT_SCENE, USER_IN_BLENDER)


class TestDefaultScene:
    @pytest.fixture
    def blender(self, default_scene):
        yield default_scene
        default_scene.close_connections()

    def test_the_info_file_is_private_and_names_this_blender(self, blender):
        assert stat.S_IMODE(os.stat(blender.info_dir).st_mode) == 0o700
        assert stat.S_IMODE(os.stat(blender.info_file).st_mode) == 0o600
        assert os.listdir(blender.info_dir) == ["bridge.json"]
        info = blender.info
        assert info["pid"] == blender.blender_pid
        assert re.fullmatch(r"[0-9a-f]{64}", info["token"])
        assert (info["protocol"], info["version"]) == (1, "1.2.0")
        assert isinstance(info["port"], int) and isinstance(info["blender"], str)

    @pytest.mark.parametrize(
        "first",
        [
            {"type": "hello", "token": "0" * 64},
            {"type": "hello", "token": 7},
            {"type": "subscribe", "id": 1},
        ],
        ids=["wrong-token", "token-not-text", "request-before-hello"],
    )
    def test_a_bad_first_message_is_refused_and_the_connection_closed(self, blender, first):
        connection = blender.connect(authenticate=False)
        connection.send_raw(b"skipped, not json\n")
        connection.send(first)
        assert connection.receive() == {"type": "hello", "ok": False}
        assert connection.receive() is None

    def test_a_fifth_simultaneous_client_is_closed_at_once(self, blender):
        for _ in range(4):
            blender.connect()
        fifth = blender.connect(authenticate=False)
        assert fifth.closed_by_bridge()

    def test_an_over_long_line_closes_the_connection(self, blender):
        connection = blender.connect()
        connection.send_raw(b" " * (64 * 1024 + 1))
        assert connection.closed_by_bridge()

    @pytest.mark.parametrize(
        "wire",
        [
            '"radians":NaN',
            '"radians":Infinity',
            '"radians":-Infinity',
            '"radians":2.0e6',
            '"radians":true',
            '"axis":3',
            '"axis":-1',
            '"axis":1.0',
            '"object":true',
        ],
    )
    def test_a_hostile_rotation_write_is_refused(self, blender, wire):
        connection = blender.connect()
        rotation = connection.state()["rotation"]
        fields = {"object": rotation["object"], "rotationMode": "XYZ", "axis": 0, "radians": 0.1}
        name = wire.split(":")[0].strip('"')
        del fields[name]
        text = '{"type":"set_rotation","id":5,%s,%s}' % (json.dumps(fields)[1:-1], wire)
        connection.send_raw(text.encode() + b"\n")
        reply = connection.receive()
        assert (reply["id"], reply["ok"], reply["error"]) == (5, False, "invalid rotation request")
        assert reply["state"]["rotation"]["radians"] == rotation["radians"]

    @pytest.mark.parametrize(
        "changes",
        [
            {"property": "location"},
            {"property": "lens", "value": float("nan")},
            {"property": "lens", "value": True},
            {"property": "brush_size", "value": 50, "brush": True},
            {"property": "energy", "value": 1.0, "object": "1"},
        ],
        ids=["unknown-property", "nan", "bool-value", "bool-brush", "text-object"],
    )
    def test_a_hostile_value_write_is_refused(self, blender, changes):
        connection = blender.connect()
        reply = connection.call(dict({"type": "set_value", "value": 1.0}, **changes))
        assert (reply["ok"], reply["error"]) == (False, "invalid value request")
        assert set(reply["state"]) == STATE_KEYS

    def test_unknown_requests_and_actions_are_refused(self, blender):
        connection = blender.connect()
        assert connection.call({"type": "eval", "id": 1, "code": "1"}) == {
            "type": "result", "id": 1, "ok": False, "error": "unknown request"}
        assert connection.call({"type": "action", "id": 2, "name": "quit_blender"}) == {
            "type": "result", "id": 2, "ok": False, "error": "unknown action"}
        assert connection.call({"type": "action", "id": True, "name": ["tool_move"]}) == {
            "type": "result", "id": None, "ok": False, "error": "unknown action"}

    def test_subscribe_and_state_report_the_default_scene(self, blender):
        connection = blender.connect()
        reply = connection.call({"type": "subscribe", "id": 11})
        assert (reply["type"], reply["id"]) == ("state", 11)
        state = reply["state"]
        assert set(state) == STATE_KEYS
        assert connection.state() == state
        assert (state["mode"], state["hasViewport"], state["shading"]) == ("OBJECT", True, "WIREFRAME")
        assert (state["activeName"], state["activeType"], state["canEdit"]) == ("Cube", "MESH", True)
        assert (state["camera"], state["light"], state["sculpt"]) == (None, None, None)
        rotation = state["rotation"]
        assert (rotation["name"], rotation["rotationMode"]) == ("Cube", "XYZ")
        assert isinstance(rotation["object"], int) and len(rotation["radians"]) == 3
        assert rotation["blocked"] == [None, "keyframed", "locked"]

    @pytest.mark.parametrize(
        "action, tool",
        [("tool_move", "builtin.move"), ("tool_rotate", "builtin.rotate"), ("tool_scale", "builtin.scale")],
    )
    def test_a_tool_action_switches_the_tool(self, blender, action, tool):
        reply = blender.connect().action(action)
        assert (reply["ok"], reply["error"], reply["state"]["tool"]) == (True, None, tool)

    def test_cycle_select_goes_box_circle_lasso_and_around(self, blender):
        connection = blender.connect()
        connection.action("tool_move")
        tools = [connection.action("cycle_select")["state"]["tool"] for _ in range(4)]
        assert tools == ["builtin.select_box", "builtin.select_circle", "builtin.select_lasso", "builtin.select_box"]

    def test_toggle_edit_mode_enters_edit_mode_and_leaves_it(self, blender):
        connection = blender.connect()
        assert connection.action("toggle_edit_mode")["state"]["mode"] == "EDIT_MESH"
        leaving = connection.action("toggle_edit_mode")
        assert (leaving["ok"], leaving["state"]["mode"]) == (True, "OBJECT")

    def test_frame_selected_runs(self, blender):
        assert blender.connect().action("frame_selected")["ok"] is True

    def test_toggle_camera_view_looks_through_the_camera_and_back(self, blender):
        connection = blender.connect()
        assert connection.action("toggle_camera_view")["state"]["cameraView"] is True
        assert connection.action("toggle_camera_view")["state"]["cameraView"] is False

    def test_toggle_xray_flips_x_ray(self, blender):
        connection = blender.connect()
        before = connection.state()["xray"]
        assert connection.action("toggle_xray")["state"]["xray"] is (not before)
        assert connection.action("toggle_xray")["state"]["xray"] is before

    def test_cycle_shading_goes_from_wireframe_to_solid(self, blender):
        connection = blender.connect()
        assert connection.state()["shading"] == "WIREFRAME"
        reply = connection.action("cycle_shading")
        assert (reply["ok"], reply["state"]["shading"]) == (True, "SOLID")

    @pytest.mark.parametrize(
        "change, shows",
        [
            # A tool change publishes nothing on the message bus; the periodic check finds it.
            ("pick-cursor-tool", lambda state: state["tool"] == "builtin.cursor"),
            ("turn-cube", lambda state: state["rotation"]["radians"][0] == pytest.approx(2.5)),
        ],
        ids=["tool", "rotation"],
    )
    def test_a_change_made_in_blender_is_pushed_to_subscribers(self, blender, change, shows):
        connection = blender.connect()
        assert not shows(connection.call({"type": "subscribe"})["state"])
        user_does(blender, change)
        while True:
            message = connection.receive()
            assert message is not None and message["type"] == "context"
            if shows(message["state"]):
                break

    def test_a_rotation_write_is_stored_as_sent_and_read_back(self, blender):
        connection = blender.connect()
        rotation = connection.state()["rotation"]
        reply = connection.call(rotation_write(rotation, 0, 7.0))
        assert (reply["ok"], reply["error"]) == (True, None)
        # Radians as Blender stores them: 7.0 is not folded into one turn.
        assert reply["state"]["rotation"]["radians"][0] == pytest.approx(7.0, abs=1e-6)
        assert connection.state()["rotation"]["radians"][0] == pytest.approx(7.0, abs=1e-6)

    @pytest.mark.parametrize("axis, reason", [(1, "keyframed"), (2, "locked")])
    def test_a_blocked_axis_is_not_written(self, blender, axis, reason):
        connection = blender.connect()
        rotation = connection.state()["rotation"]
        reply = connection.call(rotation_write(rotation, axis, 1.25))
        assert (reply["ok"], reply["error"]) == (False, reason)
        assert reply["state"]["rotation"]["radians"][axis] == rotation["radians"][axis]

    @pytest.mark.parametrize(
        "changes",
        [{"object": 1}, {"rotationMode": "ZYX"}],
        ids=["another-object", "another-rotation-mode"],
    )
    def test_a_write_to_a_target_that_is_no_longer_there_is_stale(self, blender, changes):
        connection = blender.connect()
        rotation = connection.state()["rotation"]
        reply = connection.call(rotation_write(rotation, 0, 0.5, **changes))
        assert (reply["ok"], reply["error"]) == (False, "stale target")
        assert reply["state"]["rotation"] == rotation

    def test_a_lens_write_while_a_cube_is_selected_is_stale(self, blender):
        connection = blender.connect()
        rotation = connection.state()["rotation"]
        reply = connection.call({"type": "set_value", "property": "lens", "value": 35.0, "object": rotation["object"], "data": 1})
        assert (reply["ok"], reply["error"]) == (False, "stale target")

    def test_a_streamed_rotation_reaches_another_subscriber_coalesced_and_ending_on_the_last(self, blender):
        writer = blender.connect()
        observer = blender.connect()
        rotation = observer.call({"type": "subscribe"})["state"]["rotation"]
        writer.call({"type": "subscribe"})
        sent = [1.0 + index * 0.001 for index in range(120)]
        pushes = []
        replies = []
        done = threading.Event()

        def record(connection, kind, into):
            connection.sock.settimeout(0.2)
            while not done.is_set():
                try:
                    message = connection.receive()
                except socket.timeout:
                    continue
                if message is None:
                    return
                if message["type"] == kind:
                    into.append((time.monotonic(), message))

        readers = [
            threading.Thread(target=record, args=(observer, "context", pushes)),
            threading.Thread(target=record, args=(writer, "result", replies)),
        ]
        for reader in readers:
            reader.start()
        started = time.monotonic()
        try:
            for index, radians in enumerate(sent):
                time.sleep(max(0.0, started + index / 60.0 - time.monotonic()))
                writer.send(rotation_write(rotation, 0, radians, id=1000 + index))
            deadline = time.monotonic() + WAIT
            while len(replies) < len(sent) and time.monotonic() < deadline:
                time.sleep(0.05)
            time.sleep(0.5)
        finally:
            done.set()
            for reader in readers:
                reader.join()

        assert [reply["ok"] for _, reply in replies] == [True] * len(sent)
        last_reply = replies[-1][0]
        during = [moment for moment, _ in pushes if moment <= last_reply]
        seconds = last_reply - started
        # At most about 15 a second; and some while the writes go on, or the stream would starve
        # the others until it stops.
        assert 2 <= len(during) <= 20 * seconds + 2, (len(during), seconds)
        assert pushes[-1][1]["state"]["rotation"]["radians"][0] == pytest.approx(sent[-1], abs=1e-6)

    def test_quitting_blender_removes_the_info_file_and_leaves_no_process(self, blender):
        children = blender.children()
        assert blender.blender_pid in children and len(children) == 2
        assert blender.stop() == 0
        assert not os.path.exists(blender.info_file)
        assert not os.path.exists(blender.pid_file)
        for pid in children:
            assert not os.path.exists("/proc/%d" % pid)


@pytest.fixture(scope="class")
def camera_scene(tmp_path_factory):
    yield from running_blender(tmp_path_factory, "camera", CAMERA_SCENE)


class TestCameraInQuaternionMode:
    @pytest.fixture
    def blender(self, camera_scene):
        yield camera_scene
        camera_scene.close_connections()

    def test_every_axis_reports_quaternion_and_a_write_is_refused(self, blender):
        connection = blender.connect()
        rotation = connection.state()["rotation"]
        assert (rotation["rotationMode"], rotation["blocked"]) == ("QUATERNION", ["quaternion"] * 3)
        reply = connection.call(rotation_write(rotation, 0, 0.5))
        assert (reply["ok"], reply["error"]) == (False, "quaternion")

    def test_the_camera_is_reported_with_its_focal_length(self, blender):
        state = blender.connect().state()
        camera = state["camera"]
        assert (camera["name"], camera["lens"], camera["blocked"]) == ("Camera", 50.0, None)
        assert camera["object"] == state["rotation"]["object"] and camera["data"] != camera["object"]
        assert (state["light"], state["sculpt"], state["canEdit"]) == (None, None, False)

    def test_a_focal_length_write_is_applied(self, blender):
        connection = blender.connect()
        camera = connection.state()["camera"]
        reply = connection.call({"type": "set_value", "property": "lens", "value": 35.5, "object": camera["object"], "data": camera["data"]})
        assert (reply["ok"], reply["state"]["camera"]["lens"]) == (True, 35.5)
        assert connection.state()["camera"]["lens"] == 35.5

    @pytest.mark.parametrize(
        "value, changes, error",
        [
            (0.5, {}, "out of range"),
            (35.0, {"data": 1}, "stale target"),
            (35.0, {"object": 1}, "stale target"),
        ],
        ids=["below-one-millimetre", "other-camera-data", "other-object"],
    )
    def test_a_bad_focal_length_write_is_refused(self, blender, value, changes, error):
        connection = blender.connect()
        camera = connection.state()["camera"]
        message = {"type": "set_value", "property": "lens", "value": value, "object": camera["object"], "data": camera["data"]}
        message.update(changes)
        reply = connection.call(message)
        assert (reply["ok"], reply["error"], reply["state"]["camera"]["lens"]) == (False, error, camera["lens"])

    def test_a_camera_has_no_edit_mode(self, blender):
        reply = blender.connect().action("toggle_edit_mode")
        assert (reply["ok"], reply["error"], reply["state"]["mode"]) == (False, "this object has no Edit Mode", "OBJECT")


@pytest.fixture(scope="class")
def light_scene(tmp_path_factory):
    yield from running_blender(tmp_path_factory, "light", LIGHT_SCENE)


class TestDrivenLight:
    @pytest.fixture
    def blender(self, light_scene):
        yield light_scene
        light_scene.close_connections()

    def test_the_driven_axis_is_blocked_and_the_light_reported(self, blender):
        connection = blender.connect()
        state = connection.state()
        assert state["rotation"]["blocked"] == ["driven", None, None]
        assert connection.call(rotation_write(state["rotation"], 0, 0.5))["error"] == "driven"
        light = state["light"]
        assert (light["name"], light["lightType"], light["blocked"]) == ("Light", "POINT", None)
        assert light["energy"] > 0 and state["camera"] is None

    def test_a_power_write_is_applied(self, blender):
        connection = blender.connect()
        light = connection.state()["light"]
        reply = connection.call({"type": "set_value", "property": "energy", "value": 250.0, "object": light["object"], "data": light["data"], "lightType": "POINT"})
        assert (reply["ok"], reply["state"]["light"]["energy"]) == (True, 250.0)

    @pytest.mark.parametrize(
        "value, light_type, error",
        [(-1.0, "POINT", "out of range"), (100.0, "SUN", "stale target")],
        ids=["negative", "other-light-type"],
    )
    def test_a_bad_power_write_is_refused(self, blender, value, light_type, error):
        connection = blender.connect()
        light = connection.state()["light"]
        reply = connection.call({"type": "set_value", "property": "energy", "value": value, "object": light["object"], "data": light["data"], "lightType": light_type})
        assert (reply["ok"], reply["error"], reply["state"]["light"]["energy"]) == (False, error, light["energy"])


@pytest.fixture(scope="class")
def two_selected_scene(tmp_path_factory):
    yield from running_blender(tmp_path_factory, "two", TWO_SELECTED_SCENE)


class TestTwoObjectsSelected:
    def test_no_contextual_value_is_offered_and_a_write_is_stale(self, two_selected_scene):
        connection = two_selected_scene.connect()
        state = connection.state()
        assert (state["activeName"], state["rotation"], state["camera"], state["light"]) == ("Cube", None, None, None)
        reply = connection.call({"type": "set_rotation", "object": 1, "rotationMode": "XYZ", "axis": 0, "radians": 0.5})
        assert reply["error"] == "stale target"

    def test_killing_the_supervisor_takes_blender_and_xvfb_with_it(self, two_selected_scene):
        children = two_selected_scene.children()
        two_selected_scene.supervisor.kill()
        two_selected_scene.supervisor.wait()
        deadline = time.monotonic() + WAIT
        while any(os.path.exists("/proc/%d" % pid) and not _is_zombie(pid) for pid in children):
            assert time.monotonic() < deadline, "Blender or Xvfb outlived the supervisor"
            time.sleep(0.05)


def _is_zombie(pid):
    try:
        with open("/proc/%d/stat" % pid, encoding="ascii") as stream:
            return stream.read().rsplit(")", 1)[1].split()[0] == "Z"
    except OSError:
        return True


@pytest.fixture(scope="class")
def odd_objects_scene(tmp_path_factory):
    yield from running_blender(tmp_path_factory, "odd", ODD_OBJECTS_SCENE, USER_IN_BLENDER)


class TestOddObjectsAndAReopenedFile:
    @pytest.fixture
    def blender(self, odd_objects_scene):
        yield odd_objects_scene
        odd_objects_scene.close_connections()

    def select(self, blender, connection, name):
        return after_user_does(blender, connection, "select-" + name, lambda state: state["activeName"] == name)

    @pytest.mark.parametrize(
        "name, kind, blocked",
        [
            ("Ortho", "camera", "orthographic"),
            ("Pano", "camera", "panoramic"),
            ("Borrowed", "camera", "linked"),
            ("Dark", "light", "negative"),
        ],
    )
    def test_a_value_that_cannot_be_set_is_reported_blocked_and_a_write_refused(self, blender, name, kind, blocked):
        connection = blender.connect()
        shown = self.select(blender, connection, name)[kind]
        assert shown["blocked"] == blocked
        if kind == "camera":
            message = {"type": "set_value", "property": "lens", "value": 35.0, "object": shown["object"], "data": shown["data"]}
        else:
            message = {"type": "set_value", "property": "energy", "value": 100.0, "object": shown["object"], "data": shown["data"], "lightType": "POINT"}
        reply = connection.call(message)
        assert (reply["ok"], reply["error"], reply["state"][kind]) == (False, blocked, shown)

    def test_an_axis_and_angle_rotation_is_blocked_on_every_axis(self, blender):
        connection = blender.connect()
        rotation = self.select(blender, connection, "Spinner")["rotation"]
        assert (rotation["rotationMode"], rotation["blocked"]) == ("AXIS_ANGLE", ["axisAngle"] * 3)
        reply = connection.call(rotation_write(rotation, 2, 0.5))
        assert (reply["ok"], reply["error"]) == (False, "axisAngle")

    def test_after_a_file_is_opened_pushes_and_writes_go_on_with_the_new_data(self, blender):
        connection = blender.connect()
        self.select(blender, connection, "Cube")
        assert connection.call({"type": "subscribe"})["state"]["activeName"] == "Cube"
        user_does(blender, "reopen-file-and-turn-cube")
        while True:
            message = connection.receive()
            assert message is not None, "the bridge closed the connection when the file was opened"
            if message["type"] == "context" and message["state"]["rotation"]["radians"][0] == pytest.approx(1.25):
                break
        rotation = message["state"]["rotation"]
        assert rotation["name"] == "Cube"
        reply = connection.call(rotation_write(rotation, 0, 0.75))
        assert (reply["ok"], reply["state"]["rotation"]["radians"][0]) == (True, pytest.approx(0.75))


@pytest.fixture(scope="class")
def sculpt_scene(tmp_path_factory):
    yield from running_blender(tmp_path_factory, "sculpt", SCULPT_SCENE, USER_IN_BLENDER)


class TestSculptMode:
    @pytest.fixture
    def blender(self, sculpt_scene):
        yield sculpt_scene
        sculpt_scene.close_connections()

    def brush_write(self, connection, kind, value, **changes):
        return connection.call(self.brush_write_message(connection.state()["sculpt"], kind, value, **changes))

    @staticmethod
    def brush_write_message(sculpt, kind, value, **changes):
        message = {
            "type": "set_value",
            "property": "brush_" + kind,
            "value": value,
            "object": sculpt["object"],
            "brush": sculpt["brush"],
            "scope": sculpt[kind]["scope"],
            "owner": sculpt[kind]["owner"],
        }
        message.update(changes)
        return message

    def test_the_brush_and_its_settings_are_reported(self, blender):
        state = blender.connect().state()
        assert (state["mode"], state["rotation"], state["camera"], state["light"]) == ("SCULPT", None, None, None)
        sculpt = state["sculpt"]
        assert isinstance(sculpt["brush"], int) and isinstance(sculpt["brushName"], str)
        for kind in ("size", "strength"):
            setting = sculpt[kind]
            assert setting["scope"] in ("brush", "unified") and isinstance(setting["owner"], int)
            assert setting["blocked"] is None and isinstance(setting["value"], (int, float))

    @pytest.mark.parametrize("value, stored", [(40.0, 40), (50.5, 51), (30.0, 30), (50.6, 51), (49.4, 49)])
    def test_a_brush_size_is_rounded_half_away_from_zero(self, blender, value, stored):
        reply = self.brush_write(blender.connect(), "size", value)
        assert (reply["ok"], reply["state"]["sculpt"]["size"]["value"]) == (True, stored)

    def test_a_brush_strength_is_written(self, blender):
        reply = self.brush_write(blender.connect(), "strength", 0.25)
        assert reply["ok"] is True
        assert math.isclose(reply["state"]["sculpt"]["strength"]["value"], 0.25, abs_tol=1e-6)

    @pytest.mark.parametrize(
        "kind, value, changes, error",
        [
            ("size", 0.4, {}, "out of range"),
            ("strength", 11.0, {}, "out of range"),
            ("size", 60.0, {"brush": 1}, "stale target"),
            ("size", 60.0, {"owner": 1}, "stale target"),
            ("size", 60.0, {"scope": "nowhere"}, "stale target"),
            ("strength", 0.3, {"object": 1}, "stale target"),
        ],
        ids=["size-zero", "strength-over", "other-brush", "other-owner", "other-scope", "other-object"],
    )
    def test_a_bad_brush_write_is_refused(self, blender, kind, value, changes, error):
        connection = blender.connect()
        before = connection.state()["sculpt"][kind]["value"]
        reply = self.brush_write(connection, kind, value, **changes)
        assert (reply["ok"], reply["error"], reply["state"]["sculpt"][kind]["value"]) == (False, error, before)

    def test_a_tool_that_is_not_a_brush_blocks_brush_writes(self, blender):
        connection = blender.connect()
        assert connection.action("tool_move")["state"]["sculpt"]["size"]["blocked"] == "notBrushTool"
        reply = self.brush_write(connection, "size", 42.0)
        assert (reply["ok"], reply["error"]) == (False, "notBrushTool")

    def test_a_size_kept_in_scene_units_and_a_missing_brush_block_writes(self, blender):
        connection = blender.connect()
        after_user_does(blender, connection, "pick-draw-brush", lambda state: state["sculpt"]["size"]["blocked"] is None)
        # Without a brush, the brush the write names is no longer there.
        for change, kind, value, reason, error in [
            ("lock-brush-size-to-scene", "size", 60.0, "sceneRadius", "sceneRadius"),
            ("drop-brush", "strength", 0.5, "noBrush", "stale target"),
        ]:
            before = connection.state()["sculpt"]
            state = after_user_does(blender, connection, change, lambda state: state["sculpt"][kind]["blocked"] == reason)
            reply = connection.call(self.brush_write_message(before, kind, value))
            assert (reply["ok"], reply["error"], reply["state"]["sculpt"]) == (False, error, state["sculpt"])

    def test_toggle_edit_mode_from_sculpt_mode_returns_to_object_mode(self, blender):
        reply = blender.connect().action("toggle_edit_mode")
        assert (reply["ok"], reply["state"]["mode"], reply["state"]["sculpt"]) == (True, "OBJECT", None)
