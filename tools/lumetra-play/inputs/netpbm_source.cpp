// netpbm_source.cpp - pictures by the library's own readers.
#include "tools/lumetra-play/inputs/netpbm_source.h"

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

#include "tools/lumetra-play/run/play_error.h"

namespace {

struct FreeMemory {
    void operator()(unsigned char* memory) const { std::free(memory); }
};

}  // namespace

NetpbmSource::NetpbmSource(const std::vector<std::string>& paths, const LibraryTable& library)
    : m_library(library) {
    for (const std::string& path : paths) m_paths.push_back(std::filesystem::absolute(path).string());
    Bytes first;
    m_picture = readFile(m_paths[0], first);
}

bool NetpbmSource::read(Bytes& frame) {
    if (m_next == m_paths.size()) return false;
    const std::string& path = m_paths[m_next++];
    const Picture picture = readFile(path, frame);
    if (picture != m_picture)
        throw PlayError(path + " is " + formatName(picture.format) + " " + picture.sizeText() +
                        ", but the first picture is " + formatName(m_picture.format) + " " +
                        m_picture.sizeText() + ": play pictures of one kind and size");
    return true;
}

bool NetpbmSource::rewind() {
    m_next = 0;
    return true;
}

Picture NetpbmSource::readFile(const std::string& path, Bytes& frame) const {
    // The readers tell a missing file from a wrong one by a message only, and not to the caller.
    if (!std::ifstream(path)) throw PlayError("cannot open " + path + ": check the path");
    const char kind = static_cast<char>(std::tolower(static_cast<unsigned char>(path[path.size() - 2])));
    const bool grey = kind == 'g';
    int width = 0;
    int height = 0;
    const auto readImage = grey ? m_library.readPgm : m_library.readPpm;
    const std::unique_ptr<unsigned char, FreeMemory> samples(readImage(path.c_str(), &width, &height));
    if (samples == nullptr)
        throw PlayError(path + " is not a raw 8-bit " + (grey ? "PGM" : "PPM") +
                        " file with each header field on its own line: convert it, for example with ffmpeg");
    const Picture picture{grey ? LUMETRA_IMGFORMAT_GRAY8 : LUMETRA_IMGFORMAT_RGB, width, height};
    requireUsableSize(width, height, picture.format);
    frame.assign(samples.get(), samples.get() + picture.bytes());
    return picture;
}
