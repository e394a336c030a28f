// frames.cpp - mappings, and the signal that tells of a touch.
#include "tools/lumetra-inspect/trial/frames.h"

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <mutex>
#include <new>

namespace {

// Read by the signal handler, so plain numbers; entries are taken once and reused by their mapping's
// successor.
struct Region {
    std::atomic<std::uintptr_t> begin{0}, end{0};     // with the fences
    std::uintptr_t pages = 0, pixels = 0, bytes = 0;  // where those that may be read begin, what they hold
    int width = 0, height = 0, format = 0;
};

struct Touch {
    std::atomic<bool> seen{false};
    std::ptrdiff_t offset = 0;
    int width = 0, height = 0, format = 0;
};

constexpr std::size_t MOST_FRAMES = 4096;
std::array<Region, MOST_FRAMES> regions;
std::mutex regionsMutex;  // guards taking and giving back an entry
Touch writing, straying;

const Region* regionAt(std::uintptr_t address) {
    for (const Region& region : regions)
        if (address >= region.begin && address < region.end) return &region;
    return nullptr;
}

void note(Touch& touch, const Region& region, std::uintptr_t address) {
    if (touch.seen) return;
    touch.offset = static_cast<std::ptrdiff_t>(address - region.pixels);
    touch.width = region.width;
    touch.height = region.height;
    touch.format = region.format;
    touch.seen = true;
}

void onFault(int number, siginfo_t* info, void*) {
    const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    const Region* const region = regionAt(address);
    if (region == nullptr) {  // a crash like any other
        signal(number, SIG_DFL);
        return;
    }
    const auto page = static_cast<std::uintptr_t>(getpagesize());
    const bool inside = address >= region->pages && address < region->end - page;
    note(inside ? writing : straying, *region, address);
    mprotect(reinterpret_cast<void*>(address / page * page), page, PROT_READ | PROT_WRITE);
}

void watchFaults() {
    struct sigaction action = {};
    action.sa_sigaction = &onFault;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &action, nullptr);
}

Region& takeRegion() {
    static std::once_flag watching;
    std::call_once(watching, watchFaults);
    for (Region& region : regions)
        if (region.begin == 0) return region;
    throw std::bad_alloc();
}

void fill(unsigned char* pixels, std::size_t bytes) {
    constexpr std::size_t MOST_FILLED = 1 << 20;  // huge frames stay as the system gives them, black
    for (std::size_t k = 0; k < bytes && bytes <= MOST_FILLED; ++k)
        pixels[k] = static_cast<unsigned char>(k * 7 + (k >> 8) * 13);
}

struct PixelPages {
    Region* region = nullptr;
    unsigned char* pixels = nullptr;
};

// The end of the pixels lies at the fence, as far as the alignment of an array of the engine allows.
PixelPages mapPixels(std::size_t bytes, const FrameShape& shape) {
    constexpr std::size_t ALIGNMENT = 16;
    const auto page = static_cast<std::size_t>(getpagesize());
    const std::size_t room = (bytes + ALIGNMENT + page - 1) / page * page;
    const std::lock_guard lock(regionsMutex);
    Region& region = takeRegion();
    void* const base = mmap(nullptr, room + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) throw std::bad_alloc();
    auto* const readable = static_cast<unsigned char*>(base) + page;
    unsigned char* const pixels = readable + (room - bytes) / ALIGNMENT * ALIGNMENT;
    mprotect(readable, room, PROT_READ | PROT_WRITE);
    fill(pixels, bytes);
    mprotect(readable, room, PROT_READ);
    region.pages = reinterpret_cast<std::uintptr_t>(readable);
    region.pixels = reinterpret_cast<std::uintptr_t>(pixels);
    region.bytes = bytes;
    region.width = shape.width;
    region.height = shape.height;
    region.format = shape.format;
    region.end = region.pages + room + page;
    region.begin = region.pages - page;
    return {&region, pixels};
}

void unmap(Region& region) {
    const std::lock_guard lock(regionsMutex);
    const std::uintptr_t begin = region.begin.exchange(0);
    munmap(reinterpret_cast<void*>(begin), region.end - begin);
}

std::size_t bytesOf(std::int32_t format, int width, int height) {
    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    switch (format) {
        case LUMETRA_IMGFORMAT_RGB:
        case LUMETRA_IMGFORMAT_BGR:
            return 3 * pixels;
        case LUMETRA_IMGFORMAT_BGRA:
            return 4 * pixels;
        case LUMETRA_IMGFORMAT_YUYV:
            return 2 * pixels;
        case LUMETRA_IMGFORMAT_YUV420:
            return pixels + pixels / 2;
        case LUMETRA_IMGFORMAT_GRAY8:
            return pixels;
        default:
            return 0;
    }
}

std::string describe(const Touch& touch) {
    if (!touch.seen) return {};
    return "byte " + std::to_string(touch.offset) + " of a " + std::to_string(touch.width) + "x" +
           std::to_string(touch.height) + " frame of format " + std::to_string(touch.format);
}

}  // namespace

std::shared_ptr<IChnk> makeFrame(const FrameShape& shape) {
    static std::atomic<int> number{0};
    auto frame =
        std::make_shared<IChnk>(shape.width, shape.height, static_cast<LUMETRA_IMGFORMATTYPE>(shape.format),
                                ++number, shape.descriptor);
    const int levels = shape.levels == Levels::None ? 1 : 8;
    std::size_t starts[9] = {};
    for (int k = 0; k < levels; ++k)
        starts[k + 1] = starts[k] + bytesOf(shape.format, shape.width >> k, shape.height >> k);
    const std::size_t bytes = starts[levels];
    if (bytes == 0) return frame;

    const PixelPages pages = mapPixels(bytes, shape);
    Region* const region = pages.region;
    frame->data = std::shared_ptr<IChnk::dPtr>(new IChnk::dPtr, [region](IChnk::dPtr* data) {
        data->lvl[0] = nullptr;  // no array, so not its to delete
        delete data;
        unmap(*region);
    });
    for (int k = 0; k < levels; ++k) frame->data->lvl[k] = pages.pixels + starts[k];
    frame->size = static_cast<std::int32_t>(bytes);
    return frame;
}

std::uint64_t nextFrameId() {
    using std::chrono::duration_cast;
    static std::atomic<std::uint64_t> next{static_cast<std::uint64_t>(
        duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count())};
    return ++next;
}

PixelFaults pixelFaults() {
    return {describe(writing), describe(straying)};
}
