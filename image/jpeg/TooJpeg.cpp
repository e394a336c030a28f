// TooJpeg.cpp - the file: its segments, then the blocks of the picture in coding order.
#include "image/jpeg/TooJpeg.h"

#include <initializer_list>
#include <string_view>

#include "image/jpeg/TooJpeg_entropy.h"
#include "image/jpeg/TooJpeg_sampling.h"
#include "image/jpeg/TooJpeg_tables.h"
#include "image/jpeg/TooJpeg_transform.h"

namespace TooJpeg {

namespace {

// The second byte of a marker; the first is 0xFF.
enum Marker : std::uint8_t {
    START_OF_FRAME = 0xC0,
    HUFFMAN_TABLES = 0xC4,
    START_OF_IMAGE = 0xD8,
    END_OF_IMAGE = 0xD9,
    START_OF_SCAN = 0xDA,
    QUANTISATION_TABLES = 0xDB,
    APPLICATION_0 = 0xE0,
    COMMENT = 0xFE
};

constexpr std::size_t MAX_COMMENT = 65533;  // a segment's length has 16 bits and counts its own two bytes

struct QuantisationTables {
    ByteTable luminance, chrominance;
};

// What is encoded, and how.
struct Job {
    Picture picture;
    bool isRGB;
    bool downsample;  // colour only
    QuantisationTables tables;

    unsigned componentCount() const { return isRGB ? 3 : 1; }
};

// The parts of a file that are not entropy-coded.
class SegmentWriter {
public:
    explicit SegmentWriter(Output& output) : m_output(output) {}

    void marker(Marker marker) { bytes({0xFF, marker}); }

    // `length`: of what follows, without the length itself.
    void segment(Marker type, std::size_t length) {
        marker(type);
        word(length + 2);
    }

    void word(std::size_t value) {
        m_output.put(static_cast<std::uint8_t>(value >> 8));
        m_output.put(static_cast<std::uint8_t>(value));
    }

    void bytes(std::initializer_list<std::uint8_t> values) { range(values); }

    template <class Range>
    void range(const Range& values) {
        for (const auto value : values) m_output.put(static_cast<std::uint8_t>(value));
    }

    template <std::size_t SYMBOLS>
    void huffmanTable(std::uint8_t classAndId, const HuffmanTable<SYMBOLS>& table) {
        m_output.put(classAndId);
        range(table.counts);
        range(table.symbols);
    }

private:
    Output& m_output;
};

void writeComment(SegmentWriter& file, const char* comment) {
    std::size_t length = 0;
    while (length < MAX_COMMENT && comment[length] != '\0') ++length;
    file.segment(COMMENT, length);
    file.range(std::string_view(comment, length));
}

void writeQuantisationTables(SegmentWriter& file, const Job& job) {
    file.segment(QUANTISATION_TABLES, (job.isRGB ? 2 : 1) * (1 + BLOCK_SIZE));
    file.bytes({0x00});
    file.range(job.tables.luminance);
    if (!job.isRGB) return;
    file.bytes({0x01});
    file.range(job.tables.chrominance);
}

void writeFrame(SegmentWriter& file, const Job& job) {
    file.segment(START_OF_FRAME, 6 + 3 * job.componentCount());
    file.bytes({8});  // bits a sample
    file.word(static_cast<std::size_t>(job.picture.height));
    file.word(static_cast<std::size_t>(job.picture.width));
    // The components, each with its id, its sampling factors and its quantisation table.
    const std::uint8_t luminanceSampling = job.downsample ? 0x22 : 0x11;
    file.bytes({static_cast<std::uint8_t>(job.componentCount()), 1, luminanceSampling, 0});
    if (job.isRGB) file.bytes({2, 0x11, 1, 3, 0x11, 1});
}

void writeHuffmanTables(SegmentWriter& file, const Job& job) {
    constexpr std::size_t DC_SIZE = 1 + 16 + 12;
    constexpr std::size_t AC_SIZE = 1 + 16 + 162;
    file.segment(HUFFMAN_TABLES, (job.isRGB ? 2 : 1) * (DC_SIZE + AC_SIZE));
    file.huffmanTable(0x00, LUMINANCE_DC);
    file.huffmanTable(0x10, LUMINANCE_AC);
    if (!job.isRGB) return;
    file.huffmanTable(0x01, CHROMINANCE_DC);
    file.huffmanTable(0x11, CHROMINANCE_AC);
}

void writeScanHeader(SegmentWriter& file, const Job& job) {
    file.segment(START_OF_SCAN, 4 + 2 * job.componentCount());
    file.bytes({static_cast<std::uint8_t>(job.componentCount()), 1, 0x00});
    if (job.isRGB) file.bytes({2, 0x11, 3, 0x11});
    file.bytes({0, 63, 0});  // all coefficients, at full precision
}

void writeHeader(SegmentWriter& file, const Job& job, const char* comment) {
    file.marker(START_OF_IMAGE);
    file.segment(APPLICATION_0, 14);
    file.bytes({'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0});  // 1.1, square pixels, no thumbnail
    if (comment != nullptr) writeComment(file, comment);
    writeQuantisationTables(file, job);
    writeFrame(file, job);
    writeHuffmanTables(file, job);
    writeScanHeader(file, job);
}

// The scan of one picture, a unit of blocks at a time.
class ScanWriter {
public:
    ScanWriter(BitWriter& writer, const Job& job)
        : m_writer(writer),
          m_job(job),
          m_luminanceDivisors(divisorsOf(job.tables.luminance)),
          m_chrominanceDivisors(divisorsOf(job.tables.chrominance)) {}

    void write() {
        if (!m_job.isRGB) return writeGrey();
        const int unit = m_job.downsample ? 2 * BLOCK_SIDE : BLOCK_SIDE;
        for (int top = 0; top < m_job.picture.height; top += unit) {
            for (int left = 0; left < m_job.picture.width; left += unit) {
                if (m_job.downsample)
                    writeDownsampled(top, left);
                else
                    writeColour(top, left);
            }
        }
    }

private:
    // Some blocks at a time, arithmetic first: the branches of coding are often mispredicted, and the
    // processor would then discard what it has begun of the next block's arithmetic.
    void writeGrey() {
        std::array<QuantisedBlock, 32> blocks;
        std::size_t count = 0;
        for (int top = 0; top < m_job.picture.height; top += BLOCK_SIDE) {
            for (int left = 0; left < m_job.picture.width; left += BLOCK_SIDE) {
                ByteBlock edge;
                const GreyBlock grey = greyBlock(m_job.picture, top, left, edge);
                m_transforms.ofGrey(grey.pixels, grey.stride, m_luminanceDivisors, blocks[count++]);
                if (count < blocks.size()) continue;
                writeQuantised(blocks.data(), count);
                count = 0;
            }
        }
        writeQuantised(blocks.data(), count);
    }

    void writeQuantised(const QuantisedBlock* blocks, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            encodeBlock(m_writer, blocks[i], m_luminanceDc, LUMINANCE_CODES);
            m_luminanceDc = blocks[i].values[0];
        }
    }

    void writeColour(int top, int left) {
        sampleColour(m_job.picture, top, left, m_blocks);
        writeLuminance();
        writeChrominance();
    }

    void writeDownsampled(int top, int left) {
        for (int y = 0; y < 2 * BLOCK_SIDE; y += BLOCK_SIDE) {
            for (int x = 0; x < 2 * BLOCK_SIDE; x += BLOCK_SIDE) {
                sampleLuminance(m_job.picture, top + y, left + x, m_blocks.luminance);
                writeLuminance();
            }
        }
        sampleHalvedChrominance(m_job.picture, top, left, m_blocks);
        writeChrominance();
    }

    void writeLuminance() {
        writeBlock(m_blocks.luminance, m_luminanceDivisors, LUMINANCE_CODES, m_luminanceDc);
    }

    void writeChrominance() {
        writeBlock(m_blocks.blue, m_chrominanceDivisors, CHROMINANCE_CODES, m_blueDc);
        writeBlock(m_blocks.red, m_chrominanceDivisors, CHROMINANCE_CODES, m_redDc);
    }

    void writeBlock(Block& samples, const Block& divisors, const ComponentCodes& codes, int& previousDc) {
        QuantisedBlock block;
        m_transforms.ofSamples(samples, divisors, block);
        encodeBlock(m_writer, block, previousDc, codes);
        previousDc = block.values[0];
    }

    const BlockTransforms m_transforms = fastestTransforms();
    BitWriter& m_writer;
    const Job& m_job;
    const Block m_luminanceDivisors;
    const Block m_chrominanceDivisors;
    ColourBlocks m_blocks;  // of the unit at work
    int m_luminanceDc = 0, m_blueDc = 0, m_redDc = 0;
};

}  // namespace

bool writeJpegInRuns(RunSink output, void* context, const void* pixels, unsigned short width,
                     unsigned short height, bool isRGB, unsigned char quality, bool downsample,
                     const char* comment) {
    if (output == nullptr || pixels == nullptr || width == 0 || height == 0) return false;

    const std::size_t channels = isRGB ? 3 : 1;
    const Job job = {{static_cast<const unsigned char*>(pixels), width, height, channels},
                     isRGB,
                     isRGB && downsample,
                     {quantisationTable(LUMINANCE_QUANTISATION, quality),
                      quantisationTable(CHROMINANCE_QUANTISATION, quality)}};
    Output collected(output, context);
    SegmentWriter file(collected);
    writeHeader(file, job, comment);
    BitWriter bits(collected);
    ScanWriter(bits, job).write();
    bits.finish();
    file.marker(END_OF_IMAGE);
    collected.flush();
    return true;
}

bool writeJpeg(ByteSink output, const void* pixels, unsigned short width, unsigned short height, bool isRGB,
               unsigned char quality, bool downsample, const char* comment) {
    if (output == nullptr) return false;
    const auto byteByByte = [](void* sink, const unsigned char* bytes, std::size_t count) {
        const ByteSink send = *static_cast<ByteSink*>(sink);
        for (std::size_t i = 0; i < count; ++i) send(bytes[i]);
    };
    return writeJpegInRuns(byteByByte, &output, pixels, width, height, isRGB, quality, downsample, comment);
}

}  // namespace TooJpeg
