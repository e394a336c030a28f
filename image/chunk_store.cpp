// chunk_store.cpp - frames stored, converted one at a time, expired pixels dropped.
// Pixels are freed after the lock is released: it takes time.
#include "image/chunk_store.h"

#include <algorithm>
#include <utility>

#include "core/load_limits.h"

namespace lumetra {

Chunk ChunkStore::store(std::uint64_t id, Chunk chunk) {
    return m_state.with([&](State& state) {
        return std::exchange(state.chunks[id], Entry{std::move(chunk), Stage::Pushed}).chunk;
    });
}

Chunk ChunkStore::take(std::uint64_t id) {
    return m_state.with([id](State& state) {
        const auto entry = state.chunks.extract(id);
        return entry.empty() ? nullptr : entry.mapped().chunk;
    });
}

Chunk ChunkStore::takeIf(std::uint64_t id, const IChnk* chunk) {
    return m_state.with([=](State& state) -> Chunk {
        const auto entry = state.chunks.find(id);
        if (entry == state.chunks.end() || entry->second.chunk.get() != chunk) return nullptr;
        return state.chunks.extract(entry).mapped().chunk;
    });
}

void ChunkStore::expectConversion(std::uint64_t id) {
    m_state.with([id](State& state) { state.expected.push_back(id); });
}

void ChunkStore::conversionBegins(std::uint64_t id, std::uint64_t nowMs) {
    const Pixels past = m_state.with(
        [=](State& state) { return forget(state, id) ? takePixelsIfPast(state, id, nowMs) : nullptr; });
}

void ChunkStore::forgetConversion(std::uint64_t id) {
    m_state.with([id](State& state) { forget(state, id); });
}

// False if no conversion is expected: the pixels were dropped before.
bool ChunkStore::forget(State& state, std::uint64_t id) {
    const auto expected = std::find(state.expected.begin(), state.expected.end(), id);
    if (expected == state.expected.end()) return false;
    state.expected.erase(expected);
    return true;
}

bool ChunkStore::dropOldPixels(std::uint64_t nowMs) {
    for (;;) {
        Pixels past;
        const bool expectsMore = m_state.with([&](State& state) {
            past = takeOldPixels(state, nowMs);
            return !state.expected.empty();
        });
        if (past == nullptr) return expectsMore;
    }
}

// Takes the pixels of one expired frame out; null if there is none.
ChunkStore::Pixels ChunkStore::takeOldPixels(State& state, std::uint64_t nowMs) {
    // A conversion whose chunk has gone, or has no pixels left to drop, would be looked at for ever.
    std::erase_if(state.expected,
                  [&](std::uint64_t id) { return isPast(nowMs, id) && !isPushed(state, id); });
    for (auto id = state.expected.begin(); id != state.expected.end(); ++id) {
        if (Pixels pixels = takePixelsIfPast(state, *id, nowMs)) {
            state.expected.erase(id);
            return pixels;
        }
    }
    return nullptr;
}

bool ChunkStore::isPushed(const State& state, std::uint64_t id) {
    const auto found = state.chunks.find(id);
    return found != state.chunks.end() && found->second.stage == Stage::Pushed;
}

ChunkStore::Pixels ChunkStore::takePixelsIfPast(State& state, std::uint64_t id, std::uint64_t nowMs) {
    if (!isPast(nowMs, id) || !isPushed(state, id)) return nullptr;
    Entry& entry = state.chunks.at(id);
    if (entry.chunk.use_count() != 1) return nullptr;
    entry.stage = Stage::PixelsDropped;
    return std::move(entry.chunk->data);
}

ChunkStore::Conversion::Conversion(ChunkStore& store, std::uint64_t id) : m_store(store), m_id(id) {
    m_store.m_state.waitWith([this](State& state, WaitLock& lock) {
        const Entry entry = state.chunks[m_id];
        if (entry.chunk == nullptr) return;
        lock.wait(m_store.m_conversionDone, [&] {
            return std::find(state.converting.begin(), state.converting.end(), entry.chunk.get()) ==
                   state.converting.end();
        });
        state.converting.push_back(entry.chunk.get());
        m_chunk = entry.chunk;
        m_hasPixels = entry.stage != Stage::PixelsDropped;
    });
}

ChunkStore::Conversion::~Conversion() {
    if (m_chunk == nullptr) return;
    m_store.m_state.with([this](State& state) { std::erase(state.converting, m_chunk.get()); });
    m_store.m_conversionDone.notify_all();
}

void ChunkStore::Conversion::pixelsAreDone() {
    m_store.m_state.with([this](State& state) {
        const auto found = state.chunks.find(m_id);
        if (found == state.chunks.end() || found->second.chunk != m_chunk) return;
        if (found->second.stage == Stage::Pushed) found->second.stage = Stage::Converted;
    });
}

void ChunkStore::clear() {
    std::map<std::uint64_t, Entry> chunks;
    m_state.with([&chunks](State& state) { state.chunks.swap(chunks); });
}

std::map<std::uint64_t, Chunk> ChunkStore::copy() const {
    return m_state.with([](const State& state) {
        std::map<std::uint64_t, Chunk> chunks;
        for (const auto& [id, entry] : state.chunks) chunks.emplace(id, entry.chunk);
        return chunks;
    });
}

}  // namespace lumetra
