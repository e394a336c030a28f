// connections.h - the server's open connections, so that none is kept by who sends or reads too slowly.
// One thread: the server's.
#ifndef LUMETRA_LIVEVIEW_CONNECTIONS_H
#define LUMETRA_LIVEVIEW_CONNECTIONS_H

#include <chrono>
#include <map>

class Connections {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    static constexpr unsigned MOST = 96;

    void opened(const void* connection, int socket, TimePoint now) { m_open[connection] = {socket, now}; }
    void closed(const void* connection) { m_open.erase(connection); }
    /// A whole request has come, or its answer has gone.
    void advanced(const void* connection, TimePoint now);
    /// Ends those that have not advanced for ten seconds, and the one that waits longest if there are MOST:
    /// the server finds them ended, as if by their other side.
    void endSlow(TimePoint now) const;

private:
    struct Open {
        int socket;
        TimePoint advanced;
    };
    std::map<const void*, Open> m_open;
};

#endif
