// library_table.cpp - by the loader.
#include "tools/support/library_table.h"

#include <dlfcn.h>

#include "tools/support/module_files.h"
#include "tools/support/text.h"

namespace fs = std::filesystem;

namespace {

class WorkingFolder {
public:
    explicit WorkingFolder(const fs::path& folder) : m_before(fs::current_path(m_ignored)) {
        fs::current_path(folder);
    }
    ~WorkingFolder() { fs::current_path(m_before, m_ignored); }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

private:
    std::error_code m_ignored;
    const fs::path m_before;
};

}  // namespace

// With a folder in its name the loader takes this very file; else it goes where the program's run path leads,
// which the address sanitizer's dlopen() does not know.
void* LibraryTable::open(const std::string& path) {
    const fs::path built = programFolder() / "../lib" / LUMETRA_LIBRARY_NAME;
    std::error_code ignored;
    const std::string file = !path.empty()                ? fs::absolute(path).string()
                             : fs::exists(built, ignored) ? built.string()
                                                          : LUMETRA_LIBRARY_NAME;
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw LibraryError("cannot open the library (" + std::string(dlerror()) + ")");
    return library;
}

LibraryTable::Symbol LibraryTable::find(const char* name) const {
    void* const address = dlsym(m_library, name);
    if (address == nullptr) throw LibraryError("the library has no function " + std::string(name));
    return {address};
}

std::int32_t LibraryTable::registerModule(const fs::path& file) const {
    const WorkingFolder folder(file.parent_path().parent_path());
    return registerDllByName(toUtf16(file.filename().string()).c_str());
}
