// The extension module xelora._xelora: the records, the low-level handle xelora.XeloraAlgo with every
// member of the library under its own name, the high-level Head and the virtual sensor head (sim).
#include <stdexcept>

#include "Binding.h"

namespace xpy {
namespace {

// The library reports a missing set-up with std::logic_error and a bad parameter with
// std::invalid_argument (a logic_error too): ValueError for the parameter, RuntimeError for the order.
void translateLibraryErrors(std::exception_ptr p) {
    try {
        if (p) std::rethrow_exception(p);
    } catch (const std::invalid_argument& e) {
        PyErr_SetString(PyExc_ValueError, e.what());
    } catch (const std::domain_error& e) {
        PyErr_SetString(PyExc_ValueError, e.what());
    } catch (const std::length_error& e) {
        PyErr_SetString(PyExc_ValueError, e.what());
    } catch (const std::out_of_range& e) {
        PyErr_SetString(PyExc_IndexError, e.what());
    } catch (const std::logic_error& e) {
        PyErr_SetString(PyExc_RuntimeError, e.what());
    }
}

}  // namespace
}  // namespace xpy

PYBIND11_MODULE(_xelora, m) {
    using namespace xpy;
    m.doc() = "Python bindings of the XeloraAlgo image-processing library (see the xelora package).";
    py::register_exception_translator(&translateLibraryErrors);
    bindRecords(m);
    HandleClass c(m, "XeloraAlgo",
                  "One library handle per sensor head, with every member of the C++ class under its own name.\n\n"
                  "Per-pixel maps are numpy arrays of shape (height, width) of the ROI: float32 for phase, "
                  "modulation, intensity, depth and coordinates, bool for masks, uint8 for images; pattern stacks "
                  "are (planes, height, width) uint8, two-camera frames (2*height, width) uint8 (row 2r camera 1, "
                  "row 2r+1 camera 2), colour images (height, width, 3) uint8, point lists (N, 2) or (N, 3) "
                  "float64. Inputs must have exactly that dtype and shape and be C-contiguous (ValueError "
                  "otherwise); they are never changed. Outputs come back as new arrays, or are written into the "
                  "caller's own arrays passed as out= (one array, or a tuple for several outputs; None entries "
                  "get new arrays). Members that work in place in C++ copy their input into the output first; "
                  "passing the input itself as out= runs them truly in place. A member called before the set-up "
                  "it needs raises RuntimeError. The GIL is released while the library works; a handle runs one "
                  "call at a time.");
    c.def(py::init<>(), "A new handle: ROI and calibration zero, no tables built.");
    bindFrame(c);
    bindFringe(c);
    bindStereo(c);
    bindDepthFilter(c);
    bindImagingColour(c);
    bindImagingExposure(c);
    bindLaserline(c);
    bindCloud(c);
    bindFitting(c);
    bindHead(m);
    py::module_ sim = m.def_submodule("sim",
                                      "The virtual sensor head: renders pattern, laser and colour images of a "
                                      "known scene, with its calibration and ground truth.");
    bindSim(sim);
}
