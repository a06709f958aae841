"""One open device: its handle, who is inside of it, and what its closing has to wait for."""

import atexit
import ctypes
import gc
import os
import threading
import weakref
from typing import Callable, Dict, List, Optional, TypeVar

from . import _structs as s
from ._errors import Ox3dError
from ._library import Library, library

#: Waiting for a frame is cut into pieces so long, in seconds: between them Ctrl-C acts, and other threads get in.
SLICE = 0.1

_Result = TypeVar("_Result")

_open_devices: "weakref.WeakSet[Device]" = weakref.WeakSet()


class Borrowed:
    """What arrays over the library's own memory have as their base: as long as one lives, so does its anchor."""

    __slots__ = ("__array_interface__", "__weakref__", "owner")

    __array_interface__: Dict[str, object]
    #: A device, or the copy of a frame: what the memory belongs to.
    owner: object


class Device:
    """The owner of a handle. Anchors of borrowed arrays keep it, so that their memory outlives a forgotten camera."""

    def __init__(self, handle: int) -> None:
        self._handle = handle
        self._process = os.getpid()
        self.library: Library = library()
        self._changed = threading.Condition()
        self._inside: List[int] = []  # threads, once for each call
        self._state = "open"
        #: Held from a fetch to the end of its copy, since the next fetch overwrites what the last one gave.
        self.frame_lock = threading.RLock()
        #: The same for the arrays of a point cloud.
        self.cloud_lock = threading.RLock()
        #: Threads that are in a callback of this device.
        self.calling_back: List[int] = []
        self._anchors: List["weakref.ref[Borrowed]"] = []
        #: Before the handle is closed, and after that.
        self.on_closing: List[Callable[[], object]] = []
        self.on_closed: List[Callable[[], object]] = []
        _open_devices.add(self)

    # ---- who is inside -----------------------------------------------------------------------------------

    def refuse(self) -> None:
        """Raises where no call can be made any more; takes no lock, which a fork may have left taken for ever."""
        if os.getpid() != self._process:
            raise Ox3dError(
                s.E_HANDLE,
                sentence="the camera belongs to the process that opened it: start this one by spawn and open its own",
            )
        if self._state != "open":
            raise Ox3dError(s.E_HANDLE, sentence="the camera was closed")

    @property
    def is_open(self) -> bool:
        return self._state == "open" and os.getpid() == self._process

    def call(self, name: str, *arguments: object, about: str = "") -> None:
        """A function that takes the handle first. A thread that waits for frames lets it through."""
        code = self.status(name, *arguments)
        if code != 0:
            raise self.library.error(code, about or name)

    def status(self, name: str, *arguments: object) -> int:
        return self.inside(lambda handle: self.library.status(name, handle, *arguments))

    def inside(self, use: "Callable[[int], _Result]") -> "_Result":
        """What a function makes of the handle, which is not closed meanwhile."""
        self.refuse()
        me = threading.get_ident()
        try:
            with self._changed:
                self.refuse()
                self._inside.append(me)
            return use(self._handle)
        finally:
            with self._changed:
                if me in self._inside:
                    self._inside.remove(me)
                self._changed.notify_all()

    @property
    def is_hurried(self) -> bool:
        """Somebody else than the one thread that fetches wants the device."""
        return len(self._inside) > 0

    # ---- borrowed memory ---------------------------------------------------------------------------------

    def lend(self, anchor: Borrowed) -> None:
        anchor.owner = self
        self._anchors.append(weakref.ref(anchor))

    def refuse_while_borrowed(self) -> None:
        """Raises BufferError while an array over the library's memory lives."""
        if not self._has_borrowed():
            return
        gc.collect()  # an array may hang in a cycle that nobody sees any more
        if self._has_borrowed():
            raise BufferError(
                "an array of a borrowed frame is in use: delete it, or copy what is to stay; until then the camera "
                "can neither fetch nor be closed"
            )

    def _has_borrowed(self) -> bool:
        if self._anchors:
            self._anchors = [anchor for anchor in self._anchors if anchor() is not None]
        return bool(self._anchors)

    # ---- the end -----------------------------------------------------------------------------------------

    def close(self) -> None:
        """Closes the handle; a second time is fine."""
        if os.getpid() != self._process:
            self._state = "closed"  # the parent's camera goes on
        if self._state != "open":
            return
        self.refuse_while_borrowed()
        with self._changed:
            if self._state != "open":
                return
            self._state = "closing"
        if is_mine(self.frame_lock) or is_mine(self.cloud_lock):
            return  # a signal handler, which interrupted this thread where it copies: finish_closing() follows
        self.finish_closing()

    def finish_closing(self) -> None:
        """The second half of close(), by whoever comes to it first: also by a thread that it interrupted."""
        if self._state != "closing":
            return
        with self.frame_lock:
            pass  # whoever copies has come to its end, and nobody else begins
        with self.cloud_lock:
            pass
        me = threading.get_ident()
        with self._changed:
            if self._state != "closing":
                return
            # A call that has the handle's number and is not in the library yet would find the next camera under it.
            # Who is in there, the library waits for itself; so this wait can have an end.
            if me not in self.calling_back:
                self._changed.wait_for(lambda: all(thread == me for thread in self._inside), 5)
            self._state = "closed"
        code = self._close_handle()
        if code != 0:
            raise self.library.error(code, "close")

    def _close_handle(self) -> int:
        for told in [*self.on_closing]:
            told()
        code = self.library.status("CloseDevice", ctypes.byref(ctypes.c_void_p(self._handle)))
        for told in self.on_closed:
            told()
        return code

    def __del__(self) -> None:
        # No array is left, or it would have kept this.
        if getattr(self, "_state", "closed") != "closed" and os.getpid() == self._process:
            self._state = "closed"
            self._close_handle()


def is_mine(lock: threading.RLock) -> bool:
    return bool(lock._is_owned())  # type: ignore[attr-defined] # as threading.Condition asks it


def any_open(first: Optional[Device]) -> Device:
    """``first`` where it is open, else another open device of this process."""
    for device in [first, *_open_devices]:
        if device is not None and device.is_open:
            return device
    raise Ox3dError(
        s.E_HANDLE,
        sentence="every camera was closed: the points of a frame are made while a camera is open, its own or another",
    )


@atexit.register
def _close_all() -> None:
    # Callbacks must not come any more when the interpreter is gone.
    for device in list(_open_devices):
        try:
            device.close()
        except (Ox3dError, BufferError):
            pass  # what is borrowed may be read by whoever comes after this
