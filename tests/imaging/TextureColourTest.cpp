// Colour channels, previews and the mean-level test.
#include <vector>

#include <gtest/gtest.h>

#include "ImagingTestUtil.h"
#include "XeloraAlgo.h"

using namespace XELORAALGO;
using imagingtest::pointers;

namespace {

// Colour image k of stack s: byte b of pixel j holds a value that names (s, k, j, b).
std::vector<std::vector<unsigned char>> colourStack(int s, int images, int pixels) {
    std::vector<std::vector<unsigned char>> stack(images, std::vector<unsigned char>(3 * pixels));
    for (int k = 0; k < images; ++k)
        for (int j = 0; j < pixels; ++j)
            for (int b = 0; b < 3; ++b) stack[k][3 * j + b] = static_cast<unsigned char>(s * 128 + k * 10 + j * 3 + b);
    return stack;
}

}  // namespace

TEST(CalRGBFuse, FourArgumentFormTakesByteZeroOfElevenImages) {
    const int w = 3, h = 2, n = w * h;
    XeloraAlgo algo;
    imagingtest::setRoi(algo, w, h);
    auto srcA = colourStack(0, 12, n), srcB = colourStack(1, 12, n);
    std::vector<std::vector<unsigned char>> dstA(12, std::vector<unsigned char>(n, 7)), dstB = dstA;
    auto pa = pointers(srcA), pb = pointers(srcB), da = pointers(dstA), db = pointers(dstB);
    algo.CalRGBFuse(pa.data(), pb.data(), da.data(), db.data());
    for (int k = 0; k < 11; ++k) {
        for (int j = 0; j < n; ++j) {
            EXPECT_EQ(dstA[k][j], srcA[k][3 * j]) << k << "," << j;
            EXPECT_EQ(dstB[k][j], srcB[k][3 * j]) << k << "," << j;
        }
    }
    for (int j = 0; j < n; ++j) {  // a twelfth image is not touched
        EXPECT_EQ(dstA[11][j], 7);
        EXPECT_EQ(dstB[11][j], 7);
    }
}

TEST(CalRGBFuse, CountFormTakesByteTwoOfCountImages) {
    const int w = 2, h = 3, n = w * h;
    XeloraAlgo algo;
    imagingtest::setRoi(algo, w, h);
    auto srcA = colourStack(0, 4, n), srcB = colourStack(1, 4, n);
    std::vector<std::vector<unsigned char>> dstA(4, std::vector<unsigned char>(n, 7)), dstB = dstA;
    auto pa = pointers(srcA), pb = pointers(srcB), da = pointers(dstA), db = pointers(dstB);

    for (int count : {0, -2}) {
        algo.CalRGBFuse(pa.data(), pb.data(), da.data(), db.data(), count);
        for (auto& plane : dstA)
            for (unsigned char v : plane) EXPECT_EQ(v, 7);
    }
    algo.CalRGBFuse(pa.data(), pb.data(), da.data(), db.data(), 3);
    for (int k = 0; k < 3; ++k) {
        for (int j = 0; j < n; ++j) {
            EXPECT_EQ(dstA[k][j], srcA[k][3 * j + 2]);
            EXPECT_EQ(dstB[k][j], srcB[k][3 * j + 2]);
        }
    }
    for (int j = 0; j < n; ++j) EXPECT_EQ(dstA[3][j], 7);
}

TEST(CalPreview, InterleavesTheCamerasAndClampsTheSums) {
    const int w = 3, h = 2, n = w * h;
    XeloraAlgo algo;
    imagingtest::setRoi(algo, w, h);
    // Camera 1 (m1 + m3) on even preview rows, camera 2 (m2 + m4) on odd rows.
    std::vector<float> m1 = {300.0f, 12.0f, 0.0f, 255.9f, 100.0f, 1.0f};
    std::vector<float> m3 = {0.7f, 0.9f, 0.0f, 0.0f, 156.0f, -3.0f};
    std::vector<float> m2 = {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f};
    std::vector<float> m4 = {0.5f, 0.5f, 0.5f, 250.0f, 250.0f, 0.25f};
    std::vector<unsigned char> preview(2 * n, 99);
    algo.CalPreview(preview.data(), m1.data(), m2.data(), m3.data(), m4.data());
    const unsigned char expected[12] = {
        255, 12, 0,   // row 0: 300.7, 12.9, 0
        1, 2, 3,      // row 1: 1.5, 2.5, 3.5
        255, 255, 0,  // row 2: 255.9, 256, -2 (below 0 gives 0)
        254, 255, 6,  // row 3: 254, 255, 6.25
    };
    for (int i = 0; i < 2 * n; ++i) EXPECT_EQ(preview[i], expected[i]) << i;
}

TEST(CalPixelAverage, ComparesTheTruncatedMeanWithTheThreshold) {
    XeloraAlgo algo;  // the size comes from the arguments, not the ROI
    unsigned char img[4] = {10, 10, 10, 11};
    EXPECT_TRUE(algo.CalPixelAverage(img, 2, 2, 11));   // 41 / 4 = 10
    EXPECT_FALSE(algo.CalPixelAverage(img, 2, 2, 10));  // 10 is not below 10
    unsigned char img2[6] = {255, 255, 255, 255, 255, 254};
    EXPECT_FALSE(algo.CalPixelAverage(img2, 3, 2, 254));  // 1529 / 6 = 254
    EXPECT_TRUE(algo.CalPixelAverage(img2, 3, 2, 255));
    EXPECT_TRUE(algo.CalPixelAverage(img2, 1, 1, 256));  // only the first byte
}
