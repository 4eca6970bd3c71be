// Angles of FillingFunction's surface test: the angle in degrees between two float vectors and the
// test "limit > angle" decided from the cosine where it is far from the limit's.
//
// Inputs:  float 3-vectors and norms (caller's values); the angle limit in degrees (0 < limit < 180).
// Outputs: angles in degrees (float); pass / fail of the test. No storage.
#ifndef XELORAALGO_SRC_DEPTHFILTER_FILLINGFUNCTIONANGLES_H
#define XELORAALGO_SRC_DEPTHFILTER_FILLINGFUNCTIONANGLES_H

#include <cmath>  // sqrtf

#include "numerics/numerics.h"

namespace XELORAALGO {
namespace depthfilter {

struct Vec3 {
    float x, y, z;
};

inline Vec3 minus(const Vec3& a, const Vec3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline float dot(const Vec3& u, const Vec3& v) { return u.x * v.x + u.y * v.y + u.z * v.z; }
inline float norm(const Vec3& u) { return sqrtf(u.x * u.x + u.y * u.y + u.z * u.z); }

// The cosine of the angle between u and v given their norms: u.v / (|u| |v|), in float. A zero
// vector gives NaN.
inline float cosine(const Vec3& u, float nu, const Vec3& v, float nv) { return dot(u, v) / (nu * nv); }

// The angle in degrees of a cosine: acosf(x) * 180 in float, divided by pi in double, then float.
inline float degreesOfCosine(float x) {
    const float deg = num::acosf(x) * 180.0f;
    return static_cast<float>(static_cast<double>(deg) / 3.1415926535898);
}

// "limit > degreesOfCosine(x)", with acosf evaluated only for cosines within 0.01 degrees of the
// limit's. The angle is monotone in x and off the exact angle by a few float roundings (acosf is
// correctly rounded, the products and the division each add half an ulp): under 1e-4 degrees, far
// below the 0.01 degrees kept on either side. Cosines above 1 and NaN give NaN angles and fail, as
// do those below -1, which lie below the fail bound anyway. Limits within 0.01 degrees of 0 or 180
// are always evaluated.
class AngleBelow {
public:
    explicit AngleBelow(float limit)
        : limit_(limit),
          cosPass_(num::cos((static_cast<double>(limit) - 0.01) * kRadPerDeg)),
          cosFail_(num::cos((static_cast<double>(limit) + 0.01) * kRadPerDeg)),
          bounded_(limit > 0.01f && limit < 179.99f) {}
    bool operator()(float x) const {
        const double xd = static_cast<double>(x);
        if (bounded_ && x < 1.0f && xd > cosPass_) return true;
        if (bounded_ && xd < cosFail_) return false;
        return limit_ > degreesOfCosine(x);
    }

private:
    static constexpr double kRadPerDeg = 3.14159265358979323846 / 180.0;
    float limit_;
    double cosPass_, cosFail_;
    bool bounded_;
};

}  // namespace depthfilter
}  // namespace XELORAALGO

#endif
