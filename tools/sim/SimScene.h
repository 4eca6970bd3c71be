// The scene of the virtual sensor head: analytic solids in the rig frame (mm), ray cast exactly.
//
// The default scene is a plane facing the head at the working distance carrying a hemisphere, a
// raised rectangular block (a step) and a wedge whose top is a slanted face. Every solid sits on the
// base plane, so the parts of the solids behind it are hidden by it.
#ifndef XELORA_TOOLS_SIM_SIMSCENE_H
#define XELORA_TOOLS_SIM_SIMSCENE_H

#include <string>
#include <vector>

#include "SimMath.h"

namespace xsim {

struct Rgb {
    double r = 0, g = 0, b = 0;
    double grey() const { return 0.299 * r + 0.587 * g + 0.114 * b; }
};

struct Hit {
    double t = 0;     // ray parameter (the ray direction is a unit vector: distance in mm)
    Vec3 p;           // hit point
    Vec3 n;           // unit surface normal, facing the ray origin
    int solid = -1;   // index of the solid hit
};

// A convex solid given by half-spaces n . x <= d (n need not be unit length).
struct HalfSpace {
    Vec3 n;
    double d = 0;
};

struct Solid {
    enum Kind { Plane, Sphere, Convex } kind = Plane;
    // Plane: z = planeZ. Sphere: centre, radius. Convex: faces.
    double planeZ = 0;
    Vec3 centre;
    double radius = 0;
    std::vector<HalfSpace> faces;
    Vec3 boxMin, boxMax;  // Convex: an axis-aligned box holding the solid (rays that miss it skip it)
    Rgb colour;          // albedo (0 ... 1 per channel)
    Rgb checkerColour;   // second albedo of a checker pattern (base plane only)
    double checkerSize = 0;  // checker square size in mm, 0: plain
    std::string name;
};

class Scene {
public:
    // Named scenes: "default", "plane" (the base plane alone), "hemisphere" (plane + hemisphere).
    // Returns false for an unknown name.
    static bool make(const std::string& name, double workingDistance, Scene& out);
    static std::vector<std::string> names();

    // Nearest hit with t > tMin along origin + t * dir (dir of unit length); false if none.
    bool intersect(const Vec3& origin, const Vec3& dir, Hit& hit, double tMin = 1e-6) const;
    // True when the segment from `from` to `to` is unobstructed (up to a small tolerance at `to`).
    bool visible(const Vec3& from, const Vec3& to) const;
    Rgb albedo(const Hit& hit) const;

    std::vector<Solid> solids;
    std::string name;
};

}  // namespace xsim

#endif
