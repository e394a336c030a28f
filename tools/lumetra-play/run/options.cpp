// options.cpp - the command line by CLI11: what there is to say, with its help, and what contradicts itself.
#include "tools/lumetra-play/run/options.h"

#include <LumetraCore/LumetraCore.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"
#include "tools/support/command_line.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* BEGINNING = R"(Usage: lumetra-play [OPTION]... [SOURCE]...
Play video through LumetraCore as a host does, and show what becomes of it.

A SOURCE is a file, a URL, a device, a numbered series such as 'shots/%04d.png'
or - for standard input; several are played one after the other. Without one the
built-in scene plays. Frames are pushed at the clip's own pace.
)";
constexpr const char* END = R"(Exit status:
  0 as asked, 1 usage or input, 2 the check failed, 3 nothing was delivered (or
  with --strict: a frame was dropped), 130 interrupted.

Examples:
  lumetra-play                           the built-in scene, 10 seconds
  lumetra-play --check clip.mp4          a clip, every delivered pixel checked
  lumetra-play --view --loop clip.mp4    a clip over and over, in the browser
  lumetra-play /dev/video0               a camera
  lumetra-play -f lavfi testsrc2         a test picture of FFmpeg's
  lumetra-play --json --fast clip.mp4    figures for a script)";

constexpr auto wholeNumber = numberFrom<std::int32_t>;

// Nothing for what costs least.
std::optional<LUMETRA_IMGFORMATTYPE> parseFormat(const std::string& text) {
    if (const auto format = formatByName(text); format || text == "auto") return format;
    throw PlayError(text + " is unknown: use auto, rgb, bgr, bgra, yuyv or gray8");
}

std::vector<ModuleRequest>::iterator findModule(Options& options, const std::string& name) {
    return std::find_if(options.modules.begin(), options.modules.end(),
                        [&name](const ModuleRequest& module) { return module.name == name; });
}

// One entry for each module, whichever options name it. All of --module are taken before all of --watch.
void takeModule(Options& options, const std::string& words, bool watched) {
    const ModuleRequest wanted = parseModule(words);
    auto module = findModule(options, wanted.name);
    const bool known = module != options.modules.end();
    if (known && (!watched || wanted.configuration))
        throw PlayError(wanted.name + " is named twice: leave out one");
    if (!known) module = options.modules.insert(module, wanted);
    module->watched = watched;
}

void describeSource(CommandLine& line, Options& options) {
    constexpr double MAX_FRAMES_PER_SECOND = 1000;  // the library tells frames apart by their millisecond
    line.beginGroup("Source");
    line.value("--start", "S", "begin S seconds into the clip", numberInto(options.start, 0.0, 1e6));
    line.value("--seconds", "S", "end after S seconds", numberInto(options.seconds, 0.001, 1e6));
    line.value("--frames", "N", "end after N frames, 0 = no limit (the scene: 300)",
               numberInto(options.frames, 0, INT32_MAX));
    line.flag("--loop", "begin again at the end", options.loop);
    line.value("--fps", "N", "N frames a second instead of the clip's own times",
               numberInto(options.framesPerSecond, 0.001, MAX_FRAMES_PER_SECOND));
    line.flag("--fast", "as fast as frames can be delivered", options.fast);
    line.value("--size", "WxH",
               "of raw video, of the scene, asked of a device; other\nsources are scaled to it",
               parsedInto(options.size, parseSize));
    line.value("--raw", "PIXELS",
               "raw video of this pixel format, such as nv12, and of\nthe size that --size says",
               textInto(options.raw));
    line.value("-f,--input-format", "F", "read the source by FFmpeg's reader F, such as lavfi",
               textInto(options.inputFormat));
}

void describeFrames(CommandLine& line, Options& options) {
    line.beginGroup("Frames pushed");
    line.value("--format", "F",
               "auto, rgb, bgr, bgra, yuyv or gray8 (auto: what costs\nleast for the source; gray8 takes "
               "the Y plane as it is)",
               parsedInto(options.format, parseFormat));
    line.value("--flags", "FLAGS",
               "what the library does: a number, or names out of gray,\npyramid, flip and dump "
               "(gray,pyramid; for yuyv gray)",
               parsedInto(options.flags, parseFlags));
    const auto pyramid = [&options](std::int64_t count) { options.pyramid = count > 0; };
    line.add_flag_function("--pyramid,!--no-pyramid", pyramid,
                           "push every frame with its seven smaller levels or\nwithout (as the flags say)")
        ->take_last();
    line.value("--writable", "DIR", "folder for --flags dump (the working folder)",
               folderInto(options.writable));
}

void describeModules(CommandLine& line, Options& options) {
    line.beginGroup("Modules");
    line.list("-m,--module", "NAME[=CONFIGURATION]", "load this module too; may be repeated",
              [&](const std::string& words) { takeModule(options, words, false); });
    line.value("--module-path", "DIR", "folder with the NAME.framework folders",
               textInto(options.modulePath));
    line.list("-c,--command", "NAME:NUMBER[=TEXT]",
              "send a command before the first frame, or - to read\ncommands from standard input; may be "
              "repeated. On a\nterminal they can be typed while it plays, q ends",
              [&](const std::string& words) {
                  if (words == "-")
                      options.commandsFromInput = true;
                  else
                      options.commands.push_back(parseCommand(words));
              });
    line.list("--watch", "NAME", "reload the module whenever its library changes",
              [&](const std::string& words) { takeModule(options, words, true); });
    line.value("--camera", "SOURCE",
               "let the module CameraSource push: scene, a device, a\nfile or a named pipe of raw video",
               textInto(options.camera));
    line.value("--save-jpeg", "DIR", "with --camera: keep the JPEG of every frame",
               folderInto(options.jpegFolder));
    line.flag("--descriptors", "with --camera: print every frame's descriptor", options.descriptors);
}

void describeResults(CommandLine& line, Options& options, std::string& view) {
    line.beginGroup("Results");
    line.flag("--view{0}", "show frames, levels and figures as a live web page", view, "[=[ADDRESS:]PORT]");
    line.value("--view-name", "NAME",
               "with --view: a name by which browsers may call this\nmachine, such as board.local",
               textInto(options.viewName));
    line.value("--sheet", "FILE.png", "picture of the last frame and of its levels", textInto(options.sheet));
    line.flag("--check", "compare every pixel in the modules with the rule", options.check);
    line.flag("--strict", "exit status 3 if a frame is dropped", options.strict);
    line.flag("--json", "one JSON document on standard output, nothing else", options.json);
    line.flag("--quiet", "say nothing but what goes wrong", options.quiet);
    line.flag("--log", "show the library's and the modules' log", options.log);
}

void describeRelations(CommandLine& line) {
    using Pair = std::pair<const char*, const char*>;
    for (const auto& [option, needed] :
         {Pair("--start", "source"), Pair("--raw", "source"), Pair("--raw", "--size"),
          Pair("--input-format", "source"), Pair("--save-jpeg", "--camera"),
          Pair("--descriptors", "--camera"), Pair("--view-name", "--view")})
        line.needs(option, needed);
    line.excludes("--fast", "--fps");
    line.excludes("--raw", "--input-format");
    for (const char* other :
         {"source", "--start", "--raw", "--input-format", "--fast", "--pyramid", "--sheet", "--check"})
        line.excludes("--camera", other);
}

// A path stays what it names when the folder changes; URLs, devices by name and - are none.
void makePathsAbsolute(Options& options) {
    const auto makeAbsolute = [](std::string& path) {
        if (!path.empty()) path = fs::absolute(path).lexically_normal().string();
    };
    if (options.writable.empty()) options.writable = ".";
    for (std::string* path : {&options.modulePath, &options.writable, &options.sheet, &options.jpegFolder})
        makeAbsolute(*path);
    if (options.camera != "scene") makeAbsolute(options.camera);
    for (std::string& input : options.inputs)
        if (isPath(input) && (options.inputFormat.empty() || opensFiles(options.inputFormat)))
            makeAbsolute(input);
}

void requireSense(Options& options) {
    if (options.loop && options.inputs.empty() && options.camera.empty())
        throw PlayError("--loop is for a source that ends: name one, or leave it out");
    if (options.commandsFromInput && std::count(options.inputs.begin(), options.inputs.end(), "-") > 0)
        throw PlayError("standard input cannot be both the source and the commands: name a file for one");
    if (options.view && findModule(options, "LiveView") != options.modules.end())
        throw PlayError("--view loads the module LiveView: leave out one of the two");
    if (!options.camera.empty() && findModule(options, "CameraSource") != options.modules.end())
        throw PlayError("--camera loads the module CameraSource: leave out one of the two");
    constexpr std::size_t LONGEST_PATH = 100;  // the library cuts dump names after 127 characters
    const bool dumps = (options.flags.value_or(0) & LUMETRA_CONVERT_DEBUGDUMP) != 0;
    if (dumps && options.writable.size() > LONGEST_PATH)
        throw PlayError("the path of the folder for dumps is too long: name a shorter one by --writable");
    const bool yuyv = options.format.value_or(LUMETRA_IMGFORMAT_YUYV) == LUMETRA_IMGFORMAT_YUYV;
    if (!options.jpegFolder.empty() && !yuyv)
        throw PlayError("pictures are made of yuyv frames only: leave out --format or --save-jpeg");
}

// --info and --devices say what they say whatever else there is.
void requireNothingElse(const CLI::App& app) {
    const std::set<std::string> sensible = {"--info", "--devices", "--json", "--quiet", "--log", "--library"};
    for (const CLI::Option* option : app.get_options())
        if (option->count() > 0 && sensible.count(option->get_name()) == 0)
            throw PlayError(option->get_name() + " has no meaning beside --info and --devices: leave it out");
}

}  // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv) {
    Options options;
    std::string view;
    CommandLine line("lumetra-play", BEGINNING, END);
    line.add_option("source", options.inputs);
    describeSource(line, options);
    describeFrames(line, options);
    describeModules(line, options);
    describeResults(line, options, view);
    line.beginGroup("Other");
    line.flag("--devices", "list the capture devices as JSON", options.devices);
    line.flag("--info", "describe this machine as JSON", options.info);
    line.value("--library", "PATH", "play through this build of the library", textInto(options.library));
    describeRelations(line);
    if (const auto answer = line.read(argc, argv, LUMETRA_VERSION "\n" + inputLibraries())) {
        output::writeLine(*answer);
        output::requireWritten();
        return std::nullopt;
    }
    if (line.count("--view") > 0) options.view = parseView(view);
    makePathsAbsolute(options);
    requireSense(options);
    if (options.info || options.devices) requireNothingElse(line);
    return options;
}

bool isPath(const std::string& input) {
    const std::size_t scheme =
        input.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+.-");
    return input != "-" && (scheme == std::string::npos || scheme < 2 || input[scheme] != ':');
}

std::int32_t parseFlags(const std::string& text) {
    static const std::map<std::string, std::int32_t> NAMES = {{"gray", LUMETRA_CONVERT_GRAY},
                                                              {"pyramid", LUMETRA_CONVERT_PYRAMID},
                                                              {"flip", LUMETRA_CONVERT_FLIPVERTICAL},
                                                              {"dump", LUMETRA_CONVERT_DEBUGDUMP}};
    if (const auto number = wholeNumber(text); number && *number >= 0 && *number <= 15) return *number;
    std::int32_t flags = 0;
    std::istringstream names(text + ",");
    for (std::string name; std::getline(names, name, ',');) {
        const auto known = NAMES.find(name);
        if (known == NAMES.end())
            throw PlayError(text +
                            " is unknown: use 0 to 15, or gray, pyramid, flip and dump joined by commas");
        flags |= known->second;
    }
    return flags;
}

Options::Size parseSize(const std::string& text) {
    const std::size_t cross = std::min(text.find('x'), text.size() - 1);
    const auto width = wholeNumber(text.substr(0, cross)), height = wholeNumber(text.substr(cross + 1));
    if (!width || !height) throw PlayError(text + " is no size: use WxH, such as 640x480");
    return {*width, *height};
}

ModuleRequest parseModule(const std::string& text) {
    const std::size_t equals = text.find('=');
    ModuleRequest request{text.substr(0, equals), std::nullopt};
    if (equals != std::string::npos) request.configuration = text.substr(equals + 1);
    if (request.name.empty() || request.name.find('/') != std::string::npos)
        throw PlayError(text + ": give the bare NAME and its folder by --module-path");
    if (request.name == "FrameMonitor") throw PlayError("FrameMonitor is always loaded: leave it out");
    return request;
}

CommandRequest parseCommand(const std::string& text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::size_t equals = std::min(text.find('='), text.size());
    const auto number =
        colon < equals ? wholeNumber(text.substr(colon + 1, equals - colon - 1)) : std::nullopt;
    if (!number || colon == 0) throw PlayError("\"" + text + "\" is no command: use NAME:NUMBER[=TEXT]");
    return {text.substr(0, colon), *number, equals < text.size() ? text.substr(equals + 1) : ""};
}

Options::View parseView(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    const bool alone = colon == std::string::npos;
    const auto port = wholeNumber(alone ? text : text.substr(colon + 1));
    if (!port || *port < 0 || *port > 65535 || colon == 0)
        throw PlayError("--view=" + text + " names no port: use 1 to 65535, ADDRESS:PORT, or --view for any");
    std::string address = alone ? "127.0.0.1" : text.substr(0, colon);
    if (address.starts_with('[') && address.ends_with(']'))
        address = address.substr(1, address.size() - 2);
    else if (address.find(':') != std::string::npos)
        throw PlayError("--view=" + text + " is no address and port: use brackets, as in [::1]:8080");
    return {address, *port};
}
