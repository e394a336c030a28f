// digests.cpp - one line for each kind of result: its name and a digest of many of them, made of seeded
// frames and texts. Builds for different processors, compilers and libraries must write the same lines, which
// same_digests.sh sees to. Usage: lumetra_digests FILE - into FILE, for engines log on standard output.
#include <array>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "LumetraCore/utf_conversion.h"
#include "base/process_wide.h"
#include "base/utf8_repair.h"
#include "image/conversion.h"
#include "image/intake.h"
#include "image/level_dump.h"
#include "image/picture_encoder.h"
#include "image/pixel_formats.h"
#include "image/text_exchange.h"
#include "platform/device_listing.h"
#include "tests/support/configurations.h"
#include "tests/support/pictures.h"

using namespace lumetra;

namespace {

// Signed chars and negative numbers arrive as their bits, the same on every machine.
class Digest {
public:
    void add(std::int64_t value) { addValue(static_cast<std::uint64_t>(value)); }
    void add(const std::string& text) {
        add(static_cast<std::int64_t>(text.size()));
        for (const char byte : text) addValue(static_cast<unsigned char>(byte));
    }
    void add(const unsigned char* bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) addValue(bytes[i]);
    }
    std::uint64_t bits = pictures::EMPTY_DIGEST;

private:
    void addValue(std::uint64_t value) { pictures::addToDigest(bits, std::array{value}); }
};

void addFrame(Digest& digest, const IChnk& chunk) {
    digest.add(chunk.format);
    digest.add(chunk.size);
    digest.add(chunk.data->lvl[0], static_cast<std::size_t>(chunk.size));
    for (int k = 1; k < PYRAMID_LEVELS; ++k) {
        const unsigned char* const level = chunk.data->lvl[k];
        digest.add(level == nullptr ? -1 : level - chunk.data->lvl[0]);
        if (level != nullptr)
            digest.add(level, static_cast<std::size_t>((chunk.width >> k) * (chunk.height >> k)));
    }
}

// Every flag but the dump; with levels that were pushed, without any, and with such as are derived.
void addConversions(Digest& digest, LUMETRA_IMGFORMATTYPE format) {
    constexpr struct { bool pushed, derived; } PYRAMIDS[] = {{true, true}, {false, false}, {false, true}};
    const std::pair<int, int> sizes[] = {{1, 1}, {5, 4}, {37, 21}, {3, 130}, {131, 3}, {322, 241}};
    unsigned seed = 0;
    const auto buffers = std::make_shared<FrameBuffers>();
    for (const auto& [width, height] : sizes)
        for (const auto& [pushed, derived] : PYRAMIDS)
            for (int flags = 0; flags < LUMETRA_CONVERT_DEBUGDUMP; ++flags) {
                ICfg cfg = configurationOf(width, height, format);
                cfg.mipMap = pushed;
                const std::uint64_t levelZero = pictureBytes(format, width, height);
                const Bytes pixels = randomBytes(
                    pushed ? static_cast<std::size_t>(pyramidBytes(levelZero)) : levelZero, ++seed);
                const Chunk chunk =
                    pushedChunk({pixels.data(), static_cast<int>(pixels.size()), "", 0}, cfg, *buffers);
                const auto plan =
                    planConversion(*chunk, static_cast<LUMETRA_CONVERSIONMODIFIER>(flags), derived);
                convert(*chunk, plan);
                addFrame(digest, *chunk);
                digest.add(plan.unsupportedSteps);
            }
}

std::vector<std::string> words(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

// Characters of one to four bytes, such as JSON lets stand and such as it escapes.
std::string randomText(std::mt19937& random) {
    static const auto characters = words(
        "a \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 \\n \\u001f \\\" \\u20AC \xEF\xBF\xBF / \\ud83d\\ude00 "
        "\x7F "
        "\xC2\x80 \\u0000 Z");
    std::string text;
    for (unsigned left = static_cast<unsigned>(random() % 40); left > 0; --left)
        text += characters[random() % characters.size()];
    return text;
}

// Numbers at the borders of their types, and fractions whose shortest form takes every digit.
std::string randomNumber(std::mt19937& random) {
    static const auto borders = words(
        "0 -0 -0.0 2147483647 2147483648 -2147483648 4294967296 9223372036854775808 18446744073709551616 "
        "1e308 "
        "5e-324 0.1");
    if (random() % 3 == 0) return borders[random() % borders.size()];
    std::ostringstream number;  // the operands of << are made in order, those of + are not
    number << (random() % 2 == 0 ? "-" : "") << random() % 1000 << '.' << random() << random() << 'e'
           << static_cast<int>(random() % 600) - 300;
    return number.str();
}

std::string randomDocument(std::mt19937& random) {
    std::ostringstream json;
    json << "{ \"t\" : \"" << randomText(random) << "\", \"n\" : [" << randomNumber(random);
    for (unsigned left = static_cast<unsigned>(random() % 5); left > 0; --left)
        json << " , " << randomNumber(random);
    json << "], \"image\" : null }";
    return json.str();
}

void addConfigurations(Digest& digest) {
    std::mt19937 random(1);
    Configuration configuration;
    for (int i = 0; i < 2000; ++i) {
        std::ostringstream json;
        json << R"({"imageCfg":{"width":)" << randomNumber(random) << R"(,"height":)"
             << static_cast<std::int32_t>(static_cast<std::uint32_t>(random())) << R"(},"format":)"
             << static_cast<int>(random() % 12) - 3 << R"(,"conversionflags":)" << randomNumber(random)
             << R"(,"writablepath":")" << randomText(random) << R"("})";
        digest.add(configuration.configure(json.str().c_str()));
        const ICfg cfg = *configuration.snapshot();
        for (const int value :
             {cfg.width, cfg.height, static_cast<int>(cfg.format), static_cast<int>(cfg.conversionflags)})
            digest.add(value);
        digest.add(cfg.writablepath);
        digest.add(dumpName(cfg.writablepath, cfg.height, i % PYRAMID_LEVELS, "pgm"));
    }
}

// What hosts see of a module's frames, the picture in Base64 included, and what travels with them afterwards.
void addDescriptors(Digest& digest) {
    static std::u16string seen, answer;
    const LUMETRA_HOSTTEXTFN exchange = [](void*, const char16_t* text) {
        seen = text;
        return static_cast<const char16_t*>(answer.c_str());
    };
    std::mt19937 random(2);
    processWide<PictureEncoder>().allocate();
    for (int i = 0; i < 500; ++i) {
        ICfg cfg = configurationOf(1 + i % 23, 1 + i % 7,
                                   i % 2 == 0 ? LUMETRA_IMGFORMAT_YUYV : LUMETRA_IMGFORMAT_RGB);
        cfg.forwardNativeImage = i % 5 != 0;
        const Bytes frame = randomBytes(23 * 7 * 3, static_cast<unsigned>(i));
        answer = convertUTFFormat8toV<char, char16_t>(randomDocument(random));
        const std::string kept = exchangeText(exchange, randomDocument(random).c_str(), frame.data(), cfg);
        for (const char16_t unit : seen) digest.add(unit);
        digest.add(kept);
    }
}

void addListings(Digest& digest) {
    std::mt19937 random(3);
    for (int i = 0; i < 300; ++i) {
        const Bytes foreign = randomBytes(random() % 30, static_cast<unsigned>(i));
        const std::string name = repairUtf8({reinterpret_cast<const char*>(foreign.data()), foreign.size()});
        const auto counted = static_cast<double>(random());
        const double rate = counted / static_cast<double>(1 + random() % 100000);
        digest.add(name);
        digest.add(writeDeviceListing({{name, "id", {{640, 480, rate}, {1920, 1080, 30000.0 / 1001}}}}));
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::ostringstream lines;
    const auto write = [&lines](const std::string& name, const auto& addResults) {
        Digest digest;
        addResults(digest);
        lines << name << ' ' << std::hex << digest.bits << '\n';
    };
    for (const auto format : {LUMETRA_IMGFORMAT_RGB, LUMETRA_IMGFORMAT_YUV420, LUMETRA_IMGFORMAT_BGRA,
                              LUMETRA_IMGFORMAT_YUYV, LUMETRA_IMGFORMAT_BGR, LUMETRA_IMGFORMAT_GRAY8})
        write("frames of format " + std::to_string(format),
              [format](Digest& digest) { addConversions(digest, format); });
    write("configurations", addConfigurations);
    write("descriptors", addDescriptors);
    write("device listings", addListings);

    std::cout << lines.str();
    if (argc != 2) return 2;
    std::ofstream file(argv[1]);
    file << lines.str() << std::flush;
    return file ? 0 : 1;
}
