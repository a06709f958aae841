"""What the package declares is what the headers say, for every Python that it is for; it comes whole in a wheel."""

import ast
import ctypes
import os
import re
import subprocess
import sys
import zipfile
from pathlib import Path

import pytest
from ox3d import Status, _structs

ROOT = Path(__file__).resolve().parents[2]
HEADERS = ROOT / "include" / "ox3drgbd"


def prefix_of(name):
    return "OX3D_" if name.startswith("REC_") else "OX3D_RGBD_"


def test_records_and_numbers_are_those_of_the_headers(tmp_path):
    lines, expected = [], []

    def hold(expression, value):
        lines.append(f'printf("%lld\\n", (long long)({expression}));')
        expected.append((expression, value))

    for name, kind in vars(_structs).items():
        if isinstance(kind, type) and issubclass(kind, ctypes.Structure) and name.isupper() and name[0] != "_":
            record = prefix_of(name) + name
            hold(f"sizeof({record})", ctypes.sizeof(kind))
            members = [field[0] for field in kind._fields_ if field[0] not in ("addresses", "modes", "value")]
            members += [m for m in ("nVendorId", "nProductId", "nUsbProtocol", "stEnumParam") if hasattr(kind, m)]
            for member in members:
                hold(f"offsetof({record}, {member})", getattr(kind, member).offset)
                hold(f"sizeof((({record}*)0)->{member})", getattr(kind, member).size)
        elif isinstance(kind, int) and name.isupper() and name[0] != "_":
            hold(prefix_of(name) + name, kind)
    for status in Status:
        hold("OX3D_RGBD_OK" if status == 0 else "OX3D_RGBD_E_" + status.name, int(status))
    assert len(expected) > 150
    source = tmp_path / "sizes.c"
    source.write_text(
        "#include <ox3drgbd/Ox3dRecording.h>\n#include <stddef.h>\n#include <stdio.h>\nint main(void) {"
        + "\n".join(lines)
        + "return 0; }"
    )
    subprocess.run(
        [os.environ.get("CC", "cc"), "-I", str(HEADERS.parent), str(source), "-o", str(tmp_path / "sizes")], check=True
    )
    found = subprocess.run([str(tmp_path / "sizes")], capture_output=True, text=True, check=True).stdout.split()
    assert [(what, int(value)) for (what, _), value in zip(expected, found)] == expected


FUNCTIONS = [("RGBD_" + name, arguments) for name, arguments in _structs.FUNCTIONS.items()]
FUNCTIONS += [("REC_" + name, arguments) for name, arguments in _structs.RECORDING_FUNCTIONS.items()]


@pytest.mark.parametrize("name, arguments", FUNCTIONS)
def test_functions_take_what_the_headers_say(name, arguments):
    text = "".join(header.read_text() for header in HEADERS.glob("Ox3dR*.h"))
    declared = re.search(rf"OX3D_\w+_API uint32_t OX3D_{name}\(([^)]*)\);", text)
    kinds = [re.sub(r"\s*\w+$", "", each.strip()) for each in declared[1].split(",")]
    assert ["*" in kind or "CallBack" in kind or "64" in kind for kind in kinds] == [
        ctypes.sizeof(each) == 8 for each in arguments
    ]


def test_types_are_whole_and_the_syntax_is_that_of_python_3_9(tmp_path):
    package = ROOT / "bindings" / "python"
    for file in sorted(package.glob("**/*.py")) + sorted((ROOT / "examples" / "python").glob("*.py")):
        ast.parse(file.read_text(), str(file), feature_version=(3, 9))
    options = ["--strict", "--python-version", "3.9", "--cache-dir", os.devnull]
    for command in (["mypy", *options, str(package / "ox3d")], ["mypy.stubtest", "--ignore-missing-stub", "ox3d"]):
        done = subprocess.run(
            [sys.executable, "-m", *command],
            env={**os.environ, "MYPYPATH": str(package)},
            cwd=tmp_path,
            capture_output=True,
            text=True,
        )
        assert done.returncode == 0, done.stdout + done.stderr


def test_a_wheel_needs_nothing_that_is_installed(tmp_path, program):
    library = Path(os.environ["OX3D_LIBRARY"]).resolve()
    maker = ROOT / "bindings" / "python" / "wheel.py"
    subprocess.run([sys.executable, str(maker), str(library.parent), str(tmp_path)], check=True)
    (wheel,) = tmp_path.glob("ox3d-*-py3-none-linux_x86_64.whl")
    zipfile.ZipFile(wheel).extractall(tmp_path / "site")
    said = program(
        "import ox3d\ncamera = ox3d.Camera('FIRST', provider='virtual')\ncamera.record('a.mcap').close()\n"
        "print(ox3d.__file__, camera['ImageAlign'])",
        PYTHONPATH=str(tmp_path / "site"),
        OX3D_LIBRARY="",
        OX3D_PROVIDER="",
    )
    assert said.split() == [str(tmp_path / "site" / "ox3d" / "__init__.py"), "1"]
