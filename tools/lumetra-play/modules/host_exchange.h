// host_exchange.h - the host's side of a module's push: it sees each frame's descriptor, with a JPEG if
// forwarding is on, keeps the picture and answers with a descriptor of its own. Frames arrive on the modules'
// threads. One exchange exists at a time, since the callback has no user pointer.
#ifndef LUMETRA_PLAY_HOST_EXCHANGE_H
#define LUMETRA_PLAY_HOST_EXCHANGE_H

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "tools/lumetra-play/pixels/picture.h"
#include "tools/lumetra-play/run/library_table.h"

/// The bytes of a base64 text; nothing if it is none.
std::optional<Bytes> decodeBase64(std::string_view text);

/// A descriptor as the host saw it.
struct SeenDescriptor {
    std::string text;  ///< JSON without the picture
    std::optional<std::int64_t> frame, timestampUs;
    std::optional<Bytes> jpeg;
};
SeenDescriptor readDescriptor(const std::string& json);

/// The host's own descriptor for the frame; it keeps what FrameMonitor measures latency by.
std::string answerFor(const SeenDescriptor& seen);

struct ExchangeCounts {
    std::int64_t descriptors = 0, pictures = 0, failedWrites = 0;
};

class HostExchange {
public:
    /// @param jpegFolder   where pictures go, as frame_NUMBER.jpg; empty for nowhere
    /// @param showTexts    print every descriptor, to standard output or `aside` to standard error
    HostExchange(const LibraryTable& library, std::string jpegFolder, bool showTexts, bool aside);
    ~HostExchange();
    HostExchange(const HostExchange&) = delete;
    HostExchange& operator=(const HostExchange&) = delete;

    ExchangeCounts counts();

private:
    static const char16_t* onText(void* unused, const char16_t* text);
    std::string answer(const std::string& text);
    void savePicture(const SeenDescriptor& seen);

    const LibraryTable& m_library;
    const std::string m_jpegFolder;
    const bool m_showTexts;
    const bool m_aside;  // on standard error, which is no document
    std::mutex m_mutex;  // guards m_counts
    ExchangeCounts m_counts;
};

#endif
