// options.cpp - the command line by CLI11, and the small languages of single options.
#include "tools/lumetra-play/run/options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <string_view>

#include "tools/lumetra-play/run/play_error.h"

namespace {

constexpr double MAX_FRAMES_PER_SECOND = 1000;  // the library tells frames apart by their millisecond

std::optional<std::int32_t> wholeNumber(std::string_view text) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// The options as text, before they are given their meaning.
struct RawOptions {
    std::string size, format, flags, viewPort;
    double framesPerSecond = 0, seconds = 0;
    std::int32_t frames = 0;
    bool pyramid = false;
    std::vector<std::string> modules;
};

void describe(CLI::App& app, Options& options, RawOptions& raw) {
    app.add_option("source", options.inputs,
                   "Video (raw or Y4M), .pgm or .ppm files, or - for standard input; without one a "
                   "built-in moving scene plays");
    app.add_option("--size", raw.size, "Pixels of raw video or of the scene")->type_name("WxH");
    app.add_option("--format", raw.format, "Pixels of raw video or of the scene: rgb, bgr, bgra, yuyv, gray")
        ->type_name("FORMAT");
    app.add_option("--fps", raw.framesPerSecond,
                   "Frames a second, 0 = as fast as they come (default: the clip's rate, else 30)")
        ->check(CLI::Range(0.0, MAX_FRAMES_PER_SECOND))
        ->type_name("N");
    app.add_option("--frames", raw.frames, "End after N frames, 0 = no limit (default for the scene: 300)")
        ->check(CLI::Range(0, INT32_MAX))
        ->type_name("N");
    app.add_option("--seconds", raw.seconds, "End after S seconds")
        ->check(CLI::Range(0.001, 1e6))
        ->type_name("S");
    app.add_flag("--loop", options.loop, "Begin again at the end of files");
    app.add_option("--flags", raw.flags,
                   "What the library does with a frame: a number or names out of gray, pyramid, flip, dump, "
                   "such as gray,pyramid (default: gray,pyramid; for yuyv: gray)")
        ->type_name("FLAGS");
    app.add_flag("--pyramid,!--no-pyramid", raw.pyramid,
                 "Push every frame with seven smaller levels (default: as the flags say)");
    app.add_option("--module", raw.modules, "Load this module too; may be repeated")
        ->allow_extra_args(false)  // what follows is a source
        ->type_name("NAME[=CONFIGURATION]");
    app.add_option("--module-path", options.modulePath, "Folder with NAME.framework folders")
        ->type_name("DIR");
    app.add_option("--writable", options.writable, "Folder for the dumps of --flags dump (default: this one)")
        ->type_name("DIR");
    app.add_option("--library", options.library, "Play through this LumetraCore library")->type_name("PATH");
    app.add_option("--sheet", options.sheet, "Picture of the last frame and of its levels in the modules")
        ->type_name("FILE.png");
    app.add_option(
           "--camera", options.camera,
           "Let the module CameraSource push the frames: scene, a video device, or a file or named pipe "
           "of raw video")
        ->type_name("SOURCE");
    app.add_option(
           "--save-jpeg", options.jpegFolder,
           "With --camera and yuyv: have the library attach a JPEG to each descriptor, and keep them here")
        ->type_name("FOLDER");
    app.add_flag("--descriptors", options.descriptors, "With --camera: print the descriptor of every frame");
    app.add_flag(
        "--view{any}", raw.viewPort,
        "Show frames, levels and figures as a web page of this machine; --view=PORT to choose its port");
    app.add_flag("--devices", options.devices, "List the capture devices as JSON and end");
    app.add_flag("--info", options.info, "Describe this machine as JSON and end");
    app.add_flag("--check", options.check, "Compare every pixel in the modules with the rule");
    app.add_flag("--log,!--no-log", options.log, "Show the log of the library and of the modules");
}

LUMETRA_IMGFORMATTYPE parseFormat(const std::string& text) {
    const auto format = formatByName(text);
    if (!format) throw PlayError("--format " + text + " is unknown: use rgb, bgr, bgra, yuyv or gray");
    return *format;
}

std::int32_t parsePort(const std::string& text) {
    std::int32_t port = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (text == "any") return 0;
    if (error != std::errc() || end != text.data() + text.size() || port < 0 || port > 65535)
        throw PlayError("--view=" + text + " names no port: use 1 to 65535, or --view for any");
    return port;
}

Options interpret(const CLI::App& app, Options options, const RawOptions& raw) {
    const auto given = [&app](const char* name) { return app.count(name) > 0; };
    if (given("--size")) options.size = parseSize(raw.size);
    if (given("--format")) options.format = parseFormat(raw.format);
    if (given("--flags")) options.flags = parseFlags(raw.flags);
    if (given("--fps")) options.framesPerSecond = raw.framesPerSecond;
    if (given("--frames")) options.frames = raw.frames;
    if (given("--seconds")) options.seconds = raw.seconds;
    if (given("--view")) options.viewPort = parsePort(raw.viewPort);
    if (given("--pyramid")) options.pyramid = raw.pyramid;
    for (const std::string& module : raw.modules) options.modules.push_back(parseModule(module));
    return options;
}

}  // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv) {
    Options options;
    RawOptions raw;
    CLI::App app("Plays video through LumetraCore and shows what becomes of it.", "lumetra-play");
    describe(app, options, raw);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::fputs(app.help().c_str(), stdout);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw PlayError(std::string(error.what()) + ": see lumetra-play --help");
    }
    return interpret(app, std::move(options), raw);
}

std::int32_t parseFlags(const std::string& text) {
    constexpr std::int32_t ALL = LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID |
                                 LUMETRA_CONVERT_FLIPVERTICAL | LUMETRA_CONVERT_DEBUGDUMP;
    const auto fail = [&]() -> PlayError {
        return PlayError("--flags " + text +
                         " is unknown: use 0 to 15, or gray, pyramid, flip and dump joined by commas");
    };
    if (const auto flags = wholeNumber(text)) {
        if (*flags < 0 || *flags > ALL) throw fail();
        return *flags;
    }
    constexpr std::pair<std::string_view, std::int32_t> NAMES[] = {{"gray", LUMETRA_CONVERT_GRAY},
                                                                   {"pyramid", LUMETRA_CONVERT_PYRAMID},
                                                                   {"flip", LUMETRA_CONVERT_FLIPVERTICAL},
                                                                   {"dump", LUMETRA_CONVERT_DEBUGDUMP}};
    std::int32_t flags = 0;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        const std::string_view name = std::string_view(text).substr(begin, end - begin);
        const auto* known = std::find_if(std::begin(NAMES), std::end(NAMES),
                                         [name](const auto& candidate) { return candidate.first == name; });
        if (known == std::end(NAMES)) throw fail();
        flags |= known->second;
        begin = end + 1;
    }
    return flags;
}

Options::Size parseSize(const std::string& text) {
    const std::size_t cross = text.find('x');
    const auto width = wholeNumber(std::string_view(text).substr(0, cross));
    const auto height =
        cross == std::string::npos ? std::nullopt : wholeNumber(std::string_view(text).substr(cross + 1));
    if (!width || !height) throw PlayError("--size " + text + " is no size: use WxH, such as 640x480");
    return {*width, *height};
}

ModuleRequest parseModule(const std::string& text) {
    const std::size_t equals = text.find('=');
    ModuleRequest request{text.substr(0, equals), std::nullopt};
    if (equals != std::string::npos) request.configuration = text.substr(equals + 1);
    if (request.name.empty() || request.name.find('/') != std::string::npos)
        throw PlayError("--module " + text + ": give the bare NAME and its folder by --module-path");
    if (request.name == "FrameMonitor")
        throw PlayError("--module FrameMonitor: it is always loaded, leave it out");
    return request;
}

std::int32_t defaultFlags(LUMETRA_IMGFORMATTYPE format) {
    return format == LUMETRA_IMGFORMAT_YUYV ? LUMETRA_CONVERT_GRAY
                                            : LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID;
}
