// view_server.cpp - libmicrohttpd, its limits, and the routes.
#include "view_server.h"

#include <LumetraCore/FrameMailbox.h>
#include <netdb.h>
#include <netinet/in.h>

#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <system_error>

#include <microhttpd.h>

#include "page_files.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned MOST_CONNECTIONS = 128;  // above Connections::MOST, which ends the slow ones before
constexpr std::size_t LARGEST_REQUEST = 16 * 1024;  // bytes, of a request's lines and all of its headers
constexpr int MOST_HEADERS = 64;                    // and parameters
constexpr unsigned SILENT_SECONDS = 5;              // until a connection without a byte is closed
constexpr std::size_t STACK_BYTES =
    1024 * 1024;  // for an encoder and a figure's JSON, whatever the host's are

std::string_view valueOf(MHD_Connection* connection, MHD_ValueKind kind, const char* key) {
    const char* const value = MHD_lookup_connection_value(connection, kind, key);
    return value == nullptr ? std::string_view() : value;
}

std::string_view parameter(MHD_Connection* connection, const char* name) {
    return valueOf(connection, MHD_GET_ARGUMENT_KIND, name);
}

// `missing` where there is no such parameter, nothing for what is no number.
template <class Number>
std::optional<Number> numberOf(MHD_Connection* connection, const char* name, Number missing) {
    if (MHD_lookup_connection_value(connection, MHD_GET_ARGUMENT_KIND, name) == nullptr) return missing;
    const std::string_view text = parameter(connection, name);
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Addresses resolve(const ViewServer::Place& place, std::string& failure) {
    addrinfo wanted{};
    wanted.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(place.address.c_str(), std::to_string(place.port).c_str(), &wanted, &found);
    if (error != 0) failure = gai_strerror(error);
    return {error == 0 ? found : nullptr, &freeaddrinfo};
}

int portOf(MHD_Daemon* daemon) {
    const MHD_DaemonInfo* const info = MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_LISTEN_FD);
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (info == nullptr || getsockname(info->listen_fd, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return 0;
    return address.ss_family == AF_INET6 ? ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port)
                                         : ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

}  // namespace

struct ViewServer::Answer {
    unsigned status;
    const char* type;
    std::string body;
    std::vector<std::pair<const char*, std::string>> headers = {};
};

struct ViewServer::Callbacks {
    static ViewServer& of(void* self) { return *static_cast<ViewServer*>(self); }

    // While it starts: afterwards there is nobody to tell.
    static void onMessage(void* self, const char* format, va_list arguments) {
        char text[200];
        std::vsnprintf(text, sizeof text, format, arguments);
        if (of(self).m_port == 0) of(self).m_failure = text;
    }

    static MHD_Result onAccept(void* self, const sockaddr*, socklen_t) {
        of(self).m_connections.endSlow(Clock::now());
        return MHD_YES;
    }

    static void onConnection(void* self, MHD_Connection* connection, void**,
                             MHD_ConnectionNotificationCode code) {
        Connections& connections = of(self).m_connections;
        if (code == MHD_CONNECTION_NOTIFY_CLOSED) return connections.closed(connection);
        const MHD_ConnectionInfo* const info =
            MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        if (info != nullptr) connections.opened(connection, info->connect_fd, Clock::now());
    }

    static void onCompleted(void* self, MHD_Connection* connection, void**, MHD_RequestTerminationCode) {
        of(self).m_connections.advanced(connection, Clock::now());
    }

    // First once the headers are there, then with what bodies bring, and then to be answered.
    static MHD_Result onRequest(void* self, MHD_Connection* connection, const char* path, const char* method,
                                const char*, const char*, std::size_t*, void** state) {
        ViewServer& server = of(self);
        try {
            if (*state == nullptr) {
                *state = self;
                const char* const refusal = server.refusalOf(connection, path, method);
                if (refusal != nullptr) return send(connection, {MHD_HTTP_FORBIDDEN, "text/plain", refusal});
                return MHD_YES;
            }
            server.m_connections.advanced(connection, Clock::now());
            return send(connection, server.answerTo(connection, path));
        } catch (...) {
            return MHD_NO;  // lack of memory, most likely: the connection closes, and the viewer asks again
        }
    }

    static MHD_Result send(MHD_Connection* connection, const Answer& answer) {
        const std::unique_ptr<MHD_Response, decltype(&MHD_destroy_response)> response(
            MHD_create_response_from_buffer(answer.body.size(), const_cast<char*>(answer.body.data()),
                                            MHD_RESPMEM_MUST_COPY),
            &MHD_destroy_response);
        if (response == nullptr) return MHD_NO;
        const auto add = [&](const char* name, const char* value) {
            MHD_add_response_header(response.get(), name, value);
        };
        if (answer.type != nullptr) add("Content-Type", answer.type);
        add("Cache-Control", "no-store");
        add("Cross-Origin-Resource-Policy", "same-origin");
        add("X-Content-Type-Options", "nosniff");
        add("Content-Security-Policy", "default-src 'self'; img-src 'self' blob: data:");
        for (const auto& [name, value] : answer.headers) add(name, value.c_str());
        return MHD_queue_response(connection, answer.status, response.get());
    }
};

std::string ViewServer::start(const Place& place) {
    stop();
    if (place.port < 0 || place.port > 65535) return "no such port";
    std::string failure;
    const Addresses addresses = resolve(place, failure);
    if (addresses == nullptr) return failure;
    m_names = {place.address, place.name};
    m_failure = "the server cannot start";
    unsigned flags = MHD_USE_AUTO | MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_ERROR_LOG;
    if (addresses->ai_family == AF_INET6) flags |= MHD_USE_DUAL_STACK;  // "::" is every address
    const lumetra::SignalsBlocked inherited;                            // by the server's thread
    m_daemon = MHD_start_daemon(flags, 0, &Callbacks::onAccept, this, &Callbacks::onRequest, this,
                                MHD_OPTION_EXTERNAL_LOGGER, &Callbacks::onMessage, this, MHD_OPTION_SOCK_ADDR,
                                addresses->ai_addr, MHD_OPTION_CONNECTION_LIMIT, MOST_CONNECTIONS,
                                MHD_OPTION_CONNECTION_MEMORY_LIMIT, LARGEST_REQUEST,
                                MHD_OPTION_CONNECTION_TIMEOUT, SILENT_SECONDS, MHD_OPTION_THREAD_STACK_SIZE,
                                STACK_BYTES, MHD_OPTION_NOTIFY_CONNECTION, &Callbacks::onConnection, this,
                                MHD_OPTION_NOTIFY_COMPLETED, &Callbacks::onCompleted, this, MHD_OPTION_END);
    if (m_daemon != nullptr) {
        m_port = portOf(m_daemon);
        return {};
    }
    while (!m_failure.empty() && (m_failure.back() == '\n' || m_failure.back() == '.')) m_failure.pop_back();
    return m_failure;
}

void ViewServer::stop() {
    if (m_daemon == nullptr) return;
    MHD_stop_daemon(m_daemon);
    m_daemon = nullptr;
    m_port = 0;
    m_viewers.clear();
    m_connections = {};
}

// Why a request is not answered, null if it is: nothing but looking, and only for pages of this server, to
// which others may link.
const char* ViewServer::refusalOf(MHD_Connection* connection, std::string_view path,
                                  std::string_view method) const {
    const auto header = [&](const char* name) { return valueOf(connection, MHD_HEADER_KIND, name); };
    if (!namesThisMachine(header("Host"), m_names))
        return "unknown Host: use localhost, a numeric address or the configured \"name\"\n";
    const std::string_view site = header("Sec-Fetch-Site");
    const bool isLink =
        path == "/" && header("Sec-Fetch-Mode") == "navigate" && header("Sec-Fetch-Dest") == "document";
    if ((site == "cross-site" || site == "same-site") && !isLink) return "cross-site requests are refused\n";
    if (method != "GET" && method != "HEAD") return "only GET and HEAD are served\n";
    if (!header("Content-Length").empty() || !header("Transfer-Encoding").empty())
        return "requests with a body are refused\n";
    const auto kinds = static_cast<MHD_ValueKind>(MHD_HEADER_KIND | MHD_COOKIE_KIND | MHD_GET_ARGUMENT_KIND);
    if (MHD_get_connection_values(connection, kinds, nullptr, nullptr) > MOST_HEADERS)
        return "more than 64 headers and parameters\n";
    return nullptr;
}

// Who gives no name of a page, such as a script, takes no place.
bool ViewServer::admits(MHD_Connection* connection) {
    constexpr std::size_t LONGEST_NAME = 32;
    const std::string_view viewer = parameter(connection, "viewer");
    return viewer.empty() || m_viewers.admit(std::string(viewer.substr(0, LONGEST_NAME)), Clock::now());
}

ViewServer::Answer ViewServer::answerTo(MHD_Connection* connection, std::string_view path) {
    for (const PageFile& file : PAGE_FILES)
        if (path == file.path) return {MHD_HTTP_OK, file.type, std::string(file.text)};
    const bool isFrame = path == "/frame.jpg";
    if (!isFrame && path != "/stats.json" && path != "/texts.json")
        return {MHD_HTTP_NOT_FOUND, "text/plain", "there is no such page\n"};
    if (!admits(connection))
        return {MHD_HTTP_SERVICE_UNAVAILABLE, "text/plain",
                "eight viewers look already: this one comes in when another one leaves\n"};
    if (isFrame) return frameFor(connection);
    if (path == "/stats.json") return {MHD_HTTP_OK, "application/json", m_frames.statistics()};
    const auto seen = numberOf<std::uint64_t>(connection, "after", 0).value_or(0);
    return {MHD_HTTP_OK, "application/json", m_texts.after(seen)};
}

ViewServer::Answer ViewServer::frameFor(MHD_Connection* connection) {
    const int level = numberOf(connection, "level", 0).value_or(-1);
    const LivePicture picture = m_frames.picture(level, parameter(connection, "after"));
    std::vector<std::pair<const char*, std::string>> headers = {
        {"X-Lumetra-Picture", picture.token},
        {"X-Lumetra-Frame", std::to_string(picture.frame)},
        {"X-Lumetra-Size", std::to_string(picture.width) + "x" + std::to_string(picture.height)},
        {"X-Lumetra-Age-Ms", std::to_string(picture.ageMs)}};
    switch (picture.state) {
        case LivePicture::State::New:
            return {MHD_HTTP_OK, "image/jpeg", *picture.file, std::move(headers)};
        case LivePicture::State::Seen:
            return {MHD_HTTP_NO_CONTENT, nullptr, {}, std::move(headers)};
        case LivePicture::State::NoFrame:
            return {MHD_HTTP_NOT_FOUND, "text/plain", "no frame has come yet\n"};
        case LivePicture::State::NotGrey:
            return {MHD_HTTP_NOT_FOUND, "text/plain", "the frames are not grey now\n", std::move(headers)};
        default:
            return {MHD_HTTP_NOT_FOUND, "text/plain", "the frames have no such level\n", std::move(headers)};
    }
}
