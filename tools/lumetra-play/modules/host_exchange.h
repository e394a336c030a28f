// host_exchange.h - what the host of a module that pushes frames does with them: it sees each frame's
// descriptor, with a JPEG if forwarding is on, keeps the picture and answers with a descriptor of its own, on
// the module's thread. One exchange exists at a time, since the callback has no user pointer.
#ifndef LUMETRA_PLAY_HOST_EXCHANGE_H
#define LUMETRA_PLAY_HOST_EXCHANGE_H

#include <atomic>
#include <cstdint>
#include <string>

#include "tools/lumetra-play/pixels/picture.h"
#include "tools/lumetra-play/run/options.h"
#include "tools/support/library_table.h"

/// The host's answer to a descriptor; it keeps what FrameMonitor measures latency by.
/// @param seen  receives the descriptor without its picture
/// @param jpeg  receives the picture, empty without one
std::string answerTo(const std::string& descriptor, std::string& seen, Bytes& jpeg);

class HostExchange {
public:
    /// Hands the module CameraSource the engine's push function. The arguments must outlive this.
    HostExchange(const Options& options, const LibraryTable& library);
    ~HostExchange();  ///< stops the module

    /// Counted on the module's thread, to be read on any.
    std::atomic<std::int64_t> descriptors = 0, pictures = 0, failedWrites = 0;

private:
    static const char16_t* onText(void* unused, const char16_t* text);
    std::string answer(const std::string& text);
    void savePicture(const Bytes& jpeg);

    static inline std::atomic<HostExchange*> s_current = nullptr;
    const Options& m_options;
    const LibraryTable& m_library;
};

#endif
