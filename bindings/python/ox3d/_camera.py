"""Cameras: finding, opening, streaming."""

import asyncio
import ctypes
import itertools
import os
import tempfile
import threading
import time
from collections import abc
from concurrent.futures import ThreadPoolExecutor
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from types import TracebackType
from typing import Any, Callable, Dict, List, Optional, Tuple, Type, Union

import numpy as np
import numpy.typing as npt

from . import _features, _library
from . import _structs as s
from ._calibration import Calibration, _calibration, _matrix
from ._device import SLICE, Device, is_mine
from ._errors import Ox3dError
from ._features import Feature, Value
from ._frame import Frame
from ._recording import Recorder

_SIDES = {"depth": s.CAMERA_DEPTH, "color": s.CAMERA_COLOR}


@dataclass(frozen=True)
class DeviceInfo:
    """What is known of a camera without opening it. Texts that do not apply are empty."""

    serial: str
    model: str
    manufacturer: str
    version: str
    user_name: str
    #: "gige" or "usb".
    transport: str
    #: Of a camera on Ethernet: its own addresses, and the host's interface through which it was found.
    mac: str
    ip: str
    mask: str
    gateway: str
    host_ip: str


def _text(value: bytes) -> str:
    return value.decode("utf-8", "replace")


def _info(record: s.DEVICE_INFO) -> DeviceInfo:
    is_ethernet = record.nDeviceType == s.DEVICE_ETHERNET
    return DeviceInfo(
        _text(record.chSerialNumber),
        _text(record.chModelName),
        _text(record.chManufacturerName),
        _text(record.chDeviceVersion),
        _text(record.chUserDefinedName),
        "gige" if is_ethernet else "usb",
        ":".join("%02x" % byte for byte in record.chMacAddress) if is_ethernet else "",
        _text(record.chCurrentIp) if is_ethernet else "",
        _text(record.chCurrentSubNetMask) if is_ethernet else "",
        _text(record.chDefaultGateWay) if is_ethernet else "",
        _text(record.chNetExport) if is_ethernet else "",
    )


def list(provider: Optional[str] = None) -> List[DeviceInfo]:  # noqa: A001 # the name that users look for
    """The cameras present, whoever holds them. Asks the network, which takes some tenths of a second.

    :param provider: "aravis" (real cameras), "virtual", or the path of another one; None: what the environment variable
        OX3D_PROVIDER says, else real cameras. A process has one, chosen by its first call.
    """
    with _library.opening:
        _library.choose_provider(provider)
        capacity = 32
        while True:
            records = (s.DEVICE_INFO * capacity)()
            count = ctypes.c_uint32()
            _library.library().call(
                "GetDeviceList", s.DEVICE_ALL, records, capacity, ctypes.byref(count), about="finding cameras"
            )
            if count.value < capacity:
                return [_info(record) for record in records[: count.value]]
            capacity *= 2


# ---- callbacks ---------------------------------------------------------------------------------------------

# The library is given one function for the life of the process, and a number by which it finds what to call: nothing that
# is collected can be called.
_callbacks: "Dict[int, Tuple[Device, Callable[[Any], None]]]" = {}
_numbers = itertools.count(1)


@contextmanager
def _calling_back(device: Device) -> abc.Iterator[None]:
    me = threading.get_ident()
    device.calling_back.append(me)
    try:
        yield
    finally:
        device.calling_back.remove(me)


def _call_with_frame(record: Any, number: Optional[int]) -> None:
    device, told = _callbacks.get(number or 0, (None, None))
    if device is not None and told is not None and device.is_open:
        with _calling_back(device):
            told(Frame._copied(device, device._handle, record.contents))


def _call_with_event(record: Any, number: Optional[int]) -> None:
    device, told = _callbacks.get(number or 0, (None, None))
    if device is not None and told is not None:
        with _calling_back(device):
            told(_EVENTS.get(record.contents.nExceptionId, str(record.contents.nExceptionId)))


_EVENTS = {s.EXCEPTION_OFFLINE: "offline", s.EXCEPTION_RETRYING: "retrying", s.EXCEPTION_RECONNECTED: "reconnected"}
_frame_callback = s.FRAME_CALLBACK(_call_with_frame)
_event_callback = s.EXCEPTION_CALLBACK(_call_with_event)
_NO_FRAME_CALLBACK = s.FRAME_CALLBACK(0)
_NO_EVENT_CALLBACK = s.EXCEPTION_CALLBACK(0)


# ---- opening -----------------------------------------------------------------------------------------------


@contextmanager
def _list_with(recording: "Union[str, os.PathLike[str]]", loop: bool) -> abc.Iterator[None]:
    """Makes a recording the one virtual camera that this process finds."""
    path = Path(recording).absolute()
    if any(character < " " for character in str(path)):
        raise ValueError("a recording has no control characters in its name")
    if not path.exists():
        raise FileNotFoundError(f"no such recording: {path}")
    if path.is_dir() and not (path / "depth").is_dir():
        raise ValueError(f"{path} is no recording: it has no folder 'depth'")
    names = "serial = REC00000001\nmodel = Recording\n" if path.is_dir() else ""  # a file knows its camera
    before = os.environ.get("OX3D_VIRTUAL_CAMERAS")
    with tempfile.TemporaryDirectory(prefix="ox3d-") as folder:
        cameras = Path(folder) / "cameras.ini"
        cameras.write_bytes(
            os.fsencode(
                f"[camera]\n{names}source = recording\nrecording = {path}\nloop = {'yes' if loop else 'no'}\n"
            )
        )
        os.environ["OX3D_VIRTUAL_CAMERAS"] = str(cameras)
        try:
            yield
        finally:
            if before is None:
                del os.environ["OX3D_VIRTUAL_CAMERAS"]
            else:
                os.environ["OX3D_VIRTUAL_CAMERAS"] = before


def _open(way: str, key: Optional[str]) -> Device:
    library = _library.library()
    handle = ctypes.c_void_p()
    argument = None if key is None else os.fsencode(key)
    if argument is not None and b"\0" in argument:
        raise ValueError("a camera's name has no NUL in it")
    about = "opening a camera" if key is None else f"opening the camera {key!r}"
    library.call(way, ctypes.byref(handle), argument, about=about)
    return Device(handle.value or 0)


class Camera:
    """An open camera. Use it as a context manager, or :meth:`close` it.

    :param serial: the camera of that serial number
    :param ip: the camera at that address
    :param model: a camera of that model
    :param recording: an MCAP file of ``ox3d record``, or a folder of ``ox3d grab --all``, played as a virtual camera
    :param loop: of a recording: begin again at its end; without, an iteration ends there
    :param provider: as for :func:`list`; with ``recording`` it is "virtual"

    Without a choice it is the first camera found. Any method may be called from any thread.
    """

    def __init__(
        self,
        serial: Optional[str] = None,
        *,
        ip: Optional[str] = None,
        model: Optional[str] = None,
        recording: "Union[None, str, os.PathLike[str]]" = None,
        loop: bool = True,
        provider: Optional[str] = None,
    ) -> None:
        chosen = [each for each in (serial, ip, model, recording) if each is not None]
        if len(chosen) > 1:
            raise ValueError("a camera is chosen by one of serial, ip, model and recording")
        self._ends = recording is not None and not loop
        self._frame_number = self._event_number = 0
        with _library.opening:
            _library.choose_provider("virtual" if recording is not None and provider is None else provider)
            if recording is not None:
                with _list_with(recording, loop):
                    self._device = _open("OpenDevice", None)
            elif ip is not None:
                self._device = _open("OpenDeviceByIp", ip)
            elif model is not None:
                self._device = _open("OpenDeviceByName", model)
            elif serial is not None:
                self._device = _open("OpenDeviceBySerialNumber", serial)
            else:
                self._device = _open("OpenDevice", None)

    def __enter__(self) -> "Camera":
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        try:
            self.close()
        except BufferError:
            if error is None:
                raise

    def __reduce__(self) -> Tuple[Any, ...]:
        raise TypeError("a camera belongs to its process and cannot be sent to another: open it there")

    def __repr__(self) -> str:
        return f"<ox3d.Camera, {'open' if self._device.is_open else 'closed'}>"

    def close(self) -> None:
        """Stops and closes the camera; does nothing when that was done. Frames that were fetched stay as they are.

        Ends a fetch that waits in another thread. Inside a callback of the camera it returns at once, and the camera is closed when
        the callback has returned. Raises BufferError while an array of a borrowed frame lives.
        """
        self._device.close()

    @property
    def info(self) -> DeviceInfo:
        """The camera's record."""
        record = s.DEVICE_INFO()
        self._device.call("GetDeviceInfo", ctypes.byref(record), about="the camera's record")
        return _info(record)

    # ---- streaming ---------------------------------------------------------------------------------------

    def start(self) -> None:
        """Begins to stream; frame numbers begin at 1."""
        self._device.call("Start", about="start")

    def stop(self) -> None:
        """Ends the stream; a fetch that waits in another thread ends with an error."""
        self._device.call("Stop", about="stop")

    def fetch(self, timeout: Optional[float] = 5.0) -> Frame:
        """Waits for the next frame, which is then the caller's own.

        :param timeout: seconds; None waits until a frame comes or the stream ends
        :raises Ox3dError: with ``Status.NO_DATA`` when no frame came in time, ``Status.STATE`` when the camera was not started or
            has a frame callback
        :raises BufferError: while an array of a borrowed frame lives

        Ctrl-C ends it at once.
        """
        return self._fetched(timeout, Frame._taken)

    @contextmanager
    def borrow(self, timeout: Optional[float] = 5.0) -> abc.Iterator[Frame]:
        """The next frame without a copy, for the length of a ``with`` block: its arrays lie in the library's memory.

        At the end of the block no array of it may be left, nor any view of one: else it raises BufferError, and the camera
        refuses to fetch and to be closed for as long as one lives.
        """
        frame = self._fetched(timeout, lambda device, handle, record: Frame(device, handle, record, None))
        try:
            yield frame
        except BaseException:
            frame._give_back()  # what the program says of itself comes first
            raise
        frame._give_back()
        self._device.refuse_while_borrowed()

    def _fetched(
        self,
        timeout: Optional[float],
        made: Callable[[Device, int, s.FRAME_DATA], Frame],
        is_over: Callable[[], bool] = lambda: False,
    ) -> Frame:
        device = self._device
        device.refuse()
        end = None if timeout is None else time.monotonic() + _seconds(timeout)
        if is_mine(device.frame_lock):
            raise Ox3dError(s.E_STATE, sentence="a fetch of this thread is under way: a signal handler cannot fetch")
        try:
            if not device.frame_lock.acquire(timeout=-1 if end is None else min(_seconds(timeout), _LONGEST)):
                raise device.library.error(s.E_NO_DATA, "fetch, while another thread fetches")
            device.refuse_while_borrowed()
            record = s.FRAME_DATA()
            self._wait(record, end, is_over)
            return made(device, device._handle, record)
        finally:
            if is_mine(device.frame_lock):  # asked for, since Ctrl-C may have come before the acquisition or behind it
                device.frame_lock.release()
            device.finish_closing()

    def _wait(self, record: s.FRAME_DATA, end: Optional[float], is_over: Callable[[], bool]) -> None:
        device = self._device
        while True:
            device.refuse()
            if is_over():
                raise device.library.error(s.E_NO_DATA, "fetch, given up")
            begin = time.monotonic()
            left = SLICE if end is None else min(SLICE, max(0.0, end - begin))
            code = device.library.status("FetchFrame", device._handle, ctypes.byref(record), round(left * 1000))
            if code == 0:
                return
            now = time.monotonic()
            # An answer that comes sooner than asked for is one: no frame will come.
            is_early = now - begin < left / 2
            if code != s.E_NO_DATA or is_early or (end is not None and now >= end - 0.0005):
                raise device.library.error(code, "fetch")
            if device.is_hurried:
                time.sleep(0.001)  # the library lets in whoever waits for the device

    def frames(self, timeout: Optional[float] = 5.0) -> abc.Iterator[Frame]:
        """Frames as they come, each as of :meth:`fetch`; ``for frame in camera`` is the same.

        Starts the stream where it does not run, and then stops it at the end of the loop. Raises ``Status.NO_DATA`` when none
        comes in time; with a recording that is not looped that is its end.
        """
        return self._frames(timeout, lambda: False)

    __iter__ = frames

    def _frames(self, timeout: Optional[float], is_over: Callable[[], bool]) -> "abc.Generator[Frame, None, None]":
        started = self._start_here()
        try:
            while True:
                try:
                    frame = self._fetched(timeout, Frame._taken, is_over)
                except Ox3dError as error:
                    if self._ends and error.code == s.E_NO_DATA:
                        return
                    raise
                yield frame
        finally:
            if started and self._device.is_open:
                self._device.status("Stop")

    async def stream(self, timeout: Optional[float] = 5.0) -> abc.AsyncIterator[Frame]:
        """The same for asyncio: ``async for frame in camera.stream()``. A thread of its own waits for the frames.

        A loop that is left early ends the stream when asyncio gets to it, ``aclose()`` at once.
        """
        loop = asyncio.get_running_loop()
        over = threading.Event()
        frames = self._frames(timeout, over.is_set)
        worker = ThreadPoolExecutor(1, "ox3d-stream")
        try:
            while True:
                frame: Optional[Frame] = await loop.run_in_executor(worker, lambda: next(frames, None))
                if frame is None:
                    return
                yield frame
        finally:
            over.set()
            closing = loop.run_in_executor(worker, frames.close)  # behind a fetch, which waits for a slice at most
            worker.shutdown(wait=False)
            await closing

    def _start_here(self) -> bool:
        code = self._device.status("Start")
        if code not in (0, s.E_STATE):
            raise self._device.library.error(code, "start")
        return code == 0

    def trigger(self) -> None:
        """Has the camera take one frame. The first call switches it to software trigger, and it stays so."""
        self._device.call("SoftTrigger", about="trigger")

    def set_buffers(self, count: int) -> None:
        """How many frames wait for a fetch; when all are there the oldest goes, and the numbers show the gap."""
        if not 0 < count < 2**32:
            raise ValueError(f"buffers are counted from 1: {count}")
        self._device.call("SetImageNodeNum", count, about="set_buffers")

    # ---- recording ----------------------------------------------------------------------------------------

    def record(
        self,
        path: "Union[str, os.PathLike[str]]",
        *,
        color: str = "jpeg",
        quality: int = 90,
        queue: int = 30,
        sync: float = 1.0,
        replace: bool = False,
        wait: bool = False,
    ) -> Recorder:
        """Makes ready to record into an MCAP file: ``with camera.record("desk.mcap") as recorder: recorder.add(frame)``.

        :param color: "jpeg", "raw" (lossless, large) or "none"; depth is always lossless
        :param quality: of the JPEG images, 1 to 100
        :param queue: frames that may wait in memory
        :param sync: seconds that a power loss may cost
        :param replace: a file of that name, by the first frame; else it is refused
        :param wait: for room in a full queue; else the frame is dropped, and :meth:`Recorder.add` is False
        """
        return Recorder(self._device, path, color, quality, queue, sync, replace, wait)

    # ---- callbacks ---------------------------------------------------------------------------------------

    def on_frame(self, function: Optional[Callable[[Frame], None]]) -> None:
        """Has each frame brought to a function, on a thread of the library's; None ends that, and fetch works again.

        The next frame waits while it runs, and what it raises goes to :func:`sys.unraisablehook`. It may call anything, ``close`` included.
        """
        self._frame_number = self._register(
            "RegisterFrameCallBack", self._frame_number, function, _frame_callback, _NO_FRAME_CALLBACK
        )

    def on_event(self, function: Optional[Callable[[str], None]]) -> None:
        """Has a function called with "offline" when the camera is lost; with ``camera["Ox3dAutoReconnect"] = 1`` with
        "retrying" when it is, and with "reconnected" when it is back. None ends that."""
        self._event_number = self._register(
            "RegisterExceptionCallBack", self._event_number, function, _event_callback, _NO_EVENT_CALLBACK
        )

    def _register(
        self, way: str, former: int, function: Optional[Callable[[Any], None]], called: object, nothing: object
    ) -> int:
        device = self._device
        number = 0
        if function is not None:
            number = next(_numbers)
            _callbacks[number] = (device, function)
            device.on_closed.append(lambda: _callbacks.pop(number, None))
        try:
            device.call(way, called if number else nothing, number, about="registering a callback")
        except BaseException:
            _callbacks.pop(number, None)
            raise
        _callbacks.pop(former, None)
        return number

    # ---- features ----------------------------------------------------------------------------------------

    def __getitem__(self, name: str) -> Value:
        """The value of a feature, in its own unit; of an enumeration the name of the entry."""
        return _features.get(self._device, name)

    def __setitem__(self, name: str, value: Value) -> None:
        """Sets a feature; an enumeration by the name of an entry, or by its number."""
        _features.put(self._device, name, value)

    def __contains__(self, name: object) -> bool:
        return isinstance(name, str) and _features.find(self._device, name) is not None

    def features(self) -> List[Feature]:
        """All features that the camera shows, with their values, ranges and entries, and the library's own."""
        return _features.all_features(self._device)

    def feature(self, name: str) -> Feature:
        """One of them."""
        return _features.feature(self._device, name)

    def run(self, name: str) -> None:
        """Executes a command, such as "DeviceReset"."""
        self._device.call("Execute", _features._name(name), about=f"run {name!r}")

    def save_features(self, path: "Union[str, os.PathLike[str]]") -> None:
        """Writes all settings to a file."""
        self._device.call("ExportAllParam", os.fsencode(path), about="save_features")

    def load_features(self, path: "Union[str, os.PathLike[str]]") -> None:
        """Sets all that such a file has."""
        self._device.call("ImportAllParam", os.fsencode(path), about="load_features")

    # ---- geometry and time -------------------------------------------------------------------------------

    def calibration(self, sensor: str = "depth", *, raw: bool = False) -> Calibration:
        """The lens of the depth or the color image as it is delivered, registered or scaled.

        :param sensor: "depth" or "color"
        :param raw: of the camera's own image instead, whatever the library did to it
        """
        side = _side(sensor)
        if raw:
            calib = s.CALIB_INFO()
            kind = s.CALIB_COLOR if sensor == "color" else s.CALIB_DEPTH
            self._device.call("GetCalibInfo", kind, ctypes.byref(calib), about="calibration")
            return _calibration(calib)
        lens = s.INTRINSICS()
        self._device.call("GetIntrinsics", side, ctypes.byref(lens), about=f"the lens of {sensor}")
        return _calibration(lens)

    def extrinsics(self, source: str = "depth", target: str = "color") -> npt.NDArray[np.float64]:
        """From one camera's frame to the other's: float64, 4 x 4, in millimetres; ``target = m @ (x, y, z, 1)``."""
        record = s.EXTRINSICS()
        self._device.call("GetExtrinsics", _side(source), _side(target), ctypes.byref(record), about="extrinsics")
        return _matrix(record)

    def clock(self) -> "Clock":
        """The camera's clock as this host sees it, by the frames of the last seconds. Not for every frame."""
        record = s.FRAME_CLOCK()
        self._device.call("GetFrameClock", ctypes.byref(record), about="clock")
        return Clock(
            record.nReferenceTicks,
            record.nReferenceUtcNs,
            record.dNsPerTick,
            record.nErrorNs,
            "latch" if record.nSource == s.CLOCK_LATCH else "arrivals",
        )


@dataclass(frozen=True)
class Clock:
    """A time stamp T was taken at ``reference_ns + (T - reference_ticks) * ns_per_tick``, in nanoseconds of UTC."""

    reference_ticks: int
    reference_ns: int
    ns_per_tick: float
    #: How far the reference may be off, in nanoseconds.
    error_ns: int
    #: "arrivals" of frames, or "latch": the camera's clock was asked.
    source: str


_LONGEST = 10**6  # seconds that a lock can be waited for


def _seconds(timeout: Optional[float]) -> float:
    value = float(timeout or 0.0)
    if not value >= 0:
        raise ValueError(f"a timeout is a number of seconds from 0 on, or None: {timeout!r}")
    return value


def _side(name: str) -> int:
    if name not in _SIDES:
        raise ValueError(f"it is 'depth' or 'color', not {name!r}")
    return _SIDES[name]
