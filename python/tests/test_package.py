"""The package as shipped: type stubs that match the module, a docstring on everything, and an
installed copy that imports and runs outside the build tree."""
import ast
import os
import re
import subprocess
import sys

import pytest

import xelora
import xelora._xelora as ext

PKG = os.path.dirname(xelora.__file__)


def stub_functions(path, cls=None):
    tree = ast.parse(open(path).read())
    body = tree.body
    if cls:
        body = next(n.body for n in tree.body if isinstance(n, ast.ClassDef) and n.name == cls)
    out = {}
    for n in body:
        if isinstance(n, ast.FunctionDef):
            args = [a.arg for a in n.args.args + n.args.kwonlyargs if a.arg != "self"]
            out.setdefault(n.name, []).append(args)
    return out


def bound_signatures(func):
    sigs = []
    for line in func.__doc__.splitlines():
        m = re.match(r"^(?:\d+\. )?(\w+)\((.*)\) ->", line)
        if m and m.group(1) == func.__name__:
            sigs.append([n for n in re.findall(r"(?:^|, )(\w+):", m.group(2)) if n != "self"])
    return sigs


def test_stubs_list_every_member_with_the_bound_parameter_names():
    stubs = stub_functions(os.path.join(PKG, "_xelora.pyi"), "XeloraAlgo")
    members = [n for n in dir(ext.XeloraAlgo) if not n.startswith("_")]
    assert sorted(members) == sorted(n for n in stubs if n != "__init__")
    for name in members:
        assert sorted(stubs[name]) == sorted(bound_signatures(getattr(ext.XeloraAlgo, name))), name
    for cls, methods in (("Head", ["scan", "profile"]), ("ScanResult", ["points", "cloud", "save_ply"])):
        stubbed = stub_functions(os.path.join(PKG, "_xelora.pyi"), cls)
        for name in methods:
            assert stubbed[name] == bound_signatures(getattr(getattr(ext, cls), name)), (cls, name)
    sim_stubs = stub_functions(os.path.join(PKG, "sim.pyi"))
    assert sim_stubs["render"] == bound_signatures(xelora.sim.render)
    assert os.path.exists(os.path.join(PKG, "py.typed"))


def test_every_class_function_and_member_has_a_docstring():
    objects = [xelora, xelora.sim, ext.XeloraAlgo, ext.ROI, ext.Calibration, ext.Head, ext.ScanResult,
               xelora.sim.Rendering, xelora.read_calibration_json, xelora.write_calibration_json, xelora.sim.render]
    for cls in (ext.XeloraAlgo, ext.Head, ext.ScanResult, ext.ROI, ext.Calibration, xelora.sim.Rendering):
        objects += [getattr(cls, n) for n in dir(cls) if not n.startswith("_")]
    for obj in objects:
        doc = getattr(obj, "__doc__", None) or ""
        body = "\n".join(l for l in doc.splitlines() if not re.match(r"^(\d+\. )?\w+\(.*\) ->", l)).strip()
        assert len(body) > 8, obj


def test_records_from_keywords_dicts_and_json_share_the_record(tmp_path):
    k1 = [[1000.0, 0, 320], [0, 1001.0, 240], [0, 0, 1]]
    a = xelora.Calibration(K1=k1, T=[-150, 0, 0])
    b = xelora.Calibration({"K1": sum(k1, []), "T": (-150, 0, 0), "format": "xelora-calibration"})
    assert a.to_dict().keys() == b.to_dict().keys()
    assert all((a.to_dict()[k] == b.to_dict()[k]).all() for k in a.to_dict())
    view = a.K1
    view[0, 0] = 1234.0  # a view onto the record
    assert a.K1[0, 0] == 1234.0 and a.to_dict()["K1"][0, 0] == 1234.0
    roi = xelora.ROI(width=160, height=128, offsetX=8)
    assert xelora.ROI({"width": 160, "height": 128, "offsetX": 8}) == roi and roi.to_dict()["offsetX"] == 8
    path = str(tmp_path / "calib.json")
    xelora.write_calibration_json(path, a, roi)
    c, r = xelora.read_calibration_json(path)
    assert r == roi and all((c.to_dict()[k] == a.to_dict()[k]).all() for k in a.to_dict())
    assert (xelora.Calibration.from_json(path).K1 == a.K1).all()
    algo = xelora.XeloraAlgo()
    algo.SetROIInfo({"width": 160, "height": 128, "offsetX": 8})
    algo.SetCalibrationInfo(a.to_dict())
    algo.CalKR()
    assert algo.GetROIInfoOffsetX() == 8 and algo.GetData()[0] == 320


def test_installed_package_imports_and_runs_outside_the_build_tree(tmp_path):
    build = os.environ.get("XELORA_BUILD_DIR")
    cmake = os.environ.get("XELORA_CMAKE", "cmake")
    if not build:
        pytest.skip("XELORA_BUILD_DIR is not set")
    prefix = tmp_path / "prefix"
    subprocess.run([cmake, "--install", build, "--prefix", str(prefix)], check=True, capture_output=True)
    found = [d for d, _, files in os.walk(prefix) if "_xelora.pyi" in files]
    assert len(found) == 1 and found[0].endswith(os.path.join("dist-packages", "xelora"))
    code = ("import xelora, sys; assert xelora.__file__.startswith(sys.argv[1]); "
            "r = xelora.sim.render(64, 64); s = xelora.Head(r.calibration, r.roi).scan(r.cam1_11, r.cam2_11); "
            "print(s.count)")
    env = {k: v for k, v in os.environ.items() if k != "PYTHONPATH"}
    env["PYTHONPATH"] = os.path.dirname(found[0])
    res = subprocess.run([sys.executable, "-c", code, str(prefix)], env=env, capture_output=True, text=True,
                         cwd=str(tmp_path))
    assert res.returncode == 0, res.stderr
    assert int(res.stdout) > 0
