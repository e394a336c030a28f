/// @file
/// TextResults.h - how a module hands its results to its host as texts, so that a host can show the results
/// of modules that it does not know.
///
/// The engine only forwards the callback CB_TYPE2, whose form each module defines. So a host asks first:
///
///     if (LumetraCore_command(id, LUMETRA_CMD_RESULTFORM, u"") == LUMETRA_RESULTFORM_TEXT)
///         LumetraCore_registerCallback(id, CB_TYPE2, (void*)onResult, user);  // a LUMETRA_TEXTRESULTFN
///
/// Any other answer means that CB_TYPE2 of that module has another form, or none.
///
/// A result is one JSON object. These members mean the same in every module's results, and each may be
/// missing; all others are the module's own:
///
///     "frame"     integer: IChnk::frameIndex of the frame that the result is about
///     "width", "height"  integers: that frame's size; the points below are in its pixels
///     "outlines"  array of {"label": string, "points": [[x, y], ...]}: closed lines to draw over the frame,
///                 whose top left corner is 0, 0; the centre of its first pixel is 0.5, 0.5.
#ifndef LUMETRACORE_TEXTRESULTS_H
#define LUMETRACORE_TEXTRESULTS_H

#include <exception>
#include <mutex>

#include <LumetraCore/LumetraTypes.h>

/// Asks a module in which form it takes CB_TYPE2; the text is empty.
constexpr auto LUMETRA_CMD_RESULTFORM = LUMETRA_CMDTYPE(16);
/// The answer of a module that takes a LUMETRA_TEXTRESULTFN; the letters "TEXT".
constexpr std::int32_t LUMETRA_RESULTFORM_TEXT = 0x54455854;

/// The host's function for results. `user` is the pointer registered with it, or the engine's address if
/// that was null; `utf8Json` ends with a 0 byte and is borrowed for the call. Called on any thread of the
/// module's choice, never twice at once by one module, and no more once it has been unregistered or the
/// module removed. It must not register or unregister callbacks of the module that calls it, nor remove it.
using LUMETRA_TEXTRESULTFN = void (*)(void* user, const char* utf8Json);

namespace lumetra {

/// Module side: stores the host's result function while it may be called. Any thread.
///
///     registerCallback:    if (kind == CB_TYPE2) return results.set(function, user), 1;
///     unregisterCallback:  if (kind == CB_TYPE2) return results.set(nullptr, nullptr), 1;
///     command:             if (command == LUMETRA_CMD_RESULTFORM) return LUMETRA_RESULTFORM_TEXT;
///     destroy:             results.set(nullptr, nullptr);
class TextResults {
public:
    /// Stores the function that came with CB_TYPE2; null clears it. Waits for a call under way.
    void set(void* function, void* user) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_function = reinterpret_cast<LUMETRA_TEXTRESULTFN>(function);
        m_user = user;
    }

    /// Hands one result to the host and returns when the host does. Catches what the host's function throws.
    /// @param utf8Json  one JSON object, borrowed
    /// @return false if no function is stored, or it threw
    bool write(const char* utf8Json) {
        try {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_function == nullptr) return false;
            m_function(m_user, utf8Json);
            return true;
        } catch (...) {
            if (std::current_exception() == nullptr) throw;  // thread cancellation: must be rethrown
            return false;
        }
    }

private:
    std::mutex m_mutex;  // guards both; held while the function runs
    LUMETRA_TEXTRESULTFN m_function = nullptr;
    void* m_user = nullptr;
};

}  // namespace lumetra

#endif
