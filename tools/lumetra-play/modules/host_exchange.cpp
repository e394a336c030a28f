// host_exchange.cpp - reading descriptors, keeping pictures, answering.
#include "tools/lumetra-play/modules/host_exchange.h"

#include <atomic>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/text.h"
#include "tools/lumetra-play/view/output.h"

namespace {

std::atomic<HostExchange*> currentExchange = nullptr;

int base64Digit(char letter) {
    constexpr std::string_view DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t digit = DIGITS.find(letter);
    return digit == std::string_view::npos ? -1 : static_cast<int>(digit);
}

std::optional<std::int64_t> readNumber(const Json& document, const char* name) {
    const auto member = document.find(name);
    if (member == document.end() || !member->is_number_integer()) return std::nullopt;
    return member->get<std::int64_t>();
}

}  // namespace

std::optional<Bytes> decodeBase64(std::string_view text) {
    if (text.size() % 4 != 0) return std::nullopt;
    while (!text.empty() && text.back() == '=') text.remove_suffix(1);
    Bytes bytes;
    bytes.reserve(text.size() * 3 / 4);
    unsigned pending = 0;
    int bits = 0;
    for (const char letter : text) {
        const int digit = base64Digit(letter);
        if (digit < 0) return std::nullopt;
        pending = pending << 6 | static_cast<unsigned>(digit);
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes.push_back(static_cast<std::uint8_t>(pending >> bits));
    }
    return bytes;
}

SeenDescriptor readDescriptor(const std::string& json) {
    Json document = parseJson(json);
    SeenDescriptor seen;
    seen.frame = readNumber(document, "frame");
    seen.timestampUs = readNumber(document, "timestampUs");
    if (const auto picture = document.find("image"); picture != document.end() && picture->is_string()) {
        seen.jpeg = decodeBase64(picture->get_ref<const std::string&>());
        document.erase("image");
    }
    seen.text = toText(document);
    return seen;
}

std::string answerFor(const SeenDescriptor& seen) {
    Json answer = {{"host", "lumetra-play"}};
    if (seen.frame) answer["frame"] = *seen.frame;
    if (seen.timestampUs) answer["timestampUs"] = *seen.timestampUs;
    return toText(answer);
}

HostExchange::HostExchange(const LibraryTable& library, std::string jpegFolder, bool showTexts, bool aside)
    : m_library(library), m_jpegFolder(std::move(jpegFolder)), m_showTexts(showTexts), m_aside(aside) {
    currentExchange = this;
    m_library.registerCallback(ENGINE_MODULE_ID, CB_HOSTTEXT, reinterpret_cast<void*>(&onText), nullptr);
}

HostExchange::~HostExchange() {
    m_library.unregisterCallback(ENGINE_MODULE_ID, CB_HOSTTEXT);
    currentExchange = nullptr;
}

ExchangeCounts HostExchange::counts() {
    const std::lock_guard lock(m_mutex);
    return m_counts;
}

// The answer has to live until the library has copied it, which it does on this thread right after the call.
const char16_t* HostExchange::onText(void*, const char16_t* text) {
    thread_local std::u16string answer;
    HostExchange* const exchange = currentExchange;
    answer = exchange == nullptr ? std::u16string(text) : toUtf16(exchange->answer(toUtf8(text)));
    return answer.c_str();
}

std::string HostExchange::answer(const std::string& text) {
    const SeenDescriptor seen = readDescriptor(text);
    {
        const std::lock_guard lock(m_mutex);
        ++m_counts.descriptors;
    }
    if (m_showTexts && m_aside)
        output::say("descriptor " + seen.text);
    else if (m_showTexts)
        output::writeLine("descriptor " + seen.text);
    if (seen.jpeg && !m_jpegFolder.empty()) savePicture(seen);
    return answerFor(seen);
}

void HostExchange::savePicture(const SeenDescriptor& seen) {
    char name[48];
    std::snprintf(name, sizeof name, "/frame_%06lld.jpg", static_cast<long long>(seen.frame.value_or(-1)));
    bool written = true;
    try {
        output::writeFile(m_jpegFolder + name, *seen.jpeg);
    } catch (const PlayError& error) {
        output::complain(error.what());
        written = false;
    }
    const std::lock_guard lock(m_mutex);
    ++(written ? m_counts.pictures : m_counts.failedWrites);
}
