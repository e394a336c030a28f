// main.cpp - lumetra-play: from the command line to the summary.
// Every error ends here, as one line. Exit status: 0 played, 1 error, 2 a check found wrong pixels.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>

#include "plugins/LiveView/LiveView.h"
#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/modules/camera_play.h"
#include "tools/lumetra-play/modules/module_folders.h"
#include "tools/lumetra-play/pixels/colour.h"
#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/run/log_sink.h"
#include "tools/lumetra-play/run/options.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/player.h"
#include "tools/lumetra-play/run/text.h"
#include "tools/lumetra-play/view/sheet.h"
#include "tools/lumetra-play/view/summary.h"

namespace {

namespace fs = std::filesystem;

constexpr double USUAL_FRAMES_PER_SECOND = 30;
constexpr std::int32_t SCENE_FRAMES = 300;
constexpr int EXIT_ERROR = 1, EXIT_WRONG_PIXELS = 2;

// The working folder changes when modules are loaded, so every path is made absolute before.
void resolvePaths(Options& options) {
    if (options.writable.empty()) options.writable = ".";
    for (std::string* path : {&options.modulePath, &options.writable, &options.sheet, &options.jpegFolder})
        if (!path->empty()) *path = fs::absolute(*path).lexically_normal().string();
    if (!options.camera.empty() && options.camera != "scene")
        options.camera = fs::absolute(options.camera).string();
}

void requireDumpFolder(const Options& options, std::int32_t flags) {
    constexpr std::size_t LONGEST_PATH = 100;  // the library cuts dump names after 127 characters
    if ((flags & LUMETRA_CONVERT_DEBUGDUMP) == 0) return;
    if (!fs::is_directory(options.writable))
        throw PlayError(options.writable + " is no folder: make it or name another by --writable");
    if (options.writable.size() > LONGEST_PATH)
        throw PlayError("the path of the folder for dumps is too long: name a shorter one by --writable");
}

PlaySettings settingsFor(const Options& options, const FrameSource& source) {
    PlaySettings settings;
    settings.flags = options.flags.value_or(defaultFlags(source.picture().format));
    settings.pyramid = options.pyramid.value_or((settings.flags & LUMETRA_CONVERT_PYRAMID) != 0);
    const double clipRate = source.framesPerSecond();
    settings.framesPerSecond =
        options.framesPerSecond.value_or(clipRate > 0 ? clipRate : USUAL_FRAMES_PER_SECOND);
    if (settings.framesPerSecond > 1000)
        throw PlayError("the clip's rate is above 1000 frames a second: choose another by --fps");
    const bool endless = options.inputs.empty() && !options.seconds;
    settings.frames = options.frames.value_or(endless ? SCENE_FRAMES : 0);
    settings.loop = options.loop;

    const bool grey =
        source.picture().format == LUMETRA_IMGFORMAT_GRAY8 || (settings.flags & LUMETRA_CONVERT_GRAY) != 0;
    if (options.check && !grey) throw PlayError("--check needs grey frames: add gray to --flags");
    requireDumpFolder(options, settings.flags);
    return settings;
}

// The sheet is made while the engine is still there to ask for the levels.
std::string makeSheet(const Options& options, const Summary& summary, const MonitorLink& monitor,
                      const LibraryTable& library) {
    const Picture& picture = summary.picture;
    if (summary.play.pushed == 0) return {};
    const RgbImage pushed{picture.width, picture.height, toRgb(picture, summary.play.lastFrame)};
    writePng(options.sheet, composeSheet(pushed, formatName(picture.format), fetchLevels(monitor, library)));
    const std::int64_t shown = summary.play.monitor.newestFrame;
    if (shown == summary.play.pushed - 1) return options.sheet;
    return options.sheet + " (the last frame was lost or not grey; the levels are " +
           (shown < 0 ? "missing)" : "those of frame " + std::to_string(shown) + ")");
}

// The modules that were asked for, and the page that shows the frames.
void loadModules(const Options& options, const LibraryTable& library, EngineSession& engine) {
    for (const ModuleRequest& module : options.modules)
        engine.loadModule(module, folderOfModule(module.name, options.modulePath));
    if (!options.viewPort) return;
    const std::string wanted = std::to_string(*options.viewPort);
    engine.loadModule({"LiveView", "{\"port\":" + wanted + "}"},
                      folderOfModule("LiveView", options.modulePath));
    const int port = library.command(LIVEVIEW_ID, static_cast<LUMETRA_CMDTYPE>(LIVEVIEW_CMD_PORT), u"");
    if (port == 0) throw PlayError("port " + wanted + " cannot be opened: choose another by --view=PORT");
    std::printf("live view: http://127.0.0.1:%d/\n", port);
    std::fflush(stdout);
}

Summary playThroughEngine(const Options& options, const LibraryTable& library, FrameSource& source,
                          const StopRequest& stop) {
    const PlaySettings settings = settingsFor(options, source);
    PixelCheck check;
    Summary summary;
    summary.sourceName = source.name();
    summary.picture = source.picture();

    EngineSession engine(library);
    engine.configure({source.picture(), settings.flags, settings.pyramid, options.writable});
    engine.loadModule({"FrameMonitor", std::nullopt}, folderOfModule("FrameMonitor", options.modulePath));
    MonitorLink monitor(library, options.check ? &check : nullptr);
    loadModules(options, library, engine);

    summary.play = Player(settings, source, library, monitor, options.check ? &check : nullptr, stop).play();
    summary.log = logCounts();
    summary.remark = source.remark();
    if (options.check) summary.check = check.result();
    if (!options.sheet.empty()) summary.sheet = makeSheet(options, summary, monitor, library);
    return summary;
}

void requireCameraOptions(const Options& options) {
    if (options.camera.empty()) {
        if (!options.jpegFolder.empty() || options.descriptors)
            throw PlayError("--save-jpeg and --descriptors show what CameraSource pushes: add --camera");
        return;
    }
    if (!options.inputs.empty() || options.check || !options.sheet.empty())
        throw PlayError("with --camera the module pushes the frames: leave out sources, --check and --sheet");
    if (options.pyramid.value_or(false))
        throw PlayError("CameraSource pushes no smaller levels: leave out --pyramid");
    if (!options.jpegFolder.empty() && !fs::is_directory(options.jpegFolder))
        throw PlayError(options.jpegFolder + " is no folder: make it or name another by --save-jpeg");
    if (!options.jpegFolder.empty() &&
        options.format.value_or(LUMETRA_IMGFORMAT_YUYV) != LUMETRA_IMGFORMAT_YUYV)
        throw PlayError("pictures are made of yuyv frames only: leave out --format or --save-jpeg");
}

Summary playCamera(const Options& options, const LibraryTable& library, const StopRequest& stop) {
    Summary summary;
    summary.sourceName = "the camera " + options.camera;
    const Options::Size size = options.size.value_or(Options::Size{640, 480});
    summary.picture = {options.format.value_or(LUMETRA_IMGFORMAT_YUYV), size.width, size.height};
    requireUsableSize(size.width, size.height, summary.picture.format);
    const std::int32_t flags = options.flags.value_or(LUMETRA_CONVERT_GRAY);
    requireDumpFolder(options, flags);

    EngineSession engine(library);
    engine.configure({summary.picture, flags, false, options.writable, !options.jpegFolder.empty()});
    engine.loadModule({"FrameMonitor", std::nullopt}, folderOfModule("FrameMonitor", options.modulePath));
    MonitorLink monitor(library, nullptr);
    loadModules(options, library, engine);
    engine.loadModule({"CameraSource", cameraConfiguration(options, summary.picture)},
                      folderOfModule("CameraSource", options.modulePath));
    HostExchange exchange(library, options.jpegFolder, options.descriptors);
    CameraPlay camera(library, monitor, stop);
    const bool endless = options.camera == "scene" && !options.seconds;
    summary.play = camera.play(options.frames.value_or(endless ? SCENE_FRAMES : 0));
    summary.exchange = exchange.counts();
    summary.log = logCounts();
    return summary;
}

// Either text or both, a line each.
void printDeviceTexts(const Options& options, const LibraryTable& library) {
    std::u16string text(LUMETRA_DEVICE_TEXT_UNITS, u'\0');
    for (const auto& [wanted, describe] :
         {std::pair(options.info, library.getDeviceInfo), {options.devices, library.enumerateDevices}}) {
        if (!wanted) continue;
        describe(text.data(), 0);
        std::printf("%s\n", toUtf8(text.c_str()).c_str());
    }
}

int run(int argc, char** argv) {
    auto options = parseOptions(argc, argv);
    if (!options) return 0;
    resolvePaths(*options);
    const LibraryTable library = options->library.empty() ? linkedLibrary() : openLibrary(options->library);
    showLog(options->log);
    if (options->devices || options->info) return printDeviceTexts(*options, library), 0;
    requireCameraOptions(*options);

    StopRequest stop;
    const auto source = options->camera.empty() ? openSource(*options, library, stop) : nullptr;
    if (options->seconds)
        stop.stopAt(StopRequest::Clock::now() + std::chrono::duration_cast<StopRequest::Clock::duration>(
                                                    std::chrono::duration<double>(*options->seconds)));
    const Summary summary =
        source ? playThroughEngine(*options, library, *source, stop) : playCamera(*options, library, stop);
    std::fputs(summaryText(summary).c_str(), stdout);
    return checkPassed(summary) ? 0 : EXIT_WRONG_PIXELS;
}

// One line, whatever a path or a message from elsewhere holds.
int fail(std::string message) {
    for (char& letter : message)
        if (static_cast<unsigned char>(letter) < ' ') letter = ' ';
    std::fprintf(stderr, "lumetra-play: %s\n", message.c_str());
    return EXIT_ERROR;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::bad_alloc&) {
        return fail("out of memory: play a smaller picture");
    } catch (const std::exception& error) {
        return fail(error.what());
    }
}
