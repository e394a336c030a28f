// pixel_digest.h - 64 bits that tell two runs of bytes apart. Any thread; no state.
// FNV-1a over 8-byte little-endian words with the upper half folded in after each, then over the bytes
// that are left: much faster than byte by byte, and a difference in a single word is always seen, since
// every step can be undone.
#ifndef LUMETRA_PIXEL_DIGEST_H
#define LUMETRA_PIXEL_DIGEST_H

#include <cstddef>
#include <cstdint>

inline std::uint64_t pixelDigest(const unsigned char* bytes, std::size_t count) {
    constexpr std::uint64_t OFFSET_BASIS = 0xcbf29ce484222325;
    constexpr std::uint64_t PRIME = 0x100000001b3;
    std::uint64_t digest = OFFSET_BASIS;
    const auto mix = [&digest](std::uint64_t value) {
        digest = (digest ^ value) * PRIME;
        digest ^= digest >> 32;
    };
    std::size_t done = 0;
    for (; done + 8 <= count; done += 8) {
        std::uint64_t word = 0;  // assembled byte by byte, which compilers turn into one load
        for (unsigned k = 0; k < 8; ++k) word |= std::uint64_t{bytes[done + k]} << (8 * k);
        mix(word);
    }
    for (; done < count; ++done) mix(bytes[done]);
    return digest;
}

#endif
