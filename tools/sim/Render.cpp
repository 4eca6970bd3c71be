// Ray-cast rendering of the fringe, laser and colour images and of the ground truth.
#include "Render.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <thread>

namespace xsim {
namespace {

constexpr double kPi = 3.14159265358979323846;

// Runs fn(rowBegin, rowEnd) over [0, rows) on a few threads.
void parallelRows(int rows, const std::function<void(int, int)>& fn) {
    unsigned n = std::thread::hardware_concurrency();
    n = std::max(1u, std::min(n, 4u));
    if (rows < 64) n = 1;
    std::vector<std::thread> workers;
    const int per = (rows + static_cast<int>(n) - 1) / static_cast<int>(n);
    for (unsigned k = 0; k < n; ++k) {
        const int b = static_cast<int>(k) * per;
        const int e = std::min(rows, b + per);
        if (b >= e) break;
        workers.emplace_back(fn, b, e);
    }
    for (auto& t : workers) t.join();
}

// Runs fn(job) for job = 0 ... count-1 on a few threads, each taking the next job when free.
void parallelJobs(int count, const std::function<void(int)>& fn) {
    unsigned n = std::thread::hardware_concurrency();
    n = std::max(1u, std::min({n, 4u, static_cast<unsigned>(std::max(1, count))}));
    std::atomic<int> next{0};
    std::vector<std::thread> workers;
    for (unsigned k = 0; k < n; ++k)
        workers.emplace_back([&]() {
            for (int j = next++; j < count; j = next++) fn(j);
        });
    for (auto& t : workers) t.join();
}

// Half-period index of projector column u (0 ... 127).
int halfPeriodIndex(const SensorHead& head, double u) {
    const double halfPeriod = head.projector.width / (2.0 * head.periods);
    const double k = std::floor(u / halfPeriod);
    if (!(k >= 0)) return 0;
    if (k > 2 * head.periods - 1) return static_cast<int>(2 * head.periods - 1);
    return static_cast<int>(k);
}

int gray7(int w7) { return w7 ^ (w7 >> 1); }

// Bit pattern of a Gray plane at column u: plane index into the 7 code images in decoder order.
using BitFn = int (*)(int g7, int image);

int bit11(int g7, int image) {
    // image 0 ... 5: bits 6 ... 1; image 6: bit 0.
    return image < 6 ? (g7 >> (6 - image)) & 1 : g7 & 1;
}

int bit18(int g7, int pair) {
    const int b0 = g7 & 1;
    if (pair == 6) return b0;
    const int g = (g7 >> (6 - pair)) & 1;
    return pair == 0 ? ((1 - g) ^ b0) : (g ^ b0);
}

// Energy of a binary code image at u with each edge spread over one projector pixel.
double binaryEnergy(const SensorHead& head, BitFn fn, int image, bool inverse, double u) {
    const double halfPeriod = head.projector.width / (2.0 * head.periods);
    const int lo = fn(gray7(halfPeriodIndex(head, u - 0.5)), image);
    const int hi = fn(gray7(halfPeriodIndex(head, u + 0.5)), image);
    double e;
    if (lo == hi) {
        e = lo;
    } else {
        const double edge = std::round(u / halfPeriod) * halfPeriod;
        const double fHi = std::min(1.0, std::max(0.0, (u + 0.5) - edge));
        e = hi * fHi + lo * (1.0 - fHi);
    }
    return inverse ? 1.0 - e : e;
}

double thetaOf(const SensorHead& head, double u) { return 2.0 * kPi * head.periods * u / head.projector.width; }

struct Sample {
    float ambient;  // albedo x ambient x exposure
    float proj;     // albedo x projector irradiance x exposure (0 in shadow)
    float u;        // projector column (NaN outside the projector's field)
    float laser;    // laser-image radiance
};

struct SampleField {
    int width = 0, height = 0, ss = 0;
    std::vector<Sample> s;  // (row * width + col) * ss * ss + k
};

SampleField sampleCamera(const SensorHead& head, const Scene& scene, const Camera& cam,
                         const RenderOptions& o) {
    SampleField f;
    f.width = cam.width;
    f.height = cam.height;
    f.ss = std::max(1, o.supersample);
    const int ss = f.ss;
    f.s.resize(static_cast<std::size_t>(cam.width) * cam.height * ss * ss);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const double D2 = head.options.workingDistance * head.options.workingDistance;
    const double laserSigma = o.laserSigmaMm * std::max(1.0, 1280.0 / cam.width);
    parallelRows(cam.height, [&](int r0, int r1) {
        for (int r = r0; r < r1; ++r)
            for (int c = 0; c < cam.width; ++c)
                for (int k = 0; k < ss * ss; ++k) {
                    const double du = ((k % ss) + 0.5) / ss - 0.5;
                    const double dv = ((k / ss) + 0.5) / ss - 0.5;
                    Sample& smp = f.s[(static_cast<std::size_t>(r) * cam.width + c) * ss * ss + k];
                    smp = Sample{0.0f, 0.0f, nan, 0.0f};
                    const Vec3 dir = cam.rayThroughPixel(c + du, r + dv);
                    Hit hit;
                    if (!scene.intersect(cam.C, dir, hit)) continue;
                    const double grey = scene.albedo(hit).grey();
                    smp.ambient = static_cast<float>(o.exposure * grey * o.ambient);
                    // Fringe projector.
                    double pu, pv;
                    if (head.projector.projectPinhole(hit.p, pu, pv) && pu >= 0 && pu < head.projector.width &&
                        pv >= 0 && pv < head.projector.height) {
                        const Vec3 toP = head.projector.C - hit.p;
                        const double dist = norm(toP);
                        const double cosI = dot(hit.n, toP) / dist;
                        if (cosI > 0 && scene.visible(head.projector.C, hit.p)) {
                            smp.proj = static_cast<float>(o.exposure * grey * (1.0 - o.ambient) * cosI * D2 /
                                                          (dist * dist));
                            smp.u = static_cast<float>(pu);
                        }
                    }
                    // Laser sheet.
                    if (o.laser) {
                        const double d = dot(head.laserNormal, hit.p - head.laserOrigin);
                        const double prof = std::exp(-d * d / (2.0 * laserSigma * laserSigma));
                        double val = o.exposure * grey * 0.02;
                        if (prof > 1e-6) {
                            const Vec3 toL = head.laserOrigin - hit.p;
                            const double cosL = dot(hit.n, toL) / norm(toL);
                            if (cosL > 0 && scene.visible(head.laserOrigin, hit.p))
                                val += o.laserPeak * grey * cosL * prof;
                        }
                        smp.laser = static_cast<float>(val);
                    }
                }
    });
    return f;
}

void gaussianBlur(std::vector<float>& img, int w, int h, double sigma) {
    if (!(sigma > 0)) return;
    const int rad = static_cast<int>(std::ceil(3.0 * sigma));
    std::vector<float> k(2 * rad + 1);
    double sum = 0;
    for (int i = -rad; i <= rad; ++i) sum += (k[i + rad] = static_cast<float>(std::exp(-i * i / (2 * sigma * sigma))));
    for (float& v : k) v = static_cast<float>(v / sum);
    std::vector<float> tmp(img.size());
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            float acc = 0;
            for (int i = -rad; i <= rad; ++i) {
                const int cc = std::min(w - 1, std::max(0, c + i));
                acc += k[i + rad] * img[static_cast<std::size_t>(r) * w + cc];
            }
            tmp[static_cast<std::size_t>(r) * w + c] = acc;
        }
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) {
            float acc = 0;
            for (int i = -rad; i <= rad; ++i) {
                const int rr = std::min(h - 1, std::max(0, r + i));
                acc += k[i + rad] * tmp[static_cast<std::size_t>(rr) * w + c];
            }
            img[static_cast<std::size_t>(r) * w + c] = acc;
        }
}

// Blur, noise, rounding and clipping of one radiance image (grey levels).
Plane8 expose(std::vector<float>& img, int w, int h, const RenderOptions& o, unsigned seed) {
    gaussianBlur(img, w, h, o.blurSigma);
    Plane8 out(img.size());
    std::mt19937 rng(seed);
    std::normal_distribution<float> normal(0.0f, 1.0f);
    const double readSigma = 0.8, electronsPerLevel = 47.0;
    for (std::size_t i = 0; i < img.size(); ++i) {
        double v = img[i];
        if (o.noise > 0) {
            const double sigma = o.noise * std::sqrt(std::max(0.0, v) / electronsPerLevel + readSigma * readSigma);
            v += sigma * normal(rng);
        }
        v = std::floor(v + 0.5);
        out[i] = static_cast<std::uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
    }
    return out;
}

template <class EnergyFn>
Plane8 patternImage(const SampleField& f, EnergyFn energy, const RenderOptions& o, unsigned seed) {
    const int n = f.ss * f.ss;
    std::vector<float> img(static_cast<std::size_t>(f.width) * f.height);
    for (std::size_t i = 0; i < img.size(); ++i) {
        double acc = 0;
        for (int k = 0; k < n; ++k) {
            const Sample& s = f.s[i * n + k];
            acc += s.ambient;
            if (s.proj > 0) acc += s.proj * energy(static_cast<double>(s.u));
        }
        img[i] = static_cast<float>(acc / n);
    }
    return expose(img, f.width, f.height, o, seed);
}

CameraImages renderCamera(const SensorHead& head, const Scene& scene, const Camera& cam, int index,
                          const RenderOptions& o) {
    CameraImages out;
    const SampleField f = sampleCamera(head, scene, cam, o);
    const unsigned base = o.seed + 1000u * static_cast<unsigned>(index + 1);
    const int n11 = o.fringe11 ? 11 : 0, n18 = o.fringe18 ? 18 : 0;
    out.fringe11.resize(static_cast<std::size_t>(n11));
    out.fringe18.resize(static_cast<std::size_t>(n18));
    const int n = f.ss * f.ss;
    // One job per image; the jobs share the sample field read-only.
    const int jobs = n11 + n18 + (o.laser ? 1 : 0);
    parallelJobs(jobs, [&](int j) {
        {
            if (j < n11) {
                out.fringe11[static_cast<std::size_t>(j)] =
                    patternImage(f, [&](double u) { return patternEnergy11(head, j, u); }, o, base + j);
            } else if (j < n11 + n18) {
                const int p = j - n11;
                out.fringe18[static_cast<std::size_t>(p)] =
                    patternImage(f, [&](double u) { return patternEnergy18(head, p, u); }, o, base + 100 + p);
            } else {
                std::vector<float> img(static_cast<std::size_t>(f.width) * f.height);
                for (std::size_t i = 0; i < img.size(); ++i) {
                    double acc = 0;
                    for (int k = 0; k < n; ++k) acc += f.s[i * n + k].laser;
                    img[i] = static_cast<float>(acc / n);
                }
                out.laser = expose(img, f.width, f.height, o, base + 200);
            }
        }
    });
    out.phase.assign(static_cast<std::size_t>(f.width) * f.height, std::numeric_limits<float>::quiet_NaN());
    for (std::size_t i = 0; i < out.phase.size(); ++i) {
        double acc = 0;
        bool all = true;
        for (int k = 0; k < n; ++k) {
            const Sample& s = f.s[i * n + k];
            if (!(s.proj > 0)) all = false;
            acc += s.u;
        }
        if (all) out.phase[i] = static_cast<float>(thetaOf(head, acc / n));
    }
    return out;
}

std::vector<std::uint8_t> renderColour(const SensorHead& head, const Scene& scene, const RenderOptions& o) {
    const Camera& cam = head.colour;
    const int ss = std::max(1, o.supersample);
    const std::size_t np = static_cast<std::size_t>(cam.width) * cam.height;
    std::vector<float> ch[3];
    for (auto& c : ch) c.assign(np, 0.0f);
    const double D2 = head.options.workingDistance * head.options.workingDistance;
    parallelRows(cam.height, [&](int r0, int r1) {
        for (int r = r0; r < r1; ++r)
            for (int c = 0; c < cam.width; ++c) {
                double acc[3] = {0, 0, 0};
                for (int k = 0; k < ss * ss; ++k) {
                    const double du = ((k % ss) + 0.5) / ss - 0.5;
                    const double dv = ((k / ss) + 0.5) / ss - 0.5;
                    Hit hit;
                    if (!scene.intersect(cam.C, cam.rayThroughPixel(c + du, r + dv), hit)) continue;
                    const Rgb a = scene.albedo(hit);
                    double light = o.ambient;
                    const Vec3 toP = head.projector.C - hit.p;
                    const double dist = norm(toP);
                    const double cosI = dot(hit.n, toP) / dist;
                    if (cosI > 0 && scene.visible(head.projector.C, hit.p))
                        light += (1.0 - o.ambient) * cosI * D2 / (dist * dist);
                    acc[0] += a.r * light;
                    acc[1] += a.g * light;
                    acc[2] += a.b * light;
                }
                const std::size_t i = static_cast<std::size_t>(r) * cam.width + c;
                for (int q = 0; q < 3; ++q) ch[q][i] = static_cast<float>(o.exposure * 0.95 * acc[q] / (ss * ss));
            }
    });
    std::vector<std::uint8_t> rgb(np * 3);
    for (int q = 0; q < 3; ++q) {
        const Plane8 p = expose(ch[q], cam.width, cam.height, o, o.seed + 7000u + q);
        for (std::size_t i = 0; i < np; ++i) rgb[3 * i + q] = p[i];
    }
    return rgb;
}

}  // namespace

double patternEnergy11(const SensorHead& head, int plane, double u) {
    if (plane < 7) return binaryEnergy(head, bit11, plane, false, u);
    const double shift = (plane - 6) * (kPi / 2.0);
    return 0.5 + 0.5 * std::cos(thetaOf(head, u) - shift);
}

double patternEnergy18(const SensorHead& head, int plane, double u) {
    if (plane < 14) return binaryEnergy(head, bit18, plane / 2, (plane & 1) != 0, u);
    const double shift = (17 - plane) * (kPi / 2.0);
    return 0.5 + 0.5 * std::cos(thetaOf(head, u) - shift);
}

void renderTruth(const SensorHead& head, const Scene& scene, const RenderOptions& o, Rendering& out) {
    const Camera& c1 = head.cam1;
    const std::size_t np = static_cast<std::size_t>(c1.width) * c1.height;
    out.width = c1.width;
    out.height = c1.height;
    std::vector<float>& depth = out.depthTruth;
    std::vector<std::uint8_t>& seen = out.seenByAll;
    std::vector<std::uint8_t>& laserSeen = out.laserSeen;
    depth.assign(np, 0.0f);
    seen.assign(np, 0);
    laserSeen.assign(np, 0);
    parallelRows(c1.height, [&](int r0, int r1) {
        for (int r = r0; r < r1; ++r)
            for (int c = 0; c < c1.width; ++c) {
                const std::size_t i = static_cast<std::size_t>(r) * c1.width + c;
                double xd, yd;
                distortNormalised(c1.lens, (c - c1.lens.cx) / c1.lens.fx, (r - c1.lens.cy) / c1.lens.fy, xd, yd);
                if (!c1.onSensor(xd * c1.lens.fx + c1.lens.cx, yd * c1.lens.fy + c1.lens.cy)) continue;
                Hit hit;
                if (!scene.intersect(c1.C, c1.rayThroughPinholePixel(c, r), hit)) continue;
                depth[i] = static_cast<float>(c1.toCamera(hit.p).z);
                double u, v;
                if (!head.cam2.project(hit.p, u, v) || !head.cam2.onSensor(u, v)) continue;
                if (!scene.visible(head.cam2.C, hit.p)) continue;
                const double dl = dot(head.laserNormal, hit.p - head.laserOrigin);
                if (std::fabs(dl) < 2.0 * o.laserSigmaMm * std::max(1.0, 1280.0 / c1.width) && dot(hit.n, head.laserOrigin - hit.p) > 0 &&
                    scene.visible(head.laserOrigin, hit.p))
                    laserSeen[i] = 1;
                if (!std::isfinite(head.phaseAt(hit.p))) continue;
                const Vec3 toP = head.projector.C - hit.p;
                if (dot(hit.n, toP) <= 0 || !scene.visible(head.projector.C, hit.p)) continue;
                seen[i] = 1;
            }
    });
}

Rendering render(const SensorHead& head, const Scene& scene, const RenderOptions& o) {
    Rendering out;
    out.width = head.cam1.width;
    out.height = head.cam1.height;
    out.cam[0] = renderCamera(head, scene, head.cam1, 0, o);
    out.cam[1] = renderCamera(head, scene, head.cam2, 1, o);
    if (o.colour) out.colourRgb = renderColour(head, scene, o);
    renderTruth(head, scene, o, out);
    return out;
}

}  // namespace xsim
