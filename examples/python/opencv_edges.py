"""Draws the edges of the depth image onto the color image with OpenCV, which shows how well they lie on each other.

usage: opencv_edges.py OUT.png      needs python3-opencv
"""

import sys

import cv2
import numpy as np
import ox3d

with ox3d.Camera() as camera:
    camera["Ox3dAlignMode"] = 1  # without holes
    frame = next(camera.frames())
    if frame.color is None:
        sys.exit("error: this camera has no color")
    red, green, blue = frame.color.transpose(2, 0, 1)  # the planes as they lie in memory
    picture = cv2.merge([blue, green, red])  # what OpenCV works with
    near = cv2.convertScaleAbs(frame.depth, alpha=255 / 4000)
    edges = cv2.Canny(cv2.medianBlur(near, 5), 20, 60)
    picture[cv2.dilate(edges, np.ones((2, 2), np.uint8)) > 0] = (0, 255, 255)
    if not cv2.imwrite(sys.argv[1], picture):
        sys.exit(f"error: {sys.argv[1]} cannot be written")
    print(f"frame {frame.number}: {np.count_nonzero(edges)} pixels of edges")
