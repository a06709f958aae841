"""The programs that users copy from run, each where the package that it is about is installed."""

import importlib.util
import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]


@pytest.mark.parametrize(
    "name, needed, arguments, said",
    [
        ("live", "numpy", ["2"], "frame [0-9]+\n[^@%#*+=:.-]*[@%#*+=:.-]{20}"),
        ("opencv_edges", "cv2", ["out.png"], "[1-9][0-9]+ pixels of edges"),
        ("open3d_cloud", "open3d", ["out.ply"], "[1-9][0-9]+ in boxes"),
        ("depth_histogram", "matplotlib", ["out.png", "3"], "3 frames, [1-9][0-9]+ depths"),
    ],
)
def test_an_example_does_what_it_says(name, needed, arguments, said, tmp_path, monkeypatch):
    if importlib.util.find_spec(needed) is None and "OX3D_ALL_EXAMPLES" not in os.environ:
        pytest.skip(f"{needed} is not installed")
    monkeypatch.setenv("MPLCONFIGDIR", str(tmp_path))
    done = subprocess.run(
        [sys.executable, str(ROOT / "examples" / "python" / f"{name}.py"), *arguments],
        cwd=tmp_path,
        stdin=subprocess.DEVNULL,
        capture_output=True,
        text=True,
        timeout=200,
    )
    assert done.returncode == 0 and re.search(said, done.stdout), done.stdout + done.stderr
    assert all((tmp_path / each).stat().st_size > 1000 for each in arguments if each.startswith("out."))


def test_every_python_program_of_the_documents_runs(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    for document in ("docs/python.md", "bindings/python/README.md", "README.md"):
        programs = re.findall(r"^```python\n(.*?)^```$", (ROOT / document).read_text(), re.MULTILINE | re.DOTALL)
        assert programs, document
        for text in programs:
            exec(compile(text, document, "exec"), {"__name__": "__main__"})
    assert (tmp_path / "cloud.ply").stat().st_size > 1000
