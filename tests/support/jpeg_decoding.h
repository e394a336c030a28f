// jpeg_decoding.h - JPEG files as libjpeg reads them, which shares no code with the encoder under test.
// Whatever libjpeg objects to, if only with a warning, is thrown as std::runtime_error.
#ifndef LUMETRA_TESTS_SUPPORT_JPEG_DECODING_H
#define LUMETRA_TESTS_SUPPORT_JPEG_DECODING_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The tables of a colour file: luminance first.
struct JpegTables {
    std::array<std::array<int, 64>, 2> quantisation;  // by rows
    std::vector<std::vector<int>> huffman;            // DC, AC, DC, AC: 16 counts, then the symbols
};

struct DecodedJpeg {
    int width, height, components;
    std::vector<std::uint8_t> samples;  // R, G, B or grey, by rows
    std::optional<std::string> comment;
};

/// The quantised coefficients of one component, with the blocks that only fill up the last unit.
struct CoefficientPlane {
    int blocksWide, blocksHigh;
    std::vector<std::array<int, 64>> blocks;  // each by rows
};

DecodedJpeg decodeJpeg(const std::vector<std::uint8_t>& file);

std::vector<CoefficientPlane> readCoefficients(const std::vector<std::uint8_t>& file);

JpegTables readTables(const std::vector<std::uint8_t>& file);

/// What libjpeg itself would write: the tables of ITU-T T.81, Annex K, scaled for the quality.
JpegTables typicalTables(int quality);

#endif
