// Shared plumbing of the C interface (include/xelora_c.h): the handle, the translation of
// exceptions into status codes with a thread-local error text, and the copies between flat C
// arrays and the class's point lists. Each subsystem's XeloraAlgo_c_<subsystem>.cpp uses it.
#ifndef XELORAALGO_C_DETAIL_H
#define XELORAALGO_C_DETAIL_H

#include <array>
#include <cstddef>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "XeloraAlgo.h"
#include "xelora_c.h"

struct xelora_handle {
    XELORAALGO::XeloraAlgo algo;
};

namespace XELORAALGO {
namespace capi {

// Stores the text returned by xelora_last_error() on this thread.
void setLastError(const std::string& text) noexcept;

// An output's capacity is below the count it needs: the call returns XELORA_ERROR_BUFFER_TOO_SMALL.
struct BufferTooSmall : std::length_error {
    using std::length_error::length_error;
};

// Runs body() and turns every exception into its status code; fn names the C function.
template <class Body>
int run(const char* fn, Body&& body) noexcept {
    try {
        body();
        return XELORA_OK;
    } catch (const BufferTooSmall& e) {
        setLastError(e.what());
        return XELORA_ERROR_BUFFER_TOO_SMALL;
    } catch (const std::invalid_argument& e) {
        setLastError(e.what());
        return XELORA_ERROR_INVALID_ARGUMENT;
    } catch (const std::logic_error& e) {
        setLastError(e.what());
        return XELORA_ERROR_LOGIC;
    } catch (const std::bad_alloc& e) {
        setLastError(std::string(fn) + ": out of memory (" + e.what() + ")");
        return XELORA_ERROR_OUT_OF_MEMORY;
    } catch (const std::system_error& e) {
        setLastError(std::string(fn) + ": " + e.what());
        return XELORA_ERROR_SYSTEM;
    } catch (const std::exception& e) {
        setLastError(std::string(fn) + ": " + e.what());
        return XELORA_ERROR_UNKNOWN;
    } catch (...) {
        setLastError(std::string(fn) + ": unknown exception");
        return XELORA_ERROR_UNKNOWN;
    }
}

// Runs body(algo, fn) on the handle's object (a NULL handle is an invalid argument). The body
// names the function through fn (inside a lambda, __func__ would be "operator()").
template <class Body>
int call(const char* fn, xelora_handle* h, Body&& body) noexcept {
    return run(fn, [&] {
        if (h == nullptr) throw std::invalid_argument(std::string(fn) + ": the handle is NULL");
        body(h->algo, fn);
    });
}

// Throws std::invalid_argument when a list of count elements comes as a NULL pointer, or when a
// required scalar output pointer is NULL (count 1).
inline void requireArray(const void* p, std::size_t count, const char* fn, const char* name) {
    if (p == nullptr && count > 0) {
        throw std::invalid_argument(std::string(fn) + ": " + name + " is NULL (count " + std::to_string(count) +
                                    ")");
    }
}
template <class T>
T& out(T* p, const char* fn, const char* name) {
    requireArray(p, 1, fn, name);
    return *p;
}

// Flat array of count N-tuples <-> std::vector<std::array<T, N>>.
template <std::size_t N, class T = double>
std::vector<std::array<T, N>> toList(const T* p, std::size_t count, const char* fn, const char* name) {
    requireArray(p, count, fn, name);
    std::vector<std::array<T, N>> list(count);
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t d = 0; d < N; ++d) list[i][d] = p[N * i + d];
    }
    return list;
}
template <std::size_t N, class T>
void fromList(const std::vector<std::array<T, N>>& list, T* p) {
    for (std::size_t i = 0; i < list.size(); ++i) {
        for (std::size_t d = 0; d < N; ++d) p[N * i + d] = list[i][d];
    }
}

// Checks that an output of `needed` elements fits `capacity`; sets *count either way.
inline void checkCapacity(std::size_t needed, std::size_t capacity, std::size_t* count, const char* fn,
                          const char* name) {
    out(count, fn, "the count pointer") = needed;
    if (needed > capacity) {
        throw BufferTooSmall(std::string(fn) + ": " + name + " capacity " + std::to_string(capacity) +
                             " is below the " + std::to_string(needed) + " elements of the result");
    }
}

// A list that a member changes in place: copied in, run, copied back (same length).
template <std::size_t N, class Body>
void inPlace(double* p, std::size_t count, const char* fn, const char* name, Body&& body) {
    std::vector<std::array<double, N>> list = toList<N>(p, count, fn, name);
    body(list);
    if (list.size() != count) {
        throw std::logic_error(std::string(fn) + ": " + name + " changed its length from " + std::to_string(count) +
                               " to " + std::to_string(list.size()));
    }
    fromList(list, p);
}

}  // namespace capi
}  // namespace XELORAALGO

#endif  // XELORAALGO_C_DETAIL_H
