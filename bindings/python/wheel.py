#!/usr/bin/env python3
"""Makes a wheel of the package with the library and its providers inside, with nothing but Python itself.

usage: wheel.py LIBRARY_FOLDER OUT_FOLDER

LIBRARY_FOLDER holds libOx3dRgbd.so.1, libMediaProcess.so, libox3d-recording.so.1 and ox3drgbd/*/libOxCameraControl.so. The wheel is for every
Python from 3.9 on, on Linux for x86_64 with the system libraries that the providers name (libpng, libaravis ...).
"""

import base64
import hashlib
import platform
import re
import sys
import zipfile
from pathlib import Path
from typing import Dict, List

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[1]


def project_values() -> Dict[str, str]:
    """The plain texts of pyproject.toml, for which Python has no reader before 3.11."""
    text = (HERE / "pyproject.toml").read_text(encoding="utf-8")
    return dict(re.findall(r'^([a-z-]+) = "([^"]*)"$', text, re.MULTILINE))


def files_of(libraries: Path) -> Dict[str, bytes]:
    """What lies in the wheel, by name."""
    found = {
        f"ox3d/{file.name}": file.read_bytes()
        for file in sorted((HERE / "ox3d").iterdir())
        if file.suffix == ".py" or file.name == "py.typed"
    }
    for name in ("libOx3dRgbd.so.1", "libMediaProcess.so", "libox3d-recording.so.1"):
        found[f"ox3d/lib/{name}"] = (libraries / name).read_bytes()
    providers = sorted(libraries.glob("ox3drgbd/*/libOxCameraControl.so"))
    if not providers:
        sys.exit(f"error: no provider in {libraries / 'ox3drgbd'}")
    for provider in providers:
        found[f"ox3d/lib/{provider.relative_to(libraries)}"] = provider.read_bytes()
    return found


def metadata(project: Dict[str, str]) -> str:
    needs = re.search(r"^dependencies = \[(.*)\]$", (HERE / "pyproject.toml").read_text(encoding="utf-8"), re.MULTILINE)
    lines: List[str] = [
        "Metadata-Version: 2.1",
        f"Name: {project['name']}",
        f"Version: {project['version']}",
        f"Summary: {project['description']}",
        f"Requires-Python: {project['requires-python']}",
        "License-File: LICENSE",
        "Description-Content-Type: text/markdown",
    ]
    lines += [f"Requires-Dist: {need}" for need in re.findall(r'"([^"]*)"', needs[1] if needs else "")]
    return "\n".join(lines) + "\n\n" + (HERE / "README.md").read_text(encoding="utf-8")


def make(libraries: Path, out: Path) -> Path:
    project = project_values()
    tag = f"py3-none-linux_{platform.machine()}"
    stem = f"{project['name']}-{project['version']}"
    info = f"{stem}.dist-info"
    files = files_of(libraries)
    files[f"{info}/METADATA"] = metadata(project).encode()
    files[f"{info}/WHEEL"] = f"Wheel-Version: 1.0\nGenerator: wheel.py\nRoot-Is-Purelib: false\nTag: {tag}\n".encode()
    for name in ("LICENSE", "NOTICE"):
        files[f"{info}/{name}"] = (ROOT / name).read_bytes()
    record = ""
    for name, content in files.items():
        digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
        record += f"{name},sha256={digest},{len(content)}\n"
    files[f"{info}/RECORD"] = f"{record}{info}/RECORD,,\n".encode()
    out.mkdir(parents=True, exist_ok=True)
    wheel = out / f"{stem}-{tag}.whl"
    with zipfile.ZipFile(wheel, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in files.items():
            entry = zipfile.ZipInfo(name, (1980, 1, 1, 0, 0, 0))  # the same files make the same wheel
            entry.external_attr = (0o100755 if ".so" in name else 0o100644) << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(entry, content)
    return wheel


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    print(make(Path(sys.argv[1]), Path(sys.argv[2])))
