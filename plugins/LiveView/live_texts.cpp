// live_texts.cpp - texts checked as they come, so that the answer is put together without reading them again.
#include "live_texts.h"

#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

constexpr std::size_t MOST_RESULTS = 64, MOST_LINES = 200;
constexpr std::size_t LONGEST_RESULT = 16'384, LONGEST_LINE = 1000, LONGEST_NAME = 100;  // bytes

std::string quoted(std::string_view text) {
    return json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace

bool LiveTexts::addResult(std::string_view text) {
    const std::size_t space = text.find(' ');
    if (space == std::string_view::npos || space == 0 || space > LONGEST_NAME) return false;
    const std::string_view result = text.substr(space + 1);
    if (result.size() > LONGEST_RESULT || result.empty() || result.front() != '{' || !json::accept(result))
        return false;
    add(m_results, MOST_RESULTS,
        "\"module\":" + quoted(text.substr(0, space)) + ",\"result\":" + std::string(result));
    return true;
}

void LiveTexts::addLine(std::string_view line) {
    add(m_lines, MOST_LINES, "\"line\":" + quoted(line.substr(0, LONGEST_LINE)));
}

void LiveTexts::add(Texts& texts, std::size_t most, std::string json) {
    const std::lock_guard lock(m_mutex);
    texts.push_back({++m_number, Clock::now(), std::move(json)});
    if (texts.size() > most) texts.pop_front();
}

std::string LiveTexts::list(const Texts& texts, std::uint64_t seen) {
    const auto now = Clock::now();
    std::string list;
    for (const Text& text : texts) {
        if (text.number <= seen) continue;
        const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(now - text.at).count();
        list += (list.empty() ? "{\"ageMs\":" : ",{\"ageMs\":") + std::to_string(age) + "," + text.json + "}";
    }
    return "[" + list + "]";
}

std::string LiveTexts::after(std::uint64_t seen) {
    const std::lock_guard lock(m_mutex);
    return "{\"instance\":\"" + m_instance + "\",\"next\":" + std::to_string(m_number) +
           ",\"results\":" + list(m_results, seen) + ",\"log\":" + list(m_lines, seen) + "}";
}

void LiveTexts::forget() {
    const std::lock_guard lock(m_mutex);
    m_results.clear();
    m_lines.clear();
}
