// allocations.cpp - malloc and its family, forwarded to the C library's and counted; operator new, which may
// fail.
#include "tools/lumetra-inspect/trial/allocations.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LUMETRA_OWN_ALLOCATIONS 0
#elif defined(__has_feature)
#define LUMETRA_OWN_ALLOCATIONS !(__has_feature(address_sanitizer) || __has_feature(thread_sanitizer))
#else
#define LUMETRA_OWN_ALLOCATIONS 1
#endif

namespace {

std::atomic<std::ptrdiff_t> inUse{0};

// Of one thread; no constructor, since the first allocations come before any.
thread_local bool armed;
thread_local long left;
thread_local bool hit;

}  // namespace

#if LUMETRA_OWN_ALLOCATIONS

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace {

void refuseIfArmed() {
    if (!armed || --left > 0) return;
    hit = true;
    throw std::bad_alloc();
}

void* counted(void* memory) {
    if (memory != nullptr) inUse += static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    return memory;
}

void discount(void* memory) {
    if (memory != nullptr) inUse -= static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
}

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED void* malloc(std::size_t size) {
    return counted(__libc_malloc(size));
}

EXPORTED void* calloc(std::size_t count, std::size_t size) {
    return counted(__libc_calloc(count, size));
}

EXPORTED void* realloc(void* old, std::size_t size) {
    const std::ptrdiff_t before = old == nullptr ? 0 : static_cast<std::ptrdiff_t>(malloc_usable_size(old));
    void* const memory = __libc_realloc(old, size);
    if (memory != nullptr || size == 0) inUse -= before;
    return counted(memory);
}

EXPORTED void* memalign(std::size_t alignment, std::size_t size) {
    return counted(__libc_memalign(alignment, size));
}

EXPORTED void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}

EXPORTED int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    void* const found = memalign(alignment, size);
    if (found == nullptr) return ENOMEM;
    *memory = found;
    return 0;
}

EXPORTED void free(void* memory) {
    discount(memory);
    __libc_free(memory);
}

void* operator new(std::size_t size) {
    refuseIfArmed();
    void* const memory = malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    refuseIfArmed();
    void* const memory = memalign(static_cast<std::size_t>(alignment), size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

#endif

bool allocationsAreWatched() {
    return LUMETRA_OWN_ALLOCATIONS;
}

std::ptrdiff_t allocatedBytes() {
    return inUse;
}

AllocationFailure::AllocationFailure(long number) {
    left = number;
    hit = false;
    armed = true;
}

AllocationFailure::~AllocationFailure() {
    armed = false;
}

bool AllocationFailure::happened() const {
    return hit;
}

AllocationPause::AllocationPause() : m_before(armed) {
    armed = false;
}

AllocationPause::~AllocationPause() {
    armed = m_before;
}
