"""Type stubs of the xelora package."""
from . import sim as sim
from ._xelora import (
    ROI as ROI,
    Calibration as Calibration,
    Head as Head,
    ScanResult as ScanResult,
    XeloraAlgo as XeloraAlgo,
    read_calibration_json as read_calibration_json,
    write_calibration_json as write_calibration_json,
)

__all__ = ["ROI", "Calibration", "Head", "ScanResult", "XeloraAlgo", "read_calibration_json",
           "write_calibration_json", "sim"]
