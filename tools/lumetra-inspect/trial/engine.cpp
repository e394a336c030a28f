// engine.cpp - what hosts do, with frames of one size.
#include "tools/lumetra-inspect/trial/engine.h"

#include <chrono>
#include <thread>
#include <vector>

#include "tools/support/text.h"

void Engine::configure(std::int32_t format, int flags, bool mipMap, bool forward) const {
    const std::string text = R"({"imageCfg":{"width":)" + std::to_string(ENGINE_WIDTH) + R"(,"height":)" +
                             std::to_string(ENGINE_HEIGHT) + R"(},"format":)" + std::to_string(format) +
                             R"(,"mipMap":)" + (mipMap ? "true" : "false") + R"(,"conversionflags":)" +
                             std::to_string(flags) + R"(,"forwardNativeImage":)" +
                             (forward ? "true" : "false") + "}";
    if (command(ENGINE_MODULE_ID, LUMETRA_CMD_CONFIGURE, toUtf16(text).c_str()) != 1)
        throw LibraryError("the engine refuses " + text);
}

void Engine::pushFrames(int count) const {
    using namespace std::chrono_literals;
    static const std::vector<unsigned char> pixels(std::size_t{4} * ENGINE_WIDTH * ENGINE_HEIGHT, 100);
    static std::int32_t number = 0;
    for (int k = 0; k < count; ++k) {
        // The smallest format's bytes, which every buffer has room for; the rest of a frame stays as it is.
        pushImageData(pixels.data(), ENGINE_WIDTH * ENGINE_HEIGHT, u"{\"source\":\"inspect\"}", ++number);
        std::this_thread::sleep_for(2ms);
    }
    std::this_thread::sleep_for(5ms);
}

void Engine::initializeModule(std::int32_t id, const std::string& configuration) const {
    initializeDllByID(id, toUtf16(configuration).c_str());
}
