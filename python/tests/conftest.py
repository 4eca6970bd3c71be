"""Shared fixtures: a small simulated capture and handles set up for it.

`valid_calls` lists one valid call of every member of xelora.XeloraAlgo, built from the simulated
capture, in an order that satisfies every set-up dependency; the member tests run them all and the
error tests mutate their arguments one at a time.
"""
import os

import numpy as np
import pytest

import xelora

W, H = 160, 128


@pytest.fixture(scope="session")
def capture():
    return xelora.sim.render(W, H)


def ready(capture, algo=None):
    """A handle with the ROI, the calibration, CalKR and all four maps."""
    algo = algo or xelora.XeloraAlgo()
    algo.SetROIInfo(capture.roi)
    algo.SetCalibrationInfo(capture.calibration)
    algo.CalKR()
    for first in (True, False):
        algo.CalRectifyMap1(first)
        algo.CalRectifyMap2(first)
    return algo


def rectified(capture, algo):
    """Decoded and rectified (mask1, mask2, phase1, phase2) of the 11-plane capture."""
    m1, _, _, p1 = algo.DecGrayPhase1(capture.cam1_11)
    m2, _, _, p2 = algo.DecGrayPhase1(capture.cam2_11)
    return (algo.InterpFlag1(m1), algo.InterpFlag2(m2), algo.InterpCubic1(p1), algo.InterpCubic2(p2))


@pytest.fixture
def matched(capture):
    """A ready handle after MatchI and MatchII, with the arrays they used."""
    algo = ready(capture)
    m1, m2, p1, p2 = rectified(capture, algo)
    match = algo.MatchI(m1, m2, p1, p2)
    match = algo.MatchII(m1, m2, match, p1, p2)
    return algo, (m1, m2, match, p1, p2)


def valid_calls(capture, stereo):
    """(member, positional args) for every member, valid on a handle in the `matched` state."""
    rng = np.random.default_rng(7)
    m1, m2, match, p1, p2 = stereo
    f = lambda: rng.uniform(400, 600, (H, W)).astype(np.float32)  # noqa: E731
    b = lambda: rng.random((H, W)) < 0.8  # noqa: E731
    frame = lambda: rng.integers(0, 256, (2 * H, W), dtype=np.uint8)  # noqa: E731
    captures = np.stack([frame() // 3, frame() // 2, frame()])
    cloud = np.column_stack([rng.uniform(-50, 50, 300), rng.uniform(-50, 50, 300), rng.uniform(400, 600, 300)])
    lines = np.column_stack([rng.uniform(30, 120, H), np.arange(H, dtype=np.float64)])
    row_mask = np.ones(H, dtype=bool)
    matches = np.arange(H, dtype=np.int32)
    mapx = np.tile(np.arange(W, dtype=np.float64), (H, 1)) + 0.25
    mapy = np.tile(np.arange(H, dtype=np.float64)[:, None], (1, W))
    colour = capture.colour
    return [
        ("GetSdkVersionString", ()),
        ("GetROIInfoWidth", ()), ("GetROIInfoHeight", ()), ("GetROIInfoOffsetX", ()), ("GetROIInfoOffsetY", ()),
        ("GetData", ()),
        ("DecGrayPhase1", (capture.cam1_11,)), ("UnDecGrayPhase1", (capture.cam1_11,)),
        ("UnDecGrayPhase2", (capture.cam1_11,)), ("DecGrayPhase2", (capture.cam1_18,)),
        ("BiCubicPloy", (0.5,)),
        ("InterpCubic1", (f(),)), ("InterpCubic2", (f(),)), ("InterpCubic4", (f(),)), ("InterpCubic5", (f(),)),
        ("InterpCubic3", (f(), mapx, mapy, b())),
        ("InterpFlag1", (b(),)), ("InterpFlag2", (b(),)),
        ("MatchII", (m1, m2, match, p1, p2)),
        ("CalPoint", (match, True, 2, 0.4, False, 1.0)),
        ("MatchI", (m1, m2, p1, p2)),
        ("MediaFilter", (f(), 4)),
        ("Outlierdetect", (f(), f(), f(), b(), 2, 5.0)),
        ("GradientFilter", (f(), f(), b(), b(), 50.0, 1.0)),
        ("Bilateralfilter", (f(), b(), 2, 0.4)),
        ("FillingFunction", (f(), f(), f(), b(), 1, 30, 300, 100, 2000)),
        ("CalRGB", (f(), f(), f(), b(), 100, 2000)),
        ("CalRGBFuse", (np.stack([colour] * 11), np.stack([colour] * 11))),
        ("CalRGBFuse", (np.stack([colour] * 3), np.stack([colour] * 3), 3)),
        ("CalPreview", (f() / 4, f() / 4, f() / 4, f() / 4)),
        ("CalPixelAverage", (capture.laser1, W, H, 50)),
        ("AutoExposure", (captures, np.array([1.0, 2.0, 3.0]), 3, 128, 1, 100000, 50)),
        ("BinarySearch_updataET", (capture.laser1, capture.laser2, 1.0, 100.0, 100, 10.0)),
        ("GetTh", (capture.laser1.ravel(), 0, 255)),
        ("AutoHDR1", (captures, 0, np.array([1.0, 2.0, 3.0]), 3, 4, 128, 1, 100000)),
        ("AutoHDR2", (captures, 0, np.array([1.0, 2.0, 3.0]), 3, 4, 128, 1, 100000)),
        ("CalHDRFuse", (np.stack([frame() for _ in range(5)]), np.stack([frame() for _ in range(5)]))),
        ("DownSampling1", (capture.cam1_11,)), ("DownSampling2", (capture.cam1_11,)),
        ("DownSampling3", (capture.laser1,)),
        ("CalcImageBuffer", (frame(), True)),
        ("CalLineCenter", (5, [10, 11, 12], [1, 2, 1])),
        ("CalLineCenter_new", (5, 10, 3, np.array([1, 2, 1], dtype=np.int32))),
        ("lineExtract4", (capture.laser1,)),
        ("lineExtract5", (capture.laser1, 3 * W, H)),
        ("GetCloudPoint_New_600_1", (capture.laser1,)), ("GetCloudPoint_New_600_2", (capture.laser1,)),
        ("UndistortPoints2", (True, lines)),
        ("MatchLine", (lines, lines, row_mask, row_mask)),
        ("Calpoint", (lines, lines + [[-30.0, 0.0]], row_mask, matches)),
        ("Calpoint_smooth", (lines, lines + [[-30.0, 0.0]], 3, row_mask, matches)),
        ("FitLineFunction_V", (lines, 3, True)), ("Gaussianfilter", (lines, 2)),
        ("SORfilter", (cloud, 8, 1.0)), ("sorFilter", (cloud + [0, 0, 0], 5)),
        ("CloudSmooth", (np.column_stack([mapx.ravel(), mapy.ravel(), f().ravel().astype(np.float64)]), 1, 5.0)),
        ("Gaussianfilter_PMR", (cloud, 2)),
        ("Downsample", (cloud[:H], 2.0)),
        ("GetDepth", ([cloud, cloud[:50]],)),
        ("RGB2Cloud", (np.array([[10, 10], [80, 60]], dtype=np.int32), cloud, 5.0)),
        ("GetRGBpoint", (colour, cloud)),
        ("PlaneFitPoly11", (cloud,)), ("PlaneFitPoly22", (cloud,)), ("PlaneFitPoly33", (cloud,)),
        ("PlaneFitPoly55", (cloud,)), ("PlaneFitPoly1010", (cloud,)),
        ("polynomialFit", (cloud[:, 0].copy(), cloud[:, 2].copy(), 3)),
        ("evaluatePolynomial", (np.array([1.0, 2.0, 3.0]), 2.0)),
        ("DeleteMemory1", ()), ("DeleteMemory2", ()),
    ]


def member_names():
    return sorted(n for n in dir(xelora.XeloraAlgo) if not n.startswith("_"))


def scan_program():
    path = os.environ.get("XELORA_SCAN")
    if not path or not os.path.exists(path):
        pytest.skip("XELORA_SCAN (the xelora-scan program) is not set")
    return path
