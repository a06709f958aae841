"""Virtual cameras for every test, and programs that need a process of their own."""

import os
import subprocess
import sys

import pytest

CAMERAS = """
[camera]
serial = FIRST
ip = 192.168.1.50
[camera]
serial = SECOND
model = Second
transport = usb
[camera]
serial = QUICK
fps = 240
cycle = 8
color_width = 640
color_height = 480
[camera]
serial = CLOSER
[camera]
serial = FLEETING
fault = unplug_after 3
fault = unplug_times 1
"""


@pytest.fixture(autouse=True)
def cameras(tmp_path, monkeypatch):
    (tmp_path / "cameras.ini").write_text(CAMERAS)
    monkeypatch.setenv("OX3D_VIRTUAL_CAMERAS", str(tmp_path / "cameras.ini"))


@pytest.fixture
def program(tmp_path):
    """Runs a program of its own; its output. A file, since a child of multiprocessing imports it again."""

    def run(text, **environment):
        file = tmp_path / "program.py"
        file.write_text(text)
        done = subprocess.run(
            [sys.executable, str(file)],
            env={name: value for name, value in {**os.environ, **environment}.items() if value},
            cwd=tmp_path,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=200,
        )
        assert done.returncode == 0, done.stdout + done.stderr
        return done.stdout

    return run
