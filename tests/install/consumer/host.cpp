// A C++ host that finds its module by a UTF-8 name and hears both logs; otherwise as host.c.
// It makes a chunk of its own, so that every kind of exported name is linked.
#include <LumetraCore/IChnk.h>
#include <LumetraCore/LumetraCore.h>
#include <LumetraCore/utf_conversion.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

constexpr int MODULE = 42;
constexpr auto BRIGHTNESS = static_cast<LUMETRA_CMDTYPE>(LUMETRA_CMD_MODULE_FIRST);
constexpr unsigned char GREY = 200;

std::atomic<bool> engineHeard{false};
std::atomic<bool> darknessLogged{false};

void listen(std::int32_t, const char16_t* text) {
    (std::u16string(text) == u"MyModule: it is dark" ? darknessLogged : engineHeard) = true;
}

void check(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

int brightnessAfterPushing(const std::vector<unsigned char>& pixels) {
    int brightness = -1;
    for (int i = 0; i < 500 && brightness == -1; ++i) {
        check(LumetraCore_pushImageData(pixels.data(), static_cast<int>(pixels.size()), u"{}", i) == 1,
              "push");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        brightness = LumetraCore_command(MODULE, BRIGHTNESS, u"");
    }
    return brightness;
}

void run() {
    const IChnk frame(64, 48, LUMETRA_IMGFORMAT_GRAY8, 0, "MyModule");
    const std::u16string name = convertUTFFormat8toV<char, char16_t>(frame.descriptor);
    LumetraCore_initialize();
    check(
        LumetraCore_registerCallback(ENGINE_MODULE_ID, CB_LOG, reinterpret_cast<void*>(listen), nullptr) == 1,
        "log");
    check(LumetraCore_command(ENGINE_MODULE_ID, LUMETRA_CMD_CONFIGURE,
                              u"{\"imageCfg\":{\"width\":64,\"height\":48},\"format\":7,"
                              u"\"conversionflags\":1}") == 1,
          "configure");
    check(LumetraCore_registerDllByName(name.c_str()) == MODULE, "register");
    check(LumetraCore_registerCallback(MODULE, CB_LOG, reinterpret_cast<void*>(listen), nullptr) == 1,
          "module's log");
    check(LumetraCore_initializeDllByName(name.c_str(), u"201") == 1, "initialize");
    check(brightnessAfterPushing(std::vector<unsigned char>(64 * 48, GREY)) == GREY, "frame delivered");
    for (int i = 0; i < 500 && !darknessLogged; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    check(darknessLogged, "darkness logged");
    check(LumetraCore_unregisterDllByName(name.c_str()) == 1, "unregister");
    check(engineHeard, "engine's log");
    LumetraCore_destroy();
}

}  // namespace

int main() try { run(); } catch (const std::exception& error) {
    std::cerr << "failed: " << error.what() << '\n';
    return 1;
}
