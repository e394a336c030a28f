// fenced_memory.h - bytes between two pages that nobody may touch: a step outside ends the test.
#ifndef LUMETRA_TESTS_SUPPORT_FENCED_MEMORY_H
#define LUMETRA_TESTS_SUPPORT_FENCED_MEMORY_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

class FencedMemory {
public:
    /// Room for `size` bytes at either end.
    explicit FencedMemory(std::size_t size) : m_page(static_cast<std::size_t>(getpagesize())) {
        m_room = (size + m_page - 1) / m_page * m_page;
        m_base = static_cast<std::uint8_t*>(
            mmap(nullptr, m_room + 2 * m_page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(m_base + m_page, m_room, PROT_READ | PROT_WRITE);
    }
    ~FencedMemory() { munmap(m_base, m_room + 2 * m_page); }
    FencedMemory(const FencedMemory&) = delete;
    FencedMemory& operator=(const FencedMemory&) = delete;

    std::uint8_t* beginningAtFence() { return m_base + m_page; }
    std::uint8_t* endingAtFence(std::size_t size) { return m_base + m_page + m_room - size; }

private:
    std::size_t m_page, m_room;
    std::uint8_t* m_base;
};

#endif
