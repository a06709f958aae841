#!/usr/bin/env python3
"""Makes the pictures of docs/stereo.md anew: stereo-pictures.py OX3D FOLDER OUT

OX3D is the tool as built; FOLDER holds left.png, right.png and disparity_x256.png, as for "./run bench stereo".
Needs python3-numpy and python3-matplotlib.
"""
import pathlib
import subprocess
import sys
import tempfile

import matplotlib
import numpy as np
from PIL import Image

BOX = (60, 110, 420, 380)  # the part shown: wheel, engine and what is seen through the frame
GAP = 6
NEAR = 65.0  # disparity in pixels that is drawn dark red
NOISE = 8.0  # grey values


def colored(disparity):
    """Disparities in pixels, red near and blue far; what is not above 0 is black."""
    known = np.isfinite(disparity) & (disparity > 0)
    shown = matplotlib.colormaps["turbo"](np.where(known, disparity / NEAR, 0))[..., :3]
    return Image.fromarray((255 * np.where(known[..., None], shown, 0)).astype(np.uint8))


def matched(tool, left, right, *options):
    with tempfile.TemporaryDirectory() as out:
        subprocess.run([tool, "stereo", left, right, "--fx", "995", "--baseline", "193", "--disparities", "80",
                        "--out", out, *options], check=True, stdout=subprocess.DEVNULL)
        return colored(np.asarray(Image.open(pathlib.Path(out, "disparity.png"))) / 16.0)


def noisy(source, target, random):
    pixels = np.asarray(Image.open(source).convert("RGB")).astype(float)
    # One number for the three colors of a pixel: their grey value gets all of it.
    pixels += random.normal(0, NOISE, pixels.shape[:2])[..., None]
    Image.fromarray(np.clip(np.rint(pixels), 0, 255).astype(np.uint8)).save(target)


def sheet(pictures, columns, target):
    width, height = BOX[2] - BOX[0], BOX[3] - BOX[1]
    rows = len(pictures) // columns
    paper = Image.new("RGB", (columns * (width + GAP) - GAP, rows * (height + GAP) - GAP), "white")
    for i, picture in enumerate(pictures):
        paper.paste(picture.crop(BOX), (i % columns * (width + GAP), i // columns * (height + GAP)))
    paper.quantize(128, dither=Image.Dither.NONE).save(target, optimize=True)


def main():
    tool, folder, out = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    left, right = folder / "left.png", folder / "right.png"
    truth = colored(np.asarray(Image.open(folder / "disparity_x256.png")) / 256.0)
    sheet([Image.open(left).convert("RGB"), truth, matched(tool, left, right),
           matched(tool, left, right, "--window", "5"), matched(tool, left, right, "--window", "31"),
           matched(tool, left, right, "--tolerance", "8")], 3, out / "stereo-parameters.png")
    with tempfile.TemporaryDirectory() as made:
        dark = pathlib.Path(made, "left.png"), pathlib.Path(made, "right.png")
        random = np.random.default_rng(1)
        noisy(left, dark[0], random)
        noisy(right, dark[1], random)
        sheet([Image.open(dark[0]), matched(tool, *dark), matched(tool, *dark, "--window", "5"),
               matched(tool, *dark, "--smooth-first", "on")], 2, out / "stereo-noise.png")


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main()
