// texts.h - texts that modules read without having written them: configurations, commands, descriptors.
#ifndef LUMETRA_INSPECT_TEXTS_H
#define LUMETRA_INSPECT_TEXTS_H

#include <cstdint>
#include <string>
#include <vector>

/// Texts that are broken, deep, long or of unexpected types, the same for the same seed. None names a file
/// outside the working folder. No byte 0 in them: they travel to entry points as plain pointers.
std::vector<std::string> brokenTexts(std::uint32_t seed);

#endif
