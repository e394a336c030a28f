// live_texts.h - what a host hands on for the page: results of other modules and log lines, the newest few of
// each. Any thread; all memory is bounded.
#ifndef LUMETRA_LIVEVIEW_LIVE_TEXTS_H
#define LUMETRA_LIVEVIEW_LIVE_TEXTS_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

class LiveTexts {
public:
    /// @param instance  differs from one loading of the module to the next; of no JSON metacharacters
    explicit LiveTexts(std::string instance) : m_instance(std::move(instance)) {}

    /// @param text  the module's name, a space and its result, a JSON object; UTF-8
    /// @return whether it was taken: a result that is none, or longer than 16,384 bytes, is not
    bool addResult(std::string_view text);
    void addLine(std::string_view line);  ///< cut after 1,000 bytes; what is no UTF-8 shows as U+FFFD

    /// A JSON object of all that is kept and newer than `seen`, with the number to ask by next time: of this
    /// instance, since another one counts anew.
    std::string after(std::uint64_t seen);
    void forget();

private:
    using Clock = std::chrono::steady_clock;

    struct Text {
        std::uint64_t number;
        Clock::time_point at;
        std::string json;  // members of the object that it becomes
    };
    using Texts = std::deque<Text>;

    void add(Texts& texts, std::size_t most, std::string json);
    static std::string list(const Texts& texts, std::uint64_t seen);

    const std::string m_instance;
    std::mutex m_mutex;  // guards all below
    std::uint64_t m_number = 0;
    Texts m_results, m_lines;
};

#endif
