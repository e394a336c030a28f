// loaded_module.h - a module's library, opened as the engine opens it, its entry points, and what it logs. A
// base for fixtures, one at a time; what the module calls must live until unload().
#ifndef LUMETRA_TESTS_SUPPORT_LOADED_MODULE_H
#define LUMETRA_TESTS_SUPPORT_LOADED_MODULE_H

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "LumetraCore/LumetraModule.h"
#include "LumetraCore/utf_conversion.h"

class LoadedModule {
protected:
    explicit LoadedModule(const char* path) : m_library(dlopen(path, RTLD_NOW)) {
        EXPECT_NE(nullptr, m_library) << dlerror();
        find(notify, "notifyNewData");
        find(command, "command");
        find(configure, "initialize");
        find(status, "getStatus");
        find(setCallback, "registerCallback");
        find(unsetCallback, "unregisterCallback");
        find(end, "destroy");
        clearLines();
        setLog();
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

    int send(std::int32_t number, const char* text = "") { return command(LUMETRA_CMDTYPE(number), text); }

    void setLog() { setCallback(CB_LOG, reinterpret_cast<void*>(&onLine), nullptr); }
    /// What the module has logged since it was opened.
    static std::vector<std::string> lines() {
        const std::lock_guard lock(linesMutex);
        return linesSoFar;
    }
    static void clearLines() {
        const std::lock_guard lock(linesMutex);
        linesSoFar.clear();
    }

    decltype(&::notifyNewData) notify = nullptr;
    decltype(&::command) command = nullptr;
    decltype(&::initialize) configure = nullptr;
    decltype(&::getStatus) status = nullptr;
    decltype(&::registerCallback) setCallback = nullptr;
    decltype(&::unregisterCallback) unsetCallback = nullptr;
    decltype(&::destroy) end = nullptr;

private:
    static void onLine(std::int32_t, const char16_t* text) {
        const std::lock_guard lock(linesMutex);
        linesSoFar.push_back(convertUTFFormatVto8<char16_t, char>(text));
    }

    template <class Function>
    void find(Function& function, const char* symbol) {
        function = reinterpret_cast<Function>(dlsym(m_library, symbol));
        ASSERT_NE(nullptr, function) << symbol;
    }

    static inline std::mutex linesMutex;
    static inline std::vector<std::string> linesSoFar;

    void* m_library;
};

#endif
