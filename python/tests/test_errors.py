"""Nothing of the wrong shape, dtype or memory layout, and no call out of order, reaches the library:
each raises ValueError or RuntimeError naming the member, the argument, what was expected and what
was given."""
import re

import numpy as np
import pytest

import xelora
from conftest import H, W, ready, rectified, valid_calls

WRONG_DTYPE = {np.dtype(np.float32): np.float64, np.dtype(np.float64): np.float32, np.dtype(np.bool_): np.uint8,
               np.dtype(np.uint8): np.int16, np.dtype(np.int32): np.int64}


def not_c_contiguous(a):
    if a.ndim >= 2 and a.shape[-1] > 1:
        return np.asfortranarray(a) if a.ndim == 2 else np.ascontiguousarray(a.swapaxes(-1, -2)).swapaxes(-1, -2)
    return np.repeat(a, 2)[::2]


def bad_variants(a):
    yield "dtype", a.astype(WRONG_DTYPE[a.dtype]), "array of shape"
    yield "ndim", a[..., None], "array of shape"
    if a.size > 1 and (a.ndim >= 2 or a.shape[0] > 1):
        bad = not_c_contiguous(a)
        if not bad.flags.c_contiguous:
            yield "layout", bad, "not C-contiguous"
    yield "list", a.tolist() if a.size < 50 else "text", "an object of type"


@pytest.fixture(scope="module")
def stereo_state():
    capture = xelora.sim.render(W, H)
    algo = ready(capture)
    m1, m2, p1, p2 = rectified(capture, algo)
    match = algo.MatchI(m1, m2, p1, p2)
    match = algo.MatchII(m1, m2, match, p1, p2)
    return capture, algo, (m1, m2, match, p1, p2)


def test_every_array_argument_of_every_member_is_checked(stereo_state):
    capture, algo, stereo = stereo_state
    checked = 0
    for name, args in valid_calls(capture, stereo):
        if name.startswith("DeleteMemory"):
            continue
        for i, a in enumerate(args):
            if not isinstance(a, np.ndarray):
                continue
            for kind, bad, said in bad_variants(a):
                bad_args = list(args)
                bad_args[i] = bad
                with pytest.raises(ValueError) as err:
                    getattr(algo, name)(*bad_args)
                msg = str(err.value)
                assert msg.startswith(f"{name}: argument '"), msg
                assert " must be " in msg and ", got " in msg and said in msg, msg
                checked += 1
    assert checked > 250
    # and the handle still works afterwards
    assert algo.InterpCubic1(stereo[3]).shape == (H, W)


def test_wrong_extents_name_expected_and_given_shapes(stereo_state):
    capture, algo, (m1, m2, match, p1, p2) = stereo_state
    with pytest.raises(ValueError, match=re.escape(
            "InterpCubic1: argument 'map' must be a C-contiguous float32 array of shape (128, 160), "
            "got float32 array of shape (127, 160)")):
        algo.InterpCubic1(p1[:-1].copy())
    with pytest.raises(ValueError, match=r"DecGrayPhase1: argument 'patternImages' .* \(11, 128, 160\), got uint8 "
                                         r"array of shape \(18, 128, 160\)"):
        algo.DecGrayPhase1(capture.cam1_18)
    with pytest.raises(ValueError, match=r"DecGrayPhase2: .*\(18, 128, 160\)"):
        algo.DecGrayPhase2(capture.cam1_11)
    with pytest.raises(ValueError, match=r"CalcImageBuffer: argument 'input' .*\(256, 160\)"):
        algo.CalcImageBuffer(capture.laser1, True)
    with pytest.raises(ValueError, match=r"Calpoint: argument 'points1' .*\(128, 2\)"):
        algo.Calpoint(np.zeros((H, 3)), np.zeros((H, 2)), np.ones(H, bool), np.zeros(H, np.int32))


def test_out_arrays_are_checked_like_inputs(stereo_state):
    capture, algo, (m1, m2, match, p1, p2) = stereo_state
    bad_outs = [np.zeros((H, W), np.float64), np.zeros((H, W + 1), np.float32),
                np.asfortranarray(np.zeros((H, W), np.float32)), [[0.0] * W] * H]
    ro = np.zeros((H, W), np.float32)
    ro.flags.writeable = False
    for out in bad_outs + [ro]:
        with pytest.raises(ValueError, match=r"InterpCubic1: argument 'out map' must be a C-contiguous writeable "
                                             r"float32 array"):
            algo.InterpCubic1(p1, out=out)
    with pytest.raises(ValueError, match=r"DecGrayPhase1: argument 'out' must be a tuple of 4 arrays, got a "
                                         r"sequence of 3"):
        algo.DecGrayPhase1(capture.cam1_11, out=(None, None, None))
    with pytest.raises(ValueError, match=r"DecGrayPhase1: argument 'out' must be None or a tuple"):
        algo.DecGrayPhase1(capture.cam1_11, out=np.zeros((H, W), bool))
    with pytest.raises(ValueError, match=r"DecGrayPhase1: argument 'out absolutePhase'"):
        algo.DecGrayPhase1(capture.cam1_11, out=(None, None, None, np.zeros((H, W), np.float64)))
    with pytest.raises(ValueError, match=r"UndistortPoints2: argument 'out points' .*\(5, 2\)"):
        algo.UndistortPoints2(True, np.zeros((5, 2)), out=np.zeros((6, 2)))


SETUP_ORDER = [
    # (set-up steps done, call, message)
    ([], lambda a, s: a.DecGrayPhase1(s.cam1_11), "DecGrayPhase1: no ROI: call SetROIInfo first"),
    (["roi"], lambda a, s: a.CalKR(), "CalKR: no calibration: call SetCalibrationInfo first"),
    (["roi", "cal"], lambda a, s: a.CalRectifyMap1(True), "CalRectifyMap1: needs the stereo geometry: call CalKR()"),
    (["roi", "cal", "kr"], lambda a, s: a.InterpCubic1(np.zeros((H, W), np.float32)),
     "InterpCubic1: needs camera 1's rectification map: call CalRectifyMap1(True) first"),
    (["roi", "cal", "kr", "rect1"], lambda a, s: a.InterpFlag2(np.zeros((H, W), bool)),
     "InterpFlag2: needs camera 2's rectification map: call CalRectifyMap1(False) first"),
    (["roi", "cal", "kr", "rect1", "rect2"], lambda a, s: a.InterpCubic4(np.zeros((H, W), np.float32)),
     "InterpCubic4: needs camera 1's undistortion map: call CalRectifyMap2(True) first"),
    (["roi", "cal", "kr"], lambda a, s: a.MatchI(*[np.zeros((H, W), t) for t in (bool, bool, np.float32, np.float32)]),
     "MatchI: needs camera 1's rectification map: call CalRectifyMap1(True) first"),
    (["roi", "cal", "kr", "rect1", "rect2"],
     lambda a, s: a.MatchII(*[np.zeros((H, W), t) for t in (bool, bool, bool, np.float32, np.float32)]),
     "MatchII: needs the integer match tables: call MatchI first"),
    (["roi", "cal", "kr", "rect1", "rect2", "matchI"], lambda a, s: a.CalPoint(np.zeros((H, W), bool)),
     "CalPoint: needs the sub-pixel match table: call MatchII first"),
    (["roi", "cal", "kr", "rect1", "rect2", "matchI", "matchII", "matchI"],
     lambda a, s: a.CalPoint(np.zeros((H, W), bool)), "CalPoint: needs the sub-pixel match table"),
    (["roi", "cal", "kr", "rect1", "rect2", "matchI", "matchII", "delete1"],
     lambda a, s: a.CalPoint(np.zeros((H, W), bool)), "CalPoint: needs the sub-pixel match table"),
    (["roi", "cal", "kr", "rect1", "rect2", "delete2"], lambda a, s: a.InterpCubic2(np.zeros((H, W), np.float32)),
     "InterpCubic2: needs camera 2's rectification map"),
    (["roi", "cal", "kr", "rect1", "rect2", "delete2"],
     lambda a, s: a.FillingFunction(*[np.zeros((H, W), np.float32)] * 3, np.zeros((H, W), bool), 1, 30, 300, 1, 9),
     "FillingFunction: needs the stereo geometry: call CalKR() first"),
    (["roi", "cal", "kr", "rect1", "rect2", "roi2"], lambda a, s: a.InterpCubic1(np.zeros((64, 80), np.float32)),
     "InterpCubic1: camera 1's rectification map was built for a 160 x 128 ROI, the ROI is now 80 x 64: "
     "call CalRectifyMap1(True) again"),
    (["roi"], lambda a, s: a.CalRGB(*[np.zeros((H, W), np.float32)] * 3, np.zeros((H, W), bool), 1, 9),
     "CalRGB: no calibration"),
    (["roi"], lambda a, s: a.UndistortPoints2(True, np.zeros((3, 2))), "UndistortPoints2: no calibration"),
    (["roi"], lambda a, s: a.MatchLine(np.zeros((H, 2)), np.zeros((H, 2)), np.ones(H, bool), np.ones(H, bool)),
     "MatchLine: no calibration"),
    (["roi"], lambda a, s: a.GetDepth([np.zeros((3, 3))]), "GetDepth: no calibration"),
    ([], lambda a, s: a.GetRGBpoint(s.colour, np.zeros((3, 3))), "GetRGBpoint: no ROI"),
    (["roi", "cal"], lambda a, s: a.CalRectifyMap2(True) or a.CalPoint(np.zeros((H, W), bool)),
     "CalPoint: needs the stereo geometry"),
]


@pytest.mark.parametrize("steps, call, message", SETUP_ORDER, ids=[m.split(":")[0] + str(i) for i, (_, _, m) in
                                                                   enumerate(SETUP_ORDER)])
def test_members_called_before_their_set_up_raise_runtime_error(stereo_state, steps, call, message):
    capture, _, (m1, m2, match, p1, p2) = stereo_state
    algo = xelora.XeloraAlgo()
    do = {"roi": lambda: algo.SetROIInfo(capture.roi), "cal": lambda: algo.SetCalibrationInfo(capture.calibration),
          "kr": algo.CalKR, "rect1": lambda: algo.CalRectifyMap1(True), "rect2": lambda: algo.CalRectifyMap1(False),
          "matchI": lambda: algo.MatchI(m1, m2, p1, p2), "matchII": lambda: algo.MatchII(m1, m2, match, p1, p2),
          "delete1": algo.DeleteMemory1, "delete2": algo.DeleteMemory2,
          "roi2": lambda: algo.SetROIInfo(xelora.ROI(80, 64))}
    for s in steps:
        do[s]()
    with pytest.raises(RuntimeError, match=re.escape(message)):
        call(algo, capture)


def test_parameters_outside_their_range_raise_value_error(stereo_state):
    capture, algo, (m1, m2, match, p1, p2) = stereo_state
    frames = np.zeros((3, 2 * H, W), np.uint8)
    times = np.array([1.0, 2.0, 3.0])
    cases = [
        (lambda: algo.MediaFilter(p1, 9), "MediaFilter: argument 'order' must be 0 ... 8, got 9"),
        (lambda: algo.DecGrayPhase1(capture.cam1_11, False, True, -1), "argument 'smoothRounds' must be at least 0"),
        (lambda: algo.AutoExposure(frames, times, 4, 128, 1, 100, 50), "'pairCount' must be 1 ... 3, got 4"),
        (lambda: algo.AutoExposure(frames, times[:2], 2, 128, 1, 100, 50), "'exposureTimes' must be at least 3"),
        (lambda: algo.AutoHDR1(frames, 0, times, 3, 1, 128, 1, 100), "'divisor' must be at least 2, got 1"),
        (lambda: algo.AutoHDR2(frames, 0, times[:1], 2, 4, 128, 1, 100), "at least pairCount = 2 entries"),
        (lambda: algo.CalHDRFuse(frames, frames), "CalHDRFuse: argument 'count' must be at least 4 frames, got 3"),
        (lambda: algo.CalHDRFuse(np.zeros((5, 2 * H, W), np.uint8), frames, 5), "'longSeq' must be at least count"),
        (lambda: algo.CalRGBFuse(*[np.zeros((10, H, W, 3), np.uint8)] * 2), "'srcA' must be a stack of at least 11"),
        (lambda: algo.CalRGBFuse(*[np.zeros((2, H, W, 3), np.uint8)] * 2, 3), "'srcA' must be a stack of at least 3"),
        (lambda: algo.DownSampling3(np.zeros((5, 8), np.uint8)), "H and 2W even"),
        (lambda: algo.DownSampling1(np.zeros((2, 4, 7), np.uint8)), "H and 2W even"),
        (lambda: algo.CalPixelAverage(capture.laser1, W, H + 1, 10), "width*height at most the image's"),
        (lambda: algo.SORfilter(np.ones((20, 3)), 0, 1.0), "SORfilter: argument 'k' must be at least 1, got 0"),
        (lambda: algo.Calpoint(np.zeros((H, 2)), np.zeros((H, 2)), np.ones(H, bool), np.full(H, H, np.int32)),
         "Calpoint: argument 'matches' must be a row 0 ... 127 for every row with mask set, got 128 at row 0"),
        (lambda: algo.Calpoint_smooth(np.zeros((H, 2)), np.zeros((H, 2)), 3, np.ones(H, bool), -np.ones(H, np.int32)),
         "got -1 at row 0"),
        (lambda: algo.CalLineCenter(0, [1, 2, 3], [1, 1]), "'weights' must be at least as many entries as positions"),
        (lambda: algo.CalLineCenter_new(0, 0, 4, np.ones(3, np.int32)), "'count' must be at most the 3 entries"),
        (lambda: algo.polynomialFit(np.ones(4), np.ones(3), 2), "'y' must be at least as many entries as x (4)"),
        (lambda: algo.SetROIInfo(xelora.ROI(0, 10)), "SetROIInfo: argument 'info' must be an ROI of width"),
        (lambda: algo.SetROIInfo(xelora.ROI(10, 10, -1)), "must be non-negative offsets"),
        (lambda: algo.SetROIInfo("160x128"), "must be a xelora.ROI or a dict of its fields"),
        (lambda: algo.SetDownsamplingInfo(0, 0.0), "SetDownsamplingInfo: argument 'step' must be at least 1"),
        (lambda: algo.SetCalibrationInfo({"K9": [1]}), "argument 'K9' must be one of the record's fields"),
        (lambda: algo.DecGrayPhase1(capture.cam1_11, False, True, 1, 1e9), "'smoothSigma' must be at most 10000"),
        (lambda: algo.Bilateralfilter(p1, m1, 5000, 0.4), "'spatialSigma' must be at most 1024, got 5000"),
        (lambda: algo.CalPoint(match, True, 2000), "'bilateralSpatialSigma' must be at most 1024"),
        (lambda: algo.Gaussianfilter(np.zeros((4, 2)), 2**30), "'halfWindow' must be at most 1048576"),
    ]
    for call, message in cases:
        with pytest.raises(ValueError, match=re.escape(message)):
            call()
    # the library's own check of k against the valid points arrives as ValueError too
    with pytest.raises(ValueError, match="k"):
        algo.SORfilter(np.random.default_rng(0).uniform(1, 9, (20, 3)), 50, 1.0)


def test_map_form_of_auto_exposure_needs_an_roi_that_holds_its_windows(stereo_state):
    capture, algo, (m1, m2, match, p1, p2) = stereo_state
    # the library's own check (an ROI too small for a member's fixed windows is a bad argument)
    with pytest.raises(ValueError, match=re.escape("AutoExposure: ROI width must hold the 50 x 50 sample windows "
                                                   "(trunc(size / 8) >= width / 40 and trunc(7 size / 8) - width / "
                                                   "40 + 49 < size), got 160")):
        algo.AutoExposure(10.0, p1, p1, p1, p1, 1, 100, 128)
    big = xelora.XeloraAlgo()
    big.SetROIInfo(xelora.ROI(480, 416))
    maps = [np.full((416, 480), v, np.float32) for v in (50, 50, 100, 100)]
    assert big.AutoExposure(10.0, *maps, 1, 1000, 128) == 12  # p = 100 -> 10 * 1.28 truncated


def test_records_reject_unknown_names_and_wrong_sizes(tmp_path):
    with pytest.raises(ValueError, match=r"Calibration: argument 'K1' must be 9 numbers \(shape \(3, 3\) or \(9,\)\)"):
        xelora.Calibration(K1=[1, 2, 3])
    with pytest.raises(ValueError, match="argument 'D1' must be 5 numbers"):
        xelora.Calibration({"D1": np.zeros((5, 2))})
    with pytest.raises(ValueError, match="argument 'Q' must be one of the record's fields"):
        xelora.Calibration(Q=[1])
    with pytest.raises(ValueError, match="ROI: argument 'depth' must be one of offsetX, offsetY, width, height"):
        xelora.ROI({"depth": 3})
    with pytest.raises(ValueError, match="argument 'width' must be an int in the 32-bit range"):
        xelora.ROI({"width": 2**40})
    cal = xelora.Calibration()
    with pytest.raises(ValueError, match="argument 'T' must be 3 numbers"):
        cal.T = [1, 2]
    bad = tmp_path / "calib.json"
    bad.write_text('{"format": "xelora-calibration", "image_width": 160}')
    with pytest.raises(ValueError, match=r"read_calibration_json: .*calib.json: malformed calibration: missing "
                                         r"\"image_height\""):
        xelora.read_calibration_json(str(bad))
    with pytest.raises(ValueError, match="read_calibration_json: .*missing.json"):
        xelora.Calibration.from_json(str(tmp_path / "missing.json"))


def test_head_and_sim_check_their_inputs(capture):
    head = xelora.Head(capture.calibration, capture.roi)
    with pytest.raises(ValueError, match=r"Head.scan: argument 'cam1_planes' must be a stack of 11 or 18 planes"):
        head.scan(capture.cam1_11[:10].copy(), capture.cam2_11)
    with pytest.raises(ValueError, match=r"Head.scan: argument 'cam2_planes' must be 11 planes like cam1_planes"):
        head.scan(capture.cam1_11, capture.cam2_18)
    with pytest.raises(ValueError, match=r"Head.scan: argument 'colour' .*\(128, 160, 3\)"):
        head.scan(capture.cam1_11, capture.cam2_11, capture.laser1)
    with pytest.raises(ValueError, match=r"Head.profile: argument 'laser2' .*\(128, 160\)"):
        head.profile(capture.laser1, capture.laser2.T)
    with pytest.raises(ValueError, match="Head: argument 'roi' must be an ROI of 8 ... 65536"):
        xelora.Head(capture.calibration, xelora.ROI(4, 4))
    with pytest.raises(ValueError, match=r"render: --size: 100x64: width and height must be multiples of 8"):
        xelora.sim.render(100, 64)
    with pytest.raises(ValueError, match="render: --scene: unknown scene"):
        xelora.sim.render(64, 64, "moon")


def test_errors_the_library_itself_raises_become_python_exceptions(capture):
    """Checks that only the library makes (a set-up made stale by the downsampling, a negative radius,
    sensor positions outside int) arrive as RuntimeError and ValueError with the library's text."""
    algo = ready(capture)
    phase = np.full((H, W), 3.0, np.float32)
    algo.SetDownsamplingInfo(2, 0.0)
    with pytest.raises(RuntimeError) as err:
        algo.InterpCubic1(phase)
    assert str(err.value) == "InterpCubic1: CalRectifyMap1(true) has not been run for this ROI"
    assert not isinstance(err.value, ValueError)
    algo.SetDownsamplingInfo(1, 0.0)  # the set-up the maps were built for: valid again
    assert algo.InterpCubic1(phase).shape == (H, W)

    X, Y, Z = (np.full((H, W), v, np.float32) for v in (1.0, 2.0, 500.0))
    mask = np.ones((H, W), bool)
    with pytest.raises(ValueError, match=re.escape("Outlierdetect: radius must be >= 0, got -2147483648")):
        algo.Outlierdetect(X, Y, Z, mask, -2**31, 5.0)
    with pytest.raises(ValueError, match=re.escape("CloudSmooth: r must be >= 0, got -1")):
        algo.CloudSmooth(np.zeros((H * W, 3)), -1, 1.0)
    algo.SetDownsamplingInfo(2**30, 0.0)
    with pytest.raises(ValueError, match=re.escape(
            "CalKR: downsampleStep * (width - 1) must be in [-2147483648, 2147483647], got 170724950016")):
        algo.CalKR()
