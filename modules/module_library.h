// module_library.h - an open library, and how a module's name becomes its path.
#ifndef LUMETRA_MODULES_MODULE_LIBRARY_H
#define LUMETRA_MODULES_MODULE_LIBRARY_H

#include <atomic>
#include <string>

namespace lumetra {

/// A module's library, shared by its record and by every call into it, so that code which still runs stays
/// mapped. While it is pinned, that is registered or replaced, it stays open even when its last user goes
/// and frames are delivered to it: a library is closed only when its module is removed.
class ModuleLibrary {
public:
    ModuleLibrary() = default;
    ~ModuleLibrary();
    ModuleLibrary(const ModuleLibrary&) = delete;
    ModuleLibrary& operator=(const ModuleLibrary&) = delete;

    /// Opens the path by the platform loader's own rules. Returns the loader's handle or null.
    void* open(const std::string& path);

    /// The address of an exported symbol, or null.
    void* symbol(const char* name) const;

    void pin() { m_pinned = true; }
    /// Stops deliveries and has the last user close the library. False if it was not pinned.
    bool unpin() { return m_pinned.exchange(false); }
    bool isPinned() const { return m_pinned; }

private:
    void* m_handle = nullptr;
    std::atomic<bool> m_pinned = false;
};

}  // namespace lumetra

/// Turns the module name N into the path that is opened: N.framework/N.
void assemblePlatformLibraryString(std::string& name);

#endif
