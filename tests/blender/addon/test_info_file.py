"""The connection-info file: where it lives, who may read it, how it is replaced and removed."""

import json
import os
import stat
import tomllib

import pytest

from conftest import ADDON_DIR, load_addon

INFO = {"port": 50123, "token": "ab" * 32, "pid": 4242, "protocol": 1, "version": "1.2.0", "blender": "4.2.0"}


def mode_of(path):
    return stat.S_IMODE(os.stat(path).st_mode)


@pytest.fixture
def paths(tmp_path):
    folder = tmp_path / "Kolvo" / "Blender"
    return str(folder), str(folder / "bridge.json")


@pytest.fixture
def open_umask():
    # The modes must not depend on a strict umask doing the work.
    previous = os.umask(0)
    yield
    os.umask(previous)


def test_the_folder_is_made_private_and_the_file_readable_only_by_its_owner(addon, paths, open_umask):
    folder, path = paths
    addon._write_info_file(INFO, folder, path)
    assert mode_of(folder) == 0o700
    assert mode_of(path) == 0o600
    with open(path, encoding="utf-8") as stream:
        assert json.load(stream) == INFO


def test_a_folder_that_already_existed_open_is_closed_to_others(addon, paths, open_umask):
    folder, path = paths
    os.makedirs(folder, mode=0o755)
    os.chmod(folder, 0o755)
    addon._write_info_file(INFO, folder, path)
    assert mode_of(folder) == 0o700


def test_a_leftover_temporary_file_does_not_lend_its_mode(addon, paths, open_umask):
    folder, path = paths
    os.makedirs(folder)
    with open(path + ".tmp", "w") as stream:
        stream.write("old and longer than the new contents " * 20)
    os.chmod(path + ".tmp", 0o644)
    addon._write_info_file(INFO, folder, path)
    assert mode_of(path) == 0o600
    with open(path, encoding="utf-8") as stream:
        assert json.load(stream) == INFO


def test_the_file_is_replaced_whole_and_no_temporary_file_is_left(addon, paths):
    folder, path = paths
    addon._write_info_file(dict(INFO, port=1), folder, path)
    # A second name for the old file shows whether it was rewritten in place or replaced.
    old_view = path + ".old"
    os.link(path, old_view)
    addon._write_info_file(INFO, folder, path)
    with open(old_view, encoding="utf-8") as stream:
        assert json.load(stream)["port"] == 1
    with open(path, encoding="utf-8") as stream:
        assert json.load(stream) == INFO
    assert sorted(os.listdir(folder)) == ["bridge.json", "bridge.json.old"]


@pytest.mark.parametrize(
    "contents, removed",
    [
        (json.dumps(dict(INFO, pid=4242)), True),
        (json.dumps(dict(INFO, pid=4243)), False),
        (json.dumps(dict(INFO, pid="4242")), False),
        (json.dumps(dict(INFO, pid=4242.0)), False),
        (json.dumps({"port": 1}), False),
        (json.dumps([4242]), False),
        ('{"pid": 4242', False),
        ("", False),
    ],
    ids=["ours", "another-blender", "pid-as-text", "pid-as-float", "no-pid", "not-an-object", "truncated", "empty"],
)
def test_the_file_is_removed_only_when_it_names_this_process(addon, paths, contents, removed):
    folder, path = paths
    os.makedirs(folder)
    with open(path, "w", encoding="utf-8") as stream:
        stream.write(contents)
    assert addon._remove_info_file(4242, path) is removed
    assert os.path.exists(path) is not removed


def test_removing_a_file_that_is_not_there_is_quiet(addon, paths):
    assert addon._remove_info_file(4242, paths[1]) is False


def test_the_file_lives_under_the_home_folder_with_each_part_joined(tmp_path, monkeypatch):
    monkeypatch.setenv("HOME", str(tmp_path))
    fresh = load_addon("kolvo_bridge_home_test")
    assert fresh.INFO_FILE == os.path.join(str(tmp_path), "Library", "Application Support", "Kolvo", "Blender", "bridge.json")
    assert os.path.dirname(fresh.INFO_FILE) == fresh.INFO_DIR


def test_the_reported_version_is_the_manifests(addon):
    with open(os.path.join(ADDON_DIR, "blender_manifest.toml"), "rb") as stream:
        manifest = tomllib.load(stream)
    assert manifest["id"] == "kolvo_bridge"
    assert manifest["version"] == addon.EXTENSION_VERSION
