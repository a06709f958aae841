"""Frames, their images as numpy arrays, and their point clouds."""

import ctypes
import os
import weakref
from dataclasses import dataclass
from typing import Any, Dict, List, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _structs as s
from ._device import Borrowed, Device, any_open
from ._errors import Ox3dError
from ._library import Library

UInt8Array = npt.NDArray[np.uint8]
UInt16Array = npt.NDArray[np.uint16]
Float32Array = npt.NDArray[np.float32]

#: A pixel of :attr:`Frame.rgbd`.
RGBD = np.dtype([("rgb", np.uint8, (3,)), ("depth", "<u2")])

# Of what the arrays of known formats are made: type, shape behind (height, width), bytes of a pixel.
_LAYOUTS: Dict[int, Tuple[Any, int]] = {
    s.PIXEL_DEPTH16: (np.dtype("<u2"), 2),
    s.PIXEL_RGB8_PLANAR: (np.dtype(np.uint8), 3),
    s.PIXEL_RGBD: (RGBD, 5),
    s.PIXEL_MONO8: (np.dtype(np.uint8), 1),
}


@dataclass(frozen=True)
class Image:
    """One image of a frame, as it came."""

    #: The pixel format's number, in GenICam's numbering.
    format: int
    #: Of a USB camera: 1 depth, 2 color, 3 left, 4 right view; else 0.
    stream: int
    #: Pixels.
    width: int
    height: int
    #: (height, width) of a known format, (height, width, 3) of color; else the bytes, in one dimension.
    data: npt.NDArray[Any]


@dataclass(frozen=True)
class FrameTime:
    """When a frame came and when it was taken, in nanoseconds of UTC since 1970 by this host's clock."""

    #: When the library was handed the frame.
    arrival_ns: int
    #: When the camera took it; None where that is not known, as for the first frame.
    capture_ns: Optional[int]
    #: How far ``capture_ns`` may be off, in both directions.
    error_ns: Optional[int]
    #: Of that, what all frames may have in common.
    delay_ns: Optional[int]
    #: By what the capture is known: "none", "arrivals" or "latch" (the camera's clock was asked).
    source: str


@dataclass(frozen=True)
class Cloud:
    """Points of a frame, in millimetres: X to the right, Y down, Z along the view of the camera that was asked for."""

    #: float32, (n, 3) of the points that there are, or (height, width, 3) of an organised cloud, zeros where none is.
    xyz: Float32Array
    #: uint8, R, G, B in the same shape; None without color. Black where the color image does not show the point.
    rgb: Optional[UInt8Array]
    #: float32 in the same shape, of length 1 and towards the camera, zeros where unknown; None where not asked for.
    normals: Optional[Float32Array]
    #: How many points there are.
    valid: int
    #: Of the frame.
    number: int
    timestamp: int

    def __len__(self) -> int:
        return self.valid

    def save(self, path: "Union[str, os.PathLike[str]]") -> None:
        """Writes a binary PLY file, in millimetres, that MeshLab, CloudCompare, Blender and Open3D open."""
        columns: List[Tuple[str, str]] = [("x", "<f4"), ("y", "<f4"), ("z", "<f4")]
        parts: List[npt.NDArray[Any]] = [self.xyz]
        if self.normals is not None:
            columns += [("nx", "<f4"), ("ny", "<f4"), ("nz", "<f4")]
            parts.append(self.normals)
        if self.rgb is not None:
            columns += [("red", "u1"), ("green", "u1"), ("blue", "u1")]
            parts.append(self.rgb)
        points = self.xyz.reshape(-1, 3)
        kept = points[:, 2] != 0
        rows = np.empty(int(np.count_nonzero(kept)), np.dtype(columns))
        for i, part in enumerate(parts):
            for j in range(3):
                rows[columns[3 * i + j][0]] = part.reshape(-1, 3)[kept, j]
        kinds = {"<f4": "float", "u1": "uchar"}
        head = ["ply", "format binary_little_endian 1.0", f"element vertex {len(rows)}"]
        head += [f"property {kinds[kind]} {name}" for name, kind in columns] + ["end_header", ""]
        with open(path, "wb") as file:
            file.write("\n".join(head).encode())
            file.write(rows.tobytes())


class _Copy:
    """A frame that the library copied or gave away: freed when nobody looks at its images any more."""

    __slots__ = ("library", "pointer", "__weakref__")

    def __init__(self, library: Library, handle: int, record: s.FRAME_DATA, how: str) -> None:
        self.library = library
        self.pointer = ctypes.POINTER(s.FRAME_DATA)()
        library.call(how, handle, ctypes.byref(record), ctypes.byref(self.pointer), about="copying a frame")

    def __del__(self) -> None:
        if self.pointer:
            self.library.status("FreeFrame", self.pointer)


def _array(image: s.IMAGE_DATA, base: Borrowed) -> npt.NDArray[Any]:
    """The image as an array over its memory, which ``base`` holds. Its length is not trusted to fit its size."""
    kind, bytes_per_pixel = _LAYOUTS.get(image.enImageType, (np.dtype(np.uint8), 0))
    size = image.nWidth * image.nHeight * bytes_per_pixel
    shape: Tuple[int, ...] = (image.nHeight, image.nWidth)
    if size == 0:
        shape = (image.nDataLen,)
    elif image.nDataLen < size:
        raise Ox3dError(
            s.E_NO_DATA,
            sentence=f"an image of {image.nWidth} x {image.nHeight} pixels came with {image.nDataLen} bytes, of {size}",
        )
    if image.enImageType == s.PIXEL_RGB8_PLANAR:
        shape = (3,) + shape
    base.__array_interface__ = {
        "data": (image.pData, False),
        "shape": shape,
        "typestr": kind.str,
        "descr": kind.descr,
        "version": 3,
    }
    array: npt.NDArray[Any] = np.asarray(base)
    return array.transpose(1, 2, 0) if image.enImageType == s.PIXEL_RGB8_PLANAR else array


class Frame:
    """The images that a camera took at one moment.

    A frame of :meth:`Camera.fetch`, of an iteration or of a callback is a copy: its arrays are its own, may be written to,
    and stay for as long as anybody holds one of them, whatever becomes of the camera. A frame of :meth:`Camera.borrow` is
    the library's own memory, for the length of its block.
    """

    def __init__(self, device: Device, handle: int, record: s.FRAME_DATA, copy: Optional[_Copy]) -> None:
        self._device = weakref.ref(device)  # frames that are kept do not keep a forgotten camera open
        self._copy = copy
        self._hold: Optional[Borrowed] = None
        if copy is None:
            self._hold = Borrowed()
            device.lend(self._hold)
        self._record: Optional[s.FRAME_DATA] = record if copy is None else copy.pointer.contents
        self._arrays: Dict[int, npt.NDArray[Any]] = {}
        main = record.stImageData[0]
        #: As the camera counts, from 1 after a start; a gap is frames that were lost.
        self.number: int = main.nFrameNum
        #: Ticks of the camera's clock, with the providers of the library nanoseconds. :attr:`time` is UTC.
        self.timestamp: int = main.nTimeStamp
        self._time = self._ask_time(device.library, handle, record)

    @classmethod
    def _copied(cls, device: Device, handle: int, record: s.FRAME_DATA) -> "Frame":
        """A frame of its own. The caller holds the record's images where they are meanwhile."""
        return cls(device, handle, record, _Copy(device.library, handle, record, "CopyFrame"))

    @classmethod
    def _taken(cls, device: Device, handle: int, record: s.FRAME_DATA) -> "Frame":
        """The same of the last frame that was fetched, with the memory in which it lies; the record is empty afterwards."""
        copy = _Copy(device.library, handle, record, "TakeFrame")
        return cls(device, handle, copy.pointer.contents, copy)

    def _live_record(self) -> s.FRAME_DATA:
        if self._record is None:
            raise BufferError("the frame was borrowed, and its block has ended: what is to stay is copied inside")
        return self._record

    def _give_back(self) -> None:
        self._record = None
        self._arrays.clear()
        self._hold = None

    def _array_of(self, index: int) -> npt.NDArray[Any]:
        hold = self._hold  # kept here, else another thread could end the block before the array is known
        image = self._live_record().stImageData[index]
        found = self._arrays.get(index)
        if found is None:
            base = Borrowed()
            if hold is not None and isinstance(hold.owner, Device):
                hold.owner.lend(base)
            else:
                base.owner = self._copy
            found = self._arrays[index] = _array(image, base)
        return found

    def _first_of(self, kind: int, begin: int = 0) -> Optional[npt.NDArray[Any]]:
        record = self._live_record()
        for index in range(begin, min(record.nImageCount, s.MAX_IMAGES)):
            image = record.stImageData[index]
            if image.enImageType == kind and image.pData and image.enStreamType < s.STREAM_LEFT:
                return self._array_of(index)
        return None

    # ---- images ------------------------------------------------------------------------------------------

    @property
    def depth(self) -> UInt16Array:
        """Depth in millimetres: uint16, shape (height, width); 0 is no depth. Raises where the frame has none."""
        found = self._first_of(s.PIXEL_DEPTH16)
        if found is None:
            raise Ox3dError(s.E_NO_DATA, sentence=f"frame {self.number} has no depth image")
        return found

    @property
    def color(self) -> Optional[UInt8Array]:
        """Color: uint8, shape (height, width, 3) in the order R, G, B; None where the frame has none.

        The memory is three planes, one after the other: ``color.transpose(2, 0, 1)`` is contiguous, and
        ``numpy.ascontiguousarray(color)`` interleaves.
        """
        return self._first_of(s.PIXEL_RGB8_PLANAR)

    @property
    def rgbd(self) -> Optional[npt.NDArray[Any]]:
        """Color and depth of each pixel, shape (height, width), fields "rgb" (uint8, 3) and "depth" (uint16, mm).

        None unless ``camera["OutputRgbd"]`` is 1.
        """
        return self._first_of(s.PIXEL_RGBD)

    @property
    def mask(self) -> Optional[UInt8Array]:
        """What the color camera sees of the depth, uint8, (height, width): 255 seen, 128 hidden, 64 outside, 0 no depth.

        None unless ``camera["Ox3dOcclusionMask"]`` is 1.
        """
        return self._first_of(s.PIXEL_MONO8, 1)

    @property
    def images(self) -> List[Image]:
        """All images, as they came: depth, color and what the camera sent besides, such as a left and a right view."""
        record = self._live_record()
        found = []
        for index in range(min(record.nImageCount, s.MAX_IMAGES)):
            image = record.stImageData[index]
            if image.pData:
                found.append(
                    Image(image.enImageType, image.enStreamType, image.nWidth, image.nHeight, self._array_of(index))
                )
        return found

    # ---- time --------------------------------------------------------------------------------------------

    @property
    def time(self) -> FrameTime:
        """When the frame came and when it was taken, in UTC with a bound of the error."""
        return self._time

    @staticmethod
    def _ask_time(library: Library, handle: int, record: s.FRAME_DATA) -> FrameTime:
        times = s.FRAME_TIMES()
        library.call(
            "GetFrameTimes", handle, ctypes.byref(record), ctypes.byref(times), about="the times of a frame"
        )
        known = times.nCaptureUtcNs != 0
        return FrameTime(
            times.nArrivalUtcNs,
            times.nCaptureUtcNs if known else None,
            times.nCaptureErrorNs if known else None,
            times.nCaptureDelayNs if known else None,
            ("none", "arrivals", "latch")[times.nSource] if times.nSource < 3 else "none",
        )

    # ---- points ------------------------------------------------------------------------------------------

    def points(
        self, camera: str = "depth", *, organised: bool = False, color: Optional[bool] = None, normals: bool = False
    ) -> Cloud:
        """The points of the frame, in millimetres, right whatever the settings were when it was made.

        :param camera: in whose frame the points are, "depth" or "color"
        :param organised: a point for every pixel of the depth image, shape (height, width, 3), zeros where there is none;
            else the points that there are, shape (n, 3)
        :param color: with the color of each point; None: where the frame has a color image
        :param normals: with the normal of each point

        Works while a camera is open: the one of the frame or another.
        """
        if camera not in ("depth", "color"):
            raise ValueError(f"camera is 'depth' or 'color', not {camera!r}")
        record = self._live_record()
        if color is None:
            color = self.color is not None
        options = s.CLOUD_OPTIONS(
            nCamera=s.CAMERA_COLOR if camera == "color" else s.CAMERA_DEPTH,
            nFormat=s.CLOUD_FLOAT32,
            nLayout=s.CLOUD_ORGANISED if organised else s.CLOUD_VALID,
            nColor=s.CLOUD_COLOR_BESIDE if color else s.CLOUD_NO_COLOR,
            nNormals=int(normals),
        )
        cloud = s.CLOUD()
        hold = self._hold
        device = hold.owner if hold is not None and isinstance(hold.owner, Device) else any_open(self._device())
        try:
            with device.cloud_lock:
                device.call(
                    "MapFrameToPointCloud",
                    ctypes.byref(record),
                    ctypes.byref(options),
                    ctypes.byref(cloud),
                    about="the points of a frame",
                )
                return _copied_cloud(cloud)
        finally:
            device.finish_closing()

    def __repr__(self) -> str:
        if self._record is None:
            return f"<ox3d.Frame {self.number}, given back>"
        sizes = ", ".join(
            f"{image.nWidth}x{image.nHeight}" for image in self._record.stImageData[: self._record.nImageCount]
        )
        return f"<ox3d.Frame {self.number}: {sizes}>"

    def __reduce__(self) -> Tuple[Any, ...]:
        raise TypeError("a frame cannot be pickled: send its arrays")


def _copied_cloud(cloud: s.CLOUD) -> Cloud:
    """A cloud of its own, of arrays that the next one overwrites."""
    shape = (cloud.nHeight, cloud.nWidth, 3) if cloud.nLayout == s.CLOUD_ORGANISED else (cloud.nCount, 3)

    def copied(pointer: Optional[int], kind: Any, stride: int) -> Optional[npt.NDArray[Any]]:
        if not pointer or not stride:
            return None
        if cloud.nCount == 0:
            return np.zeros(shape, kind)
        base = Borrowed()
        base.__array_interface__ = {
            "data": (pointer, False),
            "shape": (cloud.nCount, 3),
            "strides": (stride, np.dtype(kind).itemsize),
            "typestr": np.dtype(kind).str,
            "version": 3,
        }
        return np.array(base).reshape(shape)

    xyz = copied(cloud.pPoints, np.float32, cloud.nPointStride)
    return Cloud(
        xyz if xyz is not None else np.zeros(shape, np.float32),
        copied(cloud.pColors, np.uint8, cloud.nColorStride),
        copied(cloud.pNormals, np.float32, cloud.nNormalStride),
        cloud.nValid,
        cloud.nFrameNum,
        cloud.nTimeStamp,
    )
