// admission.cpp - names compared, and places given away.
#include "admission.h"

#include <arpa/inet.h>

#include <algorithm>

namespace {

bool isAddress(const std::string& text) {
    in6_addr parsed{};
    return inet_pton(AF_INET, text.c_str(), &parsed) == 1 || inet_pton(AF_INET6, text.c_str(), &parsed) == 1;
}

std::string lowered(std::string_view text) {
    std::string lower(text);
    for (char& letter : lower)
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    return lower;
}

}  // namespace

bool namesThisMachine(std::string_view host, const std::vector<std::string>& names) {
    const std::size_t colon = host.rfind(':');
    if (colon != std::string_view::npos && host.back() != ']') host = host.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    if (host.size() > 1 && host.back() == '.') host.remove_suffix(1);  // board.local. is board.local
    const std::string name = lowered(host);
    if (name.empty()) return false;
    return name == "localhost" || isAddress(name) ||
           std::any_of(names.begin(), names.end(), [&](const auto& own) { return lowered(own) == name; });
}

bool Viewers::admit(const std::string& viewer, TimePoint now) {
    constexpr std::chrono::seconds KEEPS_ITS_PLACE{3};
    for (auto other = m_lastAsked.begin(); other != m_lastAsked.end();)
        other = now - other->second < KEEPS_ITS_PLACE ? std::next(other) : m_lastAsked.erase(other);
    if (m_lastAsked.size() >= MOST && m_lastAsked.find(viewer) == m_lastAsked.end()) return false;
    m_lastAsked[viewer] = now;
    return true;
}
