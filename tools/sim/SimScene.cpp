// Scene construction and exact ray casting of planes, spheres and convex solids.
#include "SimScene.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace xsim {
namespace {

Solid basePlane(double z) {
    Solid s;
    s.kind = Solid::Plane;
    s.planeZ = z;
    s.colour = {0.82, 0.80, 0.76};
    s.checkerColour = {0.60, 0.63, 0.68};
    s.checkerSize = 20.0;
    s.name = "base plane";
    return s;
}

Solid hemisphere(const Vec3& centre, double radius) {
    Solid s;
    s.kind = Solid::Sphere;
    s.centre = centre;
    s.radius = radius;
    s.colour = {0.90, 0.48, 0.36};
    s.name = "hemisphere";
    return s;
}

// Axis-aligned block x0..x1, y0..y1 standing on the plane z = zBack, height h towards the head.
Solid block(double x0, double x1, double y0, double y1, double zBack, double h) {
    Solid s;
    s.kind = Solid::Convex;
    s.faces = {{{-1, 0, 0}, -x0}, {{1, 0, 0}, x1}, {{0, -1, 0}, -y0},
               {{0, 1, 0}, y1},   {{0, 0, 1}, zBack}, {{0, 0, -1}, -(zBack - h)}};
    s.boxMin = Vec3(x0, y0, zBack - h);
    s.boxMax = Vec3(x1, y1, zBack);
    s.colour = {0.36, 0.52, 0.90};
    s.name = "step block";
    return s;
}

// Wedge on x0..x1, y0..y1: its top rises from the plane z = zBack at x0 to height h at x1.
Solid wedge(double x0, double x1, double y0, double y1, double zBack, double h) {
    Solid s;
    s.kind = Solid::Convex;
    const double slope = h / (x1 - x0);
    // Top face: z >= zBack - slope (x - x0)  <=>  -slope x - z <= -zBack - slope x0.
    s.faces = {{{-1, 0, 0}, -x0}, {{1, 0, 0}, x1}, {{0, -1, 0}, -y0},
               {{0, 1, 0}, y1},   {{0, 0, 1}, zBack}, {{-slope, 0, -1}, -zBack - slope * x0}};
    s.boxMin = Vec3(x0, y0, zBack - h);
    s.boxMax = Vec3(x1, y1, zBack);
    s.colour = {0.46, 0.84, 0.46};
    s.name = "wedge";
    return s;
}

bool hitSolid(const Solid& s, const Vec3& o, const Vec3& d, double tMin, double& t, Vec3& n) {
    switch (s.kind) {
    case Solid::Plane: {
        if (std::fabs(d.z) < 1e-15) return false;
        t = (s.planeZ - o.z) / d.z;
        if (!(t > tMin)) return false;
        n = Vec3(0, 0, d.z > 0 ? -1 : 1);
        return true;
    }
    case Solid::Sphere: {
        const Vec3 oc = o - s.centre;
        const double b = dot(oc, d);
        const double c = dot(oc, oc) - s.radius * s.radius;
        const double disc = b * b - c;
        if (disc < 0) return false;
        const double sq = std::sqrt(disc);
        double tt = -b - sq;
        if (!(tt > tMin)) tt = -b + sq;
        if (!(tt > tMin)) return false;
        t = tt;
        n = normalized((o + d * t) - s.centre);
        if (dot(n, d) > 0) n = -n;
        return true;
    }
    case Solid::Convex: {
        // Slab test against the bounding box first (with a margin for rounding).
        {
            double lo = -std::numeric_limits<double>::infinity(), hi = std::numeric_limits<double>::infinity();
            const double o3[3] = {o.x, o.y, o.z}, d3[3] = {d.x, d.y, d.z};
            const double mn[3] = {s.boxMin.x - 1e-6, s.boxMin.y - 1e-6, s.boxMin.z - 1e-6};
            const double mx[3] = {s.boxMax.x + 1e-6, s.boxMax.y + 1e-6, s.boxMax.z + 1e-6};
            for (int a = 0; a < 3; ++a) {
                if (std::fabs(d3[a]) < 1e-15) {
                    if (o3[a] < mn[a] || o3[a] > mx[a]) return false;
                    continue;
                }
                double t0 = (mn[a] - o3[a]) / d3[a], t1 = (mx[a] - o3[a]) / d3[a];
                if (t0 > t1) std::swap(t0, t1);
                lo = std::max(lo, t0);
                hi = std::min(hi, t1);
            }
            if (!(lo <= hi) || !(hi > tMin)) return false;
        }
        double tEnter = -std::numeric_limits<double>::infinity();
        double tExit = std::numeric_limits<double>::infinity();
        Vec3 nEnter;
        for (const HalfSpace& f : s.faces) {
            const double denom = dot(f.n, d);
            const double dist = f.d - dot(f.n, o);
            if (std::fabs(denom) < 1e-15) {
                if (dist < 0) return false;
                continue;
            }
            const double tt = dist / denom;
            if (denom < 0) {
                if (tt > tEnter) {
                    tEnter = tt;
                    nEnter = f.n;
                }
            } else if (tt < tExit) {
                tExit = tt;
            }
        }
        if (!(tEnter <= tExit) || !(tEnter > tMin)) return false;
        t = tEnter;
        n = normalized(nEnter);
        return true;
    }
    }
    return false;
}

}  // namespace

std::vector<std::string> Scene::names() { return {"default", "plane", "hemisphere"}; }

bool Scene::make(const std::string& name, double D, Scene& out) {
    out = Scene();
    out.name = name;
    out.solids.push_back(basePlane(D));
    if (name == "plane") return true;
    out.solids.push_back(hemisphere(Vec3(-55, 20, D), 40.0));
    if (name == "hemisphere") return true;
    if (name != "default") return false;
    out.solids.push_back(block(-105, -10, -90, -35, D, 12.0));
    out.solids.push_back(wedge(20, 110, -80, 75, D, 30.0));
    return true;
}

bool Scene::intersect(const Vec3& o, const Vec3& d, Hit& hit, double tMin) const {
    bool found = false;
    for (std::size_t i = 0; i < solids.size(); ++i) {
        double t;
        Vec3 n;
        if (hitSolid(solids[i], o, d, tMin, t, n) && (!found || t < hit.t)) {
            found = true;
            hit.t = t;
            hit.n = n;
            hit.solid = static_cast<int>(i);
        }
    }
    if (found) hit.p = o + d * hit.t;
    return found;
}

bool Scene::visible(const Vec3& from, const Vec3& to) const {
    const Vec3 seg = to - from;
    const double len = norm(seg);
    Hit h;
    if (!intersect(from, seg * (1.0 / len), h)) return true;
    return h.t > len - 1e-6 * (1.0 + len);
}

Rgb Scene::albedo(const Hit& hit) const {
    const Solid& s = solids[static_cast<std::size_t>(hit.solid)];
    if (s.checkerSize > 0 && std::fabs(hit.p.x) < 1e9 && std::fabs(hit.p.y) < 1e9) {
        const long ix = static_cast<long>(std::floor(hit.p.x / s.checkerSize));
        const long iy = static_cast<long>(std::floor(hit.p.y / s.checkerSize));
        if (((ix + iy) & 1) != 0) return s.checkerColour;
    }
    return s.colour;
}

}  // namespace xsim
