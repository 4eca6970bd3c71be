"""Type stubs of xelora.sim, the virtual sensor head."""
from typing import List, Optional

import numpy as np
import numpy.typing as npt

from ._xelora import ROI, Calibration

class Rendering:
    width: int
    height: int
    cam1_11: Optional[npt.NDArray[np.uint8]]
    cam2_11: Optional[npt.NDArray[np.uint8]]
    cam1_18: Optional[npt.NDArray[np.uint8]]
    cam2_18: Optional[npt.NDArray[np.uint8]]
    laser1: Optional[npt.NDArray[np.uint8]]
    laser2: Optional[npt.NDArray[np.uint8]]
    colour: Optional[npt.NDArray[np.uint8]]
    phase1: npt.NDArray[np.float32]
    phase2: npt.NDArray[np.float32]
    depth_truth: npt.NDArray[np.float32]
    seen: npt.NDArray[np.bool_]
    laser_seen: npt.NDArray[np.bool_]
    calibration: Calibration
    roi: ROI

def render(width: int = 320, height: int = 256, scene: str = "default", noise: float = 1.0,
           baseline: float = 150.0, *, fringe11: bool = True, fringe18: bool = True, laser: bool = True,
           colour: bool = True) -> Rendering: ...
def scenes() -> List[str]: ...
