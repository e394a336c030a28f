// module_results.cpp - asking for the form, taking the texts.
#include "tools/lumetra-play/modules/module_results.h"

#include <algorithm>

#include "tools/lumetra-play/modules/known_modules.h"
#include "tools/lumetra-play/view/output.h"

bool ModuleResults::listenTo(const LibraryTable& library, std::int32_t id) {
    if (library.command(id, LUMETRA_CMD_RESULTFORM, u"") != RESULT_TEXT) return false;
    const ResultTextFn function = &onText;
    return library.registerCallback(id, CB_TYPE2, reinterpret_cast<void*>(function), this) == 1;
}

void ModuleResults::onText(void* self, const char* utf8Json) {
    auto& results = *static_cast<ModuleResults*>(self);
    std::string text = utf8Json == nullptr ? "" : utf8Json;
    std::replace_if(
        text.begin(), text.end(), [](char letter) { return static_cast<unsigned char>(letter) < ' '; }, ' ');
    {
        const std::lock_guard lock(results.m_mutex);
        ++results.m_count;
        results.m_last = text;
    }
    const std::string line = results.m_name + " " + text;
    if (results.m_aside)
        output::say(line);
    else
        output::writeLine(line);
}

std::int64_t ModuleResults::count() const {
    const std::lock_guard lock(m_mutex);
    return m_count;
}

std::string ModuleResults::last() const {
    const std::lock_guard lock(m_mutex);
    return m_last;
}
