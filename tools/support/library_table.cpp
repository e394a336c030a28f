// library_table.cpp - by the loader.
#include "tools/support/library_table.h"

#include <dlfcn.h>

#include <filesystem>

// With a folder in its name the loader takes this very file; else it goes where the program's run path leads.
void* LibraryTable::open(const std::string& path) {
    const std::string file = path.empty() ? LUMETRA_LIBRARY_NAME : std::filesystem::absolute(path).string();
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) throw LibraryError("cannot open the library (" + std::string(dlerror()) + ")");
    return library;
}

LibraryTable::Symbol LibraryTable::find(const char* name) const {
    void* const address = dlsym(m_library, name);
    if (address == nullptr) throw LibraryError("the library has no function " + std::string(name));
    return {address};
}
