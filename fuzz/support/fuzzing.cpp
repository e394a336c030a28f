// fuzzing.cpp - the entry point, and the C library's functions that the linker leads through here.
#include "fuzz/support/fuzzing.h"

#include <atomic>
#include <cstring>

#include "base/json_reading.h"

using namespace lumetra;

namespace {

constexpr std::size_t MAX_DUMP_NAME = 127;  // bytes; what is longer is cut
std::atomic<bool> isRunning = false;        // the fuzzer's own memory has no limit
thread_local unsigned untilFailure = 0;
thread_local std::FILE* opened = nullptr;

bool isRefused(std::size_t bytes) {
    return isRunning && (bytes > MEMORY_LIMIT || (untilFailure != 0 && --untilFailure == 0));
}

}  // namespace

extern "C" {

void* __real_malloc(std::size_t bytes);
void* __real__Znwm(std::size_t bytes);  // operator new, and the one for arrays
void* __real__Znam(std::size_t bytes);
std::FILE* __real_fopen(const char* path, const char* mode);

void* __wrap_malloc(std::size_t bytes) {
    return isRefused(bytes) ? nullptr : __real_malloc(bytes);
}
void* __wrap__Znwm(std::size_t bytes) {
    return isRefused(bytes) ? throw std::bad_alloc() : __real__Znwm(bytes);
}
void* __wrap__Znam(std::size_t bytes) {
    return isRefused(bytes) ? throw std::bad_alloc() : __real__Znam(bytes);
}

// A configuration says where dumps go, but no input may write to the disk.
std::FILE* __wrap_fopen(const char* path, const char* mode) {
    const std::string_view name = path;
    const bool isDump = isRunning && *mode == 'w' &&
                        (name.ends_with(".pgm") || name.ends_with(".ppm") || name.size() == MAX_DUMP_NAME);
    return opened = __real_fopen(isDump ? "/dev/null" : path, mode);
}

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    isRunning = true;
    runInput({reinterpret_cast<const char*>(data), size});
    isRunning = false;
    return 0;
}

}  // extern "C"

void failAllocation(unsigned n) {
    untilFailure = n;
}

std::FILE* lastOpened() {
    return opened;
}

std::u16string textOf(std::string_view bytes) {
    std::u16string text(bytes.size() / 2, u'\0');
    try {
        text = convertUTFFormat8toV<char, char16_t>(std::string(bytes));
    } catch (const std::range_error&) {
        std::memcpy(text.data(), bytes.data(), 2 * text.size());
    }
    return text.c_str();
}

bool isValidText(std::u16string_view text) {
    const auto is = [text](unsigned kind, std::size_t i) {
        return i < text.size() && (text[i] & 0xFC00U) == kind;
    };
    for (std::size_t i = 0; i < text.size(); ++i)
        if (is(0xDC00, i) || (is(0xD800, i) && !is(0xDC00, ++i))) return false;
    return true;
}

bool isValidJson(const std::string& text) {
    JsonDocument document;
    document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(text.c_str());
    return !document.HasParseError();
}

std::string_view takeLine(std::string_view& input) {
    const std::string_view line = input.substr(0, input.find('\n'));
    input.remove_prefix(std::min(line.size() + 1, input.size()));
    return line;
}

void checkMessage(std::int32_t level, const char16_t* text) {
    require(level == 0 && isValidText(text), "a message is text of level 0");
}

LumetraCoreExecutor& processEngine() {
    LumetraCore_initialize();
    LumetraCore_registerCallback(0, CB_LOG, reinterpret_cast<void*>(&checkMessage), nullptr);
    return *lumcore_exec;
}
