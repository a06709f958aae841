"""Gives the points of a frame to Open3D, thins them out, and writes or shows them.

usage: open3d_cloud.py [OUT.ply]      needs python3-open3d; shows a window without OUT.ply
"""

import sys

import numpy as np
import open3d
import ox3d

with ox3d.Camera() as camera:
    frame = next(camera.frames())
    points = frame.points("color", normals=True)

cloud = open3d.geometry.PointCloud(open3d.utility.Vector3dVector(points.xyz.astype(np.float64) / 1000))  # metres
if points.rgb is not None:
    cloud.colors = open3d.utility.Vector3dVector(points.rgb / 255.0)
if points.normals is not None:
    cloud.normals = open3d.utility.Vector3dVector(points.normals.astype(np.float64))
thin = cloud.voxel_down_sample(0.01)
print(f"frame {frame.number}: {len(points)} points, {len(thin.points)} in boxes of 1 cm")
if len(sys.argv) > 1:
    open3d.io.write_point_cloud(sys.argv[1], thin)
else:
    open3d.visualization.draw_geometries([thin])
