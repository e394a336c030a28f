// play.cpp - everything up in its order, the play, everything down.
#include "tools/lumetra-play/run/play.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "plugins/LiveView/LiveView.h"
#include "tools/lumetra-play/modules/module_threads.h"
#include "tools/lumetra-play/view/output.h"
#include "tools/lumetra-play/view/sheet.h"
#include "tools/support/text.h"

namespace {

constexpr std::int32_t SCENE_FRAMES = 300;

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

SourceFacts cameraFacts(const Options& options, Picture& picture) {
    const Options::Size size = options.size.value_or(Options::Size{640, 480});
    picture = {options.format.value_or(LUMETRA_IMGFORMAT_YUYV), size.width, size.height};
    requireUsableSize(picture);
    SourceFacts facts;
    facts.name = "the camera " + options.camera;
    facts.width = size.width;
    facts.height = size.height;
    return facts;
}

std::string cameraConfiguration(const Options& options, const Picture& picture) {
    const bool grey = picture.format == LUMETRA_IMGFORMAT_GRAY8;
    Json configuration = {{"source", options.camera},
                          {"width", picture.width},
                          {"height", picture.height},
                          {"format", grey ? "gray" : formatName(picture.format)},
                          {"loop", options.loop}};
    if (options.framesPerSecond) configuration["fps"] = *options.framesPerSecond;
    return toText(configuration);
}

}  // namespace

Play::Play(const Options& options, StopRequest& stop) : m_options(options), m_stop(stop) {
    const bool camera = !options.camera.empty();
    if (!camera) m_source = openSource(options, stop);
    Picture& picture = m_summary.picture;
    if (m_source) picture = m_source->picture();
    m_summary.source = camera ? cameraFacts(options, picture) : m_source->facts();
    // Packed luma has neither a flip nor supplied levels, and a camera supplies none.
    const bool supplied = !camera && picture.format != LUMETRA_IMGFORMAT_YUYV;
    const std::int32_t usual = LUMETRA_CONVERT_GRAY | (supplied ? LUMETRA_CONVERT_PYRAMID : 0);
    const std::int32_t flags = m_summary.flags = options.flags.value_or(usual);
    m_summary.pyramid = !camera && options.pyramid.value_or((flags & LUMETRA_CONVERT_PYRAMID) != 0);
    const bool grey = picture.format == LUMETRA_IMGFORMAT_GRAY8 || (flags & LUMETRA_CONVERT_GRAY) != 0;
    if (options.check && !grey) throw PlayError("--check needs grey frames: add gray to --flags");
    const bool scene = camera ? options.camera == "scene" : options.inputs.empty();
    if (!options.sheet.empty()) m_scratch.emplace();
    m_frames = options.frames.value_or(scene && !options.seconds ? SCENE_FRAMES : 0);
}

ExitStatus Play::run() {
    // Only now, so that what is refused is refused in one line: the library prints while it is loaded.
    m_library = std::make_unique<LibraryTable>(m_options.library);
    m_engine = std::make_unique<EngineSession>(*m_library, m_options.modulePath);
    configure();
    loadModules();
    playFrames();
    m_stop.stop();
    if (m_source) m_summary.source = m_source->facts();
    m_summary.error = m_summary.source.error;
    // What fails from here on leaves the figures as they are.
    const auto attempt = [this](const auto& step) {
        try {
            step();
        } catch (const std::runtime_error& error) {
            m_summary.error += (m_summary.error.empty() ? "" : "; ") + std::string(error.what());
        }
    };
    attempt([this] { makeSheet(); });
    attempt([this] { m_summary.modules = m_engine->report(); });
    return finish();
}

void Play::configure() {
    const Picture& picture = m_summary.picture;
    m_engine->configure(toText({{"imageCfg", {{"width", picture.width}, {"height", picture.height}}},
                                {"mipMap", m_summary.pyramid},
                                {"format", static_cast<std::int32_t>(picture.format)},
                                {"conversionflags", m_summary.flags},
                                {"forwardNativeImage", !m_options.jpegFolder.empty()},
                                {"writablepath", m_options.writable}}));
}

void Play::loadModules() {
    m_engine->loadModule({"FrameMonitor", toText({{"histogram", false}, {"digest", m_options.check}})});
    m_monitor = std::make_unique<MonitorLink>(*m_library, m_options.check ? &m_check : nullptr);
    for (const ModuleRequest& module : m_options.modules) m_engine->loadModule(module);
    if (!m_source) m_engine->loadModule({"CameraSource", cameraConfiguration(m_options, m_summary.picture)});
    if (m_options.view) m_summary.page = loadView();
    for (const CommandRequest& command : m_options.commands) m_engine->command(command);
}

// Returns the page's address.
std::string Play::loadView() {
    const Options::View& view = *m_options.view;
    const Json configuration = {{"port", view.port}, {"address", view.address}, {"name", m_options.viewName}};
    m_engine->loadModule({"LiveView", toText(configuration)});
    const int port = m_library->command(LIVEVIEW_ID, LUMETRA_CMDTYPE(LIVEVIEW_CMD_PORT), u"");
    if (port == 0)
        throw PlayError("the live view is not served (" + output::logCounts().lastWarning +
                        "): name another port, or an address of this machine such as 0.0.0.0, by --view");
    // One that stands for all addresses is none that a browser can go to.
    const bool all = view.address == "0.0.0.0" || view.address == "::";
    std::string address = all ? "127.0.0.1" : view.address;
    if (address.find(':') != std::string::npos) address = "[" + address + "]";
    const std::string page = "http://" + address + ":" + std::to_string(port) + "/";
    output::showResult("live view: " + page);
    openInBrowser(page);
    return page;
}

void Play::playFrames() {
    const WaitingFor waiting("frames to be delivered");
    std::optional<HostExchange> exchange;
    if (!m_source) exchange.emplace(m_options, *m_library);
    std::optional<Companion> watch, console;
    const auto isWatched = [](const ModuleRequest& module) { return module.watched; };
    if (std::any_of(m_options.modules.begin(), m_options.modules.end(), isWatched))
        watch.emplace([this](const StopSignal& end) { watchModules(*m_engine, *m_monitor, end); });
    if (m_options.commandsFromInput || (isatty(STDIN_FILENO) == 1 && output::onTerminal()))
        console.emplace([this](const StopSignal& end) { readCommands(*m_engine, m_stop, end); });
    if (exchange)
        playCamera(*exchange);
    else
        pushFrames();
}

void Play::makeSheet() {
    const std::string& path = m_options.sheet;
    if (path.empty() || m_pushed == 0) return;
    writeSheet(path, m_summary.picture, m_last, *m_monitor, *m_library, *m_scratch);
    const std::int64_t shown = m_summary.monitor.newestFrame;
    m_summary.sheet = path;
    if (shown < 0)
        m_summary.sheet += " (without levels: no frame was delivered, or none was grey)";
    else if (shown != m_pushed - 1)
        m_summary.sheet += " (the levels are those of frame " + std::to_string(shown) + ")";
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
