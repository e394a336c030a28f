// host_exchange.cpp - answering, and keeping pictures.
#include "tools/lumetra-play/modules/host_exchange.h"

#include <resolv.h>

#include <nlohmann/json.hpp>

#include "plugins/CameraSource/CameraSource.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/view/output.h"
#include "tools/support/text.h"

std::string answerTo(const std::string& descriptor, std::string& seen, Bytes& jpeg) {
    Json document = parseJson(descriptor);
    jpeg.clear();
    if (const auto image = document.find("image"); image != document.end() && image->is_string()) {
        const auto& text = image->get_ref<const std::string&>();
        jpeg.resize(text.size());
        jpeg.resize(static_cast<std::size_t>(std::max(0, b64_pton(text.c_str(), jpeg.data(), jpeg.size()))));
        document.erase("image");
    }
    seen = toText(document);
    Json answer = {{"host", "lumetra-play"}};
    for (const char* kept : {"frame", "timestampUs"})
        if (document.contains(kept)) answer[kept] = document[kept];
    return toText(answer);
}

HostExchange::HostExchange(const Options& options, const LibraryTable& library)
    : m_options(options), m_library(library) {
    s_current = this;
    m_library.registerCallback(CAMERASOURCE_ID, CB_PUSHNATIVEIMAGE, nullptr, nullptr);
    m_library.registerCallback(ENGINE_MODULE_ID, CB_HOSTTEXT, reinterpret_cast<void*>(&onText), nullptr);
}

HostExchange::~HostExchange() {
    m_library.command(CAMERASOURCE_ID, LUMETRA_CMD_STOP, u"");
    m_library.unregisterCallback(CAMERASOURCE_ID, CB_PUSHNATIVEIMAGE);
    m_library.unregisterCallback(ENGINE_MODULE_ID, CB_HOSTTEXT);
    s_current = nullptr;
}

// The answer has to live until the library has copied it, which it does on this thread right after the call.
const char16_t* HostExchange::onText(void*, const char16_t* text) {
    thread_local std::u16string answer;
    HostExchange* const host = s_current;
    answer = host == nullptr ? std::u16string(text) : toUtf16(host->answer(toUtf8(text)));
    return answer.c_str();
}

std::string HostExchange::answer(const std::string& text) {
    std::string seen;
    Bytes jpeg;
    const std::string answer = answerTo(text, seen, jpeg);
    if (m_options.descriptors) output::showResult("descriptor " + seen);
    if (!jpeg.empty() && !m_options.jpegFolder.empty()) savePicture(jpeg);
    ++descriptors;
    return answer;
}

// Numbered as they come, which is on one thread.
void HostExchange::savePicture(const Bytes& jpeg) try {
    const std::string name = formatted("/frame_%06lld.jpg", static_cast<long long>(descriptors));
    output::writeFile(m_options.jpegFolder + name, jpeg);
    ++pictures;
} catch (const PlayError& error) {
    output::complain(error.what());
    ++failedWrites;
}
