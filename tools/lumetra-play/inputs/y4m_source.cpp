// y4m_source.cpp - the header's parameters, and planes to packed pixels.
#include "tools/lumetra-play/inputs/y4m_source.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <utility>

#include "tools/lumetra-play/run/play_error.h"

namespace {

constexpr std::string_view MAGIC = "YUV4MPEG2";
constexpr std::size_t MAX_LINE = 4096;

std::int32_t number(std::string_view text, const char* what) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 1)
        throw PlayError(std::string("the Y4M header has no usable ") + what + ": make the file anew");
    return value;
}

// "30000:1001"; a rate of 0:0 stands for unknown.
double rate(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos || text == "0:0") return 0;
    const std::int32_t frames = number(text.substr(0, colon), "frame rate");
    return double{frames * 1.0} / number(text.substr(colon + 1), "frame rate");
}

void requireProgressive(std::string_view order) {
    if (order.empty() || order == "p" || order == "?") return;
    throw PlayError("interlaced Y4M is not supported: add -vf yadif to ffmpeg's options");
}

Y4mHeader::Sampling sampling(std::string_view colour) {
    if (colour == "422") return Y4mHeader::Sampling::Yuv422;
    if (colour == "444") return Y4mHeader::Sampling::Yuv444;
    if (colour == "mono") return Y4mHeader::Sampling::Mono;
    const char* target = "yuv422p";
    if (colour.starts_with("444")) target = "yuv444p";
    if (colour.starts_with("mono")) target = "gray";
    // The text is the file's and goes to a terminal, so only what such names are made of is shown.
    std::string shown(colour.substr(0, 16));
    for (char& letter : shown)
        if ((letter < '0' || letter > '9') && (letter < 'A' || letter > 'Z') &&
            (letter < 'a' || letter > 'z'))
            letter = '?';
    throw PlayError("Y4M with colour space " + shown +
                    " is not supported (8-bit 422, 444 and mono are): add -pix_fmt " + target +
                    " to ffmpeg's options");
}

// The chroma sample of the pair to which pixel x belongs; the last pixel of an odd row is a pair by itself.
std::uint8_t pairSample(const Y4mHeader& header, const std::uint8_t* row, std::size_t x) {
    if (header.sampling == Y4mHeader::Sampling::Yuv422) return row[x / 2];
    const std::size_t first = x & ~std::size_t{1};
    const std::size_t second = std::min(first + 1, static_cast<std::size_t>(header.width) - 1);
    return static_cast<std::uint8_t>((row[first] + row[second] + 1) / 2);
}

}  // namespace

std::size_t Y4mHeader::chromaWidth() const {
    const auto full = static_cast<std::size_t>(width);
    if (sampling == Sampling::Mono) return 0;
    return sampling == Sampling::Yuv444 ? full : (full + 1) / 2;
}

std::size_t Y4mHeader::frameBytes() const {
    return static_cast<std::size_t>(height) * (static_cast<std::size_t>(width) + 2 * chromaWidth());
}

Y4mHeader parseY4mHeader(std::string_view line) {
    Y4mHeader header;
    std::string_view colour = "420jpeg";  // what the format means when it does not say
    if (!line.starts_with(MAGIC)) throw PlayError("this is not Y4M: it must begin with YUV4MPEG2");
    line.remove_prefix(MAGIC.size());
    while (!line.empty()) {
        if (line[0] != ' ') throw PlayError("the Y4M header is damaged: make the file anew");
        line.remove_prefix(1);
        const std::string_view parameter = line.substr(0, line.find(' '));
        line.remove_prefix(parameter.size());
        if (parameter.empty()) continue;
        const std::string_view value = parameter.substr(1);
        switch (parameter[0]) {
            case 'W':
                header.width = number(value, "width");
                break;
            case 'H':
                header.height = number(value, "height");
                break;
            case 'F':
                header.framesPerSecond = rate(value);
                break;
            case 'I':
                requireProgressive(value);
                break;
            case 'C':
                colour = value;
                break;
            default:
                break;  // aspect ratio, comments and what is yet to be invented
        }
    }
    header.sampling = sampling(colour);
    requireUsableSize(
        header.width, header.height,
        header.sampling == Y4mHeader::Sampling::Mono ? LUMETRA_IMGFORMAT_GRAY8 : LUMETRA_IMGFORMAT_YUYV);
    return header;
}

void packY4mFrame(const Y4mHeader& header, const Bytes& planes, Bytes& frame) {
    if (header.sampling == Y4mHeader::Sampling::Mono) {
        frame = planes;
        return;
    }
    const auto width = static_cast<std::size_t>(header.width);
    const auto height = static_cast<std::size_t>(header.height);
    const std::size_t chromaWidth = header.chromaWidth();
    frame.resize(2 * width * height);
    for (std::size_t y = 0; y < height; ++y) {
        const std::uint8_t* const u = planes.data() + width * height + y * chromaWidth;
        const std::uint8_t* const v = u + chromaWidth * height;
        const std::uint8_t* const luma = planes.data() + y * width;
        std::uint8_t* const out = frame.data() + 2 * y * width;
        for (std::size_t x = 0; x < width; ++x) {  // even pixels carry their pair's U, odd ones its V
            out[2 * x] = luma[x];
            out[2 * x + 1] = pairSample(header, x % 2 == 0 ? u : v, x);
        }
    }
}

Y4mSource::Y4mSource(std::unique_ptr<ByteReader> reader) : m_reader(std::move(reader)) {
    readHeader();
    const bool mono = m_header.sampling == Y4mHeader::Sampling::Mono;
    m_picture = {mono ? LUMETRA_IMGFORMAT_GRAY8 : LUMETRA_IMGFORMAT_YUYV, m_header.width, m_header.height};
}

void Y4mSource::readHeader() {
    std::string line;
    if (m_reader->readLine(line, MAX_LINE) != ByteReader::Line::Complete)
        throw PlayError("the Y4M header of " + name() + " has no end: make the file anew");
    m_header = parseY4mHeader(line);
}

// False at the end of the file.
bool Y4mSource::readFrameLine() {
    std::string line;
    const auto result = m_reader->readLine(line, MAX_LINE);
    if (result == ByteReader::Line::End && m_reader->stopped()) return false;
    if (result == ByteReader::Line::End && line.empty()) return false;
    const bool isFrame = line == "FRAME" || line.starts_with("FRAME ");
    if (result == ByteReader::Line::End && std::string_view("FRAME").starts_with(line)) {
        remarkCutOff(0, m_header.frameBytes());
        return false;
    }
    if (result != ByteReader::Line::Complete || !isFrame)
        throw PlayError("frame " + std::to_string(m_frames) + " of " + name() +
                        " does not begin with FRAME: the file is damaged, make it anew");
    return true;
}

bool Y4mSource::read(Bytes& frame) {
    if (!readFrameLine()) return false;
    ++m_frames;
    m_planes.resize(m_header.frameBytes());
    const std::size_t got = m_reader->read(m_planes.data(), m_planes.size());
    if (got < m_planes.size()) {
        if (!m_reader->stopped()) remarkCutOff(got, m_planes.size());
        return false;
    }
    packY4mFrame(m_header, m_planes, frame);
    return true;
}

bool Y4mSource::rewind() {
    if (!m_reader->rewind()) return false;
    readHeader();
    return true;
}
