// loaded_module.h - a module's library, opened as the engine opens it, and its entry points, each of which
// says what it is about to do and turns what the module throws into a finding.
#ifndef LUMETRA_INSPECT_LOADED_MODULE_H
#define LUMETRA_INSPECT_LOADED_MODULE_H

#include <LumetraCore/LumetraModule.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/lumetra-inspect/trial/check.h"

/// The nine, in the order in which they are reported.
extern const std::vector<std::string> ENTRY_POINTS;

/// Any thread may call any entry point. One that the module lacks skips the check.
class LoadedModule {
public:
    /// Opens it; fails the check with the loader's words.
    explicit LoadedModule(const Bench& bench);
    ~LoadedModule() = default;  // it stays open: what it runs may be anywhere
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;

    bool has(const char* entryPoint) const;
    std::int32_t getModuleID();
    void initialize(const std::string& text);
    int registerCallback(std::int32_t kind, void* function, void* user);
    int unregisterCallback(std::int32_t kind);
    /// @param room  elements, all of which it is shown
    int getSupportedCallbacks(std::vector<std::int32_t>& room);
    int command(std::int32_t number, const std::string& text);
    void notifyNewData(std::uint64_t id, const std::shared_ptr<IChnk>& frame);
    std::int32_t getStatus();
    void destroy();
    /// Gives the library back to the loader.
    void close();

    /// An entry point to be called without any of the above, null where it lacks it.
    void* address(const char* entryPoint) const;

    /// What a host does before it sends frames: the log function, the configuration, LUMETRA_CMD_START. Entry
    /// points that it lacks are left out.
    void prepare(void* logFunction = nullptr);
    /// Removes it as a host does, if it can be.
    void remove();

private:
    template <class Function>
    void find(Function& function, const char* symbol);
    template <class Function>
    auto enter(const std::string& stage, const char* entryPoint, bool present, Function call);

    const Bench& m_bench;
    void* m_library;
    decltype(&::getModuleID) m_id;
    decltype(&::initialize) m_initialize;
    decltype(&::registerCallback) m_register;
    decltype(&::unregisterCallback) m_unregister;
    decltype(&::getSupportedCallbacks) m_supported;
    decltype(&::command) m_command;
    decltype(&::notifyNewData) m_notify;
    decltype(&::getStatus) m_status;
    decltype(&::destroy) m_destroy;
};

/// The callback kinds that it says it takes; none if it cannot tell.
std::vector<std::int32_t> offeredKinds(LoadedModule& module);

/// Runs `work(k)` for each k below `count` on a thread of its own; fails as the first of them that does.
void inThreads(int count, const std::function<void(int)>& work);

/// Words for the exception that is being handled.
std::string describeException();

/// A text as it stands in a report.
std::string inQuotes(const std::string& text);

#endif
