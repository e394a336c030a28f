// module_library.cpp - libraries opened and closed by the platform's loader.
#include "modules/module_library.h"

#include <dlfcn.h>

namespace lumetra {

ModuleLibrary::~ModuleLibrary() {
    if (m_handle != nullptr && !m_pinned) dlclose(m_handle);
}

void* ModuleLibrary::open(const std::string& path) {
    m_handle = dlopen(path.c_str(), RTLD_LAZY);
    return m_handle;
}

void* ModuleLibrary::symbol(const char* name) const {
    return dlsym(m_handle, name);
}

}  // namespace lumetra

void assemblePlatformLibraryString(std::string& name) {
    name += ".framework/" + std::string(name);
}
