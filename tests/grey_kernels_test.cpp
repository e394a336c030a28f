#include "image/grey/grey_kernels.h"

#include <gtest/gtest.h>

#include <ostream>

#include "tests/support/fenced_memory.h"
#include "tests/support/frames.h"

using namespace lumetra;

// For ctest's names of the cases.
void PrintTo(const GreyKernels& kernels, std::ostream* out) {
    *out << kernels.name;
}

namespace {

// The members of a set with the bytes that each reads for a pixel.
const std::pair<GreyRun GreyKernels::*, std::size_t> RUNS[] = {{&GreyKernels::fromRgb, 3},
                                                               {&GreyKernels::fromBgr, 3},
                                                               {&GreyKernels::fromBgra, 4},
                                                               {&GreyKernels::evenBytes, 2}};

class EveryGreyKernels : public testing::TestWithParam<GreyKernels> {};

std::string nameOf(const testing::TestParamInfo<GreyKernels>& info) {
    return info.param.name;
}

}  // namespace

// The rule that every kernel is held to below, worked out by hand.
TEST(GreyRule, GivesKnownColoursTheirGrey) {
    EXPECT_EQ(255, expectedGrey(255, 255, 255));
    EXPECT_EQ(76, expectedGrey(255, 0, 0));
    EXPECT_EQ(149, expectedGrey(0, 255, 0));
    EXPECT_EQ(29, expectedGrey(0, 0, 255));
    EXPECT_EQ(1, expectedGrey(1, 2, 3));
    EXPECT_EQ(2, expectedGrey(3, 2, 1));
}

TEST_P(EveryGreyKernels, FollowTheRuleForEveryColour) {
    Bytes rgb(3 * 65536), bgr(3 * 65536), bgra(4 * 65536), expected(65536), actual(65536);
    for (unsigned red = 0; red < 256; ++red) {
        for (unsigned i = 0; i < 65536; ++i) {
            const std::uint8_t pixel[3] = {static_cast<std::uint8_t>(red), static_cast<std::uint8_t>(i / 256),
                                           static_cast<std::uint8_t>(i % 256)};
            for (unsigned c = 0; c < 3; ++c) {
                rgb[3 * i + c] = pixel[c];
                bgr[3 * i + c] = bgra[4 * i + c] = pixel[2 - c];
            }
            bgra[4 * i + 3] = static_cast<std::uint8_t>(i * 7);
            expected[i] = expectedGrey(pixel[0], pixel[1], pixel[2]);
        }
        GetParam().fromRgb(rgb.data(), actual.data(), 65536);
        ASSERT_EQ(expected, actual) << "RGB, red " << red;
        GetParam().fromBgr(bgr.data(), actual.data(), 65536);
        ASSERT_EQ(expected, actual) << "BGR, red " << red;
        GetParam().fromBgra(bgra.data(), actual.data(), 65536);
        ASSERT_EQ(expected, actual) << "BGRA, red " << red;
    }
}

TEST_P(EveryGreyKernels, MatchScalarInPlaceAtEveryLengthAndTouchNothingOutside) {
    FencedMemory fenced(4 * 300);
    for (const auto& [run, bytesPerPixel] : RUNS)
        for (std::size_t pixels = 0; pixels <= 300; ++pixels) {
            const std::size_t size = bytesPerPixel * pixels;
            const Bytes source = randomBytes(size, static_cast<unsigned>(pixels));
            Bytes expected(pixels);
            (scalarGreyKernels().*run)(source.data(), expected.data(), pixels);
            for (std::uint8_t* const frame : {fenced.endingAtFence(size), fenced.beginningAtFence()}) {
                std::copy(source.begin(), source.end(), frame);
                (GetParam().*run)(frame, frame, pixels);
                ASSERT_TRUE(std::equal(expected.begin(), expected.end(), frame)) << pixels << " pixels";
                ASSERT_TRUE(std::equal(source.begin() + static_cast<std::ptrdiff_t>(pixels), source.end(),
                                       frame + pixels))
                    << "behind " << pixels << " pixels";
            }
        }
}

INSTANTIATE_TEST_SUITE_P(OfThisProcessor, EveryGreyKernels, testing::ValuesIn(usableGreyKernels()), nameOf);
