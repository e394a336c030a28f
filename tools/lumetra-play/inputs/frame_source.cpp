// frame_source.cpp - choosing the source by what the command line names.
#include "tools/lumetra-play/inputs/frame_source.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "tools/lumetra-play/inputs/byte_reader.h"
#include "tools/lumetra-play/inputs/netpbm_source.h"
#include "tools/lumetra-play/inputs/raw_source.h"
#include "tools/lumetra-play/inputs/scene_source.h"
#include "tools/lumetra-play/inputs/y4m_source.h"
#include "tools/lumetra-play/run/play_error.h"

namespace {

constexpr Picture SCENE_DEFAULT{LUMETRA_IMGFORMAT_RGB, 640, 480};

std::string extension(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return extension;
}

bool isNetpbm(const std::string& path) {
    return extension(path) == ".pgm" || extension(path) == ".ppm";
}

std::unique_ptr<FrameSource> openVideo(const Options& options, const StopRequest& stop) {
    auto reader = std::make_unique<ByteReader>(options.inputs[0], stop);
    if (reader->startsWith("YUV4MPEG2")) return std::make_unique<Y4mSource>(std::move(reader));
    if (!options.size || !options.format)
        throw PlayError(reader->name() +
                        " is not Y4M, so it is taken for raw video: say --size WxH and --format as well");
    return std::make_unique<RawSource>(std::move(reader),
                                       Picture{*options.format, options.size->width, options.size->height});
}

// A clip knows its size and format; options that say otherwise are a mistake better told than ignored.
void requireAgreement(const Options& options, const Picture& picture) {
    if (options.size && (options.size->width != picture.width || options.size->height != picture.height))
        throw PlayError("the source is " + picture.sizeText() + ": leave out --size or scale the source");
    if (options.format && *options.format != picture.format)
        throw PlayError(std::string("the source plays as ") + formatName(picture.format) +
                        ": leave out --format or convert the source");
}

}  // namespace

void FrameSource::remarkCutOff(std::size_t got, std::size_t expected) {
    m_remark = "the last frame of " + name() + " is cut off after " + std::to_string(got) + " of " +
               std::to_string(expected) + " bytes and was not pushed";
}

std::unique_ptr<FrameSource> openSource(const Options& options, const LibraryTable& library,
                                        const StopRequest& stop) {
    const auto& inputs = options.inputs;
    if (inputs.empty()) {
        Picture picture = SCENE_DEFAULT;
        if (options.format) picture.format = *options.format;
        if (options.size) {
            picture.width = options.size->width;
            picture.height = options.size->height;
        }
        return std::make_unique<SceneSource>(picture);
    }
    std::unique_ptr<FrameSource> source;
    if (std::all_of(inputs.begin(), inputs.end(), isNetpbm)) {
        source = std::make_unique<NetpbmSource>(inputs, library);
    } else if (inputs.size() == 1) {
        source = openVideo(options, stop);
    } else {
        throw PlayError("several inputs can only be .pgm or .ppm files: name one video instead");
    }
    requireAgreement(options, source->picture());
    return source;
}
