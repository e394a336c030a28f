// play.cpp - everything up in its order, the play, everything down.
#include "tools/lumetra-play/run/play.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "plugins/LiveView/LiveView.h"
#include "tools/lumetra-play/modules/camera_host.h"
#include "tools/lumetra-play/modules/module_threads.h"
#include "tools/lumetra-play/run/engine_session.h"
#include "tools/lumetra-play/view/output.h"
#include "tools/lumetra-play/view/sheet.h"
#include "tools/lumetra-play/view/summary.h"
#include "tools/support/text.h"

namespace {

constexpr std::int32_t SCENE_FRAMES = 300;

PlaySettings settingsFor(const Options& options, const Picture& picture) {
    const bool camera = !options.camera.empty();
    const std::int32_t flags =
        options.flags.value_or(camera ? LUMETRA_CONVERT_GRAY : defaultFlags(picture.format));
    const bool scene = camera ? options.camera == "scene" : options.inputs.empty();
    const bool grey = picture.format == LUMETRA_IMGFORMAT_GRAY8 || (flags & LUMETRA_CONVERT_GRAY) != 0;
    if (options.check && !grey) throw PlayError("--check needs grey frames: add gray to --flags");
    return {flags, !camera && options.pyramid.value_or((flags & LUMETRA_CONVERT_PYRAMID) != 0),
            options.frames.value_or(scene && !options.seconds ? SCENE_FRAMES : 0)};
}

void openInBrowser(const std::string& page) {
    if (!output::onTerminal() || (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY"))) return;
    if (fork() != 0) return;  // its end is of no interest
    // The signals that this program blocks and ignores are the browser's to get.
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
    signal(SIGPIPE, SIG_DFL);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    execlp("xdg-open", "xdg-open", page.c_str(), nullptr);
    _exit(EXIT_ERROR);
}

// Its page.
std::string loadView(const Options& options, const LibraryTable& library, EngineSession& engine) {
    const Options::View& view = *options.view;
    engine.loadModule(
        {"LiveView", toText({{"port", view.port}, {"address", view.address}, {"name", options.viewName}})});
    const int port = library.command(LIVEVIEW_ID, LUMETRA_CMDTYPE(LIVEVIEW_CMD_PORT), u"");
    if (port == 0)
        throw PlayError("the live view cannot be served (" + output::logCounts().lastWarning +
                        "): name another port, or an address of this machine, by --view=[ADDRESS:]PORT");
    // One that stands for all addresses is none that a browser can go to.
    std::string address = view.address == "0.0.0.0" ? "127.0.0.1"
                          : view.address == "::"    ? "::1"
                                                    : view.address;
    if (address.find(':') != std::string::npos) address = "[" + address + "]";
    const std::string page = "http://" + address + ":" + std::to_string(port) + "/";
    output::showResult("live view: " + page);
    openInBrowser(page);
    return page;
}

std::string sheetText(const std::string& path, const PlayResult& play) {
    const std::int64_t shown = play.monitor.newestFrame;
    if (shown == play.pushed - 1) return path;
    return path + " (the last frame was dropped or not grey; the levels are " +
           (shown < 0 ? "missing)" : "those of frame " + std::to_string(shown) + ")");
}

SourceFacts cameraFacts(const Options& options, Picture& picture) {
    const Options::Size size = options.size.value_or(Options::Size{640, 480});
    picture = {options.format.value_or(LUMETRA_IMGFORMAT_YUYV), size.width, size.height};
    requireUsableSize(size.width, size.height, picture.format);
    SourceFacts facts;
    facts.name = "the camera " + options.camera;
    facts.width = size.width;
    facts.height = size.height;
    return facts;
}

// One play from the source to the summary; the parts come down in the opposite order.
class Play {
public:
    Play(const Options& options, StopRequest& stop) : m_options(options), m_stop(stop) {
        if (options.camera.empty()) m_source = openSource(options, stop);
        m_summary.source = m_source ? m_source->facts() : cameraFacts(options, m_summary.picture);
        if (m_source) m_summary.picture = m_source->picture();
        m_summary.settings = settingsFor(options, m_summary.picture);
        if (!options.sheet.empty()) m_scratch.emplace();
    }

    ExitStatus run();

private:
    void loadModules(const LibraryTable& library, EngineSession& engine);
    void playFrames(const LibraryTable& library, EngineSession& engine, MonitorLink& monitor);
    void makeSheet(const LibraryTable& library, const MonitorLink& monitor);
    ExitStatus finish();

    const Options& m_options;
    StopRequest& m_stop;
    std::optional<ScratchFolder> m_scratch;
    std::unique_ptr<FrameSource> m_source;  // null with a camera
    PixelCheck m_check;
    Summary m_summary;
};

ExitStatus Play::run() {
    // Only now, so that what is refused is refused in one line: the library prints while it is loaded.
    const LibraryTable library(m_options.library);
    EngineSession engine(library, m_options.modulePath);
    const Picture& picture = m_summary.picture;
    engine.configure(toText({{"imageCfg", {{"width", picture.width}, {"height", picture.height}}},
                             {"mipMap", m_summary.settings.pyramid},
                             {"format", static_cast<std::int32_t>(picture.format)},
                             {"conversionflags", m_summary.settings.flags},
                             {"forwardNativeImage", !m_options.jpegFolder.empty()},
                             {"writablepath", m_options.writable}}));
    engine.loadModule({"FrameMonitor", toText({{"histogram", false}, {"digest", m_options.check}})});
    MonitorLink monitor(library, m_options.check ? &m_check : nullptr);
    loadModules(library, engine);
    playFrames(library, engine, monitor);
    m_stop.stop();
    if (m_source) m_summary.remark = m_source->remark();
    if (m_source) m_summary.error = m_source->error();
    // What fails from here on leaves the figures as they are.
    const auto attempt = [this](const auto& step) {
        try {
            step();
        } catch (const PlayError& error) {
            m_summary.error += (m_summary.error.empty() ? "" : "; ") + std::string(error.what());
        }
    };
    attempt([&] { makeSheet(library, monitor); });
    attempt([&] { m_summary.modules = engine.report(); });
    return finish();
}

void Play::loadModules(const LibraryTable& library, EngineSession& engine) {
    for (const ModuleRequest& module : m_options.modules) engine.loadModule(module);
    if (m_options.view) m_summary.page = loadView(m_options, library, engine);
    for (const CommandRequest& command : m_options.commands) engine.command(command);
}

void Play::playFrames(const LibraryTable& library, EngineSession& engine, MonitorLink& monitor) {
    const WaitingFor waiting("frames to be delivered");
    std::optional<CameraHost> camera;
    if (!m_source) camera.emplace(m_options, m_summary.picture, library, engine);
    std::optional<Companion> watch, console;
    if (!engine.watched().empty())
        watch.emplace([&](const Event& end) { watchModules(engine, monitor, end); });
    if (m_options.commandsFromInput || (isatty(STDIN_FILENO) == 1 && output::onTerminal()))
        console.emplace([&](const Event& end) { readCommands(engine, m_stop, end); });
    if (camera) {
        m_summary.play = camera->play(m_summary.settings.frames, monitor, m_stop);
        m_summary.exchange = camera->counts();
    } else {
        PixelCheck* const check = m_options.check ? &m_check : nullptr;
        m_summary.play =
            Player(m_options, m_summary.settings, *m_source, library, monitor, check, m_stop).play();
    }
}

void Play::makeSheet(const LibraryTable& library, const MonitorLink& monitor) {
    if (m_options.sheet.empty() || m_summary.play.pushed == 0) return;
    writeSheet(m_options.sheet, m_summary.picture, m_summary.play.lastFrame, monitor, library, *m_scratch);
    m_summary.sheet = sheetText(m_options.sheet, m_summary.play);
}

ExitStatus Play::finish() {
    m_summary.log = output::logCounts();
    if (m_options.check) m_summary.check = m_check.result();
    const ExitStatus status = statusOf(m_summary, m_stop.interrupted(), m_options.strict);
    if (m_options.json)
        output::writeLine(summaryJson(m_summary, status));
    else if (!m_options.quiet)
        output::writeLine(summaryText(m_summary));
    output::requireWritten();
    if (!m_summary.error.empty()) output::complain(m_summary.error);
    return status;
}

}  // namespace

ExitStatus play(const Options& options, StopRequest& stop) {
    return Play(options, stop).run();
}
