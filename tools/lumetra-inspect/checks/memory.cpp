// memory.cpp - a module that finds no memory, one allocation after the other.
#include <exception>
#include <functional>
#include <new>

#include "tools/lumetra-inspect/trial/allocations.h"
#include "tools/lumetra-inspect/trial/check.h"
#include "tools/lumetra-inspect/trial/frames.h"
#include "tools/lumetra-inspect/trial/loaded_module.h"

namespace {

constexpr long MOST_ALLOCATIONS = 200;

void onLog(std::int32_t, const char16_t*) {
    const AllocationPause ownWork;
}

// Whether an allocation failed; what is thrown then reaches the engine or the host, and is no fault.
bool failsAt(long number, const std::function<void()>& call) {
    const AllocationFailure shortage(number);
    try {
        call();
    } catch (...) {
        if (std::current_exception() == nullptr) throw;
    }
    return shortage.happened();
}

// Each allocation of a call fails once, with those that follow it; after that the module has to go on.
void starve(const Bench& bench, const char* entryPoint, const std::function<void()>& call,
            const std::function<void()>& next) {
    if (!allocationsAreWatched()) skip("this build of lumetra-inspect has a sanitizer");
    for (long number = 1; number <= MOST_ALLOCATIONS; ++number) {
        bench.stage(std::string(entryPoint) + " without memory from its allocation " +
                    std::to_string(number) + " on");
        const bool failed = failsAt(number, call);
        next();
        if (!failed) return;
    }
}

template <class Function>
Function bare(const Bench& bench, const LoadedModule& module, const char* symbol) {
    const auto function = reinterpret_cast<Function>(module.address(symbol));
    if (function == nullptr) skip(std::string("it has no ") + symbol);
    bench.stage(symbol);
    return function;
}

void starveInitialize(const Bench& bench) {
    LoadedModule module(bench);
    const auto function = bare<decltype(&::initialize)>(bench, module, "initialize");
    const char* const text = bench.configuration.c_str();
    module.prepare(reinterpret_cast<void*>(&onLog));
    starve(
        bench, "initialize", [&] { function(text); }, [&] { module.initialize(bench.configuration); });
}

void starveFrame(const Bench& bench) {
    LoadedModule module(bench);
    const auto function = bare<decltype(&::notifyNewData)>(bench, module, "notifyNewData");
    module.prepare(reinterpret_cast<void*>(&onLog));
    std::shared_ptr<IChnk> frame;
    starve(
        bench, "notifyNewData",
        [&] {
            {
                const AllocationPause ownWork;
                frame = makeFrame({64, 48});
            }
            function(nextFrameId(), frame);
        },
        [&] {
            module.notifyNewData(nextFrameId(), makeFrame({64, 48}));
        });
}

void starveCommand(const Bench& bench) {
    LoadedModule module(bench);
    const auto function = bare<decltype(&::command)>(bench, module, "command");
    module.prepare(reinterpret_cast<void*>(&onLog));
    for (std::int32_t number = 0; number < 4; ++number)
        starve(
            bench, "command",
            [&] { function(static_cast<LUMETRA_CMDTYPE>(LUMETRA_CMD_MODULE_FIRST + number), ""); },
            [&] { module.command(LUMETRA_CMD_MODULE_FIRST + number, ""); });
}

}  // namespace

std::vector<Check> memoryChecks() {
    return {
        {"memory-initialize", "initialize survives allocation failures.", WORKING + " initialize-twice",
         starveInitialize},
        {"memory-frame", "notifyNewData survives allocation failures.", WORKING + " frame-small",
         starveFrame},
        {"memory-command", "command survives allocation failures.", WORKING + " command-numbers",
         starveCommand},
    };
}
