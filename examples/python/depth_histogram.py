"""Draws how often each depth was measured in some frames, and how much of the image has none, with matplotlib.

usage: depth_histogram.py OUT.png [FRAMES]      needs python3-matplotlib
"""

import itertools
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np
import ox3d

wanted = int(sys.argv[2]) if len(sys.argv) > 2 else 10
counts = np.zeros(65536, np.int64)
with ox3d.Camera() as camera:
    for frame in itertools.islice(camera, wanted):
        counts += np.bincount(frame.depth.ravel(), minlength=65536)

valid = counts[1:].sum()
share = 100 * valid / max(1, counts.sum())
far = int(np.flatnonzero(counts[1:]).max(initial=0)) + 1
plt.figure(figsize=(8, 4))
plt.hist(np.arange(1, far + 1), bins=200, weights=counts[1 : far + 1])
plt.xlabel("depth in mm")
plt.ylabel(f"pixels in {wanted} frames")
plt.title(f"{share:.1f} % of the pixels have a depth")
plt.savefig(sys.argv[1], dpi=100)
print(f"{wanted} frames, {valid} depths up to {far} mm")
