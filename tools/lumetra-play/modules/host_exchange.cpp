// host_exchange.cpp - reading descriptors, keeping pictures, answering.
#include "tools/lumetra-play/modules/host_exchange.h"

#include <atomic>
#include <cstdio>
#include <fstream>
#include <utility>

#include "base/json_writing.h"
#include "tools/lumetra-play/run/text.h"

namespace {

std::atomic<HostExchange*> currentExchange = nullptr;

int base64Digit(char letter) {
    constexpr std::string_view DIGITS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t digit = DIGITS.find(letter);
    return digit == std::string_view::npos ? -1 : static_cast<int>(digit);
}

std::optional<std::int64_t> readNumber(const JsonDocument& document, const char* name) {
    const JsonValue* const value = findMember(&document, name);
    if (value == nullptr || !value->IsInt64()) return std::nullopt;
    return value->GetInt64();
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
    JsonDocument document = parseBoundedJson(json.c_str());
    SeenDescriptor seen;
    seen.frame = readNumber(document, "frame");
    seen.timestampUs = readNumber(document, "timestampUs");
    if (const auto picture = readString(&document, "image")) {
        seen.jpeg = decodeBase64(*picture);
        document.RemoveMember("image");
    }
    seen.text = serialize(document, {});
    return seen;
}

std::string answerFor(const SeenDescriptor& seen) {
    JsonText text;
    JsonWriter writer(text);
    writer.StartObject();
    writer.Key("host");
    writer.String("lumetra-play");
    for (const auto& [name, number] : {std::pair("frame", seen.frame), {"timestampUs", seen.timestampUs}}) {
        if (!number) continue;
        writer.Key(name);
        writer.Int64(*number);
    }
    writer.EndObject();
    return {text.GetString(), text.GetSize()};
}

HostExchange::HostExchange(const LibraryTable& library, std::string jpegFolder, bool showTexts)
    : m_library(library), m_jpegFolder(std::move(jpegFolder)), m_showTexts(showTexts) {
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
    if (m_showTexts) std::printf("descriptor %s\n", seen.text.c_str());
    if (seen.jpeg && !m_jpegFolder.empty()) savePicture(seen);
    return answerFor(seen);
}

void HostExchange::savePicture(const SeenDescriptor& seen) {
    char name[48];
    std::snprintf(name, sizeof name, "/frame_%06lld.jpg", static_cast<long long>(seen.frame.value_or(-1)));
    std::ofstream file(m_jpegFolder + name, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(seen.jpeg->data()),
               static_cast<std::streamsize>(seen.jpeg->size()));
    file.close();
    const std::lock_guard lock(m_mutex);
    ++(file.fail() ? m_counts.failedWrites : m_counts.pictures);
}
