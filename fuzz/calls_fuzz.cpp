// calls_fuzz.cpp - sequences of exported calls while frames flow and modules come and go. An input is a
// program, a line a call: its letter, a byte that chooses what it is about, its text.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "fuzz/support/fuzzing.h"

using namespace lumetra;

namespace {

struct Module {
    const char16_t* name;
    std::int32_t id;
};
constexpr Module MODULES[] = {{u"Pusher", 7}, {u"PusherTwin", 7},  {u"IdOnly", 5},
                              {u"NoId", -1},  {u"ThrowingId", -1}, {u"Missing", 0}};
constexpr std::int32_t IDS[] = {0, 5, 7, 99};
constexpr std::int32_t PUSHER = 7;
constexpr int MAX_CALLS = 64;
constexpr int MAX_PAUSES = 4;
constexpr std::uint64_t MAX_BYTES = MEMORY_LIMIT / 4;  // of a frame

std::map<std::int32_t, const Module*> loaded;  // by what the calls so far must have led to
std::u16string answer;
unsigned failing = 0;  // the allocation of the next call that is to fail
int pauses = 0;

const char16_t* host(void*, const char16_t* text) {
    require(isValidText(text), "the host sees text");
    return answer.c_str();
}

// One call; false if it was refused. Without an engine no text is looked at.
template <class Call>
bool expect(int wanted, bool textIsValid, Call call) {
    failAllocation(std::exchange(failing, 0U));
    const auto result = attempt(textIsValid || lumcore_exec == nullptr, call);
    failAllocation(0);
    require(!result || *result == wanted, "a result follows from the calls before");
    return result.has_value();
}

// A call whose text a module makes something of, and may refuse whatever it looks like.
template <class Call>
void callModule(Call call) {
    expect(0, true, [&] {
        try {
            call();
        } catch (const std::range_error&) {
        }
        return 0;
    });
}

void start() {
    LumetraCore_initialize();
    LumetraCore_registerCallback(0, CB_LOG, reinterpret_cast<void*>(&checkMessage), nullptr);
}

void end() {
    LumetraCore_destroy();
    loaded.clear();
}

LumetraCoreExecutor::ICfg configuration() {
    return lumcore_exec == nullptr ? LumetraCoreExecutor::ICfg() : EngineProbe::configuration(*lumcore_exec);
}

// A frame that is so many bytes longer or shorter than its level 0; it may say that it has less than none.
void pushFrame(int difference, const std::u16string& descriptor) {
    const auto cfg = configuration();
    const auto levelZero = pictureBytes(cfg.format, cfg.width, cfg.height);
    const int size = static_cast<int>(std::min(levelZero, MAX_BYTES)) + difference;
    const std::vector<unsigned char> frame(static_cast<std::size_t>(std::max(size, 0)), 0x5A);
    expect(cfg.valid, isValidText(descriptor),
           [&] { return LumetraCore_pushImageData(frame.data(), size, descriptor.c_str(), 1); });
}

// As large a frame as a picture for the host is made of.
void pushFromModule(const std::u16string& descriptor) {
    const auto cfg = configuration();
    const auto bytes = pictureBytes(LUMETRA_IMGFORMAT_YUYV, cfg.width, cfg.height);
    if (bytes > MAX_BYTES) return;
    callModule([&] { LumetraCore_command(PUSHER, static_cast<LUMETRA_CMDTYPE>(bytes), descriptor.c_str()); });
}

void load(const Module& module) {
    const bool hasEngine = lumcore_exec != nullptr;
    const auto folder = std::filesystem::current_path();
    std::filesystem::current_path(LUMETRA_FUZZ_MODULES);
    const bool isCalled =
        expect(hasEngine ? module.id : -1, true, [&] { return LumetraCore_registerDllByName(module.name); });
    if (isCalled && hasEngine && module.id >= 1) loaded[module.id] = &module;
    std::filesystem::current_path(folder);
}

void unload(const Module& module) {
    const auto entry = loaded.find(module.id);
    const bool isThere = entry != loaded.end() && entry->second == &module;
    if (expect(isThere, true, [&] { return LumetraCore_unregisterDllByName(module.name); }) && isThere)
        loaded.erase(entry);
}

void unload(std::int32_t id) {
    if (expect(loaded.contains(id), true, [&] { return LumetraCore_unregisterDllByID(id); }))
        loaded.erase(id);
}

void setCallback(LUMETRA_CBTYPE kind, bool isSet) {
    const bool isEngines = kind == CB_LOG || kind == CB_HOSTTEXT;
    const bool isKnown = isEngines ? lumcore_exec != nullptr : isSet && loaded.contains(PUSHER);
    void* const function =
        kind == CB_LOG ? reinterpret_cast<void*>(&checkMessage) : reinterpret_cast<void*>(&host);
    expect(isKnown, true, [&] {
        return isSet ? LumetraCore_registerCallback(isEngines ? 0 : PUSHER, kind, function, nullptr)
                     : LumetraCore_unregisterCallback(isEngines ? 0 : PUSHER, kind);
    });
}

void ask(std::int32_t id) {
    const bool isEngine = id == 0 && lumcore_exec != nullptr;
    LUMETRA_CBTYPE kinds[4] = {};
    expect(isEngine ? STATUS_READY : STATUS_UNAVAILABLE, true, [&] { return LumetraCore_getStatus(id); });
    expect(isEngine ? 2 : -1, true, [&] { return LumetraCore_getSupportedCallbacks(id, kinds); });
}

void setTexture(bool isNull, const std::u16string& text) {
    static int texture = 0;
    expect(lumcore_exec != nullptr, isValidText(text),
           [&] { return LumetraCore_setNativeTexturePointer(isNull ? nullptr : &texture, text.c_str()); });
}

void describe(bool machine) {
    static std::u16string buffer(LUMETRA_DEVICE_TEXT_UNITS, u'#');
    (machine ? LumetraCore_getDeviceInfo : LumetraCore_enumerateAVDevicesNative)(buffer.data(), 0);
    require(isValidJson(convertUTFFormatVto8<char16_t, char>(buffer.c_str())), "a device text is JSON");
}

void run(std::string_view line) {
    const char letter = line.empty() ? '\0' : line[0];
    const unsigned choice = line.size() < 2 ? 0 : static_cast<unsigned char>(line[1]);
    const std::u16string text = textOf(line.substr(std::min<std::size_t>(line.size(), 2)));
    const Module& module = MODULES[choice % std::size(MODULES)];
    const std::int32_t id = IDS[choice % std::size(IDS)];
    if (letter == 'i') start();
    if (letter == 'd') end();
    if (letter == 'c') callModule([&] { LumetraCore_command(0, LUMETRA_CMD_CONFIGURE, text.c_str()); });
    if (letter == 'p') pushFrame(static_cast<signed char>(choice), text);
    if (letter == 'o') pushFromModule(text);
    if (letter == 'm') load(module);
    if (letter == 'n') callModule([&] { LumetraCore_initializeDllByID(id, text.c_str()); });
    if (letter == 'N') callModule([&] { LumetraCore_initializeDllByName(module.name, text.c_str()); });
    if (letter == 'u') unload(module);
    if (letter == 'U') unload(id);
    if (letter == 'k') setCallback(choice % 2 != 0 ? CB_PUSHNATIVEIMAGE : CB_HOSTTEXT, true);
    if (letter == 'K') setCallback(choice % 2 != 0 ? CB_LOG : CB_HOSTTEXT, choice % 3 != 0);
    if (letter == 's') ask(id);
    if (letter == 't') setTexture(choice % 2 == 0, text);
    if (letter == 'l') callModule([&] { LumetraCore_passLogFromNativeLib(text.c_str()); });
    if (letter == 'D') describe(choice % 2 == 0);
    if (letter == 'h') answer = text;
    if (letter == 'f') failing = choice;
    if (letter == 'w' && pauses++ < MAX_PAUSES) usleep(2000);
}

}  // namespace

void runInput(std::string_view input) {
    answer.clear();
    failing = 0;
    pauses = 0;
    for (int i = 0; i < MAX_CALLS && !input.empty(); ++i) run(takeLine(input));
    end();
}
