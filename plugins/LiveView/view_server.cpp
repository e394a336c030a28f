// view_server.cpp - routes, and what keeps strangers and other sites out.
#include "view_server.h"

#include <arpa/inet.h>
#include <signal.h>

#include <charconv>
#include <system_error>

#include <httplib.h>

#include "page.h"

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

// A page from elsewhere can give its own name this machine's address, and so read what it should not; it
// cannot make a browser ask for an address, for "localhost" or for the name that was configured.
bool namesThisMachine(std::string host, const std::string& address) {
    const std::size_t colon = host.rfind(':');
    if (colon != std::string::npos && host.back() != ']') host.erase(colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    in6_addr parsed{};
    return host == "localhost" || (!address.empty() && host == address) ||
           inet_pton(AF_INET, host.c_str(), &parsed) == 1 || inet_pton(AF_INET6, host.c_str(), &parsed) == 1;
}

// Why a request is not answered, null if it is: nothing but looking, and only for pages of this server.
const char* refusalOf(const httplib::Request& request, const std::string& address) {
    if (!namesThisMachine(request.get_header_value("Host"), address))
        return "call this machine localhost or by its address\n";
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    if (site == "cross-site" || site == "same-site") return "this is not for other sites\n";
    if (request.method != "GET" && request.method != "HEAD") return "this is to look at\n";
    // The library answers many ranges with as many copies.
    if (request.has_header("Range") || request.has_header("Content-Length"))
        return "this is to be had whole\n";
    return nullptr;
}

// The library ignores SIGPIPE for the whole process, which is the host's to decide.
std::unique_ptr<httplib::Server> makeServer() {
    struct sigaction before {};
    sigaction(SIGPIPE, nullptr, &before);
    auto server = std::make_unique<httplib::Server>();
    sigaction(SIGPIPE, &before, nullptr);
    return server;
}

// But for those that say that this thread itself has gone wrong.
void blockSignals() {
    sigset_t all;
    sigfillset(&all);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) sigdelset(&all, fault);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

// What leaves a task would end the process.
class GuardedPool final : public httplib::TaskQueue {
public:
    void enqueue(std::function<void()> task) override {
        m_pool.enqueue([task = std::move(task)] {
            try {
                task();
            } catch (...) {
                // Lack of memory, most likely: the viewer asks again.
            }
        });
    }
    void shutdown() override { m_pool.shutdown(); }

private:
    httplib::ThreadPool m_pool{MOST_STREAMS + OTHER_REQUESTS};
};

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
    m_stopping = m_ended = false;
    m_server = makeServer();
    m_server->new_task_queue = [] { return new GuardedPool; };
    m_server->set_keep_alive_max_count(1);  // an idle connection would hold a thread
    m_server->set_keep_alive_timeout(1);    // and so does one that has not asked yet
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
    m_port = bound;
    try {
        m_thread = std::thread([this] { serve(); });
    } catch (const std::system_error&) {
        m_port = 0;
        m_server.reset();
        return false;
    }
    // Not before can it be stopped.
    while (!m_server->is_running() && !m_ended) std::this_thread::sleep_for(1ms);
    return true;
}

void ViewServer::serve() {
    blockSignals();
    try {
        m_server->listen_after_bind();
    } catch (...) {
        // As when the system has nothing left to accept a connection with: there is no port any more.
    }
    m_port = 0;
    m_ended = true;
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
    m_server->set_pre_routing_handler(
        [address](const httplib::Request& request, httplib::Response& response) {
            const char* const refusal = refusalOf(request, address);
            if (refusal == nullptr) return httplib::Server::HandlerResponse::Unhandled;
            response.status = 403;
            response.set_content(refusal, "text/plain");
            return httplib::Server::HandlerResponse::Handled;
        });
    m_server->set_default_headers({{"Cache-Control", "no-store"},
                                   {"Cross-Origin-Resource-Policy", "same-origin"},
                                   {"X-Content-Type-Options", "nosniff"}});
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
            try {
                if (offset == 0 && !sink.write(BOUNDARY, std::char_traits<char>::length(BOUNDARY)))
                    return false;
                return sendNext(sink, level, *seen);
            } catch (...) {
                return false;  // this runs where the library catches nothing
            }
        },
        [this](bool) { --m_streams; });
}

bool ViewServer::sendNext(httplib::DataSink& sink, int level, std::uint64_t& seen) {
    const std::uint64_t number = m_frames.waitForNext(seen, 500ms);
    if (m_stopping || !sink.is_writable()) return false;
    if (number == seen) return true;
    seen = number;
    const auto file = m_frames.picture(level);
    if (file != nullptr && !writePart(sink, *file)) return false;
    std::this_thread::sleep_for(BETWEEN_PICTURES);
    return true;
}
