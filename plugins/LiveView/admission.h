// admission.h - who is answered: requests that call this machine by a name of its own, and eight viewers.
// One thread at a time.
#ifndef LUMETRA_LIVEVIEW_ADMISSION_H
#define LUMETRA_LIVEVIEW_ADMISSION_H

#include <chrono>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/// Whether a Host header calls this machine by an address, by "localhost" or by one of `names`. A page from
/// elsewhere can give its own name this machine's address, and so read what it should not; it cannot make a
/// browser ask for one of these.
bool namesThisMachine(std::string_view host, const std::vector<std::string>& names);

/// The pages that look, by the names that they give themselves. A page that does not ask for three seconds
/// leaves its place.
class Viewers {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    static constexpr std::size_t MOST = 8;

    /// @return false if MOST others look
    bool admit(const std::string& viewer, TimePoint now);
    std::size_t count() const { return m_lastAsked.size(); }
    void clear() { m_lastAsked.clear(); }

private:
    std::map<std::string, TimePoint> m_lastAsked;
};

#endif
