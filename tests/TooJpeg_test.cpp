#include "image/jpeg/TooJpeg.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <utility>

#include "image/jpeg/TooJpeg_transform.h"
#include "tests/support/fenced_memory.h"
#include "tests/support/frames.h"
#include "tests/support/jpeg_decoding.h"
#include "tests/support/pictures.h"

namespace {

using namespace pictures;

Bytes slice(const Bytes& file, std::size_t from, std::size_t count) {
    Bytes part;
    for (std::size_t i = from; i < std::min(from + count, file.size()); ++i) part.push_back(file[i]);
    return part;
}

// The first segment with this marker, as far as `count` bytes from its length on.
Bytes segment(const Bytes& file, std::uint8_t marker, std::size_t count) {
    for (std::size_t at = 2; at + 4 <= file.size() && file[at + 1] != 0xD9;
         at += 2u + 256u * file[at + 2] + file[at + 3])
        if (file[at + 1] == marker) return slice(file, at + 2, count);
    return {};
}

double meanError(const Bytes& a, const Bytes& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += std::abs(a[i] - b[i]);
    return sum / static_cast<double>(a.size());
}

// Sample of a component before the DCT, in double precision; `step` 2 takes the mean of two by two pixels.
double componentAt(const Source& source, std::size_t component, int row, int column, int step) {
    if (source.mode == Mode::Grey) return source.at(row, column, 0) - 128;
    constexpr double WEIGHTS[3][3] = {
        {0.299, 0.587, 0.114}, {-0.16874, -0.33126, 0.5}, {0.5, -0.41869, -0.08131}};
    double sum = 0;
    for (int i = 0; i < step * step; ++i)
        for (std::size_t c = 0; c < 3; ++c)
            sum += WEIGHTS[component][c] * source.at(row * step + i / step, column * step + i % step, c);
    return sum / (step * step) - (component == 0 ? 128 : 0);
}

// The DCT by its definition, columns of sums first; divided by the table but not rounded.
std::array<double, 64> quotients(const std::array<double, 64>& samples, const std::array<int, 64>& table) {
    std::array<double, 64> half{}, result{};
    for (int i = 0; i < 64; ++i)
        for (int k = 0; k < 8; ++k)
            half[static_cast<std::size_t>(i)] +=
                samples[static_cast<std::size_t>(i / 8 * 8 + k)] * cosine(i % 8, k) / 2;
    for (int i = 0; i < 64; ++i) {
        for (int k = 0; k < 8; ++k)
            result[static_cast<std::size_t>(i)] +=
                half[static_cast<std::size_t>(k * 8 + i % 8)] * cosine(i / 8, k) / 2;
        const double scale = (i / 8 == 0 ? std::sqrt(0.5) : 1) * (i % 8 == 0 ? std::sqrt(0.5) : 1);
        result[static_cast<std::size_t>(i)] *= scale / table[static_cast<std::size_t>(i)];
    }
    return result;
}

// The coefficients that lie off what rounding to nearest gives; a tie may fall either way.
int wrongCoefficients(const Source& source, std::size_t component, const CoefficientPlane& plane,
                      const std::array<int, 64>& table) {
    const int step = source.mode == Mode::Downsampled && component > 0 ? 2 : 1;
    int wrong = 0;
    for (int b = 0; b < plane.blocksWide * plane.blocksHigh; ++b) {
        std::array<double, 64> samples;
        for (int i = 0; i < 64; ++i)
            samples[static_cast<std::size_t>(i)] = componentAt(
                source, component, b / plane.blocksWide * 8 + i / 8, b % plane.blocksWide * 8 + i % 8, step);
        const auto exact = quotients(samples, table);
        for (std::size_t i = 0; i < 64; ++i)
            wrong += std::abs(plane.blocks[static_cast<std::size_t>(b)][i] - exact[i]) > 0.5001;
    }
    return wrong;
}

}  // namespace

TEST(TooJpeg, WritesASinglePixelAsWorkedOutByHand) {
    // Of 3 for the first coefficient: 0; (255 - 128) * 8 / 3 = 339; -128 * 8 / 3 = -341.
    const std::pair<std::uint8_t, Bytes> cases[] = {
        {128, {0x2B}},              // 00 | 1010 and ones
        {255, {0xFD, 0x53, 0xAF}},  // 1111110 101010011 | 1010 and ones
        {0, {0xFC, 0xAA, 0xAF}},    // 1111110 010101010 | 1010 and ones
    };
    for (const auto& [grey, data] : cases) {
        const Bytes file = encode({Mode::Grey, 1, 1, {grey}}, 90, "Native");
        EXPECT_EQ(slice(file, 0, 39),
                  (Bytes{0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J',  'F',  'I', 'F', 0,   1,   1,   0,   0, 1,
                         0,    1,    0,    0,    0xFF, 0xFE, 0x00, 0x08, 'N', 'a', 't', 'i', 'v', 'e',  //
                         0xFF, 0xDB, 0x00, 0x43, 0x00, 0x03, 0x02, 0x02, 0x03}));
        EXPECT_EQ(slice(file, 99, 17), (Bytes{0xFF, 0xC0, 0x00, 0x0B, 8, 0, 1, 0, 1, 1, 1, 0x11, 0,  //
                                              0xFF, 0xC4, 0x00, 0xD2}));
        Bytes rest = {0xFF, 0xDA, 0x00, 0x08, 1, 1, 0x00, 0, 63, 0};
        rest.insert(rest.end(), data.begin(), data.end());
        rest.insert(rest.end(), {0xFF, 0xD9});
        EXPECT_EQ(slice(file, 324, 20), rest) << int{grey};
    }
}

TEST(TooJpeg, DescribesColourInItsSegments) {
    const std::pair<Mode, std::uint8_t> cases[] = {{Mode::Colour, 0x11}, {Mode::Downsampled, 0x22}};
    for (const auto& [mode, sampling] : cases) {
        const Bytes file = encode(ramp(mode, 515, 258));
        EXPECT_EQ(segment(file, 0xC0, 17),
                  (Bytes{0, 17, 8, 1, 2, 2, 3, 3, 1, sampling, 0, 2, 0x11, 1, 3, 0x11, 1}));
        EXPECT_EQ(segment(file, 0xDA, 12), (Bytes{0, 12, 3, 1, 0, 2, 0x11, 3, 0x11, 0, 63, 0}));
        EXPECT_EQ(segment(file, 0xDB, 3), (Bytes{0, 132, 0x00}));
        EXPECT_EQ(segment(file, 0xC4, 3), (Bytes{418 / 256, 418 % 256, 0x00}));
    }
}

TEST(TooJpeg, DecodesToThePictureAndItsComment) {
    const std::pair<int, double> qualities[] = {{1, 30}, {10, 10}, {50, 3}, {90, 1.5}, {100, 1}};
    const std::pair<int, int> sizes[] = {{1, 1}, {8, 8}, {17, 9}, {16, 16}, {33, 47}, {1, 50}, {100, 2}};
    for (const Mode mode : MODES)
        for (const auto& [width, height] : sizes)
            for (const auto& [quality, bound] : qualities)
                for (const char* comment : {static_cast<const char*>(nullptr), "", "Native"}) {
                    const Source source = ramp(mode, width, height);
                    const DecodedJpeg image = decodeJpeg(encode(source, quality, comment));
                    ASSERT_EQ(std::tuple(width, height, channelsOf(mode)),
                              std::tuple(image.width, image.height, std::size_t(image.components)));
                    EXPECT_EQ(comment ? std::optional<std::string>(comment) : std::nullopt, image.comment);
                    EXPECT_LE(meanError(source.pixels, image.samples), bound) << source << ", " << quality;
                }
}

TEST(TooJpeg, RoundsEveryCoefficientOfTheExactTransform) {
    for (const Mode mode : MODES) {
        const Source sources[] = {noise(mode, 17, 9, 1),  noise(mode, 33, 47, 2), noise(mode, 1, 1, 3),
                                  noise(mode, 16, 18, 4), ramp(mode, 64, 40),     singlePatterns(mode),
                                  saturatedPatterns(mode)};
        for (const Source& source : sources)
            for (const int quality : {1, 10, 50, 90, 100}) {
                const auto planes = readCoefficients(encode(source, quality));
                const auto tables = typicalTables(quality).quantisation;
                ASSERT_EQ(channelsOf(mode), planes.size());
                for (std::size_t i = 0; i < planes.size(); ++i)
                    EXPECT_EQ(0, wrongCoefficients(source, i, planes[i], tables[i > 0 ? 1 : 0]))
                        << source << ", component " << i << ", quality " << quality;
            }
    }
}

TEST(TooJpeg, CarriesTheTablesOfAnnexK) {
    const Source pixel = noise(Mode::Colour, 1, 1, 1);
    for (int quality = 1; quality <= 100; ++quality) {
        const JpegTables written = readTables(encode(pixel, quality));
        const JpegTables typical = typicalTables(quality);
        ASSERT_EQ(typical.quantisation, written.quantisation) << quality;
        ASSERT_EQ(typical.huffman, written.huffman);
    }
    EXPECT_EQ(encode(pixel, 1), encode(pixel, 0));
    EXPECT_EQ(encode(pixel, 100), encode(pixel, 255));
}

TEST(TooJpeg, CutsACommentThatNoSegmentHolds) {
    for (const std::size_t length : {65532u, 65533u, 65534u, 70000u}) {
        const std::string comment(length, 'c');
        const DecodedJpeg image = decodeJpeg(encode(noise(Mode::Grey, 8, 8, 1), 90, comment.c_str()));
        EXPECT_EQ(std::min<std::size_t>(length, 65533), image.comment.value_or("").size());
    }
}

TEST(TooJpeg, RefusesWhatIsNoPictureAndWritesNothing) {
    Bytes file;
    collected = &file;
    const unsigned char pixel = 0;
    EXPECT_FALSE(TooJpeg::writeJpeg(nullptr, &pixel, 1, 1, false));
    EXPECT_FALSE(TooJpeg::writeJpeg(collect, nullptr, 1, 1, false));
    EXPECT_FALSE(TooJpeg::writeJpeg(collect, &pixel, 0, 1, false));
    EXPECT_FALSE(TooJpeg::writeJpeg(collect, &pixel, 1, 0, false));
    EXPECT_TRUE(file.empty());
}

TEST(TooJpeg, ReadsNothingOutsideThePicture) {
    for (const Mode mode : MODES)
        for (int side = 0; side < 18 * 18; ++side) {
            const Source source = noise(mode, side % 18 + 1, side / 18 + 1, 1);
            FencedMemory fenced(source.pixels.size());
            for (std::uint8_t* const pixels :
                 {fenced.endingAtFence(source.pixels.size()), fenced.beginningAtFence()}) {
                std::copy(source.pixels.begin(), source.pixels.end(), pixels);
                ASSERT_EQ(encode(source), encode(source, 90, nullptr, pixels)) << source;
            }
        }
}

TEST(TooJpeg, IgnoresDownsamplingOfGrey) {
    const Source source = noise(Mode::Grey, 20, 20, 1);
    Bytes file;
    collected = &file;
    TooJpeg::writeJpeg(collect, source.pixels.data(), 20, 20, false, 90, true);
    EXPECT_EQ(encode(source), file);
}

TEST(TooJpeg, EncodesOnTwoThreadsAtOnce) {
    constexpr int ROUNDS = 50;
    const Source sources[] = {noise(Mode::Downsampled, 100, 90, 1), noise(Mode::Grey, 120, 80, 2)};
    const auto differences = [](const Source& source, const Bytes& alone) {
        int count = 0;
        for (int i = 0; i < ROUNDS; ++i) count += encode(source, 95) != alone;
        return count;
    };
    const Bytes alone[] = {encode(sources[0], 95), encode(sources[1], 95)};
    int otherDifferences = 0;
    std::thread other([&] { otherDifferences = differences(sources[1], alone[1]); });
    EXPECT_EQ(0, differences(sources[0], alone[0]));
    other.join();
    EXPECT_EQ(0, otherDifferences);
}

// The digests are of x86-64 (gcc and clang, -O0 to -O3, with and without fused multiply-add) and of arm64.
// They have to stay: another one means that some machine or compiler now writes other bytes.
TEST(TooJpeg, WritesTheSameBytesOnEveryMachine) {
    std::uint64_t digest = EMPTY_DIGEST;
    for (const Mode mode : MODES) addFilesToDigest(digest, mode);
    EXPECT_EQ(0x8E680604487DC586u, digest);
}

// Finer than files show it: every bit of the divisors, and coefficients at up to sixteen times the scale.
TEST(TooJpeg, CalculatesTheSameOnEveryMachine) {
    std::uint64_t divisorDigest = EMPTY_DIGEST;
    for (int quality = 1; quality <= 100; ++quality)
        for (const auto& table : {TooJpeg::LUMINANCE_QUANTISATION, TooJpeg::CHROMINANCE_QUANTISATION})
            for (const float divisor :
                 TooJpeg::divisorsOf(TooJpeg::quantisationTable(table, static_cast<unsigned char>(quality))))
                addToDigest(divisorDigest, std::array{std::bit_cast<std::uint32_t>(divisor)});
    EXPECT_EQ(0x903C08A50D27D428u, divisorDigest);

    std::uint64_t coefficientDigest = EMPTY_DIGEST;
    TooJpeg::Block samples, divisors;
    divisors.fill(2);
    TooJpeg::QuantisedBlock quantised;
    const Bytes bytes = randomBytes(3 * 5000 * samples.size(), 13);
    for (auto next = bytes.begin(); next != bytes.end();) {
        for (float& sample : samples) {  // steps of 1/1000, as colours give them
            sample = static_cast<float>(299 * next[0] + 587 * next[1] + 114 * next[2]) / 1000.0f - 128.0f;
            next += 3;
        }
        TooJpeg::plainTransforms().ofSamples(samples, divisors, quantised);
        for (const auto value : quantised.values)
            addToDigest(coefficientDigest, std::array{static_cast<std::uint16_t>(value)});
    }
    EXPECT_EQ(0x43ECDF8B5F21E5F7u, coefficientDigest);
}

TEST(Transforms, GiveThePlainFormsCoefficientsToTheBit) {
    constexpr std::size_t STRIDE = 11;
    const auto same = [](const TooJpeg::QuantisedBlock& expected, const TooJpeg::QuantisedBlock& actual) {
        return expected.values == actual.values && expected.nonZero == actual.nonZero;
    };
    std::mt19937 random(11);
    for (int round = 0; round < 20000; ++round) {
        const unsigned amplitude = 1u << (round % 9);  // from flat blocks to all the way
        Bytes grey(8 * STRIDE);
        TooJpeg::Block samples;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            grey[i / 8 * STRIDE + i % 8] = static_cast<std::uint8_t>(random() % amplitude);
            samples[i] = static_cast<float>(grey[i / 8 * STRIDE + i % 8]) - 128.0f;
        }
        const auto divisors = TooJpeg::divisorsOf(TooJpeg::quantisationTable(
            TooJpeg::LUMINANCE_QUANTISATION, static_cast<unsigned char>(1 + round % 100)));
        TooJpeg::QuantisedBlock expected;
        TooJpeg::Block working = samples;
        TooJpeg::plainTransforms().ofSamples(working, divisors, expected);
        for (std::size_t i = 0; i < samples.size(); ++i)
            ASSERT_EQ(expected.values[i] != 0, (expected.nonZero >> i & 1) != 0);
        for (const auto& transforms : TooJpeg::usableTransforms()) {
            TooJpeg::QuantisedBlock ofSamples, ofGrey;
            working = samples;
            transforms.ofSamples(working, divisors, ofSamples);
            ASSERT_TRUE(same(expected, ofSamples)) << transforms.name << ", round " << round;
            transforms.ofGrey(grey.data(), STRIDE, divisors, ofGrey);
            ASSERT_TRUE(same(expected, ofGrey)) << transforms.name << ", grey, round " << round;
        }
    }
}
