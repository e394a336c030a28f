// view_server.cpp - routes, and what keeps strangers and other sites out.
#include "examples/modules/LiveView/view_server.h"

#include <httplib.h>
#include <signal.h>

#include <charconv>

#include "examples/modules/LiveView/page.h"

namespace {

using namespace std::chrono_literals;

constexpr int MOST_STREAMS = 8;
constexpr std::size_t OTHER_REQUESTS = 4;  // at once
constexpr auto BETWEEN_PICTURES = 33ms;    // a stream shows no more than a screen needs
constexpr const char* BOUNDARY = "--picture\r\n";

// Level 0 unless the request names another; -1 for what is no number.
int levelOf(const httplib::Request& request) {
    if (!request.has_param("level")) return 0;
    const std::string text = request.get_param_value("level");
    int level = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), level);
    return error == std::errc() && end == text.data() + text.size() ? level : -1;
}

bool isLoopback(const std::string& host) {
    return host == "localhost" || host == "[::1]" || host == "::1" || host.rfind("127.", 0) == 0;
}

// A page from elsewhere can give its own name this machine's address, and so read what only this machine
// should; but it cannot make the browser call that name "localhost".
bool namesThisMachine(std::string host) {
    const std::size_t colon = host.rfind(':');
    if (colon != std::string::npos && host.back() != ']') host.erase(colon);
    return isLoopback(host);
}

// The library ignores SIGPIPE for the whole process, which is the host's to decide.
std::unique_ptr<httplib::Server> makeServer() {
    struct sigaction before {};
    sigaction(SIGPIPE, nullptr, &before);
    auto server = std::make_unique<httplib::Server>();
    sigaction(SIGPIPE, &before, nullptr);
    return server;
}

void blockSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

bool writePart(httplib::DataSink& sink, const std::string& file) {
    const std::string head =
        "Content-Type: image/jpeg\r\nContent-Length: " + std::to_string(file.size()) + "\r\n\r\n";
    // The next part's boundary at once: browsers show a part when they see its end.
    return sink.write(head.data(), head.size()) && sink.write(file.data(), file.size()) &&
           sink.write("\r\n", 2) && sink.write(BOUNDARY, std::char_traits<char>::length(BOUNDARY));
}

}  // namespace

ViewServer::ViewServer(LiveFrames& frames) : m_frames(frames) {}

ViewServer::~ViewServer() {
    stop();
}

bool ViewServer::start(const std::string& address, int port) {
    stop();
    m_stopping = false;
    m_server = makeServer();
    m_server->new_task_queue = [] { return new httplib::ThreadPool(MOST_STREAMS + OTHER_REQUESTS); };
    m_server->set_keep_alive_max_count(1);  // an idle connection would hold a thread
    m_server->set_read_timeout(1s);
    m_server->set_write_timeout(1s);
    m_server->set_payload_max_length(1024);
    // The library's own options would let two servers share a port.
    m_server->set_socket_options([](socket_t socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    route(address);
    const int bound =
        port == 0 ? m_server->bind_to_any_port(address) : (m_server->bind_to_port(address, port) ? port : -1);
    if (bound <= 0) {
        m_server.reset();
        return false;
    }
    std::atomic<bool> ended = false;
    m_thread = std::thread([this, &ended] {
        blockSignals();
        m_server->listen_after_bind();
        if (!m_stopping) ended = true;
    });
    // Not before can it be stopped.
    while (!m_server->is_running() && !ended) std::this_thread::sleep_for(1ms);
    m_port = bound;
    return true;
}

void ViewServer::stop() {
    if (!m_thread.joinable()) return;
    m_stopping = true;
    m_frames.forget();  // wakes the streams
    m_server->stop();
    m_thread.join();
    m_server.reset();
    m_port = 0;
}

void ViewServer::route(const std::string& address) {
    if (isLoopback(address))
        m_server->set_pre_routing_handler([](const httplib::Request& request, httplib::Response& response) {
            if (namesThisMachine(request.get_header_value("Host")))
                return httplib::Server::HandlerResponse::Unhandled;
            response.status = 403;
            response.set_content("call this machine localhost or 127.0.0.1\n", "text/plain");
            return httplib::Server::HandlerResponse::Handled;
        });
    m_server->set_default_headers({{"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}});
    m_server->Get("/", [](const httplib::Request&, httplib::Response& response) {
        response.set_content(LIVE_VIEW_PAGE, "text/html; charset=utf-8");
    });
    m_server->Get("/stats.json", [this](const httplib::Request&, httplib::Response& response) {
        response.set_content(m_frames.statistics(), "application/json");
    });
    m_server->Get("/frame.jpg", [this](const httplib::Request& request, httplib::Response& response) {
        const auto file = m_frames.picture(levelOf(request));
        if (file != nullptr) return response.set_content(*file, "image/jpeg");
        response.status = 404;
        response.set_content("no grey frame with such a level has come\n", "text/plain");
    });
    m_server->Get("/stream.mjpg", [this](const httplib::Request& request, httplib::Response& response) {
        const int level = levelOf(request);
        if (level >= 0 && level < LEVEL_COUNT) return stream(response, level);
        response.status = 404;
        response.set_content("levels are 0 to 7\n", "text/plain");
    });
}

void ViewServer::stream(httplib::Response& response, int level) {
    if (++m_streams > MOST_STREAMS) {
        --m_streams;
        response.status = 503;
        response.set_content("too many look already\n", "text/plain");
        return;
    }
    const auto seen = std::make_shared<std::uint64_t>(0);
    response.set_content_provider(
        "multipart/x-mixed-replace; boundary=picture",
        [this, level, seen](std::size_t offset, httplib::DataSink& sink) {
            if (offset == 0 && !sink.write(BOUNDARY, std::char_traits<char>::length(BOUNDARY))) return false;
            const std::uint64_t number = m_frames.waitForNext(*seen, 500ms);
            if (m_stopping || !sink.is_writable()) return false;
            if (number == *seen) return true;
            *seen = number;
            const auto file = m_frames.picture(level);
            if (file != nullptr && !writePart(sink, *file)) return false;
            std::this_thread::sleep_for(BETWEEN_PICTURES);
            return true;
        },
        [this](bool) { --m_streams; });
}
