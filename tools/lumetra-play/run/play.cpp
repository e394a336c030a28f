// play.cpp - everything up in its order, the play, everything down.
#include "tools/lumetra-play/run/play.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tools/lumetra-play/modules/camera_play.h"
#include "tools/lumetra-play/modules/console.h"
#include "tools/lumetra-play/modules/known_modules.h"
#include "tools/lumetra-play/modules/module_watch.h"
#include "tools/lumetra-play/pixels/conversion.h"
#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/text.h"
#include "tools/lumetra-play/view/output.h"
#include "tools/lumetra-play/view/sheet.h"

namespace {

namespace fs = std::filesystem;

constexpr std::int32_t SCENE_FRAMES = 300;

void requireDumpFolder(const Options& options, std::int32_t flags) {
    constexpr std::size_t LONGEST_PATH = 100;  // the library cuts dump names after 127 characters
    if ((flags & LUMETRA_CONVERT_DEBUGDUMP) == 0) return;
    if (!fs::is_directory(options.writable))
        throw PlayError(options.writable + " is no folder: make it or name another by --writable");
    if (options.writable.size() > LONGEST_PATH)
        throw PlayError("the path of the folder for dumps is too long: name a shorter one by --writable");
}

PlaySettings settingsFor(const Options& options, const Picture& picture) {
    PlaySettings settings{};
    const bool camera = !options.camera.empty();
    settings.flags = options.flags.value_or(camera ? LUMETRA_CONVERT_GRAY : defaultFlags(picture.format));
    settings.pyramid = !camera && options.pyramid.value_or((settings.flags & LUMETRA_CONVERT_PYRAMID) != 0);
    settings.framesPerSecond = options.framesPerSecond;
    settings.fast = options.fast;
    const bool scene = camera ? options.camera == "scene" : options.inputs.empty();
    settings.frames = options.frames.value_or(scene && !options.seconds ? SCENE_FRAMES : 0);
    settings.quiet = options.quiet;
    const bool grey =
        picture.format == LUMETRA_IMGFORMAT_GRAY8 || (settings.flags & LUMETRA_CONVERT_GRAY) != 0;
    if (options.check && !grey) throw PlayError("--check needs grey frames: add gray to --flags");
    requireDumpFolder(options, settings.flags);
    return settings;
}

// Why a server cannot listen there, which the module cannot say.
std::string listenError(const Options::View& view) {
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(view.port));
    std::string reason;
    if (inet_pton(AF_INET, view.address.c_str(), &address.sin_addr) == 1 &&
        bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        reason = " (" + std::generic_category().message(errno) + ")";
    close(probe);
    return reason;
}

void openInBrowser(const std::string& page) {
    if (!output::onTerminal() || (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY"))) return;
    const char* const command[] = {"xdg-open", page.c_str(), nullptr};
    posix_spawn_file_actions_t quietly;
    posix_spawn_file_actions_init(&quietly);
    posix_spawn_file_actions_addopen(&quietly, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&quietly, STDERR_FILENO, STDOUT_FILENO);
    pid_t child = 0;  // its end is of no interest
    posix_spawnp(&child, command[0], &quietly, nullptr, const_cast<char* const*>(command), environ);
    posix_spawn_file_actions_destroy(&quietly);
}

std::string loadView(const Options& options, const LibraryTable& library, EngineSession& engine) {
    const Options::View& view = *options.view;
    const std::string configuration = toText({{"port", view.port}, {"address", view.address}});
    const std::int32_t id =
        engine.loadModule({"LiveView", configuration}, folderOfModule("LiveView", options.modulePath));
    const int port = library.command(id, live_view::PORT, u"");
    const std::string place = view.address + ":" + std::to_string(port != 0 ? port : view.port);
    if (port == 0)
        throw PlayError("the live view cannot be served at " + place + listenError(view) +
                        ": choose another port by --view=PORT");
    const std::string page = "http://" + place + "/";
    if (options.json)
        output::say("live view: " + page);
    else
        output::writeLine("live view: " + page);
    openInBrowser(page);
    return page;
}

// The sheet is made while the engine is still there to ask for the levels.
std::string makeSheet(const Options& options, const Summary& summary, const MonitorLink& monitor,
                      const LibraryTable& library) {
    const Picture& picture = summary.picture;
    if (summary.play.pushed == 0) return {};
    const RgbImage pushed{picture.width, picture.height,
                          convertPixels(picture, summary.play.lastFrame, LUMETRA_IMGFORMAT_RGB)};
    writePng(options.sheet, composeSheet(pushed, formatName(picture.format), fetchLevels(monitor, library)));
    const std::int64_t shown = summary.play.monitor.newestFrame;
    if (shown == summary.play.pushed - 1) return options.sheet;
    return options.sheet + " (the last frame was dropped or not grey; the levels are " +
           (shown < 0 ? "missing)" : "those of frame " + std::to_string(shown) + ")");
}

SourceFacts cameraFacts(const Options& options, Picture& picture) {
    SourceFacts facts;
    facts.name = "the camera " + options.camera;
    const Options::Size size = options.size.value_or(Options::Size{640, 480});
    picture = {options.format.value_or(LUMETRA_IMGFORMAT_YUYV), size.width, size.height};
    facts.width = size.width;
    facts.height = size.height;
    requireUsableSize(size.width, size.height, picture.format);
    return facts;
}

PlayResult playCamera(const Options& options, const PlaySettings& settings, const Picture& picture,
                      const LibraryTable& library, EngineSession& engine, MonitorLink& monitor,
                      const StopRequest& stop, Summary& summary) {
    engine.loadModule({"CameraSource", cameraConfiguration(options, picture)},
                      folderOfModule("CameraSource", options.modulePath));
    HostExchange exchange(library, options.jpegFolder, options.descriptors, options.json);
    PlayResult result = CameraPlay(library, monitor, stop, settings.quiet).play(settings.frames);
    summary.exchange = exchange.counts();
    return result;
}

}  // namespace

Summary play(const Options& options, StopRequest& stop) {
    Summary summary;
    const auto source = options.camera.empty() ? openSource(options, stop) : nullptr;
    if (source) {
        summary.source = source->facts();
        summary.picture = source->picture();
    } else {
        summary.source = cameraFacts(options, summary.picture);
    }
    const PlaySettings settings = settingsFor(options, summary.picture);
    summary.flags = settings.flags;
    summary.pyramid = settings.pyramid;

    // Only now, so that what is refused is refused in one line: the library prints while it is loaded.
    const LibraryTable library = openLibrary(options.library);
    PixelCheck check;
    PixelCheck* const checked = options.check ? &check : nullptr;
    EngineSession engine(library, options.json);
    engine.configure(
        {summary.picture, settings.flags, settings.pyramid, options.writable, !options.jpegFolder.empty()});
    engine.loadModule({"FrameMonitor", std::nullopt}, folderOfModule("FrameMonitor", options.modulePath));
    MonitorLink monitor(library, checked);
    for (const ModuleRequest& module : options.modules)
        engine.loadModule(module, folderOfModule(module.name, options.modulePath));
    if (options.view) summary.page = loadView(options, library, engine);
    for (const CommandRequest& command : options.commands) sendCommand(engine, command);
    std::string names;
    for (const ModuleRequest& module : options.modules) names += " " + module.name;
    {
        const WaitingFor waiting("frames to be delivered" + (names.empty() ? names : " to" + names));
        const ModuleWatch watch(engine, monitor, options.modules);
        std::optional<Console> console;
        const bool typing = isatty(STDIN_FILENO) == 1 && output::onTerminal();
        if (typing || options.commandsFromInput) console.emplace(engine, stop);
        summary.play =
            source ? Player(settings, *source, library, monitor, checked, stop).play()
                   : playCamera(options, settings, summary.picture, library, engine, monitor, stop, summary);
    }
    if (source) summary.remark = source->remark();
    summary.modules = engine.report();
    summary.log = logCounts();
    if (options.check) summary.check = check.result();
    if (!options.sheet.empty()) summary.sheet = makeSheet(options, summary, monitor, library);
    return summary;
}
