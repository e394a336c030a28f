// loaded_module.cpp - opening a module and calling it.
#include "tools/lumetra-inspect/trial/loaded_module.h"

#include <cxxabi.h>
#include <dlfcn.h>

#include <cstdlib>
#include <exception>
#include <mutex>
#include <thread>
#include <typeinfo>

const std::vector<std::string> ENTRY_POINTS = {"getModuleID",
                                               "initialize",
                                               "registerCallback",
                                               "unregisterCallback",
                                               "getSupportedCallbacks",
                                               "command",
                                               "notifyNewData",
                                               "getStatus",
                                               "destroy"};

std::string describeException() {
    try {
        throw;
    } catch (const std::exception& error) {
        return std::string("an exception (") + error.what() + ")";
    } catch (...) {
        const std::type_info* const type = abi::__cxa_current_exception_type();
        if (type == nullptr) throw;  // no exception but a thread that is cancelled
        int status = 0;
        const std::unique_ptr<char, decltype(&std::free)> name(
            abi::__cxa_demangle(type->name(), nullptr, nullptr, &status), &std::free);
        return std::string("an exception of type ") + (name != nullptr ? name.get() : type->name());
    }
}

std::string inQuotes(const std::string& text) {
    constexpr std::size_t SHOWN = 40;
    std::string shown = "\"";
    for (const char character : text.substr(0, SHOWN))
        shown += character < ' ' || character > '~' ? '?' : character;
    return shown + (text.size() > SHOWN ? "...\" (" + std::to_string(text.size()) + " bytes)" : "\"");
}

template <class Function>
void LoadedModule::find(Function& function, const char* symbol) {
    function = reinterpret_cast<Function>(dlsym(m_library, symbol));
}

template <class Function>
auto LoadedModule::enter(const std::string& stage, const char* entryPoint, bool present, Function call) {
    if (!present) skip(std::string("it has no ") + entryPoint);
    m_bench.stage(stage);
    try {
        return call();
    } catch (...) {
        fail(stage + " threw " + describeException());
    }
}

LoadedModule::LoadedModule(const Bench& bench) : m_bench(bench) {
    bench.stage("opening it");
    m_library = dlopen(bench.location.file.c_str(), RTLD_LAZY);
    if (m_library == nullptr) fail(dlerror());
    find(m_id, "getModuleID");
    find(m_initialize, "initialize");
    find(m_register, "registerCallback");
    find(m_unregister, "unregisterCallback");
    find(m_supported, "getSupportedCallbacks");
    find(m_command, "command");
    find(m_notify, "notifyNewData");
    find(m_status, "getStatus");
    find(m_destroy, "destroy");
}

bool LoadedModule::has(const char* entryPoint) const {
    return address(entryPoint) != nullptr;
}

void* LoadedModule::address(const char* entryPoint) const {
    return dlsym(m_library, entryPoint);
}

std::int32_t LoadedModule::getModuleID() {
    return enter("getModuleID()", "getModuleID", m_id != nullptr, m_id);
}

void LoadedModule::initialize(const std::string& text) {
    enter("initialize(" + inQuotes(text) + ")", "initialize", m_initialize != nullptr,
          [&] { m_initialize(text.c_str()); });
}

int LoadedModule::registerCallback(std::int32_t kind, void* function, void* user) {
    return enter("registerCallback(" + std::to_string(kind) + ")", "registerCallback", m_register != nullptr,
                 [&] { return m_register(static_cast<LUMETRA_CBTYPE>(kind), function, user); });
}

int LoadedModule::unregisterCallback(std::int32_t kind) {
    return enter("unregisterCallback(" + std::to_string(kind) + ")", "unregisterCallback",
                 m_unregister != nullptr, [&] { return m_unregister(static_cast<LUMETRA_CBTYPE>(kind)); });
}

int LoadedModule::getSupportedCallbacks(std::vector<std::int32_t>& room) {
    std::vector<LUMETRA_CBTYPE> kinds;
    for (const std::int32_t kind : room) kinds.push_back(static_cast<LUMETRA_CBTYPE>(kind));
    const int count = enter("getSupportedCallbacks()", "getSupportedCallbacks", m_supported != nullptr,
                            [&] { return m_supported(kinds.data()); });
    room.assign(kinds.begin(), kinds.end());
    return count;
}

int LoadedModule::command(std::int32_t number, const std::string& text) {
    return enter("command(" + std::to_string(number) + ", " + inQuotes(text) + ")", "command",
                 m_command != nullptr,
                 [&] { return m_command(static_cast<LUMETRA_CMDTYPE>(number), text.c_str()); });
}

void LoadedModule::notifyNewData(std::uint64_t id, const std::shared_ptr<IChnk>& frame) {
    const std::string stage = "notifyNewData(" + std::to_string(id) + ", " + std::to_string(frame->width) +
                              "x" + std::to_string(frame->height) + " of format " +
                              std::to_string(frame->format) + ", descriptor " + inQuotes(frame->descriptor) +
                              ")";
    enter(stage, "notifyNewData", m_notify != nullptr, [&] { m_notify(id, frame); });
}

std::int32_t LoadedModule::getStatus() {
    return enter("getStatus()", "getStatus", m_status != nullptr, m_status);
}

void LoadedModule::destroy() {
    enter("destroy()", "destroy", m_destroy != nullptr, m_destroy);
}

void LoadedModule::close() {
    m_bench.stage("closing its library");
    dlclose(m_library);
    m_bench.stage("after its library was closed");
}

void LoadedModule::prepare(void* logFunction) {
    if (m_register != nullptr && logFunction != nullptr) registerCallback(CB_LOG, logFunction, nullptr);
    if (m_initialize != nullptr) initialize(m_bench.configuration);
    if (m_command != nullptr) command(LUMETRA_CMD_START, "");
}

void LoadedModule::remove() {
    if (m_destroy != nullptr) destroy();
    close();
}

std::vector<std::int32_t> offeredKinds(LoadedModule& module) {
    constexpr std::size_t ROOM = 64;
    if (!module.has("getSupportedCallbacks")) return {};
    std::vector<std::int32_t> kinds(ROOM);
    const int count = module.getSupportedCallbacks(kinds);
    kinds.resize(count < 0 ? 0 : std::min(static_cast<std::size_t>(count), ROOM));
    return kinds;
}

void inThreads(int count, const std::function<void(int)>& work) {
    std::mutex mutex;
    std::exception_ptr first;
    const auto attempt = [&](const auto& step) {
        try {
            step();
        } catch (...) {
            const std::lock_guard lock(mutex);
            if (first == nullptr) first = std::current_exception();
        }
    };
    std::vector<std::thread> threads;
    attempt([&] {  // a thread may not start, and those before it are to be joined
        for (int k = 0; k < count; ++k) threads.emplace_back([&, k] { attempt([&] { work(k); }); });
    });
    for (std::thread& thread : threads) thread.join();
    if (first != nullptr) std::rethrow_exception(first);
}
