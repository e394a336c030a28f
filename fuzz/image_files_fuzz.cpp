// image_files_fuzz.cpp - raw Netpbm files, well-formed and not, through both readers.
#include <fcntl.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "LumetraCore/PGM_FUNCTIONS.h"
#include "fuzz/support/fuzzing.h"

namespace {

// Well above what sanitizers cost, well below reading behind the end of a file for every sample.
constexpr std::int64_t FIXED_NANOSECONDS = 50'000'000;
constexpr std::int64_t NANOSECONDS_A_SAMPLE = 10;
constexpr std::int64_t NANOSECONDS_A_BYTE = 200;

std::int64_t processorTime() {
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

// The descriptor that the next file to be opened gets.
int nextDescriptor() {
    const int next = dup(STDERR_FILENO);
    close(next);
    return next;
}

// Whether it took no longer than it may.
bool isQuick(unsigned char* (*read)(const char*, int*, int*), const std::string& path, std::size_t bytes,
             int samplesPerPixel) {
    const int descriptor = nextDescriptor();
    const std::int64_t start = processorTime();
    int width = 0, height = 0;
    unsigned char* const image = read(path.c_str(), &width, &height);
    const std::int64_t spent = processorTime() - start;

    const bool isOpen = fcntl(descriptor, F_GETFD) != -1;
    require(isOpen == (image == nullptr), "a file is closed if and only if it is an image");
    if (isOpen) std::fclose(lastOpened());
    const std::int64_t samples =
        image == nullptr ? 0 : std::max<std::int64_t>(std::int64_t{samplesPerPixel} * width * height, 0);
    require(__asan_region_is_poisoned(image, static_cast<std::size_t>(samples)) == nullptr,
            "every sample is there");
    std::free(image);
    return spent < FIXED_NANOSECONDS + NANOSECONDS_A_SAMPLE * samples +
                       NANOSECONDS_A_BYTE * static_cast<std::int64_t>(bytes);
}

// A machine may stand still once; it does not three times with the same file.
void check(unsigned char* (*read)(const char*, int*, int*), const std::string& path, std::size_t bytes,
           int samplesPerPixel) {
    for (int attempt = 0; attempt < 3; ++attempt)
        if (isQuick(read, path, bytes, samplesPerPixel)) return;
    require(false, "time is in proportion to the file and to what it claims");
}

}  // namespace

void runInput(std::string_view input) {
    static const int file = memfd_create("image", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    require(ftruncate(file, 0) == 0 &&
                pwrite(file, input.data(), input.size(), 0) == static_cast<ssize_t>(input.size()),
            "the file is written");
    check(read_pgm, path, input.size(), 1);
    check(read_ppm, path, input.size(), 3);
}
