// device_info.cpp - the description as JSON, and how its facts are found.
#include "platform/device_info.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/json_writing.h"
#include "base/utf8_repair.h"

namespace lumetra {

namespace {

constexpr std::size_t TEXT_SIZE = 1024;  // bytes for a host name or a path, its end included

std::optional<std::string> findHostName(const DeviceCalls& calls) {
    char name[TEXT_SIZE] = {};
    if (calls.hostName(name, sizeof name) != 0) return std::nullopt;
    name[sizeof name - 1] = '\0';
    return repairUtf8(name);
}

std::optional<std::string> findExecutablePath(const DeviceCalls& calls) {
    std::uint32_t size = TEXT_SIZE;
    std::string path(size, '\0');
    if (calls.executablePath(path.data(), &size) != 0) {
        path.assign(size, '\0');
        // Intended: a path beyond the first buffer is reported as "unknown". Only if the second query fails
        // too is what it left in the buffer resolved.
        if (calls.executablePath(path.data(), &size) == 0) return std::nullopt;
    }
    char resolved[TEXT_SIZE] = {};
    if (calls.resolvePath(path.c_str(), resolved, sizeof resolved) == nullptr) return std::nullopt;
    return repairUtf8(resolved);
}

// realpath into a buffer may write the system's longest path, on some systems more than the buffer holds.
char* resolvePath(const char* path, char* resolved, std::size_t size) {
    const std::unique_ptr<char, void (*)(void*)> found(realpath(path, nullptr), std::free);
    if (found == nullptr || std::strlen(found.get()) >= size) return nullptr;
    return std::strcpy(resolved, found.get());
}

void writeFact(JsonWriter& writer, const char* key, const std::optional<std::string>& fact) {
    writer.Key(key);
    writeString(writer, fact.value_or("unknown"));
}

}  // namespace

std::string writeDeviceInfo(const DeviceFacts& facts) {
    JsonText text;
    JsonWriter writer(text);
    writer.StartObject();
    writeFact(writer, "os", "iOS");  // fixed, whatever the platform is
    writeFact(writer, "type", "flat");
    writeFact(writer, "name", facts.hostName);
    writeFact(writer, "callingexe", facts.executablePath);
    writer.EndObject();
    return {text.GetString(), text.GetSize()};
}

DeviceCalls systemDeviceCalls() {
    return {gethostname, queryExecutablePath, resolvePath};
}

DeviceFacts findDeviceFacts(const DeviceCalls& calls) {
    return {findHostName(calls), findExecutablePath(calls)};
}

}  // namespace lumetra

using namespace lumetra;

void getDeviceInfo(std::string& out, int) {
    out = writeDeviceInfo(findDeviceFacts(systemDeviceCalls()));
}
