"""A simulated scan through xelora equals the C++ pipeline of xelora-scan bit for bit: the low-level
members driven from Python give Head.scan's maps, and Head.scan / Head.profile write the same files
as the xelora-scan program run on the same simulated capture."""
import subprocess

import numpy as np
import pytest

import xelora
from conftest import H, W, ready, rectified, scan_program


def python_pipeline(capture, algo):
    """xelora-scan's structured pipeline with its default settings, member by member."""
    m1, m2, p1, p2 = rectified(capture, algo)
    match = algo.MatchI(m1, m2, p1, p2)
    match = algo.MatchII(m1, m2, match, p1, p2, out=match)
    mask, X, Y, Z, count = algo.CalPoint(match, True, 2, 0.4, False, 1.0)
    raw = (mask.copy(), Z.copy())
    depths = Z[mask & np.isfinite(Z) & (Z > 0)]
    footprint = np.partition(depths, len(depths) // 2)[len(depths) // 2] / capture.calibration.K1[0, 0]
    X, Y, Z, mask = algo.Outlierdetect(X, Y, Z, mask, 3, np.float32(8 * footprint))
    Z, _, mask, _ = algo.GradientFilter(Z, Z.copy(), mask, mask.copy(), np.float32(10 * footprint), 1.0)
    X, Y, Z, mask = algo.FillingFunction(X, Y, Z, mask, 1, 30, 300, 100, 2000)
    valid = mask & np.isfinite(Z) & (Z != 0)
    for m in (X, Y, Z):
        m[~valid] = 0
    return X, Y, Z, valid, raw


def read_ply(path):
    data = open(path, "rb").read()
    end = data.index(b"end_header\n") + len(b"end_header\n")
    header = data[:end].decode()
    n = int(header.split("element vertex ")[1].split()[0])
    coloured = "property uchar red" in header
    dt = np.dtype([("xyz", "<f4", 3)] + ([("rgb", "u1", 3)] if coloured else []))
    return np.frombuffer(data[end:], dt, count=n)


def test_low_level_members_reproduce_head_scan_bit_for_bit(capture):
    algo = ready(capture)
    X, Y, Z, valid, (raw_mask, raw_z) = python_pipeline(capture, algo)
    scan = xelora.Head(capture.calibration, capture.roi).scan(capture.cam1_11, capture.cam2_11)
    assert scan.count == valid.sum() > 0.5 * W * H
    assert np.array_equal(scan.mask, valid)
    for a, b in ((scan.X, X), (scan.Y, Y), (scan.Z, Z), (scan.raw_Z, raw_z)):
        assert a.dtype == np.float32 and a.tobytes() == b.tobytes()
    assert np.array_equal(scan.raw_mask, raw_mask)
    pts = scan.points()
    assert pts.dtype == np.float32 and pts.shape == (scan.count, 3)
    assert np.array_equal(pts, np.column_stack([X[valid], Y[valid], Z[valid]]))


def test_head_writes_the_same_files_as_the_xelora_scan_program(tmp_path):
    exe = scan_program()
    sim = tmp_path / "sim"
    subprocess.run([exe, "simulate", "--size", f"{W}x{H}", "--out", str(sim)], check=True, capture_output=True)
    capture = xelora.sim.render(W, H)
    calib, roi = xelora.read_calibration_json(str(sim / "calib.json"))
    assert roi == capture.roi
    assert all(np.array_equal(v, capture.calibration.to_dict()[k]) for k, v in calib.to_dict().items())
    head = xelora.Head(calib, roi)
    cases = [("cam1", "cam2", capture.cam1_11, capture.cam2_11, None),
             ("cam1_paired", "cam2_paired", capture.cam1_18, capture.cam2_18, None),
             ("cam1", "cam2", capture.cam1_11, capture.cam2_11, capture.colour)]
    for k, (d1, d2, p1, p2, colour) in enumerate(cases):
        out = tmp_path / f"scan{k}"
        cmd = [exe, "structured", "--cam1", str(sim / d1), "--cam2", str(sim / d2), "--calib", str(sim / "calib.json"),
               "--out", str(out)]
        if colour is not None:
            cmd += ["--colour", str(sim / "colour.png")]
        subprocess.run(cmd, check=True, capture_output=True)
        scan = head.scan(p1, p2, colour)
        scan.save_ply(str(tmp_path / f"py{k}.ply"))
        assert (tmp_path / f"py{k}.ply").read_bytes() == (out / "cloud.ply").read_bytes()
        cloud = read_ply(out / "cloud.ply")
        assert len(cloud) > 0.3 * W * H and scan.coloured == (colour is not None)
    subprocess.run([exe, "laser", "--cam1", str(sim / "laser1.png"), "--cam2", str(sim / "laser2.png"),
                    "--calib", str(sim / "calib.json"), "--out", str(tmp_path / "laser")], check=True,
                   capture_output=True)
    profile = read_ply(tmp_path / "laser" / "laser_profile.ply")["xyz"]
    mine = head.profile(capture.laser1, capture.laser2)
    assert len(profile) > 0 and np.array_equal(mine.astype(np.float32), profile)


def test_low_level_laser_chain_equals_head_profile(capture):
    algo = xelora.XeloraAlgo()
    algo.SetROIInfo(capture.roi)
    algo.SetCalibrationInfo(capture.calibration)
    p1, m1 = algo.lineExtract5(capture.laser1, 3 * W, H)
    p2, m2 = algo.lineExtract5(capture.laser2, 3 * W, H)
    p1 = algo.UndistortPoints2(True, p1)
    p2 = algo.UndistortPoints2(False, p2)
    m1, matches = algo.MatchLine(p1, p2, m1, m2)
    cloud, _ = algo.Calpoint(p1, p2, m1, matches)
    rows = m1 & np.isfinite(cloud[:, 2]) & (cloud[:, 2] != 0)
    head = xelora.Head(capture.calibration, capture.roi)
    assert np.array_equal(head.profile(capture.laser1, capture.laser2), cloud[rows])


@pytest.mark.parametrize("planes", [11, 18])
def test_scan_options_reach_the_pipeline(capture, planes):
    head = xelora.Head(capture.calibration, capture.roi)
    p1, p2 = (capture.cam1_11, capture.cam2_11) if planes == 11 else (capture.cam1_18, capture.cam2_18)
    default = head.scan(p1, p2)
    unfiltered = head.scan(p1, p2, filters=False)
    assert np.array_equal(unfiltered.raw_Z, default.raw_Z)
    assert unfiltered.count >= default.count - 200 and not np.array_equal(unfiltered.Z, default.Z)
    plain = head.scan(p1, p2, bilateral=False, filters=False)
    assert not np.array_equal(plain.raw_Z, default.raw_Z)
