// xelora.sim: the virtual sensor head of tools/sim. render() ray-casts a known scene into the
// images a real head would deliver, with the head's calibration and the ground truth; the same
// arguments give the same images as `xelora-scan simulate`.
//   out: 11- and 18-plane stacks (planes, h, w) uint8 per camera, laser images (h, w) uint8, colour
//        image (h, w, 3) uint8, true phase (h, w) float32 per camera, depth truth (h, w) float32 on
//        camera 1's undistorted grid (mm, 0 = nothing), seen / laser_seen (h, w) bool.
#include <cstring>

#include "Binding.h"
#include "Commands.h"
#include "Render.h"
#include "ScanIO.h"
#include "SensorHead.h"
#include "SimScene.h"

namespace xpy {
namespace {

struct Rendering {
    int width = 0, height = 0;
    py::object cam1_11, cam2_11, cam1_18, cam2_18, laser1, laser2, colour, phase1, phase2;
    py::object depth_truth, seen, laser_seen;
    XELORAALGO::tagXeloraAlgoCalibrationInfo calibration{};
};

py::object stack(const std::vector<xsim::Plane8>& planes, int h, int w) {
    if (planes.empty()) return py::none();
    py::array_t<std::uint8_t> a(Shape{static_cast<py::ssize_t>(planes.size()), h, w});
    const std::size_t n = static_cast<std::size_t>(h) * w;
    for (std::size_t k = 0; k < planes.size(); ++k) std::memcpy(a.mutable_data() + k * n, planes[k].data(), n);
    return std::move(a);
}

template <class T, class V>
py::object image(const V& v, const Shape& shape) {
    if (v.empty()) return py::none();
    return arrayFrom<T>(v, shape);
}

}  // namespace

void bindSim(py::module_& m) {
    m.def("scenes", &xsim::Scene::names, "Names of the scenes render() knows.");
    py::class_<Rendering>(m, "Rendering", "Images, calibration and ground truth of one simulated capture.")
        .def_readonly("width", &Rendering::width, "image width")
        .def_readonly("height", &Rendering::height, "image height")
        .def_readonly("cam1_11", &Rendering::cam1_11, "camera 1's 11-plane pattern stack (11, h, w) uint8, or None")
        .def_readonly("cam2_11", &Rendering::cam2_11, "camera 2's 11-plane pattern stack, or None")
        .def_readonly("cam1_18", &Rendering::cam1_18, "camera 1's paired 18-plane stack (18, h, w) uint8, or None")
        .def_readonly("cam2_18", &Rendering::cam2_18, "camera 2's paired 18-plane stack, or None")
        .def_readonly("laser1", &Rendering::laser1, "camera 1's laser-stripe image (h, w) uint8, or None")
        .def_readonly("laser2", &Rendering::laser2, "camera 2's laser-stripe image, or None")
        .def_readonly("colour", &Rendering::colour, "colour camera image (h, w, 3) uint8 RGB, or None")
        .def_readonly("phase1", &Rendering::phase1, "true absolute projector phase at camera 1's pixels, NaN unlit")
        .def_readonly("phase2", &Rendering::phase2, "true absolute projector phase at camera 2's pixels")
        .def_readonly("depth_truth", &Rendering::depth_truth,
                      "true depth Z (mm) on camera 1's undistorted grid, float32 (h, w), 0 where nothing is hit")
        .def_readonly("seen", &Rendering::seen, "True where the point is seen by both cameras and lit by the projector")
        .def_readonly("laser_seen", &Rendering::laser_seen, "True where the laser stripe is visible in both cameras")
        .def_readonly("calibration", &Rendering::calibration, "the head's calibration (xelora.Calibration)")
        .def_property_readonly(
            "roi",
            [](const Rendering& r) {
                return XELORAALGO::tagXeloraAlgoROIInfo{0, 0, r.width, r.height};
            },
            "the ROI the images cover (the whole sensor)");
    m.def(
        "render",
        [](int width, int height, const std::string& scene, double noise, double baseline, bool fringe11, bool fringe18,
           bool laser, bool colour) {
            xscan::SimOptions so;
            so.scene = scene;
            so.width = width;
            so.height = height;
            so.noise = noise;
            so.baseline = baseline;
            try {
                xscan::validate(so);
            } catch (const xscan::InputError& e) {
                throw py::value_error("render: " + e.file() + ": " + e.reason());
            }
            xsim::HeadOptions ho;
            ho.width = width;
            ho.height = height;
            ho.baseline = baseline;
            xsim::RenderOptions ro;
            ro.noise = noise;
            ro.fringe11 = fringe11;
            ro.fringe18 = fringe18;
            ro.laser = laser;
            ro.colour = colour;
            xsim::Rendering img;
            xsim::SensorHead head;
            {
                py::gil_scoped_release nogil;
                head = xsim::SensorHead::make(ho);
                xsim::Scene sc;
                xsim::Scene::make(scene, ho.workingDistance, sc);
                img = xsim::render(head, sc, ro);
            }
            Rendering r;
            r.width = img.width;
            r.height = img.height;
            const int h = img.height, w = img.width;
            r.cam1_11 = stack(img.cam[0].fringe11, h, w);
            r.cam2_11 = stack(img.cam[1].fringe11, h, w);
            r.cam1_18 = stack(img.cam[0].fringe18, h, w);
            r.cam2_18 = stack(img.cam[1].fringe18, h, w);
            r.laser1 = image<std::uint8_t>(img.cam[0].laser, Shape{h, w});
            r.laser2 = image<std::uint8_t>(img.cam[1].laser, Shape{h, w});
            r.colour = image<std::uint8_t>(img.colourRgb, Shape{h, w, 3});
            r.phase1 = image<float>(img.cam[0].phase, Shape{h, w});
            r.phase2 = image<float>(img.cam[1].phase, Shape{h, w});
            r.depth_truth = image<float>(img.depthTruth, Shape{h, w});
            r.seen = image<bool>(img.seenByAll, Shape{h, w});
            r.laser_seen = image<bool>(img.laserSeen, Shape{h, w});
            r.calibration = head.calibration();
            return r;
        },
        py::arg("width") = 320, py::arg("height") = 256, py::arg("scene") = "default", py::arg("noise") = 1.0,
        py::arg("baseline") = 150.0, py::kw_only(), py::arg("fringe11") = true, py::arg("fringe18") = true,
        py::arg("laser") = true, py::arg("colour") = true,
        "Renders the virtual sensor head (two measurement cameras 150 mm apart verged on 500 mm, fringe projector, "
        "laser line, colour camera) looking at a named scene (see scenes()): width and height multiples of 8 in "
        "64 ... 8192, noise 0 (none) ... 100 (1 = the default sensor noise), baseline 50 ... 400 mm. The same "
        "arguments give the images of `xelora-scan simulate --size WxH --noise N --scene S`.");
}

}  // namespace xpy
