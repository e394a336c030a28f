// connections.cpp - deadlines by the clock, since a client that sends a byte now and then is never silent.
#include "connections.h"

#include <sys/socket.h>

#include <algorithm>

void Connections::advanced(const void* connection, TimePoint now) {
    const auto found = m_open.find(connection);
    if (found != m_open.end()) found->second.advanced = now;
}

void Connections::endSlow(TimePoint now) const {
    constexpr std::chrono::seconds LONGEST{10};
    for (const auto& [connection, open] : m_open)
        if (now - open.advanced > LONGEST) shutdown(open.socket, SHUT_RDWR);
    if (m_open.size() < MOST) return;
    const auto slowest = std::min_element(m_open.begin(), m_open.end(), [](const auto& a, const auto& b) {
        return a.second.advanced < b.second.advanced;
    });
    shutdown(slowest->second.socket, SHUT_RDWR);
}
