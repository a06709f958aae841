"""Finding and loading the library, the choice of its provider, and statuses made into exceptions."""

import ctypes
import ctypes.util
import os
import threading
from pathlib import Path
from typing import Optional

from . import _structs as s
from ._errors import Ox3dError, _plain_name

_NAME = "libOx3dRgbd.so.1"
_RECORDING_NAME = "libox3d-recording.so.1"
_PROVIDER = "libOxCameraControl.so"
_OLDEST = (1, 1)
_HERE = Path(__file__).resolve().parent

#: Held while cameras are looked for: environment variables of the process decide which ones there are.
opening = threading.RLock()


class Library:
    """The loaded library: ``call`` runs a function by its name without prefix and raises unless it succeeds."""

    def __init__(self, path: str) -> None:
        try:
            self._dll = ctypes.CDLL(path)
            for name, arguments in s.FUNCTIONS.items():
                function = getattr(self._dll, "OX3D_RGBD_" + name)
                function.argtypes = arguments
                function.restype = ctypes.c_uint32
            self._text = self._dll.OX3D_RGBD_StatusText
        except (OSError, AttributeError) as reason:
            raise Ox3dError(
                s.E_LOAD_LIBRARY, sentence=f"the library cannot be loaded: {reason}. {_HOW_TO_NAME_IT}"
            ) from None
        self._text.argtypes = (ctypes.c_uint32,)
        self._text.restype = ctypes.c_char_p
        version = s.VERSION_INFO()
        self.call("GetSDKVersion", ctypes.byref(version))
        self.version = (version.nMajor, version.nMinor, version.nRevision)
        if self.version[0] != _OLDEST[0] or self.version < _OLDEST:
            raise Ox3dError(
                s.E_LOAD_LIBRARY,
                sentence="%s is version %d.%d.%d; this package needs %d.%d or a later one of %d"
                % ((path,) + self.version + _OLDEST + (_OLDEST[0],)),
            )

    def status(self, name: str, *arguments: object) -> int:
        return int(getattr(self._dll, "OX3D_RGBD_" + name)(*arguments))

    def call(self, name: str, *arguments: object, about: str = "") -> None:
        code = self.status(name, *arguments)
        if code != 0:
            raise self.error(code, about or name)

    def error(self, code: int, about: str) -> Ox3dError:
        name, _, sentence = self._text(code).decode().partition(": ")
        return Ox3dError(code, name if sentence else _plain_name(code), f"{about}: {name}: {sentence or name}")

    def provider(self) -> Optional[str]:
        """The file of the provider that the process has loaded, which it keeps until its end."""
        pointer = ctypes.c_void_p.in_dll(self._dll, "OX_CC_CreateHandle").value
        if not pointer:
            return None
        info = _DlInfo()
        found = _dladdr()(pointer, ctypes.byref(info))
        return os.path.realpath(os.fsdecode(info.dli_fname)) if found and info.dli_fname else None

    def folder(self) -> Path:
        info = _DlInfo()
        start = ctypes.cast(self._text, ctypes.c_void_p)
        _dladdr()(start, ctypes.byref(info))
        return Path(os.path.realpath(os.fsdecode(info.dli_fname))).parent


class _DlInfo(ctypes.Structure):
    _fields_ = [
        ("dli_fname", ctypes.c_char_p),
        ("dli_fbase", ctypes.c_void_p),
        ("dli_sname", ctypes.c_char_p),
        ("dli_saddr", ctypes.c_void_p),
    ]


def _dladdr() -> "ctypes._NamedFuncPointer":
    function = ctypes.CDLL(None).dladdr
    function.argtypes = (ctypes.c_void_p, ctypes.POINTER(_DlInfo))
    return function


# What an Ox3dError says of a status of the library of recordings: its name, and the library's status that is like it.
_OF_RECORDINGS = {
    s.REC_E_HANDLE: ("HANDLE", s.E_HANDLE),
    s.REC_E_PARAMETER: ("PARAMETER", s.E_PARAMETER),
    s.REC_E_FILE: ("FILE", s.E_PARAMETER),
    s.REC_E_FOREIGN: ("FOREIGN", s.E_PARAMETER),
    s.REC_E_EXISTS: ("EXISTS", s.E_PARAMETER),
    s.REC_E_FULL: ("FULL", s.E_MEMORY),
    s.REC_E_NO_DATA: ("NO_DATA", s.E_NO_DATA),
    s.REC_E_DROPPED: ("DROPPED", s.E_NO_DATA),
    s.REC_E_CAMERA: ("CAMERA", s.E_CAMERA),
    s.REC_E_MEMORY: ("MEMORY", s.E_MEMORY),
}


class RecordingLibrary:
    """libox3d-recording.so, which lies beside the library: the same for its functions."""

    def __init__(self, path: str) -> None:
        try:
            self._dll = ctypes.CDLL(path)
            for name, arguments in s.RECORDING_FUNCTIONS.items():
                function = getattr(self._dll, "OX3D_REC_" + name)
                function.argtypes = arguments
                function.restype = ctypes.c_uint32
            self._reason = self._dll.OX3D_REC_LastError
        except (OSError, AttributeError) as reason:
            raise Ox3dError(
                s.E_LOAD_LIBRARY, sentence=f"the library of recordings cannot be loaded: {reason}"
            ) from None
        self._reason.restype = ctypes.c_char_p

    def status(self, name: str, *arguments: object) -> int:
        return int(getattr(self._dll, "OX3D_REC_" + name)(*arguments))

    def call(self, name: str, *arguments: object) -> None:
        code = self.status(name, *arguments)
        if code != 0:
            raise self.error(code)

    def error(self, code: int) -> Ox3dError:
        """Of the last call of this thread."""
        name, alike = _OF_RECORDINGS.get(code, (str(code), s.E_STATE))
        return Ox3dError(alike, "OX3D_REC_E_" + name, self._reason().decode("utf-8", "replace"))


_HOW_TO_NAME_IT = (
    "It comes inside the wheel or is installed with the system; the environment variable OX3D_LIBRARY names "
    "another file"
)
_library: Optional[Library] = None
_recordings: Optional[RecordingLibrary] = None


def _file() -> str:
    named = os.environ.get("OX3D_LIBRARY")
    if named:
        return os.path.abspath(named)
    inside = _HERE / "lib" / _NAME
    return str(inside) if inside.exists() else _NAME


def library() -> Library:
    """The library, loaded by the first call; every later one has the same."""
    global _library
    if _library is None:
        with opening:
            if _library is None:
                _library = Library(_file())
    return _library


def recording_library() -> RecordingLibrary:
    """The same of recordings. It works with the library that is loaded."""
    global _recordings
    if _recordings is None:
        with opening:
            if _recordings is None:
                beside = library().folder() / _RECORDING_NAME
                _recordings = RecordingLibrary(str(beside) if beside.exists() else _RECORDING_NAME)
    return _recordings


def choose_provider(asked: Optional[str]) -> None:
    """Sets OX3D_PROVIDER for this process, or raises where the process has loaded another provider. Needs ``opening``."""
    loaded = library().provider()
    if asked is None:
        return
    if loaded is None:
        os.environ["OX3D_PROVIDER"] = asked
        return
    if asked in ("aravis", "virtual"):
        wanted = library().folder() / "ox3drgbd" / asked / _PROVIDER
    else:
        wanted = Path(asked)
        wanted = wanted / _PROVIDER if wanted.is_dir() else wanted
    if os.path.realpath(wanted) != loaded:
        raise Ox3dError(
            s.E_STATE,
            sentence=f"this process works with the provider {loaded}, which it keeps until its end: {asked!r} needs "
            "another process",
        )


def _after_fork() -> None:
    global opening
    opening = threading.RLock()  # a thread that the child does not have may hold the old one


os.register_at_fork(after_in_child=_after_fork)
