"""Every member of xelora.XeloraAlgo called with valid arrays (their types, scalars, lists and tuples
converted both ways), and out= writing into the caller's own arrays."""
import numpy as np
import pytest

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


def test_scalar_list_and_tuple_arguments_and_results_convert_both_ways(capture):
    """The arithmetic of these members is the C++ suite's; here: Python numbers, lists and tuples in,
    Python numbers, bools and tuples out, and the in/out default of CalLineCenter passed through."""
    algo = ready(capture)
    assert algo.BiCubicPloy(0.0) == 1.0 and algo.BiCubicPloy(2.5) == 0.0
    assert algo.CalLineCenter(5, [10, 11, 12], [1, 2, 1]) == (11.0, 5.0)
    assert algo.CalLineCenter(5, [10], [0], (1.5, 2.5)) == (1.5, 2.5)  # no weight: the given point stays
    assert algo.CalLineCenter_new(5, 10, 3, np.array([1, 2, 1], np.int32)) == (5.0, 11.0)
    assert algo.GetTh(np.array([10, 20], np.uint8), 0, 255) == 150
    dark = np.full((4, 5), 9, np.uint8)
    assert algo.CalPixelAverage(dark, 5, 4, 10) is True and algo.CalPixelAverage(dark, 5, 4, 9) is False
    img = np.full((H, W), 100, np.uint8)
    assert algo.BinarySearch_updataET(img, img, 1.0, 100.0, 100, 7.25) == 7.25
    assert algo.evaluatePolynomial(np.array([1.0, 2.0, 3.0]), 2.0) == 17.0
    assert algo.polynomialFit(np.linspace(-2, 2, 20), np.zeros(20), -1).shape == (0,)


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
