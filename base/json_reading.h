// json_reading.h - every read of a JSON text that comes from outside.
// A value of another type than asked for counts as missing, and so does everything in a text that is not
// valid JSON or whose root is not an object. Nesting costs heap, never stack.
#ifndef LUMETRA_BASE_JSON_READING_H
#define LUMETRA_BASE_JSON_READING_H

#include <rapidjson/document.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>

namespace lumetra {

/// RapidJSON does not check what its allocator returns, so running out of memory has to throw.
struct ThrowingAllocator {
    static constexpr bool kNeedFree = true;

    void* Malloc(std::size_t size) { return size == 0 ? nullptr : ::operator new(size); }
    void* Realloc(void* block, std::size_t before, std::size_t size) {
        void* const moved = Malloc(size);
        if (block != nullptr && moved != nullptr) std::memcpy(moved, block, std::min(before, size));
        Free(block);
        return moved;
    }
    static void Free(void* block) { ::operator delete(block); }
};

using JsonPool = rapidjson::MemoryPoolAllocator<ThrowingAllocator>;
using JsonDocument = rapidjson::GenericDocument<rapidjson::UTF8<>, JsonPool, ThrowingAllocator>;
using JsonValue = JsonDocument::ValueType;

/// The whole text as one document, null if it is not valid JSON. Its members live as long as the document.
JsonDocument parseJson(const char* text);

/// The same for a document that is going to be written out again: numbers keep their value, and a text
/// nested deeper than MAX_WRITTEN_DEPTH counts as not valid. An unpaired surrogate that came from an escape
/// is kept; serialize() refuses it if it is still there.
inline constexpr int MAX_WRITTEN_DEPTH = 1000;
JsonDocument parseBoundedJson(const char* text);

/// The member `name`, null if there is none or `object` is null or no object.
const JsonValue* findMember(const JsonValue* object, const char* name);

/// Typed reads of a member; nothing where it is missing or of another type. An integer has 32 bits.
std::optional<std::int32_t> readInteger(const JsonValue* object, const char* name);
/// The same, with a whole number beyond 32 bits clamped to the nearest of 32 bits.
std::optional<std::int32_t> readClampedInteger(const JsonValue* object, const char* name);
std::optional<std::string_view> readString(const JsonValue* object, const char* name);
bool readTrue(const JsonValue* object, const char* name);  ///< the literal true, nothing else

}  // namespace lumetra

#endif
