#!/usr/bin/env python3
"""Runs one real Blender on a private virtual display, with the Kolvo Bridge add-on loaded.

    blender_under_xvfb.py --home DIR --pid-file FILE [--addon-dir DIR | --no-addon]
                          [--setup-expr PYTHON]... [--blender PATH] [--log FILE]

Starts Xvfb on a display of its own choosing, then Blender with HOME=DIR on that display, so the
add-on writes its connection file under DIR. Once Blender's main loop runs (and, with the add-on,
once the add-on has written its connection file) it writes "<blender pid>\\n" to FILE. It then
waits. On SIGTERM, SIGINT or SIGHUP, when Blender exits, or when its own parent dies, it stops
Blender (first asking it to unregister the add-on and quit, as Blender does with enabled add-ons
on a normal quit, then by signal) and Xvfb, removes FILE and exits. Blender and Xvfb are also
told by the kernel to die with this process, so not even a SIGKILL here leaves them behind.

--setup-expr runs Python inside Blender before the add-on loads: that is how a test prepares a
scene. Nothing of that kind ever travels through the bridge.

Exit status: 0 after a requested stop, Blender's own status when it exits by itself, 1 when
start-up fails.
"""

import argparse
import json
import ctypes
import os
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
DEFAULT_ADDON_DIR = os.path.normpath(os.path.join(HERE, "..", "..", "src", "blender", "addon"))

XVFB_COMMAND = ["Xvfb", "-screen", "0", "1280x800x24", "-nolisten", "tcp"]
# Where the add-on writes its connection file, relative to HOME.
INFO_FILE_IN_HOME = os.path.join("Library", "Application Support", "Kolvo", "Blender", "bridge.json")

_PR_SET_PDEATHSIG = 1
_stop_requested = False


def _die_with_parent(signal_number):
    """Asks Linux to send `signal_number` to this process when its parent goes away."""
    try:
        libc = ctypes.CDLL(None, use_errno=True)
        libc.prctl(_PR_SET_PDEATHSIG, signal_number, 0, 0, 0)
    except (OSError, AttributeError):
        pass


def _child_setup():
    # Runs in the child between fork and exec: the child dies if this supervisor dies.
    _die_with_parent(signal.SIGKILL)


def _on_stop_signal(signal_number, frame):
    global _stop_requested
    _stop_requested = True


def _launch_expressions(harness_dir, addon_dir, setup_exprs):
    """The --python-expr arguments: preferences, the harness's own hooks, the test's setup, then
    the add-on loaded as a plain module."""
    ready_file = os.path.join(harness_dir, "ready")
    stop_file = os.path.join(harness_dir, "stop")
    prepare = (
        "import bpy;p=bpy.context.preferences;p.view.show_splash=False;"
        "p.system.viewport_aa='OFF';p.view.use_save_prompt=False;"
        # Blender saves its session on quit into its temporary folder; keep that one ours.
        "p.filepaths.temporary_directory=%r" % harness_dir
    )
    load = ["import bpy, os, sys", "kolvo_bridge = None"]
    if addon_dir is not None:
        load += [
            # The add-on is imported from its source folder; keep compiled files out of it.
            "sys.dont_write_bytecode = True",
            "sys.path.insert(0, %r)" % harness_dir,
            "import kolvo_bridge",
            "kolvo_bridge.register()",
        ]
    load += [
        "def _kolvo_harness_ready():",
        "    open(%r, 'w').close()" % ready_file,
        "def _kolvo_harness_stop():",
        "    if not os.path.exists(%r):" % stop_file,
        "        return 0.1",
        "    if kolvo_bridge is not None:",
        "        kolvo_bridge.unregister()",
        "    windows = bpy.context.window_manager.windows",
        "    if len(windows) and hasattr(bpy.context, 'temp_override'):",
        "        with bpy.context.temp_override(window=windows[0]):",
        "            bpy.ops.wm.quit_blender()",
        "    else:",
        "        bpy.ops.wm.quit_blender()",
        "bpy.app.timers.register(_kolvo_harness_ready, first_interval=0.0, persistent=True)",
        "bpy.app.timers.register(_kolvo_harness_stop, first_interval=0.1, persistent=True)",
    ]
    expressions = [prepare] + list(setup_exprs) + ["\n".join(load)]
    arguments = []
    for expression in expressions:
        arguments += ["--python-expr", expression]
    return arguments


def _start_xvfb(log):
    reader, writer = os.pipe()
    try:
        xvfb = subprocess.Popen(
            [XVFB_COMMAND[0], "-displayfd", str(writer)] + XVFB_COMMAND[1:],
            pass_fds=(writer,),
            stdin=subprocess.DEVNULL,
            stdout=log,
            stderr=log,
            preexec_fn=_child_setup,
            start_new_session=True,
        )
    finally:
        os.close(writer)
    display = b""
    deadline = time.monotonic() + 15
    try:
        while not display.endswith(b"\n"):
            remaining = deadline - time.monotonic()
            if remaining <= 0 or _stop_requested:
                break
            ready, _, _ = select.select([reader], [], [], min(remaining, 0.2))
            if ready:
                chunk = os.read(reader, 64)
                if not chunk:
                    break
                display += chunk
    except InterruptedError:
        pass
    finally:
        os.close(reader)
    number = display.strip()
    return xvfb, (":" + number.decode() if number.isdigit() else None)


def _info_pid(home):
    try:
        with open(os.path.join(home, INFO_FILE_IN_HOME), encoding="utf-8") as stream:
            return json.load(stream).get("pid")
    except (OSError, ValueError, AttributeError):
        return None


def _end(process, grace):
    """Stops `process` with SIGTERM, then SIGKILL after `grace` seconds; always reaps it."""
    if process is None or process.poll() is not None:
        return
    try:
        process.terminate()
        process.wait(grace)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def _write_pid_file(path, pid):
    temporary = path + ".tmp"
    with open(temporary, "w", encoding="utf-8") as stream:
        stream.write("%d\n" % pid)
    os.replace(temporary, path)


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--home", required=True, help="HOME for Blender; the add-on writes under it")
    parser.add_argument("--pid-file", required=True, help="receives Blender's pid once it is up")
    parser.add_argument("--addon-dir", default=DEFAULT_ADDON_DIR, help="folder of the add-on's __init__.py")
    parser.add_argument("--no-addon", action="store_true", help="run Blender without the add-on")
    parser.add_argument("--setup-expr", action="append", default=[], help="Python run in Blender first")
    parser.add_argument("--blender", default="blender", help="the Blender executable")
    parser.add_argument("--log", help="file for Blender's and Xvfb's output (default: inherited)")
    parser.add_argument("--startup-timeout", type=float, default=90.0, help="seconds to wait for Blender")
    options = parser.parse_args(argv)

    _die_with_parent(signal.SIGTERM)
    parent = os.getppid()
    for signal_number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        signal.signal(signal_number, _on_stop_signal)

    home = os.path.abspath(options.home)
    os.makedirs(home, exist_ok=True)
    addon_dir = None if options.no_addon else os.path.abspath(options.addon_dir)
    if addon_dir is not None and not os.path.isfile(os.path.join(addon_dir, "__init__.py")):
        print("blender_under_xvfb: no __init__.py in %s" % addon_dir, file=sys.stderr)
        return 1
    # Inside HOME, so that even a supervisor killed outright leaves nothing outside it.
    harness_dir = tempfile.mkdtemp(prefix=".kolvo-harness-", dir=home)
    if addon_dir is not None:
        # Blender imports the add-on under its package name, as it would an installed one.
        os.symlink(addon_dir, os.path.join(harness_dir, "kolvo_bridge"))
    log = open(options.log, "ab") if options.log else None
    xvfb = blender = None
    status = 1
    try:
        xvfb, display = _start_xvfb(log)
        if display is None:
            print("blender_under_xvfb: Xvfb reported no display", file=sys.stderr)
            return 1
        environment = dict(os.environ, HOME=home, DISPLAY=display, TMPDIR=harness_dir)
        environment.pop("XAUTHORITY", None)
        command = [options.blender, "--factory-startup", "--no-window-focus", "--python-exit-code", "1"]
        command += _launch_expressions(harness_dir, addon_dir, options.setup_expr)
        blender = subprocess.Popen(
            command,
            env=environment,
            stdin=subprocess.DEVNULL,
            stdout=log,
            stderr=log,
            preexec_fn=_child_setup,
            start_new_session=True,
        )

        deadline = time.monotonic() + options.startup_timeout
        ready_file = os.path.join(harness_dir, "ready")
        while True:
            if _stop_requested or blender.poll() is not None or os.getppid() != parent:
                print("blender_under_xvfb: Blender did not come up", file=sys.stderr)
                return 1
            if os.path.exists(ready_file) and (addon_dir is None or _info_pid(home) == blender.pid):
                break
            if time.monotonic() > deadline:
                print("blender_under_xvfb: Blender took too long to come up", file=sys.stderr)
                return 1
            time.sleep(0.05)
        _write_pid_file(options.pid_file, blender.pid)

        while not _stop_requested and blender.poll() is None and os.getppid() == parent:
            time.sleep(0.1)
        if blender.poll() is not None:
            status = blender.returncode
        else:
            status = 0
            # Ask Blender to unregister the add-on and quit; signals only if it does not.
            open(os.path.join(harness_dir, "stop"), "w").close()
            try:
                blender.wait(15)
            except subprocess.TimeoutExpired:
                pass
        return status
    finally:
        _end(blender, 5)
        _end(xvfb, 5)
        if log is not None:
            log.close()
        shutil.rmtree(harness_dir, ignore_errors=True)
        try:
            os.remove(options.pid_file)
        except OSError:
            pass


if __name__ == "__main__":
    sys.exit(main())
