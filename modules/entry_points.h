// entry_points.h - the nine functions that a module may export: their kinds, symbols and C++ types.
// Untyped addresses become typed in entryPoint() and nowhere else.
#ifndef LUMETRA_MODULES_ENTRY_POINTS_H
#define LUMETRA_MODULES_ENTRY_POINTS_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "LumetraCore/IChnk.h"
#include "LumetraCore/LumetraTypes.h"

enum LUMETRA_FNTYPE : std::int32_t {
    FN_GETMODULEID = 0,
    FN_INITIALIZE = 1,
    FN_REGISTERCALLBACK = 2,
    FN_UNREGISTERCALLBACK = 3,
    FN_GETSUPPORTEDCALLBACKS = 4,
    FN_COMMAND = 5,
    FN_NOTIFYNEWDATA = 6,
    FN_GETSTATUS = 7,
    FN_DESTROY = 8
};

/// The exported, unmangled symbol of each kind.
static const std::map<LUMETRA_FNTYPE, const std::string> LUMETRA_FNNAMES = {
    {FN_GETMODULEID, "getModuleID"},
    {FN_INITIALIZE, "initialize"},
    {FN_REGISTERCALLBACK, "registerCallback"},
    {FN_UNREGISTERCALLBACK, "unregisterCallback"},
    {FN_GETSUPPORTEDCALLBACKS, "getSupportedCallbacks"},
    {FN_COMMAND, "command"},
    {FN_NOTIFYNEWDATA, "notifyNewData"},
    {FN_GETSTATUS, "getStatus"},
    {FN_DESTROY, "destroy"},
};

namespace lumetra {

using GetModuleIdFn = std::int32_t();
using InitializeFn = void(const char* configuration);
using RegisterCallbackFn = int(LUMETRA_CBTYPE kind, void* function, void* user);
using UnregisterCallbackFn = int(LUMETRA_CBTYPE kind);
using GetSupportedCallbacksFn = int(LUMETRA_CBTYPE* kinds);
using CommandFn = int(LUMETRA_CMDTYPE command, const char* text);
using NotifyNewDataFn = void(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk);
using GetStatusFn = std::int32_t();
using DestroyFn = void();

/// The address under `kind` as a function of the type that belongs to it, null if the module lacks it.
template <class Fn, class Module>
Fn* entryPoint(const Module& module, LUMETRA_FNTYPE kind) {
    return reinterpret_cast<Fn*>(module.functions.at(kind));
}

}  // namespace lumetra

#endif
