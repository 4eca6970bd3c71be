/* The C interface used from a C99 program: handle life cycle, the status codes and error texts,
 * the capacity / count convention, and results that can be worked out by hand. Exit status 0 when
 * every check holds; each failed check prints one line. */
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "xelora_c.h"

static int failures = 0;

#define CHECK(cond)                                                            \
    do {                                                                       \
        if (!(cond)) {                                                         \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
            ++failures;                                                        \
        }                                                                      \
    } while (0)

/* Handle, version text with its size query, ROI round trip, NULL arguments. */
static void handleAndVersion(void) {
    xelora_handle* h = NULL;
    CHECK(xelora_create(&h) == XELORA_OK && h != NULL);

    size_t length = 99;
    CHECK(xelora_GetSdkVersionString(h, NULL, 0, &length) == XELORA_ERROR_BUFFER_TOO_SMALL);
    CHECK(length == strlen("V0.00.02"));
    char small[4] = {'x', 'x', 'x', 'x'};
    CHECK(xelora_GetSdkVersionString(h, small, sizeof small, &length) == XELORA_ERROR_BUFFER_TOO_SMALL);
    CHECK(small[0] == 'x'); /* nothing written */
    CHECK(strstr(xelora_last_error(), "xelora_GetSdkVersionString") != NULL);
    char version[16];
    CHECK(xelora_GetSdkVersionString(h, version, sizeof version, &length) == XELORA_OK);
    CHECK(strcmp(version, "V0.00.02") == 0 && length == 8);

    xelora_roi_info roi = {16, 8, 40, 30};
    CHECK(xelora_SetROIInfo(h, &roi) == XELORA_OK);
    int w = 0, ht = 0, ox = 0, oy = 0;
    CHECK(xelora_GetROIInfoWidth(h, &w) == XELORA_OK && w == 40);
    CHECK(xelora_GetROIInfoHeight(h, &ht) == XELORA_OK && ht == 30);
    CHECK(xelora_GetROIInfoOffsetX(h, &ox) == XELORA_OK && ox == 16);
    CHECK(xelora_GetROIInfoOffsetY(h, &oy) == XELORA_OK && oy == 8);

    /* A NULL handle or a NULL result pointer is an invalid argument, never a crash. */
    CHECK(xelora_GetROIInfoWidth(NULL, &w) == XELORA_ERROR_INVALID_ARGUMENT);
    CHECK(strstr(xelora_last_error(), "xelora_GetROIInfoWidth") != NULL);
    CHECK(xelora_GetROIInfoWidth(h, NULL) == XELORA_ERROR_INVALID_ARGUMENT);
    CHECK(xelora_create(NULL) == XELORA_ERROR_INVALID_ARGUMENT);
    CHECK(strcmp(xelora_status_name(XELORA_ERROR_LOGIC), "XELORA_ERROR_LOGIC") == 0);

    xelora_destroy(h);
    xelora_destroy(NULL);
}

/* Scalar results with hand-worked values. */
static void scalars(void) {
    xelora_handle* h = NULL;
    CHECK(xelora_create(&h) == XELORA_OK);
    /* Cubic convolution kernel, a = -0.5: 1 at 0, 0 at 1 and 2, 1.5|x|^3 - 2.5x^2 + 1 = 0.5625 at 0.5,
     * -0.5|x|^3 + 2.5x^2 - 4|x| + 2 = -0.0625 at 1.5. */
    float v = -1.0f;
    CHECK(xelora_BiCubicPloy(h, 0.0f, &v) == XELORA_OK && v == 1.0f);
    CHECK(xelora_BiCubicPloy(h, 0.5f, &v) == XELORA_OK && v == 0.5625f);
    CHECK(xelora_BiCubicPloy(h, -1.5f, &v) == XELORA_OK && v == -0.0625f);
    CHECK(xelora_BiCubicPloy(h, 2.0f, &v) == XELORA_OK && v == 0.0f);

    const double c[3] = {1.0, -2.0, 0.5};
    double e = 0.0;
    CHECK(xelora_evaluatePolynomial(h, c, 3, 4.0, &e) == XELORA_OK && e == 1.0 - 8.0 + 8.0);
    CHECK(xelora_evaluatePolynomial(h, NULL, 0, 4.0, &e) == XELORA_OK && e == 0.0);
    CHECK(xelora_evaluatePolynomial(h, NULL, 2, 4.0, &e) == XELORA_ERROR_INVALID_ARGUMENT);
    xelora_destroy(h);
}

/* Lists: a fitted line and plane through exact samples, and the capacity convention. */
static void lists(void) {
    xelora_handle* h = NULL;
    CHECK(xelora_create(&h) == XELORA_OK);

    double x[6], y[6];
    for (int k = 0; k < 6; ++k) {
        x[k] = k - 2.0;
        y[k] = 3.0 - 0.25 * x[k];
    }
    double coef[4] = {9, 9, 9, 9};
    size_t n = 0;
    CHECK(xelora_polynomialFit(h, x, 6, y, 6, 1, coef, 1, &n) == XELORA_ERROR_BUFFER_TOO_SMALL);
    CHECK(n == 2 && coef[0] == 9.0);
    CHECK(xelora_polynomialFit(h, x, 6, y, 6, 1, coef, 4, &n) == XELORA_OK && n == 2);
    CHECK(fabs(coef[0] - 3.0) < 1e-12 && fabs(coef[1] + 0.25) < 1e-12);
    CHECK(xelora_polynomialFit(h, x, 6, y, 6, -1, coef, 4, &n) == XELORA_OK && n == 0);

    /* z = 2x - y + 5 on a 4 x 4 grid: coefficients (x, y, 1). */
    double pts[16 * 3];
    for (int i = 0; i < 16; ++i) {
        pts[3 * i] = i % 4;
        pts[3 * i + 1] = i / 4;
        pts[3 * i + 2] = 2.0 * (i % 4) - (i / 4) + 5.0;
    }
    float plane[66];
    size_t terms = 0;
    CHECK(xelora_PlaneFitPoly11(h, pts, 16, NULL, 0, &terms) == XELORA_ERROR_BUFFER_TOO_SMALL && terms == 3);
    CHECK(xelora_PlaneFitPoly11(h, pts, 16, plane, 66, &terms) == XELORA_OK && terms == 3);
    CHECK(fabsf(plane[0] - 2.0f) < 1e-4f && fabsf(plane[1] + 1.0f) < 1e-4f && fabsf(plane[2] - 5.0f) < 1e-4f);
    CHECK(xelora_PlaneFitPoly1010(h, pts, 16, plane, 66, &terms) == XELORA_OK && terms == 66);

    /* GetTh: ten times the mean, clamped: values 10, 20, 30 give 200. */
    const unsigned char values[3] = {10, 20, 30};
    int th = 0;
    CHECK(xelora_GetTh(h, values, 3, 0, 255, &th) == XELORA_OK && th == 200);
    CHECK(xelora_GetTh(h, values, 3, 0, 150, &th) == XELORA_OK && th == 150);
    xelora_destroy(h);
}

/* A cloud whose outlier removal is rejected by the library: std::invalid_argument arrives as
 * XELORA_ERROR_INVALID_ARGUMENT with a text naming the operation, and the cloud is untouched. */
static void errorFromTheLibrary(void) {
    xelora_handle* h = NULL;
    CHECK(xelora_create(&h) == XELORA_OK);
    double cloud[12 * 3];
    for (int i = 0; i < 12; ++i) {
        cloud[3 * i] = i;
        cloud[3 * i + 1] = 2.0 * i;
        cloud[3 * i + 2] = 100.0 + i;
    }
    CHECK(xelora_SORfilter(h, cloud, 12, 0, 1.0f) == XELORA_ERROR_INVALID_ARGUMENT);
    CHECK(strstr(xelora_last_error(), "SORfilter") != NULL);
    CHECK(cloud[35] == 111.0);
    CHECK(xelora_SORfilter(h, cloud, 12, 13, 1.0f) == XELORA_ERROR_INVALID_ARGUMENT);
    /* A valid k on 12 evenly spaced points of a line: with 3 or 4 neighbours the two end points have
     * mean distances 2 (2.5) spacings, every other point at most 4/3 (1.75); the cloud's mean is 1.44
     * (1.71) with a standard deviation below 0.37, so only the end points lie more than one standard
     * deviation above the mean and become (0, 0, 0). */
    CHECK(xelora_SORfilter(h, cloud, 12, 4, 1.0f) == XELORA_OK);
    CHECK(cloud[0] == 0.0 && cloud[1] == 0.0 && cloud[2] == 0.0 && cloud[35] == 0.0);
    for (int i = 1; i < 11; ++i) CHECK(cloud[3 * i] == i && cloud[3 * i + 2] == 100.0 + i);
    xelora_destroy(h);
}

/* Laser stripe: a two-column stripe at columns 30 and 31 of every row has its centre at 30.5 in
 * every row; a line list of a laser image is one pair per ROI row. */
static void laserStripe(void) {
    enum { W = 64, H = 12 };
    xelora_handle* h = NULL;
    CHECK(xelora_create(&h) == XELORA_OK);
    xelora_roi_info roi = {0, 0, W, H};
    CHECK(xelora_SetROIInfo(h, &roi) == XELORA_OK);
    unsigned char image[W * H];
    memset(image, 0, sizeof image);
    for (int r = 0; r < H; ++r) image[r * W + 30] = image[r * W + 31] = 200;

    double points[2 * H];
    bool mask[H];
    memset(points, 0, sizeof points);
    memset(mask, 0, sizeof mask);
    CHECK(xelora_lineExtract4(h, false, image, points, H, mask, 0, 0, 0, 0, 0, 0, 0) == XELORA_OK);
    for (int r = 0; r < H; ++r) CHECK(mask[r] && points[2 * r] == 30.5 && points[2 * r + 1] == r);

    size_t count = 0;
    CHECK(xelora_GetCloudPoint_New_600_2(h, image, points, 3, &count) == XELORA_ERROR_BUFFER_TOO_SMALL);
    CHECK(count == H && points[0] == 30.5);
    CHECK(xelora_GetCloudPoint_New_600_2(h, image, points, H, &count) == XELORA_OK && count == H);
    xelora_destroy(h);
}

int main(void) {
    handleAndVersion();
    scalars();
    lists();
    errorFromTheLibrary();
    laserStripe();
    if (failures) {
        fprintf(stderr, "%d check(s) failed\n", failures);
        return 1;
    }
    printf("C interface: all checks passed\n");
    return 0;
}
