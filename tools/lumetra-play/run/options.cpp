// options.cpp - the command line by CLI11, and the small languages of single options.
#include "tools/lumetra-play/run/options.h"

#include <LumetraCore/LumetraCore.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <filesystem>
#include <string_view>

#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"

namespace {

namespace fs = std::filesystem;

std::optional<std::int32_t> wholeNumber(std::string_view text) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<double> number(const std::string& text) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != 0 || !(value >= 0 && value <= 1e6)) return std::nullopt;
    return value;
}

// The options as text, before they are given their meaning; what was not given stays empty.
struct RawOptions {
    std::string size, start, seconds, frames, rate, format, flags, view;
    std::vector<std::string> modules, commands, watched;
    bool pyramid = false, version = false, help = false;
};

void describe(CLI::App& app, Options& options, RawOptions& raw) {
    app.set_help_flag();
    app.add_option("source", options.inputs);
    for (const auto& [name, text] : {std::pair("-f,--input-format", &options.inputFormat),
                                     {"--raw", &options.raw},
                                     {"--size", &raw.size},
                                     {"--start", &raw.start},
                                     {"--seconds", &raw.seconds},
                                     {"--frames", &raw.frames},
                                     {"--fps", &raw.rate},
                                     {"--format", &raw.format},
                                     {"--flags", &raw.flags},
                                     {"--module-path", &options.modulePath},
                                     {"--camera", &options.camera},
                                     {"--save-jpeg", &options.jpegFolder},
                                     {"--sheet", &options.sheet},
                                     {"--writable", &options.writable},
                                     {"--library", &options.library}})
        app.add_option(name, *text);
    for (const auto& [name, list] :
         {std::pair("-m,--module", &raw.modules), {"-c,--command", &raw.commands}, {"--watch", &raw.watched}})
        app.add_option(name, *list)->allow_extra_args(false);  // what follows is a source
    for (const auto& [name, flag] : {std::pair("--loop", &options.loop),
                                     {"--fast", &options.fast},
                                     {"--pyramid,!--no-pyramid", &raw.pyramid},
                                     {"--descriptors", &options.descriptors},
                                     {"--check", &options.check},
                                     {"--strict", &options.strict},
                                     {"--json", &options.json},
                                     {"--quiet", &options.quiet},
                                     {"--log,!--no-log", &options.log},
                                     {"--devices", &options.devices},
                                     {"--info", &options.info},
                                     {"-h,--help", &raw.help},
                                     {"--version", &raw.version}})
        app.add_flag(name, *flag);
    app.add_flag("--view{0}", raw.view);
}

LUMETRA_IMGFORMATTYPE parseFormat(const std::string& text) {
    const auto format = formatByName(text);
    if (!format) throw PlayError("--format " + text + " is unknown: use auto, rgb, bgr, bgra, yuyv or gray8");
    return *format;
}

double parseNumber(const char* option, const std::string& text, double least, double most) {
    const auto value = number(text);
    if (!value || *value < least || *value > most) {
        char range[64];
        std::snprintf(range, sizeof range, "%g to %g", least, most);
        throw PlayError(std::string(option) + " " + text + " is no such number: use " + range);
    }
    return *value;
}

// A path stays what it names when the folder changes; URLs, devices by name and - are none.
void makeAbsolute(std::string& path) {
    if (!path.empty()) path = fs::absolute(path).lexically_normal().string();
}

void makePathsAbsolute(Options& options) {
    if (options.writable.empty()) options.writable = ".";
    for (std::string* path : {&options.modulePath, &options.writable, &options.sheet, &options.jpegFolder})
        makeAbsolute(*path);
    if (options.camera != "scene") makeAbsolute(options.camera);
    for (std::string& input : options.inputs)
        if (input != "-" && options.inputFormat.empty() && input.find("://") == std::string::npos)
            makeAbsolute(input);
}

void interpretModules(Options& options, const RawOptions& raw) {
    for (const std::string& module : raw.modules) options.modules.push_back(parseModule(module));
    for (const std::string& name : raw.watched) {
        auto& modules = options.modules;
        auto module = std::find_if(modules.begin(), modules.end(), [&name](const ModuleRequest& candidate) {
            return candidate.name == name;
        });
        if (module == modules.end()) module = modules.insert(modules.end(), parseModule(name));
        module->watched = true;
    }
    for (const std::string& command : raw.commands) {
        if (command == "-")
            options.commandsFromInput = true;
        else
            options.commands.push_back(parseCommand(command));
    }
}

void interpret(Options& options, const CLI::App& app, const RawOptions& raw) {
    constexpr double MAX_FRAMES_PER_SECOND = 1000;  // the library tells frames apart by their millisecond
    const auto given = [&app](const char* name) { return app.count(name) > 0; };
    if (given("--size")) options.size = parseSize(raw.size);
    if (given("--start")) options.start = parseNumber("--start", raw.start, 0, 1e6);
    if (given("--seconds")) options.seconds = parseNumber("--seconds", raw.seconds, 0.001, 1e6);
    if (given("--fps")) options.framesPerSecond = parseNumber("--fps", raw.rate, 0, MAX_FRAMES_PER_SECOND);
    if (options.framesPerSecond == 0) {
        options.framesPerSecond.reset();
        options.fast = true;
    }
    if (given("--frames")) {
        options.frames = wholeNumber(raw.frames);
        if (!options.frames || *options.frames < 0)
            throw PlayError("--frames " + raw.frames + " is no number of frames: use 0 or more");
    }
    if (given("--format") && raw.format != "auto") options.format = parseFormat(raw.format);
    if (given("--flags")) options.flags = parseFlags(raw.flags);
    if (given("--view")) options.view = parseView(raw.view);
    if (given("--pyramid")) options.pyramid = raw.pyramid;
    interpretModules(options, raw);
    makePathsAbsolute(options);
}

void requireAgreement(const Options& options) {
    if (options.commandsFromInput && std::count(options.inputs.begin(), options.inputs.end(), "-") > 0)
        throw PlayError("standard input cannot be both the source and the commands: name a file for one");
    if (options.camera.empty()) {
        if (!options.jpegFolder.empty() || options.descriptors)
            throw PlayError("--save-jpeg and --descriptors show what CameraSource pushes: add --camera");
        return;
    }
    if (!options.inputs.empty() || options.check || !options.sheet.empty())
        throw PlayError("with --camera the module pushes the frames: leave out sources, --check and --sheet");
    if (options.pyramid.value_or(false))
        throw PlayError("CameraSource pushes no smaller levels: leave out --pyramid");
    if (options.jpegFolder.empty()) return;
    if (!fs::is_directory(options.jpegFolder))
        throw PlayError(options.jpegFolder + " is no folder: make it or name another by --save-jpeg");
    if (options.format.value_or(LUMETRA_IMGFORMAT_YUYV) != LUMETRA_IMGFORMAT_YUYV)
        throw PlayError("pictures are made of yuyv frames only: leave out --format or --save-jpeg");
}

}  // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv) {
    Options options;
    RawOptions raw;
    CLI::App app;
    describe(app, options, raw);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ExtrasError&) {
        const auto unknown = app.remaining();
        throw PlayError(unknown.front() + " is no option: see lumetra-play --help");
    } catch (const CLI::ParseError& error) {
        throw PlayError(std::string(error.what()) + ": see lumetra-play --help");
    }
    if (raw.help || raw.version) {
        std::string text =
            raw.help ? helpText() : "lumetra-play " LUMETRA_VERSION "\n" + inputLibraries() + "\n";
        text.pop_back();
        output::writeLine(text);
        output::requireWritten();
        return std::nullopt;
    }
    interpret(options, app, raw);
    requireAgreement(options);
    return options;
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

CommandRequest parseCommand(const std::string& text) {
    const std::size_t colon = text.find(':');
    const std::size_t equals = std::min(text.find('=', colon), text.size());
    const auto number = colon == std::string::npos
                            ? std::nullopt
                            : wholeNumber(std::string_view(text).substr(colon + 1, equals - colon - 1));
    if (!number || colon == 0 || text.find('=') < colon)
        throw PlayError("\"" + text + "\" is no command: use NAME:NUMBER[=TEXT]");
    return {text.substr(0, colon), *number, equals < text.size() ? text.substr(equals + 1) : ""};
}

Options::View parseView(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    const bool alone = colon == std::string::npos;
    const auto port = wholeNumber(alone ? text : text.substr(colon + 1));
    if (!port || *port < 0 || *port > 65535 || colon == 0)
        throw PlayError("--view=" + text + " names no port: use 1 to 65535, ADDRESS:PORT, or --view for any");
    return {alone ? "127.0.0.1" : text.substr(0, colon), *port};
}

std::int32_t defaultFlags(LUMETRA_IMGFORMATTYPE format) {
    return format == LUMETRA_IMGFORMAT_YUYV ? LUMETRA_CONVERT_GRAY
                                            : LUMETRA_CONVERT_GRAY | LUMETRA_CONVERT_PYRAMID;
}
