"""Python bindings of the XeloraAlgo image-processing library of a 3D measurement camera head.

Low level: :class:`XeloraAlgo`, one library handle with every member of the C++ class under its own
name, numpy arrays in and out. High level: :class:`Head` runs the structured-light and laser-line
pipelines of ``xelora-scan`` in one call. :mod:`xelora.sim` renders a virtual sensor head, so
everything can be tried without a camera::

    import xelora, xelora.sim
    r = xelora.sim.render(320, 256)
    scan = xelora.Head(r.calibration, r.roi).scan(r.cam1_11, r.cam2_11)
"""
from ._xelora import (  # noqa: F401
    ROI,
    Calibration,
    Head,
    ScanResult,
    XeloraAlgo,
    read_calibration_json,
    write_calibration_json,
)
from . import sim  # noqa: F401

__all__ = [
    "ROI",
    "Calibration",
    "Head",
    "ScanResult",
    "XeloraAlgo",
    "read_calibration_json",
    "write_calibration_json",
    "sim",
]
