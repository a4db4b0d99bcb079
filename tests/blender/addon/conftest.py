"""Loads the Kolvo Bridge add-on straight from its source file, the way these tests need it:
without Blender, so only its plain helpers and its socket side are usable."""

import importlib.util
import os
import sys

import pytest

# Tests run from the source tree; compiled files would land next to the add-on itself.
sys.dont_write_bytecode = True

REPO = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", "..", ".."))
ADDON_DIR = os.path.join(REPO, "src", "blender", "addon")


def load_addon(name="kolvo_bridge_under_test"):
    """A fresh copy of the add-on module; HOME is read at import, so tests that move it reload."""
    spec = importlib.util.spec_from_file_location(name, os.path.join(ADDON_DIR, "__init__.py"))
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


@pytest.fixture(scope="session")
def addon():
    module = load_addon()
    assert module.bpy is None, "these tests are meant to run without Blender"
    return module
