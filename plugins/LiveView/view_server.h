// view_server.h - the web server: it turns requests into questions to LiveFrames.
// start() and stop(): one thread at a time. The threads of the server see no signals of the host.
#ifndef LUMETRA_LIVEVIEW_VIEW_SERVER_H
#define LUMETRA_LIVEVIEW_VIEW_SERVER_H

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "live_frames.h"

namespace httplib {
class Server;
class DataSink;
struct Response;
}  // namespace httplib

class ViewServer {
public:
    explicit ViewServer(LiveFrames& frames);
    ~ViewServer();
    ViewServer(const ViewServer&) = delete;
    ViewServer& operator=(const ViewServer&) = delete;

    /// Serves from then on. Port 0 takes any free one. @return whether the port could be opened
    bool start(const std::string& address, int port);
    void stop();                         ///< ends streams too; joins all threads of the server
    int port() const { return m_port; }  ///< 0 while not serving, also if that has failed later; any thread

private:
    void serve();
    void route(const std::string& address);
    bool sendNext(httplib::DataSink& sink, int level, std::uint64_t& seen);
    void stream(httplib::Response& response, int level);

    LiveFrames& m_frames;
    std::unique_ptr<httplib::Server> m_server;
    std::thread m_thread;
    std::atomic<int> m_port{0};
    std::atomic<int> m_streams{0};
    std::atomic<bool> m_stopping{false};
    std::atomic<bool> m_ended{false};  // the server's loop, asked or not
};

#endif
