// callback_table.cpp - look-up, replacement and defaults of the engine's callbacks.
#include "modules/callback_table.h"

#include "core/standard_log.h"

namespace lumetra {

namespace {

CallbackPair standard(LUMETRA_CBTYPE kind) {
    return {kind == CB_LOG ? reinterpret_cast<void*>(&stdlog) : nullptr, nullptr};
}

}  // namespace

CallbackTable::CallbackTable()
    : m_callbacks({{CB_LOG, standard(CB_LOG)}, {CB_HOSTTEXT, standard(CB_HOSTTEXT)}}) {}

CallbackPair CallbackTable::find(LUMETRA_CBTYPE kind) const {
    return m_callbacks.with([kind](const auto& callbacks) {
        const auto entry = callbacks.find(kind);
        return entry == callbacks.end() ? CallbackPair() : entry->second;
    });
}

bool CallbackTable::replace(LUMETRA_CBTYPE kind, CallbackPair pair) {
    return m_callbacks.with([&](auto& callbacks) {
        const auto entry = callbacks.find(kind);
        if (entry == callbacks.end()) return false;
        entry->second = pair;
        return true;
    });
}

bool CallbackTable::reset(LUMETRA_CBTYPE kind) {
    return replace(kind, standard(kind));
}

std::vector<LUMETRA_CBTYPE> CallbackTable::kinds() const {
    return m_callbacks.with([](const auto& callbacks) {
        std::vector<LUMETRA_CBTYPE> kinds;
        kinds.reserve(callbacks.size());
        for (const auto& callback : callbacks) kinds.push_back(callback.first);
        return kinds;
    });
}

}  // namespace lumetra
