// Rendering of the virtual sensor head's images by ray casting, and the ground truth.
//
// Every camera pixel is sampled with supersample x supersample rays through its area; each ray's hit
// is shaded as albedo x (ambient + projector irradiance x pattern), the projector irradiance being
// Lambertian (cosine of incidence, inverse-square falloff) and zero in the projector's shadow. The
// averaged image is blurred by a Gaussian (defocus), shot and read noise are added (scaled by
// RenderOptions::noise, 0 = none) and the result is rounded and clipped to 0 ... 255 (saturation).
//
// Pattern sets (projector energy E in 0 ... 1 as a function of the projector column u; W7 =
// floor(u / (projector.width / 128)) is the half-period index, G7 = W7 ^ (W7 >> 1) its 7-bit Gray
// code, theta the absolute phase of SensorHead):
//   11 planes: 0 ... 5 Gray bits 6 ... 1 of G7 (plane 0 the coarsest), 6 Gray bit 0 of G7 (the
//              half-period image), 7 + j the fringe 0.5 + 0.5 cos(theta - (j + 1) pi / 2), j = 0 ... 3.
//   18 planes: 2j = pattern bit p_j and 2j + 1 its inverse (j = 0 ... 6), with p_6 = bit 0 of G7,
//              p_k = bit (6 - k) of G7 xor p_6 for k = 1 ... 5 and p_0 = not(bit 6 of G7) xor p_6;
//              14 ... 17 the fringes with shifts 3 pi / 2, pi, pi / 2, 0.
//   A Gray edge is spread linearly over one projector pixel.
// These are the patterns from which the library's decoders recover theta: DecGrayPhase1 reads the
// 11-plane set, DecGrayPhase2 the 18-plane set.
#ifndef XELORA_TOOLS_SIM_RENDER_H
#define XELORA_TOOLS_SIM_RENDER_H

#include <cstdint>
#include <string>
#include <vector>

#include "SensorHead.h"
#include "SimScene.h"

namespace xsim {

using Plane8 = std::vector<std::uint8_t>;

struct RenderOptions {
    double noise = 1.0;       // 0: noise free (8-bit rounding only); 1: the default sensor noise
    int supersample = 2;      // rays per pixel along each axis
    double blurSigma = 0.6;   // defocus blur of the measurement and colour cameras (pixels)
    double ambient = 0.08;    // ambient light, as a fraction of the projector's full irradiance
    double exposure = 240.0;  // grey level of a white frontal surface under full projector light
    double laserPeak = 230.0; // grey level of the laser stripe centre on a white frontal surface
    double laserSigmaMm = 0.25;  // laser sheet thickness (1 sigma, mm) at the full 1280-pixel width;
                                 // a smaller image gets a proportionally thicker sheet
    bool fringe11 = true, fringe18 = true, laser = true, colour = true;
    unsigned seed = 20261123;
};

struct CameraImages {
    std::vector<Plane8> fringe11;  // 11 planes or empty
    std::vector<Plane8> fringe18;  // 18 planes or empty
    Plane8 laser;                  // laser-stripe image or empty
    std::vector<float> phase;      // true absolute phase at each pixel centre, NaN where unlit/unseen
};

struct Rendering {
    int width = 0, height = 0;
    CameraImages cam[2];
    std::vector<std::uint8_t> colourRgb;  // colour camera image, 3 bytes per pixel (RGB)
    // Ground truth on camera 1's undistorted (pinhole) pixel grid, the grid of the library's point
    // maps: depthTruth = Z (mm, camera-1 frame) of the surface seen along the pinhole ray through
    // pixel (col, row), 0 where the ray hits nothing or leaves the sensor; seenByAll = 1 where that
    // point is on both sensors, seen by camera 2 and lit by the projector.
    std::vector<float> depthTruth;
    std::vector<std::uint8_t> seenByAll;
    // 1 where that point lies in the laser sheet (within 2 sigma of its plane), is lit by the laser and
    // is seen by camera 2: the rows holding such pixels are where the stripe is visible in both cameras.
    std::vector<std::uint8_t> laserSeen;
};

// Projector energy of plane `plane` of the 11- or 18-plane set at projector column u.
double patternEnergy11(const SensorHead& head, int plane, double u);
double patternEnergy18(const SensorHead& head, int plane, double u);

// Renders everything that `options` asks for.
Rendering render(const SensorHead& head, const Scene& scene, const RenderOptions& options);

// Ground truth only (width, height, depthTruth, seenByAll, laserSeen).
void renderTruth(const SensorHead& head, const Scene& scene, const RenderOptions& options,
                 Rendering& out);

}  // namespace xsim

#endif
