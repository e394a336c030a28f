// host_log.cpp - from bytes that may be no text to the UTF-16 that hosts read.
#include "support/host_log.h"

#include <exception>
#include <mutex>
#include <string>

namespace {

// Takes the character in front off `text`; off bytes that are none it takes one, for U+FFFD.
char32_t takeCharacter(std::string_view& text) {
    const auto byte = [text](std::size_t k) {
        return k < text.size() ? static_cast<unsigned char>(text[k]) : char32_t{0};
    };
    const char32_t lead = byte(0);
    const std::size_t size = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t character = size == 1 ? lead : lead & (0x7Fu >> size);
    bool isValid = lead < 0x80 || (lead >= 0xC0 && lead < 0xF8);
    for (std::size_t k = 1; k < size; ++k) {
        isValid = isValid && (byte(k) & 0xC0) == 0x80;
        character = character << 6 | (byte(k) & 0x3F);
    }
    constexpr char32_t LEAST[] = {0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
    isValid = isValid && character >= LEAST[size - 1] && character <= 0x10FFFF && !isSurrogate;
    text.remove_prefix(isValid ? size : 1);
    return isValid ? character : 0xFFFD;
}

std::u16string toUtf16(std::string_view text) {
    std::u16string units;
    while (!text.empty()) {
        const char32_t character = takeCharacter(text);
        if (character < 0x20 || character == 0x7F) {
            units += u'?';
        } else if (character < 0x10000) {
            units += static_cast<char16_t>(character);
        } else {
            units += static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10));
            units += static_cast<char16_t>(0xDC00 + ((character - 0x10000) & 0x3FF));
        }
    }
    return units;
}

}  // namespace

void HostLog::set(void* function) {
    const std::unique_lock lock(m_mutex);
    m_function = reinterpret_cast<LUMETRA_LOGFN>(function);
}

bool HostLog::write(std::int32_t level, std::string_view line) {
    try {
        const std::shared_lock lock(m_mutex);
        if (m_function == nullptr) return false;
        m_function(level, toUtf16(line).c_str());
        return true;
    } catch (...) {
        if (std::current_exception() == nullptr) throw;  // no exception but a thread that is cancelled
        return false;  // a sink that fails must not end a module's thread, and with it the host
    }
}
