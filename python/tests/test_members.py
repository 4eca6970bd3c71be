"""Every member of xelora.XeloraAlgo called with valid arrays, results checked against values derived
by hand, and out= writing into the caller's own arrays."""
import numpy as np
import pytest

import xelora
from conftest import H, W, member_names, ready, valid_calls

SETUP = {"SetROIInfo", "SetDownsamplingInfo", "SetCalibrationInfo", "CalKR", "CalRectifyMap1", "CalRectifyMap2"}


def test_every_member_runs_on_valid_arrays_and_returns_documented_types(capture, matched):
    algo, stereo = matched
    calls = valid_calls(capture, stereo)
    assert set(member_names()) == {n for n, _ in calls} | SETUP
    for name, args in calls:
        before = [a.copy() if isinstance(a, np.ndarray) else a for a in args]
        result = getattr(algo, name)(*args)
        for a, b in zip(args, before):
            assert not isinstance(a, np.ndarray) or np.array_equal(a, b, equal_nan=True), name
        for value in result if isinstance(result, tuple) else (result,):
            if isinstance(value, np.ndarray):
                assert value.flags.c_contiguous and value.flags.writeable, name
                assert value.dtype in (np.float32, np.float64, np.bool_, np.uint8, np.int32), name


def test_setup_getters_report_the_roi_and_the_geometry_of_calkr(capture):
    algo = xelora.XeloraAlgo()
    assert algo.GetSdkVersionString() == "V0.00.02"
    assert algo.GetData() == (0.0,) * 6
    ready(capture, algo)
    k1, k2 = capture.calibration.K1, capture.calibration.K2
    assert (algo.GetROIInfoWidth(), algo.GetROIInfoHeight()) == (W, H)
    cx1, pitch, cx2, cy1, f1, f2 = algo.GetData()
    assert (cx1, pitch, cx2, cy1) == (k1[0, 2], 0.0048, k2[0, 2], k1[1, 2])
    assert f1 == pytest.approx((k1[0, 0] + k1[1, 1]) * 0.0048 * 0.5, rel=1e-12)
    assert f2 == pytest.approx((k2[0, 0] + k2[1, 1]) * 0.0048 * 0.5, rel=1e-12)


def test_decoders_recover_the_projector_phase_of_the_simulation(capture):
    algo = ready(capture)
    for name, planes in (("DecGrayPhase1", capture.cam1_11), ("DecGrayPhase2", capture.cam1_18)):
        before = planes.copy()
        mask, modulation, average, phase = getattr(algo, name)(planes)
        assert np.array_equal(planes, before), name  # the paired decoder works on its own copy
        truth = capture.phase1
        ok = mask & np.isfinite(truth)
        assert ok.sum() > 0.5 * W * H, name
        err = np.abs(phase[ok] - truth[ok])
        assert np.median(err) < 0.05, name
        assert modulation[ok].min() > 0 and average[ok].min() > 0


def test_resampling_kernel_and_masked_resampling_at_whole_pixels(capture):
    algo = ready(capture)
    a = -0.5
    for x in (0.0, 0.5, 1.0, 1.5, 2.0, 2.5):
        ax = abs(x)
        expect = ((a + 2) * ax**3 - (a + 3) * ax**2 + 1 if ax <= 1 else
                  a * ax**3 - 5 * a * ax**2 + 8 * a * ax - 4 * a if ax < 2 else 0.0)
        assert algo.BiCubicPloy(x) == pytest.approx(expect, abs=1e-6)
        assert algo.BiCubicPloy(-x) == algo.BiCubicPloy(x)
    rng = np.random.default_rng(1)
    src = rng.uniform(0, 100, (H, W)).astype(np.float32)
    mapx = np.tile(np.arange(W, dtype=np.float64), (H, 1))
    mapy = np.tile(np.arange(H, dtype=np.float64)[:, None], (1, W))
    out = algo.InterpCubic3(src, mapx, mapy, np.ones((H, W), bool))
    assert np.array_equal(out[2:-2, 2:-2], src[2:-2, 2:-2])


def test_order_statistic_filter_matches_numpy_on_the_interior(capture):
    algo = ready(capture)
    rng = np.random.default_rng(2)
    m = rng.uniform(1, 100, (H, W)).astype(np.float32)
    win = np.lib.stride_tricks.sliding_window_view(m, (3, 3)).reshape(H - 2, W - 2, 9)
    assert np.array_equal(algo.MediaFilter(m, 0)[1:-1, 1:-1], win.max(axis=2))
    assert np.array_equal(algo.MediaFilter(m, 8)[1:-1, 1:-1], win.min(axis=2))
    np.testing.assert_allclose(algo.MediaFilter(m, 4)[1:-1, 1:-1], np.median(win, axis=2), rtol=1e-5)
    border = algo.MediaFilter(m, 4)
    assert np.array_equal(border[0], m[0]) and np.array_equal(border[:, -1], m[:, -1])


def test_image_helpers_follow_their_arithmetic(capture):
    algo = ready(capture)
    rng = np.random.default_rng(3)
    src = rng.integers(0, 256, (11, 8, 12), dtype=np.uint8)
    blocks = src.reshape(11, 4, 2, 6, 2).astype(np.int32)
    averaged = ((blocks.sum(axis=(2, 4))) >> 2).astype(np.uint8)
    assert np.array_equal(algo.DownSampling2(src), averaged)
    assert np.array_equal(algo.DownSampling3(src[0]), averaged[0])
    picked = algo.DownSampling1(src)
    assert np.array_equal(picked[:7], src[:7, ::2, ::2]) and np.array_equal(picked[7:], averaged[7:])

    first = np.full((2 * H, W), 100, np.uint8)
    second = first.copy()
    second[0, :3] = (120, 90, 100)
    first[0, :3] = (100, 120, 200)
    algo.CalcImageBuffer(first, False)  # forget any stored frame
    assert np.array_equal(algo.CalcImageBuffer(first, True), first)
    out = algo.CalcImageBuffer(second, True)
    assert list(out[0, :3]) == [100, 60, 0]  # grew: previous value; fell: 2 new - old, not below 0

    m = [rng.uniform(0, 200, (H, W)).astype(np.float32) for _ in range(4)]
    preview = algo.CalPreview(*m)
    assert np.array_equal(preview[0::2], np.clip(np.trunc(m[0] + m[2]), 0, 255).astype(np.uint8))
    assert np.array_equal(preview[1::2], np.clip(np.trunc(m[1] + m[3]), 0, 255).astype(np.uint8))

    colour = rng.integers(0, 256, (11, H, W, 3), dtype=np.uint8)
    a, b = algo.CalRGBFuse(colour, colour[::-1].copy())
    assert np.array_equal(a, colour[..., 0]) and np.array_equal(b, colour[::-1, ..., 0])
    a, _ = algo.CalRGBFuse(colour, colour, 4)
    assert a.shape == (4, H, W) and np.array_equal(a, colour[:4, ..., 2])

    assert algo.GetTh(np.array([10, 20], np.uint8), 0, 255) == 150
    assert algo.GetTh(np.array([10, 20], np.uint8), 0, 100) == 100
    dark = np.full((4, 5), 9, np.uint8)
    assert algo.CalPixelAverage(dark, 5, 4, 10) and not algo.CalPixelAverage(dark, 5, 4, 9)


def test_hdr_fusion_takes_each_pixel_from_one_exposure(capture):
    algo = ready(capture)
    short = np.full((5, 2 * H, W), 80, np.uint8)
    long_ = np.full((5, 2 * H, W), 230, np.uint8)
    short[0] += 1  # tells the frames apart
    long_[:, 0, 0] = 229   # the long exposure does not saturate: it is kept
    short[1:, 1, 1] = 79   # too little signal in the short exposure: the long one is kept
    long_[0, 2, 0] = 100   # only the last four frames decide: still short
    out1, out2 = algo.CalHDRFuse(short, long_)
    assert out1.shape == out2.shape == (5, H, W)
    assert out1[0, 0, 0] == 229 and out1[0, 0, 1] == 81 and out1[1, 0, 1] == 80  # frame row 0: camera 1 row 0
    assert out2[0, 0, 1] == 230 and out2[0, 0, 0] == 81                        # frame row 1: camera 2 row 0
    assert out1[0, 1, 0] == 81                                                  # frame row 2


def test_exposure_proposals_double_the_times_and_agree_between_hdr_forms(capture):
    algo = ready(capture)
    level = np.stack([np.full((2 * H, W), v, np.uint8) for v in (40, 80, 120)])
    times = np.array([1.0, 2.0, 3.0])
    e, doubled = algo.AutoExposure(level, times, 3, 128, 1, 1000, 50)
    assert list(doubled) == [2.0, 4.0, 6.0] and list(times) == [1.0, 2.0, 3.0]
    # m' = 14, 28, 42 against 2, 4, 6: slope 7, intercept 0 -> (128 - 0) / 7 = 18
    assert e == 18
    img = np.full((H, W), 100, np.uint8)
    assert algo.BinarySearch_updataET(img, img, 1.0, 100.0, 100, 7.25) == 7.25


def test_fits_recover_exact_surfaces_and_curves(capture):
    algo = xelora.XeloraAlgo()
    rng = np.random.default_rng(4)
    x, y = rng.uniform(-50, 50, 200), rng.uniform(-50, 50, 200)
    plane = np.column_stack([x, y, 0.5 * x - 0.25 * y + 500])
    np.testing.assert_allclose(algo.PlaneFitPoly11(plane), [0.5, -0.25, 500], rtol=1e-4)
    quad = np.column_stack([x, y, 0.01 * x * x + 0.02 * x * y + 3])
    np.testing.assert_allclose(algo.PlaneFitPoly22(quad), [0.01, 0, 0.02, 0, 0, 3], atol=2e-4)
    assert algo.PlaneFitPoly55(plane).shape == (21,) and algo.PlaneFitPoly1010(plane).shape == (66,)
    xs = np.linspace(-2, 2, 20)
    np.testing.assert_allclose(algo.polynomialFit(xs, 1 - 2 * xs + 0.5 * xs**3, 3), [1, -2, 0, 0.5], atol=1e-9)
    assert algo.evaluatePolynomial(np.array([1.0, 2.0, 3.0]), 2.0) == 17.0
    assert algo.polynomialFit(xs, xs, -1).shape == (0,)


def test_line_centres_and_laser_chain(capture):
    algo = ready(capture)
    assert algo.CalLineCenter(5, [10, 11, 12], [1, 2, 1]) == (11.0, 5.0)
    assert algo.CalLineCenter(5, [10], [0], (1.5, 2.5)) == (1.5, 2.5)
    assert algo.CalLineCenter_new(5, 10, 3, np.array([1, 2, 1], np.int32)) == (5.0, 11.0)
    pts, mask = algo.lineExtract5(capture.laser1, 3 * W, H)
    rows = np.flatnonzero(mask)
    assert len(rows) > H // 4 and np.array_equal(pts[rows, 1], rows)
    # the stripe is found where the simulation saw it
    seen_rows = np.flatnonzero(capture.laser_seen.any(axis=1))
    assert len(np.intersect1d(rows, seen_rows)) > 0.8 * len(seen_rows)
    for i in rows[:20]:
        lit = np.flatnonzero(capture.laser1[i] > 30)
        assert lit.min() - 1 <= pts[i, 0] <= lit.max() + 1


@pytest.mark.parametrize("name, args, out_shapes", [
    ("InterpCubic1", lambda c, s: (s[3],), [((H, W), np.float32)]),
    ("MediaFilter", lambda c, s: (s[3], 4), [((H, W), np.float32)]),
    ("MatchI", lambda c, s: (s[0], s[1], s[3], s[4]), [((H, W), np.bool_)]),
    ("DecGrayPhase1", lambda c, s: (c.cam1_11,), [((H, W), np.bool_)] + [((H, W), np.float32)] * 3),
    ("Outlierdetect", lambda c, s: (s[3], s[3], s[3], s[0], 2, 5.0),
     [((H, W), np.float32)] * 3 + [((H, W), np.bool_)]),
    ("CalPreview", lambda c, s: (s[3], s[3], s[4], s[4]), [((2 * H, W), np.uint8)]),
    ("lineExtract5", lambda c, s: (c.laser1, 3 * W, H), [((H, 2), np.float64), ((H,), np.bool_)]),
    ("UndistortPoints2", lambda c, s: (True, np.ones((H, 2))), [((H, 2), np.float64)]),
    ("CalHDRFuse", lambda c, s: (np.zeros((4, 2 * H, W), np.uint8),) * 2, [((4, H, W), np.uint8)] * 2),
    ("SORfilter", lambda c, s: (np.random.default_rng(5).uniform(1, 9, (40, 3)), 5, 1.0), [((40, 3), np.float64)]),
])
def test_out_writes_into_the_callers_arrays_without_a_copy(capture, matched, name, args, out_shapes):
    algo, stereo = matched
    a = args(capture, stereo)
    expect = getattr(algo, name)(*a)
    outs = [np.zeros(shape, dtype) for shape, dtype in out_shapes]
    got = getattr(algo, name)(*a, out=outs[0] if len(outs) == 1 else tuple(outs))
    got_arrays = (got,) if len(outs) == 1 else tuple(g for g in got if isinstance(g, np.ndarray))
    expect_arrays = (expect,) if len(outs) == 1 else tuple(e for e in expect if isinstance(e, np.ndarray))
    for g, o, e in zip(got_arrays, outs, expect_arrays):
        assert g is o and np.shares_memory(g, o)
        assert np.array_equal(g, e)


def test_out_of_the_input_itself_runs_in_place_and_none_entries_get_new_arrays(capture, matched):
    algo, (m1, m2, match, p1, p2) = matched
    phase = p1.copy()
    expect = algo.MediaFilter(phase, 4)
    ptr = phase.__array_interface__["data"][0]
    res = algo.MediaFilter(phase, 4, out=phase)
    assert res is phase and res.__array_interface__["data"][0] == ptr and np.array_equal(phase, expect)
    z = np.zeros((H, W), np.float32)
    mask, x, y, zz, count = algo.CalPoint(match, out=(None, None, None, z))
    assert zz is z and count == mask.sum() and not zz[~mask].any() and zz[mask].any()
    times = np.array([1.0, 2.0, 3.0])
    level = np.stack([np.full((2 * H, W), v, np.uint8) for v in (40, 80, 120)])
    _, t = algo.AutoExposure(level, times, 3, 128, 1, 1000, 50, out=times)
    assert t is times and list(times) == [2.0, 4.0, 6.0]
