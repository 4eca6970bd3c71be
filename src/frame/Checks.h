// Argument and set-up checks shared by every member, so that all of them word their errors alike:
//
//   std::logic_error      "<member>: <step> has not been run for this ROI"
//   std::invalid_argument "<member>: <parameter> must be in [<lo>, <hi>], got <value>"
//                         "<member>: <parameter> must be >= <lo>, got <value>" (or <= <hi>)
//                         "<member>: <parameter> <requirement>, got <value>"
//
// A member runs its checks before it writes anything, so a throwing call leaves every output and the
// engine as they were. Inputs: the member's name, the parameter's name and value; no allocation
// beyond the message itself.
#ifndef XELORAALGO_SRC_FRAME_CHECKS_H
#define XELORAALGO_SRC_FRAME_CHECKS_H

#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace XELORAALGO {
namespace checks {

// The value as the message shows it: integers exactly, floating point with enough digits to read
// back the same value (nan and inf spelled out).
template <class T>
std::string show(T value) {
    std::ostringstream out;
    if constexpr (std::is_floating_point_v<T>) {
        out.precision(std::numeric_limits<T>::max_digits10);
        out << value;
    } else if constexpr (std::is_same_v<T, bool>) {
        out << (value ? "true" : "false");
    } else {
        out << static_cast<long long>(value);
    }
    return out.str();
}

// Throws std::logic_error: the set-up step that `member` needs is missing or was built for another
// ROI or downsampling.
[[noreturn]] inline void missingSetup(const char* member, const std::string& step) {
    throw std::logic_error(std::string(member) + ": " + step + " has not been run for this ROI");
}

// Throws std::invalid_argument naming the member, the parameter, the requirement and the value.
template <class T>
[[noreturn]] void badArgument(const char* member, const std::string& parameter, const std::string& requirement,
                              T value) {
    throw std::invalid_argument(std::string(member) + ": " + parameter + " " + requirement + ", got " +
                                show(value));
}

// value in [lo, hi] (a NaN is never in range).
template <class T>
void requireInRange(const char* member, const std::string& parameter, T value, T lo, T hi) {
    if (!(value >= lo && value <= hi))
        badArgument(member, parameter, "must be in [" + show(lo) + ", " + show(hi) + "]", value);
}

// value >= lo (a NaN never is).
template <class T>
void requireAtLeast(const char* member, const std::string& parameter, T value, T lo) {
    if (!(value >= lo)) badArgument(member, parameter, "must be >= " + show(lo), value);
}

// value <= hi (a NaN never is).
template <class T>
void requireAtMost(const char* member, const std::string& parameter, T value, T hi) {
    if (!(value <= hi)) badArgument(member, parameter, "must be <= " + show(hi), value);
}

// Widest Gaussian kernel a member evaluates: radius 65535 pixels (131071 taps), wider than any sensor.
constexpr double kMaxKernelRadius = 65535.0;

// A smoothing sigma whose kernel radius trunc(1.5 * sigma) exceeds kMaxKernelRadius is refused; a
// sigma <= 0 or NaN (no Gaussian: the members keep the values) is accepted.
inline void requireKernelSigma(const char* member, const std::string& parameter, float sigma) {
    if (!(sigma > 0.0f)) return;
    const double radius = -std::trunc(-1.5 * static_cast<double>(sigma));
    if (!(radius <= kMaxKernelRadius))
        badArgument(member, parameter, "must give a kernel radius trunc(1.5 * sigma) of at most 65535 pixels",
                    sigma);
}

// A position computed as base + step * index in 64 bits must fit the 32-bit int that the members
// compute it in.
inline bool fitsInt(std::int64_t v) {
    return v >= std::numeric_limits<std::int32_t>::min() && v <= std::numeric_limits<std::int32_t>::max();
}

}  // namespace checks
}  // namespace XELORAALGO

#endif
