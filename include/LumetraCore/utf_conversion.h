/// @file
/// utf_conversion.h - text between UTF-16, used by hosts, and UTF-8, used by engine and modules. Any
/// thread; no state. `convertUTFFormatVto8` converts to UTF-8, `convertUTFFormat8toV` from UTF-8; UTF-8 to
/// UTF-8 is a plain copy, so that templated callers need no special case.
#ifndef LUMETRACORE_UTF_CONVERSION_H
#define LUMETRACORE_UTF_CONVERSION_H

#include <string>

#include <LumetraCore/LumetraTypes.h>

/// Text to UTF-8; there are the specializations below and no others.
template <class From, class To>
std::basic_string<To> convertUTFFormatVto8(const std::basic_string<From>& text);
/// Text from UTF-8; there are the specializations below and no others.
template <class From, class To>
std::basic_string<To> convertUTFFormat8toV(const std::basic_string<From>& text);

/// UTF-16 to UTF-8.
/// @throws std::range_error "wstring_convert: to_bytes error" for an unpaired surrogate
template <>
LUMETRA_VISIBLE std::string convertUTFFormatVto8<char16_t, char>(const std::u16string& text);
/// UTF-8 to UTF-16.
/// @throws std::range_error "wstring_convert: from_bytes error" for a sequence that is truncated, overlong,
///         beyond U+10FFFF or encodes a surrogate
template <>
LUMETRA_VISIBLE std::u16string convertUTFFormat8toV<char, char16_t>(const std::string& text);
/// A plain copy; nothing is tested.
template <>
LUMETRA_VISIBLE std::string convertUTFFormatVto8<char, char>(const std::string& text);
/// A plain copy; nothing is tested.
template <>
LUMETRA_VISIBLE std::string convertUTFFormat8toV<char, char>(const std::string& text);

#endif
