// Image halving: DownSampling1, DownSampling2, DownSampling3.
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "ImagingTestUtil.h"
#include "XeloraAlgo.h"

using namespace XELORAALGO;

namespace {

// Source images of rows of 2W bytes and H rows, random content.
std::vector<std::vector<unsigned char>> randomStack(int count, int W, int H, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> byte(0, 255);
    std::vector<std::vector<unsigned char>> s(count, std::vector<unsigned char>(2 * W * H));
    for (auto& img : s)
        for (auto& b : img) b = static_cast<unsigned char>(byte(rng));
    return s;
}

// Block (i, j) of a source image with rows of 2W bytes.
int px(const std::vector<unsigned char>& s, int W, int row, int col) { return s[row * 2 * W + col]; }
int averaged(const std::vector<unsigned char>& s, int W, int i, int j) {
    return (px(s, W, 2 * i, 2 * j) + px(s, W, 2 * i, 2 * j + 1) + px(s, W, 2 * i + 1, 2 * j) +
            px(s, W, 2 * i + 1, 2 * j + 1)) / 4;
}
int picked(const std::vector<unsigned char>& s, int W, int i, int j) { return px(s, W, 2 * i, 2 * j); }

enum class Kind { Averaged, Picked, Untouched };

void expectImage(const std::vector<unsigned char>& src, const std::vector<unsigned char>& dst, int W, int H,
                 Kind kind, int image) {
    for (int i = 0; i < H / 2; ++i) {
        for (int j = 0; j < W; ++j) {
            const int expected = kind == Kind::Averaged ? averaged(src, W, i, j)
                                 : kind == Kind::Picked ? picked(src, W, i, j)
                                                        : 0xAB;
            ASSERT_EQ(dst[i * W + j], expected) << "image " << image << " at " << i << "," << j;
        }
    }
}

}  // namespace

TEST(DownSampling3, AveragesBlocksWithTruncation) {
    XeloraAlgo algo;
    // W = 2, H = 2: a 4 x 2 source gives 2 bytes. Blocks 1, 2, 3, 4 -> 10 / 4 = 2 and
    // 255, 255, 255, 254 -> 1019 / 4 = 254.
    unsigned char src[8] = {1, 2, 255, 255, 3, 4, 255, 254};
    unsigned char dst[4] = {0xAB, 0xAB, 0xAB, 0xAB};
    algo.DownSampling3(src, dst, 2, 2);
    EXPECT_EQ(dst[0], 2);
    EXPECT_EQ(dst[1], 254);
    EXPECT_EQ(dst[2], 0xAB);
    EXPECT_EQ(dst[3], 0xAB);
}

TEST(DownSampling3, OutputRowsAreWBytesOfTheRowPairs) {
    XeloraAlgo algo;
    const int W = 5, H = 6;
    auto s = randomStack(1, W, H, 3);
    std::vector<unsigned char> dst(W * H / 2 + 3, 0xAB);
    algo.DownSampling3(s[0].data(), dst.data(), W, H);
    expectImage(s[0], dst, W, H, Kind::Averaged, 0);
    for (int k = W * H / 2; k < W * H / 2 + 3; ++k) EXPECT_EQ(dst[k], 0xAB);
}

TEST(DownSampling1, PicksAllButTheLastFourImages) {
    XeloraAlgo algo;
    const int W = 4, H = 4;
    struct Case {
        int count;
        int picked;  // images 0 ... picked-1 are picked, the rest up to count-1 averaged
    };
    for (const Case c : {Case{11, 7}, Case{5, 1}, Case{4, 0}, Case{1, 0}, Case{0, 0}, Case{-1, 0}}) {
        auto src = randomStack(12, W, H, 10 + c.count);
        std::vector<std::vector<unsigned char>> dst(12, std::vector<unsigned char>(W * H / 2, 0xAB));
        auto ps = imagingtest::pointers(src), pd = imagingtest::pointers(dst);
        algo.DownSampling1(ps.data(), pd.data(), c.count, W, H);
        for (int k = 0; k < 12; ++k) {
            const Kind kind = k >= c.count ? Kind::Untouched : k < c.picked ? Kind::Picked : Kind::Averaged;
            SCOPED_TRACE(testing::Message() << "count " << c.count);
            expectImage(src[k], dst[k], W, H, kind, k);
        }
    }
}

TEST(DownSampling2, AveragesEveryImage) {
    XeloraAlgo algo;
    const int W = 3, H = 4;
    auto src = randomStack(6, W, H, 99);
    std::vector<std::vector<unsigned char>> dst(6, std::vector<unsigned char>(W * H / 2, 0xAB));
    auto ps = imagingtest::pointers(src), pd = imagingtest::pointers(dst);
    algo.DownSampling2(ps.data(), pd.data(), 5, W, H);
    for (int k = 0; k < 6; ++k) expectImage(src[k], dst[k], W, H, k < 5 ? Kind::Averaged : Kind::Untouched, k);
}
