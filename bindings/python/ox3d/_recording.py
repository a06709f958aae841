"""Recordings: reading the frames of one, and writing those of a camera."""

import atexit
import ctypes
import operator
import os
import threading
import weakref
from collections import abc
from dataclasses import dataclass
from types import TracebackType
from typing import Any, Dict, List, Optional, Tuple, Type, Union, overload

import numpy as np
import numpy.typing as npt

from . import _structs as s
from ._calibration import Calibration, _calibration, _matrix
from ._device import Borrowed, Device
from ._errors import Ox3dError
from ._frame import Frame, UInt8Array, UInt16Array
from ._library import RecordingLibrary, recording_library

_COLORS = {"jpeg": s.REC_COLOR_JPEG, "raw": s.REC_COLOR_RAW, "none": s.REC_COLOR_NONE}
_SENSORS = {"depth": s.CAMERA_DEPTH, "color": s.CAMERA_COLOR}


@dataclass(frozen=True)
class RecordingInfo:
    """What a recording is. Texts that were not recorded are empty."""

    #: Whole frames.
    frames: int
    #: Of the depth images and of the color images, (width, height) in pixels; None where no frame has color.
    depth_size: Tuple[int, int]
    color_size: Optional[Tuple[int, int]]
    #: When the first and the last frame came, nanoseconds of UTC; None where that is not known, as of a folder.
    first_ns: Optional[int]
    last_ns: Optional[int]
    #: False where its writer was killed: what it had written until then is here.
    is_closed: bool
    #: Color is JPEG.
    is_color_lossy: bool
    #: Of the camera that was recorded.
    serial: str
    model: str
    #: All that was noted: "manufacturer", "device_version", "transport", "host" ...
    facts: Dict[str, str]


@dataclass(frozen=True, eq=False)
class RecordedFrame:
    """One recorded frame. Its arrays are its own and stay for ever."""

    #: uint16, (height, width), millimetres; 0 is no depth. What the camera sent, to the bit.
    depth: UInt16Array
    #: uint8, (height, width, 3), R, G, B; None where the frame has none. The memory is three planes, as of :attr:`Frame.color`.
    color: Optional[UInt8Array]
    #: As the camera counted; of a folder from 1 on.
    number: int
    #: Ticks of the camera's clock; 0 where they are not known.
    timestamp: int
    #: When it came to the host and when the camera took it, nanoseconds of UTC; None where that is not known.
    arrival_ns: Optional[int]
    capture_ns: Optional[int]
    #: How many frames never came between this one and the one before it.
    lost_before: int

    def __repr__(self) -> str:
        return f"<ox3d.RecordedFrame {self.number}: {self.depth.shape[1]}x{self.depth.shape[0]}>"


@dataclass(frozen=True)
class RecorderCounts:
    """What a :class:`Recorder` has done, in frames."""

    #: In the file.
    written: int
    #: Of them, since no image could be made of their color.
    without_color: int
    #: For a full queue, or for want of memory.
    dropped: int
    #: That never came from the camera, by the numbers of those that did.
    lost: int
    #: Of the file, in bytes.
    bytes: int


def _copied(pointer: int, shape: Tuple[int, ...], kind: Any) -> npt.NDArray[Any]:
    base = Borrowed()
    base.__array_interface__ = {"data": (pointer, True), "shape": shape, "typestr": np.dtype(kind).str, "version": 3}
    return np.array(base)


class Recording:
    """A recording: an MCAP file, whether it was closed or not, or a folder of PNG files.

    Frames are read when they are asked for: ``len(recording)``, ``recording[0]``, ``recording[-1]``, ``for frame in recording``.
    Use it as a context manager, or :meth:`close` it. ``Camera(recording=path)`` plays one as a camera instead.

    :raises Ox3dError: a file that is none, or has no whole frame
    :raises FileNotFoundError: there is nothing of that name
    """

    def __init__(self, path: "Union[str, os.PathLike[str]]") -> None:
        self._handle: Optional[int] = None
        self._lock = threading.RLock()  # from a reading to the end of its copy
        name = _checked_path(path)
        if not os.path.exists(name):
            raise FileNotFoundError(f"no such recording: {os.fsdecode(name)}")
        self._library: RecordingLibrary = recording_library()
        handle = ctypes.c_void_p()
        self._library.call("Open", name, ctypes.byref(handle))
        self._handle = handle.value
        try:
            self._info = self._read_info()
        except BaseException:
            self.close()
            raise

    def _call(self, name: str, *arguments: object) -> None:
        if self._handle is None:
            raise Ox3dError(s.E_HANDLE, sentence="the recording was closed")
        self._library.call(name, self._handle, *arguments)

    def _read_info(self) -> RecordingInfo:
        record = s.REC_INFO()
        self._call("GetInfo", ctypes.byref(record))
        facts = dict(line.partition("=")[::2] for line in self._text("facts").splitlines())
        return RecordingInfo(
            record.nFrames,
            (record.nWidth, record.nHeight),
            (record.nColorWidth, record.nColorHeight) if record.nColorWidth else None,
            record.nFirstUtcNs or None,
            record.nLastUtcNs or None,
            bool(record.nIsClosed),
            bool(record.nIsColorLossy),
            facts.get("serial", ""),
            facts.get("model", ""),
            facts,
        )

    def _text(self, name: str) -> str:
        length = ctypes.c_uint32()
        with self._lock:
            try:
                self._call("GetText", name.encode(), None, 0, ctypes.byref(length))
            except Ox3dError as error:
                if error.code == s.E_NO_DATA:
                    return ""
                raise
            text = ctypes.create_string_buffer(length.value + 1)
            self._call("GetText", name.encode(), text, length.value + 1, ctypes.byref(length))
        return text.raw[: length.value].decode("utf-8", "replace")

    @property
    def info(self) -> RecordingInfo:
        """What the recording is, and of which camera."""
        return self._info

    @property
    def features(self) -> str:
        """All settings of the camera, as :meth:`Camera.save_features` writes them; empty where they were not recorded."""
        return self._text("features.txt")

    @property
    def description(self) -> str:
        """The camera's GenICam description, XML; empty where it was not recorded."""
        return self._text("camera.xml")

    @property
    def calibration_xml(self) -> str:
        """The camera's calibration file; empty where it was not recorded."""
        return self._text("calibration.xml")

    def calibration(self, sensor: str = "depth") -> Calibration:
        """The lens of the recorded images of a sensor, "depth" or "color"."""
        if sensor not in _SENSORS:
            raise ValueError(f"it is 'depth' or 'color', not {sensor!r}")
        lens = s.INTRINSICS()
        self._call("GetIntrinsics", _SENSORS[sensor], ctypes.byref(lens))
        return _calibration(lens)

    def extrinsics(self) -> npt.NDArray[np.float64]:
        """From the depth camera's frame to the color camera's: float64, 4 x 4, millimetres; ``color = m @ (x, y, z, 1)``."""
        record = s.EXTRINSICS()
        self._call("GetExtrinsics", ctypes.byref(record))
        return _matrix(record)

    def __len__(self) -> int:
        return self._info.frames

    @overload
    def __getitem__(self, index: int) -> RecordedFrame: ...

    @overload
    def __getitem__(self, index: slice) -> List[RecordedFrame]: ...

    def __getitem__(self, index: Union[int, slice]) -> Union[RecordedFrame, List[RecordedFrame]]:
        """A frame, or a list of frames. A frame that is damaged raises with ``Status.NO_DATA``; others can still be read."""
        if isinstance(index, slice):
            return [self._read(at) for at in range(*index.indices(len(self)))]
        at = operator.index(index)
        at += len(self) if at < 0 else 0
        if not 0 <= at < len(self):
            raise IndexError(f"frame {index} of {len(self)}")
        return self._read(at)

    def __iter__(self) -> "abc.Iterator[RecordedFrame]":
        """The frames in their order. One that is damaged is left out."""
        for at in range(len(self)):
            try:
                frame = self._read(at)
            except Ox3dError as error:
                if error.code != s.E_NO_DATA:
                    raise
                continue
            yield frame

    def _read(self, at: int) -> RecordedFrame:
        record = s.REC_FRAME()
        with self._lock:
            self._call("ReadFrame", at, ctypes.byref(record))
            depth = _copied(record.pDepth, (record.nHeight, record.nWidth), "<u2")
            color = None
            if record.pColor:
                planes = _copied(record.pColor, (3, record.nColorHeight, record.nColorWidth), np.uint8)
                color = planes.transpose(1, 2, 0)
        return RecordedFrame(
            depth,
            color,
            record.nFrameNum,
            record.nTimeStamp,
            record.nArrivalUtcNs or None,
            record.nCaptureUtcNs or None,
            record.nLostBefore,
        )

    def close(self) -> None:
        """Closes the file; frames that were read stay. A second time is fine."""
        with self._lock:
            handle, self._handle = self._handle, None
        if handle is not None:
            self._library.status("Close", ctypes.byref(ctypes.c_void_p(handle)))

    def __enter__(self) -> "Recording":
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], value: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_handle", None) is not None:
            self.close()

    def __reduce__(self) -> Tuple[Any, ...]:
        raise TypeError("a recording cannot be pickled: open it by its name there")

    def __repr__(self) -> str:
        return f"<ox3d.Recording of {self._info.model} {self._info.serial}: {len(self)} frames>"


_open_recorders: "weakref.WeakSet[Recorder]" = weakref.WeakSet()


class Recorder:
    """Records frames of a camera into a file: :meth:`Camera.record` makes one.

    Frames are copied and written by threads of the library. The file has its name from the first frame on, and can be read
    at every moment. Meanwhile "ImageAlign" and "ResolutionAlign" are 0: frames are recorded as the camera sends them, and are
    registered when they are played.
    """

    def __init__(
        self,
        device: Device,
        path: "Union[str, os.PathLike[str]]",
        color: str,
        quality: int,
        queue: int,
        sync: float,
        replace: bool,
        wait: bool,
    ) -> None:
        self._handle: Optional[int] = None
        self._counts: Optional[RecorderCounts] = None
        self._failure: Optional[Ox3dError] = None
        self._process = os.getpid()
        self._device = device
        if color not in _COLORS:
            raise ValueError(f"color is 'jpeg', 'raw' or 'none', not {color!r}")
        for what, value, least, most in (
            ("quality", quality, 1, 100),
            ("queue", queue, 1, 10000),
            ("sync", sync, 0.01, 3600),
        ):
            if not least <= value <= most:
                raise ValueError(f"{what} is {least} to {most}, not {value!r}")
        options = s.REC_OPTIONS(_COLORS[color], quality, queue, round(sync * 1000), int(replace), int(wait))
        name = _checked_path(path)
        self._library: RecordingLibrary = recording_library()
        handle = ctypes.c_void_p()
        device.inside(
            lambda camera: self._library.call(
                "Create", camera, name, ctypes.byref(options), ctypes.byref(handle)
            )
        )
        self._handle = handle.value
        _open_recorders.add(self)
        # The next camera may have the handle of this one.
        finish = weakref.WeakMethod(self._finish)
        self._told = lambda: (finish() or (lambda: None))()
        device.on_closing.append(self._told)

    def _refuse(self) -> None:
        if os.getpid() != self._process:
            raise Ox3dError(s.E_HANDLE, sentence="the recorder belongs to the process that made it")
        if self._handle is None:
            raise Ox3dError(s.E_HANDLE, sentence="the recorder was closed")

    def add(self, frame: Frame) -> bool:
        """Records a frame of the camera, fetched or borrowed since the recorder was made. False: the queue was full, and it was dropped.

        :raises Ox3dError: the disk is full, or the file cannot be written; every frame before is whole
        """
        self._refuse()
        record = ctypes.byref(frame._live_record())
        try:
            self._device.inside(lambda camera: self._library.call("AddFrame", self._handle, record))
        except Ox3dError as error:
            if error.name == "OX3D_REC_E_DROPPED":
                return False
            raise
        return True

    @property
    def counts(self) -> RecorderCounts:
        """What has been recorded; while the recorder is open without what waits in the queue."""
        if self._counts is not None:
            return self._counts
        self._refuse()
        record = s.REC_COUNTS()
        self._library.call("GetCounts", self._handle, ctypes.byref(record))
        return _counts(record)

    def close(self) -> RecorderCounts:
        """Writes what waits, closes the file, and sets the camera's switches as they were. A second time is fine.

        :raises Ox3dError: the file lacks frames. Without a frame there is no file, and no error.
        """
        if os.getpid() != self._process:
            self._handle = None  # the parent's recorder goes on
        self._finish()
        failure, self._failure = self._failure, None
        if failure is not None:
            raise failure
        return self._counts or RecorderCounts(0, 0, 0, 0, 0)

    def _finish(self) -> None:
        handle, self._handle = self._handle, None
        if handle is None:
            return
        record = s.REC_COUNTS()
        code = self._library.status("Finish", ctypes.byref(ctypes.c_void_p(handle)), ctypes.byref(record))
        self._failure = None if code in (0, s.REC_E_NO_DATA) else self._library.error(code)
        self._counts = _counts(record)
        if self._told in self._device.on_closing:
            self._device.on_closing.remove(self._told)

    def __enter__(self) -> "Recorder":
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], value: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        try:
            self.close()
        except Ox3dError:
            if kind is None:  # what the program says of itself comes first
                raise

    def __del__(self) -> None:
        if getattr(self, "_handle", None) is not None and os.getpid() == self._process:
            self._finish()

    def __reduce__(self) -> Tuple[Any, ...]:
        raise TypeError("a recorder belongs to its process and cannot be sent to another")


def _counts(record: s.REC_COUNTS) -> RecorderCounts:
    return RecorderCounts(record.nWritten, record.nWithoutColor, record.nDropped, record.nLost, record.nBytes)


def _checked_path(path: "Union[str, os.PathLike[str]]") -> bytes:
    name = os.fsencode(os.path.abspath(path))
    if b"\0" in name:
        raise ValueError("a file's name has no NUL in it")
    return name


@atexit.register
def _close_all() -> None:
    # Before the cameras, which are closed by what was registered earlier.
    for recorder in [*_open_recorders]:
        try:
            recorder.close()
        except Ox3dError:
            pass  # every frame before is whole
