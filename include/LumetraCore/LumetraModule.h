/// @file
/// LumetraModule.h - the nine functions a module may export, unmangled; only getModuleID is required.
///
/// A module is a shared library NAME.framework/NAME that the host loads by its name. Define the functions
/// you need exactly as declared here. Order: getModuleID first; then initialize (never, once or often),
/// commands, callbacks and frames in any order; destroy as the host's last call.
///
/// Text is UTF-8, ends with a 0 byte and is borrowed for the call: copy what you keep. The engine never
/// holds a lock while your code runs, so you may call back into it. Build against this IChnk and the
/// engine's own standard library, since std::shared_ptr crosses the border, with hidden visibility and
/// (g++) -fno-gnu-unique, without which the library cannot be unloaded; lumetra_add_module() does both.
#ifndef LUMETRACORE_LUMETRAMODULE_H
#define LUMETRACORE_LUMETRAMODULE_H

#include <memory>

#include <LumetraCore/IChnk.h>
#include <LumetraCore/LumetraTypes.h>

#define LUMETRA_MODULE_EXPORT LUMETRA_EXPORT

/// The id under which the host addresses this module: at least 1, the same at every call, and not that of
/// another module, which it would replace. Called once, while the library is loaded. An exception counts
/// as having no id. [host thread]
LUMETRA_MODULE_EXPORT std::int32_t getModuleID();

/// A configuration text in a format of the module's own. [host thread]
LUMETRA_MODULE_EXPORT void initialize(const char* configuration);

/// A function for the module to call; kinds and forms are those of LUMETRA_CBTYPE. `function` stays
/// callable until it is replaced or unregistered; pass `user` back to it where its form takes one. For
/// CB_PUSHNATIVEIMAGE `function` is the engine's LUMETRA_PUSHFN and `user` its context; neither may be
/// relied on once the engine has been destroyed: a push then returns 0, until a new engine is made (which
/// may stand at the same address). Stop pushing in destroy. Returns 1 taken, 0 not. [host thread]
LUMETRA_MODULE_EXPORT int registerCallback(LUMETRA_CBTYPE kind, void* function, void* user);

/// Do not call the function given for `kind` once this has returned. Returns 1 done, 0 not. [host thread]
LUMETRA_MODULE_EXPORT int unregisterCallback(LUMETRA_CBTYPE kind);

/// Writes the kinds that registerCallback takes to the caller's array; returns how many. [host thread]
LUMETRA_MODULE_EXPORT int getSupportedCallbacks(LUMETRA_CBTYPE* kinds);

/// A command of the host, which receives the result unchanged. [host thread; may overlap frames]
LUMETRA_MODULE_EXPORT int command(LUMETRA_CMDTYPE command, const char* text);

/// One converted frame. `chunk` is shared: hold it and its pixels stay valid, but every other module sees
/// them too, so do not write to them. Nothing waits for this call, and an exception that leaves it is
/// dropped: let none leave; lumetra-inspect fails it. [pool worker; calls may overlap, arrive out of order
/// and come before initialize]
/// @param chunkId  the push time in milliseconds since the Unix epoch
LUMETRA_MODULE_EXPORT void notifyNewData(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk);

/// Any number; STATUS_READY is the one a host expects of a working module. [host thread]
LUMETRA_MODULE_EXPORT std::int32_t getStatus();

/// The host's last call. The library is closed when it returns, or when the last running notification
/// returns. A notification that a worker has already taken may run during and after this call: free nothing
/// that notifyNewData uses. Objects with static storage are destroyed when the library is unloaded. Join
/// your threads and stop pushing before you return. If this throws, the module stays registered and may be
/// removed again. [host thread]
LUMETRA_MODULE_EXPORT void destroy();

#endif
