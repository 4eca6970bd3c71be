#!/usr/bin/python3
"""SORfilter beside Open3D's remove_statistical_outlier on one cloud, same k and ratio.

The cloud follows the recipe of CloudBench's BM_SORfilter: a gently curved surface sampled on a
1000 x 1000 grid of 0.2 spacing, depths around 500 with Gaussian noise (sigma 0.05) and 1 % outliers
lifted by 5 ... 45. Both filters get the same points; the times are the best of --repeat runs,
conversions excluded (the xelora binding's copy of the cloud in and out is included, as a caller
pays it). Open3D runs with its own thread count (printed), SORfilter on the calling thread.

Run with Debian's interpreter: /usr/bin/python3 bench/cloud/open3d_sor.py [--points N] [--k 8]
[--ratio 1.0] [--repeat 3]; xelora is imported from PYTHONPATH (a build's python/ directory).
Needs python3-open3d (scripts/install-deps.sh --bench-references).
"""
import argparse
import os
import sys
import time

import numpy as np


def surface_cloud(n, seed):
    rng = np.random.default_rng(seed)
    side = int(np.sqrt(n))
    i = np.arange(n)
    gx = (i % side) * 0.2
    gy = (i // side) * 0.2
    z = 500.0 + 20.0 * np.sin(gx * 0.01) * np.cos(gy * 0.013) + rng.normal(0.0, 0.05, n)
    lifted = rng.random(n) < 0.01
    z[lifted] += 5.0 + 40.0 * rng.random(int(lifted.sum()))
    return np.column_stack([gx - 100.0, gy - 100.0, z])


def best_of(repeat, run):
    times = []
    result = None
    for _ in range(repeat):
        start = time.perf_counter()
        result = run()
        times.append(time.perf_counter() - start)
    return min(times), result


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--points", type=int, default=1000000)
    parser.add_argument("--k", type=int, default=8)
    parser.add_argument("--ratio", type=float, default=1.0)
    parser.add_argument("--repeat", type=int, default=3)
    args = parser.parse_args()

    cloud = surface_cloud(args.points, 2)
    print(f"cloud: {len(cloud)} points, k {args.k}, ratio {args.ratio}, best of {args.repeat}; "
          f"load {os.getloadavg()[0]:.2f}")

    try:
        import xelora
    except ImportError as e:
        print(f"xelora not importable ({e}): set PYTHONPATH to a build's python/ directory", file=sys.stderr)
        xelora = None
    if xelora is not None:
        algo = xelora.XeloraAlgo()
        t, out = best_of(args.repeat, lambda: algo.SORfilter(cloud, args.k, args.ratio))
        kept = int(np.count_nonzero(out[:, 2] > 0))
        print(f"xelora SORfilter:                  {t * 1e3:9.1f} ms, {kept} points kept")

    try:
        import open3d as o3d
    except ImportError as e:
        print(f"open3d not importable ({e}): install python3-open3d", file=sys.stderr)
        return 1
    pcd = o3d.geometry.PointCloud(o3d.utility.Vector3dVector(cloud))
    t, (_, kept_index) = best_of(
        args.repeat, lambda: pcd.remove_statistical_outlier(nb_neighbors=args.k, std_ratio=args.ratio))
    threads = os.environ.get("OMP_NUM_THREADS", str(os.cpu_count()))
    print(f"open3d remove_statistical_outlier: {t * 1e3:9.1f} ms, {len(kept_index)} points kept "
          f"({threads} threads)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
