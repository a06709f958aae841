"""Industrial RGB-D cameras: depth, color and points as numpy arrays.

>>> import ox3d
>>> with ox3d.Camera() as camera:
...     for frame in camera:
...         frame.points().save("cloud.ply")
...         break

Depth and points are millimetres, time-outs seconds, time stamps ticks of the camera's clock, times nanoseconds of UTC.
"""

from ._calibration import Calibration
from ._camera import Camera, Clock, DeviceInfo, list
from ._errors import Ox3dError, Status
from ._features import Feature, Value
from ._frame import RGBD, Cloud, Frame, FrameTime, Image
from ._recording import RecordedFrame, Recorder, RecorderCounts, Recording, RecordingInfo

__version__ = "1.1.0"

__all__ = [
    "RGBD",
    "Calibration",
    "Camera",
    "Clock",
    "Cloud",
    "DeviceInfo",
    "Feature",
    "Frame",
    "FrameTime",
    "Image",
    "Ox3dError",
    "RecordedFrame",
    "Recorder",
    "RecorderCounts",
    "Recording",
    "RecordingInfo",
    "Status",
    "Value",
    "__version__",
    "list",
]
