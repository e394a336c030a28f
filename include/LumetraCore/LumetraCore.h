/** @file
 * LumetraCore.h - the flat interface that a host drives, for C11 and C++17.
 *
 * Initialize, register a log sink, configure, register modules, push frames; remove the modules, destroy.
 * LumetraCore_initialize and LumetraCore_destroy must not overlap any other call; between the two any
 * thread may call. Configure, change callbacks and change modules between frames: doing so while frames
 * flow is safe, but which frames see the change is then not defined. A function that names a "no engine"
 * value returns it, and does nothing else, while there is none.
 *
 * Text is UTF-16 and ends with a 0 unit; null counts as empty. Pointers are borrowed for the call unless
 * a parameter says otherwise.
 *
 * Exceptions: std::range_error ("wstring_convert: to_bytes error") for text with an unpaired surrogate,
 * before anything else happens; std::bad_alloc when memory for a frame or buffer cannot be allocated; what
 * a module's own entry points throw; std::system_error when LumetraCore_initialize cannot start a thread;
 * on Apple the system's error when capture devices change while they are listed. Nothing else. They do not
 * cross into C or managed code safely: check text and sizes before the call there. */
#ifndef LUMETRACORE_LUMETRACORE_H
#define LUMETRACORE_LUMETRACORE_H

#include <LumetraCore/LumetraTypes.h>

/** Version of this interface. MAJOR: incompatible change; MINOR: addition; PATCH: fix. */
#define LUMETRA_VERSION_MAJOR 0
#define LUMETRA_VERSION_MINOR 1 /**< see LUMETRA_VERSION_MAJOR */
#define LUMETRA_VERSION_PATCH 0 /**< see LUMETRA_VERSION_MAJOR */
/** One number that compares: 100 for 0.1.0, 10203 for 1.2.3. */
#define LUMETRA_VERSION_NUMBER \
    (10000 * LUMETRA_VERSION_MAJOR + 100 * LUMETRA_VERSION_MINOR + LUMETRA_VERSION_PATCH)
/** As a text: "0.1.0". */
#define LUMETRA_VERSION \
    LUMETRA_VERSION_TEXT(LUMETRA_VERSION_MAJOR, LUMETRA_VERSION_MINOR, LUMETRA_VERSION_PATCH)
/** @cond */
#define LUMETRA_VERSION_TEXT(major, minor, patch) LUMETRA_VERSION_JOIN(major, minor, patch)
#define LUMETRA_VERSION_JOIN(major, minor, patch) #major "." #minor "." #patch
/** @endcond */

/** Creates the engine: its workers, its event loop and its default log sink (standard output).
 *  A second call changes nothing. */
LUMETRA_EXPORT void LumetraCore_initialize(void);

/** Stops and deletes the engine. Deliveries already handed to workers complete; frames still queued are
 *  dropped. Call it before the process ends; harmless without an engine. Modules are neither notified nor
 *  closed: remove them first. */
LUMETRA_EXPORT void LumetraCore_destroy(void);

/** Commands the engine (moduleId 0) or a module.
 *  @param text  borrowed; for LUMETRA_CMD_CONFIGURE to the engine a JSON object (docs/configuration.md)
 *  @return engine: 1 done, 0 refused or unknown command; module: its own result, 0 if it is unknown or
 *          takes no commands; no engine: 0 */
LUMETRA_EXPORT int LumetraCore_command(int32_t moduleId, LUMETRA_CMDTYPE command, const char16_t* text);

/** Loads the module `name` from "name.framework/name", a path that the platform's loader resolves
 *  (on Linux against the working directory). A module that reports an id already taken replaces the
 *  older one, which stays loaded and unreachable.
 *  @param name  borrowed; without directory or extension
 *  @return the module's id, at least 1; 0 it cannot be opened; -1 it has no usable getModuleID; another
 *          number below 1: the id that it reported, which is refused; no engine: -1 */
LUMETRA_EXPORT int32_t LumetraCore_registerDllByName(const char16_t* name);

/** Hands a configuration text to a module's `initialize`; never, once or often, as the module wants.
 *  @return 1 handed over, 0 no such module or it has no `initialize`; no engine: 0 */
LUMETRA_EXPORT int LumetraCore_initializeDllByName(const char16_t* name, const char16_t* configuration);
/** The same by id. */
LUMETRA_EXPORT int LumetraCore_initializeDllByID(int32_t moduleId, const char16_t* configuration);

/** Removes a module: calls its `destroy`, closes its library and erases its record. A notification that has
 *  not begun is not delivered; the library stays mapped until those that are running have returned.
 *  @return 1 removed, 0 no such module; no engine: 0 */
LUMETRA_EXPORT int LumetraCore_unregisterDllByID(int32_t moduleId);
/** The same by name. */
LUMETRA_EXPORT int LumetraCore_unregisterDllByName(const char16_t* name);

/** Sets a callback of the engine (moduleId 0: CB_LOG, CB_HOSTTEXT) or of a module.
 *  For a module and CB_PUSHNATIVEIMAGE the engine hands out its own LUMETRA_PUSHFN in place of `function`
 *  and needs `user` to be null; a null `user` always reaches a module as the engine's address.
 *  @param function  the callback. It may still be running, or about to run, on another thread after it has
 *                   been replaced or unregistered; what it uses must live until no frames flow any more, at
 *                   the latest until LumetraCore_destroy returns. Null: no log, or no text exchange
 *  @param user      stored, never passed to the engine's own callbacks
 *  @return engine: 1 stored, 0 kind not supported; module: its own result, 0 if it is unknown or takes no
 *          callbacks; no engine: 0 */
LUMETRA_EXPORT int LumetraCore_registerCallback(int32_t moduleId, LUMETRA_CBTYPE kind, void* function,
                                                void* user);

/** Unregisters a callback; the engine's CB_LOG goes back to standard output.
 *  @return as LumetraCore_registerCallback */
LUMETRA_EXPORT int LumetraCore_unregisterCallback(int32_t moduleId, LUMETRA_CBTYPE kind);

/** Lists callback kinds, ascending for the engine.
 *  @param kinds  the caller's array, filled from its first element; room for every kind (the engine
 *                writes 2); null is answered with 0
 *  @return how many were written; module: its own result, -1 if it is unknown or lacks the
 *          function; no engine: -1 */
LUMETRA_EXPORT int32_t LumetraCore_getSupportedCallbacks(int32_t moduleId, LUMETRA_CBTYPE* kinds);

/** Reports the status of the engine (moduleId 0) or of a module.
 *  @return engine: STATUS_READY; module: its own status, STATUS_UNAVAILABLE if it is unknown or
 *          lacks the function; no engine: STATUS_UNAVAILABLE */
LUMETRA_EXPORT int32_t LumetraCore_getStatus(int32_t moduleId);

/** Hands one camera frame to the engine, which copies the pixels before it returns.
 *  Width, height and format are those of the configuration. Push at most one frame a millisecond: of two
 *  that arrive in the same one only the later is kept, and it is converted twice (a flip undoes itself) and
 *  delivered twice, so that its pixels may change while modules look at them. A pusher far ahead of the
 *  engine (beyond about 2,600 frames a second in `lumetra-stress overload`) waits in this call for up to
 *  100 ms; the frame is taken all the same.
 *  @param data        borrowed: the frame in the configured format, then its smaller levels if any; null is
 *                     refused unless `size` is at most 0
 *  @param size        bytes at `data`; what exceeds the frame's buffer is left out, a negative count
 *                     copies nothing
 *  @param descriptor  borrowed: JSON delivered with the frame, not parsed by the engine
 *  @param frameIndex  the host's number for the frame; appears in debug file names only
 *  @return 1 taken; 0 engine not configured, or `data` refused; no engine: 0 */
LUMETRA_EXPORT int LumetraCore_pushImageData(const unsigned char* data, int32_t size,
                                             const char16_t* descriptor, int32_t frameIndex);

/** Records the host's texture, or clears the record if `texture` is null. The handle is never dereferenced.
 *  @param description  borrowed: JSON with "width", "height" (pixels), "mipMap", "format"
 *  @return 1; no engine: 0 */
LUMETRA_EXPORT int LumetraCore_setNativeTexturePointer(void* texture, const char16_t* description);

/** Sends the host's own text to the log sink at level 0. */
LUMETRA_EXPORT void LumetraCore_passLogFromNativeLib(const char16_t* text);

/** UTF-16 units that a host should provide for each of the two texts below; the interface cannot say how
 *  many a text needs, and the largest seen had 680,372. */
#define LUMETRA_DEVICE_TEXT_UNITS 1048576

/** Describes the machine and the running program as JSON. Works without an engine.
 *  @param buffer  the caller's, of LUMETRA_DEVICE_TEXT_UNITS units, filled with the text and a 0 unit; null
 *                 is left alone
 *  @param unused  has no effect */
LUMETRA_EXPORT void LumetraCore_getDeviceInfo(char16_t* buffer, int32_t unused);

/** Lists the capture devices with their picture sizes and frame rates as JSON. Works without an engine.
 *  Parameters as LumetraCore_getDeviceInfo. */
LUMETRA_EXPORT void LumetraCore_enumerateAVDevicesNative(char16_t* buffer, int32_t unused);

#endif
