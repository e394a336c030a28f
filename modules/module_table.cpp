// module_table.cpp - records stored, found and erased.
#include "modules/module_table.h"

#include "base/foreign_call.h"

namespace lumetra {

dllstruct::dllstruct() {
    for (const auto& [kind, symbol] : LUMETRA_FNNAMES) functions.emplace(kind, nullptr);
}

void NotificationTarget::deliver(std::uint64_t chunkId, const std::shared_ptr<IChnk>& chunk) const {
    const auto mapped = library.lock();
    if (mapped == nullptr || !mapped->isPinned()) return;
    callSafely([&] { notify(chunkId, chunk); });
}

void ModuleTable::file(std::int32_t id, dllstruct module) {
    m_state.with([&](State& state) {
        state.replaced.reserve(state.replaced.size() + 1);
        dllstruct& record = state.modules[id];
        std::swap(record, module);
        record.library->pin();
        // One that is being removed just now belongs to whoever removes it.
        if (module.library != nullptr && module.library->isPinned())
            state.replaced.push_back(std::move(module.library));
    });
}

std::optional<dllstruct> ModuleTable::find(std::int32_t id) const {
    return m_state.with([id](const State& state) -> std::optional<dllstruct> {
        const auto entry = state.modules.find(id);
        if (entry == state.modules.end() || entry->second.library == nullptr) return std::nullopt;
        return entry->second;
    });
}

std::optional<ModuleTable::Entry> ModuleTable::findByPath(const std::string& path) const {
    return m_state.with([&path](const State& state) -> std::optional<Entry> {
        for (const auto& [id, module] : state.modules)
            if (module.name == path && module.library != nullptr) return Entry(id, module);
        return std::nullopt;
    });
}

std::vector<NotificationTarget> ModuleTable::notificationTargets() const {
    return m_state.with([](const State& state) {
        std::vector<NotificationTarget> targets;
        targets.reserve(state.modules.size());
        for (const auto& [id, module] : state.modules)
            if (module.library != nullptr)
                targets.push_back({entryPoint<NotifyNewDataFn>(module, FN_NOTIFYNEWDATA), module.library});
        return targets;
    });
}

void ModuleTable::close(Entry entry) {
    const std::int32_t id = entry.first;
    auto& library = entry.second.library;
    m_state.with([id, &library](State& state) {
        const auto record = state.modules.find(id);
        if (record != state.modules.end() && record->second.library == library)
            record->second.library.reset();
    });
    library.reset();  // the record is still there when the library closes
    m_state.with([id](State& state) {
        const auto record = state.modules.find(id);
        if (record != state.modules.end() && record->second.library == nullptr) state.modules.erase(record);
    });
}

// A removal that began before its module was replaced may have given up the library in the meantime.
ModuleTable::~ModuleTable() {
    m_state.with([](State& state) {
        for (const auto& library : state.replaced) library->pin();
    });
}

std::map<std::int32_t, dllstruct> ModuleTable::copy() const {
    return m_state.with([](const State& state) { return state.modules; });
}

}  // namespace lumetra
