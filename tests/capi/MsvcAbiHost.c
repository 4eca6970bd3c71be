/* A host built the way Visual Studio builds one: a COFF object for x86_64-pc-windows-msvc, linked by
 * an MSVC-style linker against XeloraAlgo.lib, no MinGW runtime. It has no C runtime either, so it
 * only calls the C interface; the exit status is 0, or the line of the first failed check. */
#include "xelora_c.h"

int _fltused = 0; /* the MSVC ABI's marker for floating-point use, normally from the C runtime */
__declspec(dllimport) void __stdcall ExitProcess(unsigned code);

#define CHECK(cond) \
    if (!(cond)) return __LINE__

static int run(void) {
    xelora_handle* h = 0;
    CHECK(xelora_create(&h) == XELORA_OK && h != 0);
    size_t length = 0;
    CHECK(xelora_GetSdkVersionString(h, 0, 0, &length) == XELORA_ERROR_BUFFER_TOO_SMALL && length == 8);
    char version[9];
    CHECK(xelora_GetSdkVersionString(h, version, sizeof version, &length) == XELORA_OK);
    CHECK(version[0] == 'V' && version[1] == '0' && version[7] == '2' && version[8] == 0);
    float v = 0.0f;
    CHECK(xelora_BiCubicPloy(h, 0.5f, &v) == XELORA_OK && v == 0.5625f); /* 1.5/8 - 2.5/4 + 1 */
    const double x[3] = {0.0, 1.0, 2.0}, y[3] = {1.0, 3.0, 5.0};
    double c[2] = {0.0, 0.0};
    size_t n = 0;
    CHECK(xelora_polynomialFit(h, x, 3, y, 3, 1, c, 2, &n) == XELORA_OK && n == 2);
    double e = 0.0;
    CHECK(xelora_evaluatePolynomial(h, c, 2, 10.0, &e) == XELORA_OK && e > 20.999 && e < 21.001);
    CHECK(xelora_CalKR(0) == XELORA_ERROR_INVALID_ARGUMENT);
    const char* text = xelora_last_error();
    CHECK(text[0] == 'x' && text[7] == 'C'); /* "xelora_CalKR: ..." */
    xelora_destroy(h);
    return 0;
}

int mainCRTStartup(void) {
    ExitProcess((unsigned)run());
    return 0;
}
