"""Prints, four times a second, what a camera sees as a small picture of characters. Ctrl-C ends it.

usage: live.py [PICTURES]
"""

import sys
import time

import ox3d

SHADES = "@%#*+=-:. "
left = int(sys.argv[1]) if len(sys.argv) > 1 else -1
shown = 0.0
try:
    with ox3d.Camera() as camera:
        for frame in camera:
            if time.monotonic() - shown < 0.25:
                continue
            shown = time.monotonic()
            depth = frame.depth[:: frame.depth.shape[0] // 20, :: frame.depth.shape[1] // 60]
            picture = (depth.astype(int) * len(SHADES) // 4000).clip(0, len(SHADES) - 1)
            lines = ["".join(SHADES[p] if d else " " for p, d in zip(*row)) for row in zip(picture, depth)]
            print(f"\x1b[H\x1b[2Jframe {frame.number}\n" + "\n".join(lines), flush=True)
            left -= 1
            if left == 0:
                break
except KeyboardInterrupt:
    pass
except ox3d.Ox3dError as error:
    sys.exit(f"error: {error}")
