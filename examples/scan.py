#!/usr/bin/env python3
"""A simulated structured-light scan through the xelora Python module.

Renders the virtual sensor head's default scene, scans it with the xelora-scan pipeline, saves a
depth picture and prints the depth error against the ground truth.

    PYTHONPATH=build/python /usr/bin/python3 examples/scan.py --out docs/python_scan.png
"""
import argparse

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

import xelora  # noqa: E402
import xelora.sim  # noqa: E402


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--size", default="640x512", help="image size WxH (multiples of 8)")
    ap.add_argument("--scene", default="default", choices=xelora.sim.scenes())
    ap.add_argument("--out", default="python_scan.png", help="depth picture to write (PNG)")
    args = ap.parse_args()
    width, height = (int(v) for v in args.size.lower().split("x"))

    # The three lines that matter: a capture, a head, a scan.
    capture = xelora.sim.render(width, height, args.scene)
    head = xelora.Head(capture.calibration, capture.roi)
    scan = head.scan(capture.cam1_11, capture.cam2_11)

    truth = capture.depth_truth
    both = scan.mask & (truth > 0)
    err = np.abs(scan.Z[both] - truth[both])
    seen = capture.seen
    print(f"{args.scene} scene, {width} x {height}: {scan.count} points, completeness "
          f"{100.0 * (scan.mask & seen).sum() / max(seen.sum(), 1):.1f} % of the pixels both cameras and the "
          f"projector see")
    print(f"depth error against ground truth: median {np.median(err):.4f} mm, "
          f"RMS {np.sqrt(np.mean(err ** 2)):.4f} mm, 95th percentile {np.percentile(err, 95):.4f} mm")

    depth = np.where(scan.mask, scan.Z, np.nan)
    lo, hi = np.nanpercentile(depth, [1, 99])
    fig, ax = plt.subplots(figsize=(7.2, 6.0), dpi=100)
    im = ax.imshow(depth, cmap="turbo_r", vmin=lo, vmax=hi)
    ax.set_title(f"xelora: depth of the simulated {args.scene} scene ({scan.count} points)")
    ax.set_xlabel("column (camera 1, undistorted)")
    ax.set_ylabel("row")
    ax.set_facecolor("black")
    fig.colorbar(im, ax=ax, label="Z (mm)", shrink=0.85)
    fig.tight_layout()
    fig.savefig(args.out)
    print(f"wrote {args.out}")


if __name__ == "__main__":
    main()
