// loaded_module.h - a module's library, opened as the engine opens it, and its entry points. A base for
// fixtures.
#ifndef LUMETRA_TESTS_SUPPORT_LOADED_MODULE_H
#define LUMETRA_TESTS_SUPPORT_LOADED_MODULE_H

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "LumetraCore/LumetraModule.h"

class LoadedModule {
protected:
    explicit LoadedModule(const char* path) : m_library(dlopen(path, RTLD_NOW)) {
        EXPECT_NE(nullptr, m_library) << dlerror();
        find(notify, "notifyNewData");
        find(command, "command");
        find(configure, "initialize");
        find(status, "getStatus");
        find(registerLog, "registerCallback");
        find(unregisterLog, "unregisterCallback");
        find(end, "destroy");
    }
    ~LoadedModule() { unload(); }
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;

    void unload() {
        if (m_library == nullptr) return;
        end();
        dlclose(m_library);
        m_library = nullptr;
    }

    decltype(&::notifyNewData) notify = nullptr;
    decltype(&::command) command = nullptr;
    decltype(&::initialize) configure = nullptr;
    decltype(&::getStatus) status = nullptr;
    decltype(&::registerCallback) registerLog = nullptr;
    decltype(&::unregisterCallback) unregisterLog = nullptr;
    decltype(&::destroy) end = nullptr;

private:
    template <class Function>
    void find(Function& function, const char* symbol) {
        function = reinterpret_cast<Function>(dlsym(m_library, symbol));
        ASSERT_NE(nullptr, function) << symbol;
    }

    void* m_library;
};

#endif
