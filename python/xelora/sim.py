"""The virtual sensor head: images, calibration and ground truth of a known scene.

``render(width, height, scene, noise, baseline)`` returns a :class:`Rendering` with the 11- and
18-plane pattern stacks of both cameras, the laser and colour images, the true phase and depth, and
the head's :class:`xelora.Calibration` and :class:`xelora.ROI`.
"""
from ._xelora import sim as _sim

Rendering = _sim.Rendering
render = _sim.render
scenes = _sim.scenes

__all__ = ["Rendering", "render", "scenes"]
