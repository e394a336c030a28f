// module_table.h - the loaded modules by id. Any thread.
// States: registered; closing (record present, library null, not found); absent. Innermost lock; modules
// run and libraries open or close without it.
#ifndef LUMETRA_MODULES_MODULE_TABLE_H
#define LUMETRA_MODULES_MODULE_TABLE_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/synchronized.h"
#include "modules/entry_points.h"
#include "modules/module_library.h"

namespace lumetra {

/// One loaded module; `functions` holds all nine kinds, null where the module lacks one.
struct dllstruct {
    dllstruct();

    std::string name;        // the path that was opened
    void* handle = nullptr;  // of the dynamic loader
    std::map<LUMETRA_FNTYPE, void*> functions;
    std::shared_ptr<ModuleLibrary> library;  // closes `handle`; null while the library is being closed
};

/// What a notification needs of a module, without keeping it loaded.
struct NotificationTarget {
    /// Calls the module with a frame, and keeps its library mapped meanwhile; nothing if it is being removed.
    /// What the module throws ends here: the exception's destructor may be code of the library.
    void deliver(std::uint64_t chunkId, const std::shared_ptr<IChnk>& chunk) const;

    NotifyNewDataFn* notify;  // null if the module lacks it
    std::weak_ptr<ModuleLibrary> library;
};

class ModuleTable {
public:
    using Entry = std::pair<std::int32_t, dllstruct>;  // id, record

    /// Stores a module under its id and keeps its library. A module that had the id is replaced: it stays
    /// loaded for good, and notifications queued for it still reach it.
    /// @throws std::bad_alloc with nothing changed
    void file(std::int32_t id, dllstruct module);

    /// Copies: the module may be removed meanwhile. Nothing for one that is being closed.
    std::optional<dllstruct> find(std::int32_t id) const;
    /// The one with the smallest id of those with this path.
    std::optional<Entry> findByPath(const std::string& path) const;

    /// In ascending order of their ids.
    std::vector<NotificationTarget> notificationTargets() const;

    /// Closes the library (or leaves that to the last running call) and then erases the record, unless the id
    /// was registered again meanwhile.
    void close(Entry entry);

    /// Leaves every library open.
    ~ModuleTable();

    std::map<std::int32_t, dllstruct> copy() const;

private:
    struct State {
        std::map<std::int32_t, dllstruct> modules;  // by the id that each module reports
        std::vector<std::shared_ptr<ModuleLibrary>> replaced;
    };

    Synchronized<State> m_state;
};

}  // namespace lumetra

#endif
