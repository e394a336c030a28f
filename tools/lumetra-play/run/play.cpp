// play.cpp - everything up in its order, the play, everything down.
#include "tools/lumetra-play/run/play.h"

#include <fcntl.h>
#include <netdb.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tools/lumetra-play/modules/camera_host.h"
#include "tools/lumetra-play/modules/console.h"
#include "tools/lumetra-play/modules/module_watch.h"
#include "tools/lumetra-play/modules/view_link.h"
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
    const bool camera = !options.camera.empty();
    const std::int32_t flags =
        options.flags.value_or(camera ? LUMETRA_CONVERT_GRAY : defaultFlags(picture.format));
    const bool pyramid = !camera && options.pyramid.value_or((flags & LUMETRA_CONVERT_PYRAMID) != 0);
    const bool scene = camera ? options.camera == "scene" : options.inputs.empty();
    const bool grey = picture.format == LUMETRA_IMGFORMAT_GRAY8 || (flags & LUMETRA_CONVERT_GRAY) != 0;
    if (options.check && !grey) throw PlayError("--check needs grey frames: add gray to --flags");
    requireDumpFolder(options, flags);
    return {flags,
            pyramid,
            options.framesPerSecond,
            options.fast,
            options.frames.value_or(scene && !options.seconds ? SCENE_FRAMES : 0),
            options.quiet};
}

// Why a server cannot listen there, which the module cannot say, and what to do.
std::string listenError(const Options::View& view) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const std::string otherAddress = ": name an address of this machine, such as 0.0.0.0";
    if (const int error =
            getaddrinfo(view.address.c_str(), std::to_string(view.port).c_str(), &wanted, &found))
        return " (" + std::string(gai_strerror(error)) + ")" + otherAddress;
    const int probe = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int error = bind(probe, found->ai_addr, found->ai_addrlen) != 0 ? errno : 0;
    close(probe);
    freeaddrinfo(found);
    return (error != 0 ? " (" + std::generic_category().message(error) + ")" : "") +
           (error == EADDRNOTAVAIL ? otherAddress : ": choose another port by --view=PORT");
}

void openInBrowser(const std::string& page) {
    if (!output::onTerminal() || (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY"))) return;
    const char* const command[] = {"xdg-open", page.c_str(), nullptr};
    posix_spawn_file_actions_t quietly;
    posix_spawn_file_actions_init(&quietly);
    posix_spawn_file_actions_addopen(&quietly, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&quietly, STDERR_FILENO, STDOUT_FILENO);
    // The signals that this program blocks and ignores are the browser's to get.
    sigset_t none, closedPipe;
    sigemptyset(&none);
    sigemptyset(&closedPipe);
    sigaddset(&closedPipe, SIGPIPE);
    posix_spawnattr_t usual;
    posix_spawnattr_init(&usual);
    posix_spawnattr_setsigmask(&usual, &none);
    posix_spawnattr_setsigdefault(&usual, &closedPipe);
    posix_spawnattr_setflags(&usual, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t child = 0;  // its end is of no interest
    posix_spawnp(&child, command[0], &quietly, &usual, const_cast<char* const*>(command), environ);
    posix_spawnattr_destroy(&usual);
    posix_spawn_file_actions_destroy(&quietly);
}

std::string loadView(const Options& options, const LibraryTable& library, EngineSession& engine) {
    constexpr auto GET_PORT = LUMETRA_CMDTYPE(LUMETRA_CMD_MODULE_FIRST);  // 0: it does not serve
    const Options::View& view = *options.view;
    const std::string configuration =
        toText({{"port", view.port}, {"address", view.address}, {"name", view.name}});
    const std::int32_t id =
        engine.loadModule({"LiveView", configuration}, folderOfModule("LiveView", options.modulePath));
    const int port = library.command(id, GET_PORT, u"");
    const auto at = [](const std::string& address, int atPort) {
        const bool hasColons = address.find(':') != std::string::npos;
        return (hasColons ? "[" + address + "]" : address) + ":" + std::to_string(atPort);
    };
    if (port == 0)
        throw PlayError("the live view cannot be served at " + at(view.address, view.port) +
                        listenError(view));
    // One that stands for all addresses is none that a browser can go to.
    std::string reachable = view.address;
    if (reachable == "0.0.0.0") reachable = "127.0.0.1";
    if (reachable == "::") reachable = "::1";
    const std::string page = "http://" + at(reachable, port) + "/";
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
        m_settings = settingsFor(options, m_summary.picture);
        m_summary.flags = m_settings.flags;
        m_summary.pyramid = m_settings.pyramid;
        const bool watched = std::any_of(options.modules.begin(), options.modules.end(),
                                         [](const ModuleRequest& module) { return module.watched; });
        if (watched || !options.sheet.empty()) m_scratch.emplace();
    }

    void run(const std::function<void(const Summary&)>& finish);

private:
    void loadModules(const LibraryTable& library, EngineSession& engine);
    PlayResult playFrames(const LibraryTable& library, EngineSession& engine, MonitorLink& monitor,
                          PixelCheck* check);
    void makeSheet(const LibraryTable& library, MonitorLink& monitor);

    const Options& m_options;
    StopRequest& m_stop;
    std::optional<ScratchFolder> m_scratch;
    std::unique_ptr<FrameSource> m_source;  // null with a camera
    PlaySettings m_settings{};
    Summary m_summary;
};

void Play::run(const std::function<void(const Summary&)>& finish) {
    // Only now, so that what is refused is refused in one line: the library prints while it is loaded.
    const LibraryTable library(m_options.library);
    PixelCheck check;
    EngineSession engine(library, m_scratch ? &*m_scratch : nullptr);
    engine.configure({m_summary.picture, m_settings.flags, m_settings.pyramid, m_options.writable,
                      !m_options.jpegFolder.empty()});
    engine.loadModule({"FrameMonitor", std::nullopt}, folderOfModule("FrameMonitor", m_options.modulePath));
    MonitorLink monitor(library, m_options.check ? &check : nullptr);
    const bool viewed =
        m_options.view || std::any_of(m_options.modules.begin(), m_options.modules.end(),
                                      [](const ModuleRequest& module) { return module.name == "LiveView"; });
    const auto viewLink = viewed ? std::make_unique<ViewLink>(library) : nullptr;
    loadModules(library, engine);
    m_summary.play = playFrames(library, engine, monitor, m_options.check ? &check : nullptr);
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
    m_summary.log = output::logCounts();
    if (m_options.check) m_summary.check = check.result();
    finish(m_summary);
}

void Play::makeSheet(const LibraryTable& library, MonitorLink& monitor) {
    if (m_options.sheet.empty() || m_summary.play.pushed == 0) return;
    writeSheet(m_options.sheet, m_summary.picture, m_summary.play.lastFrame, monitor, library, *m_scratch);
    m_summary.sheet = sheetText(m_options.sheet, m_summary.play);
}

void Play::loadModules(const LibraryTable& library, EngineSession& engine) {
    for (const ModuleRequest& module : m_options.modules)
        engine.loadModule(module, folderOfModule(module.name, m_options.modulePath));
    if (m_options.view) m_summary.page = loadView(m_options, library, engine);
    for (const CommandRequest& command : m_options.commands) engine.command(command);
}

PlayResult Play::playFrames(const LibraryTable& library, EngineSession& engine, MonitorLink& monitor,
                            PixelCheck* check) {
    const WaitingFor waiting("frames to be delivered");
    const ModuleWatch watch(engine, monitor, m_options.modules);
    std::optional<Console> console;
    const bool typing = isatty(STDIN_FILENO) == 1 && output::onTerminal();
    if (typing || m_options.commandsFromInput) console.emplace(engine, m_stop);
    if (m_source) return Player(m_settings, *m_source, library, monitor, check, m_stop).play();
    CameraHost camera(m_options, m_summary.picture, library, engine);
    PlayResult result = camera.play(m_settings.frames, monitor, m_stop);
    m_summary.exchange = camera.counts();
    return result;
}

}  // namespace

void play(const Options& options, StopRequest& stop, const std::function<void(const Summary&)>& finish) {
    Play(options, stop).run(finish);
}
