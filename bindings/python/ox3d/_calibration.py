"""Lenses, and the way between the two cameras of a device."""

from dataclasses import dataclass
from typing import Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _structs as s


@dataclass(frozen=True)
class Calibration:
    """The lens of one stream: a pinhole with the distortion of Brown and Conrady, as OpenCV has it.

    A point (X, Y, Z) is seen at pixel (fx x' + cx, fy y' + cy), where (x', y') is (X / Z, Y / Z) distorted; whole numbers
    are the centres of pixels.
    """

    #: Of the image that this belongs to, in pixels; 0 where the calibration file does not say.
    width: int
    height: int
    #: Focal lengths and centre, in pixels.
    fx: float
    fy: float
    cx: float
    cy: float
    #: k1, k2, p1, p2, k3: the order of OpenCV.
    distortion: Tuple[float, float, float, float, float]

    @property
    def matrix(self) -> npt.NDArray[np.float64]:
        """The camera matrix, float64, 3 x 3."""
        return np.array([[self.fx, 0, self.cx], [0, self.fy, self.cy], [0, 0, 1]], np.float64)


def _calibration(record: "Union[s.CALIB_INFO, s.INTRINSICS]") -> Calibration:
    return Calibration(
        record.nWidth,
        record.nHeight,
        record.fFx,
        record.fFy,
        record.fCx,
        record.fCy,
        (record.fK1, record.fK2, record.fP1, record.fP2, record.fK3),
    )


def _matrix(record: s.EXTRINSICS) -> npt.NDArray[np.float64]:
    """As a matrix for points that end in 1."""
    way = np.eye(4)
    way[:3, :3] = np.array(record.fRotation).reshape(3, 3)
    way[:3, 3] = record.fTranslation
    return way
