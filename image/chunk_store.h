// chunk_store.h - the live frames by id, and how far each has come.
// A frame may be delivered once its first conversion has ended: two frames of one millisecond share an id,
// and the notification of the first may find the second, not yet converted. Any thread. Its lock comes
// after the message queue's and before the pool's.
#ifndef LUMETRA_IMAGE_CHUNK_STORE_H
#define LUMETRA_IMAGE_CHUNK_STORE_H

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "LumetraCore/IChnk.h"
#include "base/synchronized.h"

namespace lumetra {

using Chunk = std::shared_ptr<IChnk>;

class ChunkStore {
public:
    /// Stores a chunk under its push time in milliseconds. Returns the one that was there, null if none.
    /// @throws std::bad_alloc with nothing changed
    Chunk store(std::uint64_t id, Chunk chunk);

    /// Takes a chunk out, null if there is none.
    Chunk take(std::uint64_t id);
    /// The same, but only if the chunk under the id is this one.
    Chunk takeIf(std::uint64_t id, const IChnk* chunk);

    /// Calls `use(chunk)` with the store locked if there is a chunk under the id that may be delivered.
    template <class Use>
    void withDeliverable(std::uint64_t id, Use use) {
        m_state.with([&](State& state) {
            const auto entry = state.chunks.find(id);
            if (entry != state.chunks.end() && entry->second.stage == Stage::Converted)
                use(entry->second.chunk);
        });
    }

    /// Notes that a conversion of this frame is queued. The pixels may be dropped until it begins.
    /// @throws std::bad_alloc with nothing changed
    void expectConversion(std::uint64_t id);
    /// Notes that this conversion was not queued after all.
    void forgetConversion(std::uint64_t id);
    /// Notes that it begins. The pixels of an expired frame are dropped instead of converted.
    void conversionBegins(std::uint64_t id, std::uint64_t nowMs);
    /// Drops the pixels of expired frames whose conversion is still queued and that nobody else holds.
    /// @return whether queued conversions may still expire
    bool dropOldPixels(std::uint64_t nowMs);

    /// A conversion while it runs. Conversions of one chunk wait for each other: two frames of one
    /// millisecond have one chunk, but each has a conversion of its own.
    class Conversion {
    public:
        /// Leaves an empty entry where there is no chunk under the id.
        Conversion(ChunkStore& store, std::uint64_t id);
        ~Conversion();
        Conversion(const Conversion&) = delete;
        Conversion& operator=(const Conversion&) = delete;

        IChnk* chunk() const { return m_chunk.get(); }  // null if there is none
        bool hasPixels() const { return m_hasPixels; }  // false if they were dropped
        void pixelsAreDone();                           // from now on the chunk may be delivered

    private:
        ChunkStore& m_store;
        const std::uint64_t m_id;
        Chunk m_chunk;
        bool m_hasPixels = false;
    };

    void clear();
    std::map<std::uint64_t, Chunk> copy() const;

private:
    enum class Stage { Pushed, Converted, PixelsDropped };
    struct Entry {
        Chunk chunk;  // null counts as absent
        Stage stage = Stage::Pushed;
    };
    struct State {
        std::map<std::uint64_t, Entry> chunks;  // by push time in ms
        std::vector<std::uint64_t> expected;    // queued conversions
        std::vector<const IChnk*> converting;
    };
    using Pixels = std::shared_ptr<IChnk::dPtr>;

    static bool forget(State& state, std::uint64_t id);
    static Pixels takePixelsIfPast(State& state, std::uint64_t id, std::uint64_t nowMs);
    static Pixels takeOldPixels(State& state, std::uint64_t nowMs);
    static bool isPushed(const State& state, std::uint64_t id);

    Synchronized<State> m_state;
    std::condition_variable m_conversionDone;  // an entry left `converting`
};

}  // namespace lumetra

#endif
