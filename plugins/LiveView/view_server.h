// view_server.h - the web server: it turns requests into questions to LiveFrames and LiveTexts.
// start() and stop(): one thread at a time. Requests are answered one after the other on one thread, with a
// stack of its own size and without the signals of the host; what is slow to arrive or to leave is waited for
// by the system, not by that thread.
#ifndef LUMETRA_LIVEVIEW_VIEW_SERVER_H
#define LUMETRA_LIVEVIEW_VIEW_SERVER_H

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "admission.h"
#include "connections.h"
#include "live_frames.h"
#include "live_texts.h"

struct MHD_Connection;
struct MHD_Daemon;

class ViewServer {
public:
    struct Place {
        std::string address;  ///< or a name that the system resolves to one
        int port;             ///< 0 takes any free one
        std::string name;     ///< by which others may call this machine too; empty for none
    };

    ViewServer(LiveFrames& frames, LiveTexts& texts) : m_frames(frames), m_texts(texts) {}
    ~ViewServer() { stop(); }
    ViewServer(const ViewServer&) = delete;
    ViewServer& operator=(const ViewServer&) = delete;

    /// Serves from then on. @return why not, in the system's words; empty if it does
    std::string start(const Place& place);
    void stop();                         ///< ends all connections and joins the server's thread
    int port() const { return m_port; }  ///< 0 while not serving; any thread

private:
    struct Answer;
    struct Callbacks;  // what the library calls

    Answer answerTo(MHD_Connection* connection, std::string_view path);
    Answer frameFor(MHD_Connection* connection);
    const char* refusalOf(MHD_Connection* connection, std::string_view path, std::string_view method) const;
    bool admits(MHD_Connection* connection);

    LiveFrames& m_frames;
    LiveTexts& m_texts;
    MHD_Daemon* m_daemon = nullptr;
    std::atomic<int> m_port{0};
    std::vector<std::string> m_names;  // fixed while it serves
    std::string m_failure;             // of start(), on its thread

    Viewers m_viewers;  // the server's thread alone
    Connections m_connections;
};

#endif
