// base64.h - bytes as text, in the standard alphabet of RFC 4648, padded with "=" and without line breaks.
#ifndef LUMETRA_IMAGE_BASE64_H
#define LUMETRA_IMAGE_BASE64_H

#include <string>

namespace lumetra {

/// Appends the same characters to a UTF-16 text.
void appendBase64(std::u16string& text, const unsigned char* bytes, unsigned int length);

}  // namespace lumetra

/// Four characters for every three bytes, the last group filled with "=". Any thread.
/// @param bytes  borrowed; may be null when `length` is 0
std::string base64_encode(const unsigned char* bytes, unsigned int length);

#endif
