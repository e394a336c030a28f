// counted_work.cpp - `counted_work WORK TIMES` does one piece of work so often, for arm64_instructions.sh to
// count what it takes under the emulator; `counted_work` alone lists the pieces. Everything else that the
// program does is the same whatever TIMES says. The buffers hold 320x240 pixels and are warm.
#include <libyuv.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "image/grey/grey_kernels.h"
#include "image/jpeg/TooJpeg_transform.h"

using namespace lumetra;

namespace {

constexpr int WIDTH = 320, HEIGHT = 240;
constexpr std::size_t PIXELS = std::size_t{WIDTH} * HEIGHT;

using Bytes = std::vector<std::uint8_t>;
using Work = std::function<void()>;

Bytes noise(std::size_t count) {
    Bytes bytes(count);
    std::uint32_t state = 1;
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>((state = state * 1664525 + 1013904223) >> 24);
    return bytes;
}

void addGreys(std::map<std::string, Work>& works, Bytes& picture) {
    using PeerRun = int (*)(const uint8_t*, int, uint8_t*, int, int, int);
    const struct {
        const char* name;
        GreyRun GreyKernels::*run;
        int bytesPerPixel;
        PeerRun peer;
    } formats[] = {{"rgb", &GreyKernels::fromRgb, 3, libyuv::RAWToJ400},
                   {"bgr", &GreyKernels::fromBgr, 3, libyuv::RGB24ToJ400},
                   {"bgra", &GreyKernels::fromBgra, 4, libyuv::ARGBToJ400},
                   {"yuyv", &GreyKernels::evenBytes, 2, libyuv::YUY2ToY}};
    for (const auto& format : formats) {
        for (const GreyKernels& kernels : usableGreyKernels())
            works[std::string(format.name) + "/" + kernels.name] = [&picture, run = kernels.*format.run] {
                run(picture.data(), picture.data(), PIXELS);
            };
        works[std::string(format.name) + "/peer"] = [&picture, format] {
            format.peer(picture.data(), format.bytesPerPixel * WIDTH, picture.data(), WIDTH, WIDTH, HEIGHT);
        };
    }
}

void addTransforms(std::map<std::string, Work>& works, const Bytes& picture) {
    TooJpeg::ByteTable typical;
    typical.fill(16);
    const TooJpeg::Block divisors = TooJpeg::divisorsOf(TooJpeg::quantisationTable(typical, 90));
    for (const TooJpeg::BlockTransforms& transforms : TooJpeg::usableTransforms())
        works[std::string("jpeg-block/") + transforms.name] = [&picture, divisors, run = transforms.ofGrey] {
            TooJpeg::QuantisedBlock quantised;
            for (std::size_t y = 0; y < HEIGHT; y += 8)
                for (std::size_t x = 0; x < WIDTH; x += 8)
                    run(&picture[y * WIDTH + x], WIDTH, divisors, quantised);
        };
}

}  // namespace

int main(int argc, char** argv) {
    Bytes picture = noise(4 * PIXELS);
    std::map<std::string, Work> works;
    addGreys(works, picture);
    addTransforms(works, picture);
    if (argc != 3 || works.count(argv[1]) == 0) {
        for (const auto& work : works) std::puts(work.first.c_str());
        return argc == 1 ? 0 : 2;
    }
    const Work& work = works[argv[1]];
    for (int left = std::atoi(argv[2]); left > 0; --left) work();
}
