// fuzzing.h - what the targets share. An input is a finding if the process ends: by a sanitizer, a signal, an
// exception or require().
#ifndef LUMETRA_FUZZ_SUPPORT_FUZZING_H
#define LUMETRA_FUZZ_SUPPORT_FUZZING_H

#include <cstdio>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "LumetraCore/LumetraCore.h"
#include "LumetraCore/utf_conversion.h"
#include "fuzz/support/checks.h"
#include "tests/support/engine_probe.h"

/// A target defines this. What it leaves behind must not change what the next input does.
void runInput(std::string_view input);

/// While an input runs, a larger allocation fails. The engine's own largest has 1 MiB.
inline constexpr std::size_t MEMORY_LIMIT = 4U << 20;
void failAllocation(unsigned n);  ///< this thread's n-th from now on, once; 0: none
std::FILE* lastOpened();          ///< by fopen

/// The text that the bytes spell, up to its first 0. Bytes that are no UTF-8 count as units, two each, so
/// that unpaired surrogates are tried too.
std::u16string textOf(std::string_view bytes);
bool isValidText(std::u16string_view text);
bool isValidJson(const std::string& text);
std::string_view takeLine(std::string_view& input);

/// What a call returned; nothing if memory was refused, or its text, which must be if and only if it is not
/// valid. Every other exception is a finding.
template <class Call>
auto attempt(bool textIsValid, Call call) -> std::optional<decltype(call())> {
    try {
        const auto result = call();
        require(textIsValid, "text that is none is refused");
        return result;
    } catch (const std::bad_alloc&) {
    } catch (const std::range_error&) {
        require(!textIsValid, "valid text is taken");
    }
    return std::nullopt;
}

/// The process's engine, with checkMessage() for its log sink.
LumetraCoreExecutor& processEngine();
void checkMessage(std::int32_t level, const char16_t* text);  ///< a log sink

#endif
