// LumetraCoreDLLWrapper.cpp - the exported functions: test for the engine, convert the text, forward.
#include <dlfcn.h>

#include <cstdio>
#include <string>

#include "LumetraCore/LumetraCore.h"
#include "LumetraCore/utf_conversion.h"
#include "core/LumetraCoreExecutor.h"
#include "platform/device_info.h"
#include "platform/device_listing.h"

LumetraCoreExecutor* lumcore_exec = nullptr;

namespace {

constexpr int NO_ENGINE_RESULT = 0;
constexpr std::int32_t NO_ENGINE_ID = -1;

std::string toUtf8(const char16_t* text) {
    return text == nullptr ? std::string() : convertUTFFormatVto8<char16_t, char>(text);
}

void copyToHost(const std::string& text, char16_t* buffer) {
    if (buffer == nullptr) return;
    const std::u16string units = convertUTFFormat8toV<char, char16_t>(text);
    units.copy(buffer, units.size());
    buffer[units.size()] = 0;
}

void printImageLine(const char* event, const char* what) {
    Dl_info image = {};
    // Not an exported function: that might resolve to another image that exports it too.
    dladdr(reinterpret_cast<void*>(&printImageLine), &image);
    std::printf("%s: module %s was %s\n", event, image.dli_fname ? image.dli_fname : "", what);
    std::fflush(stdout);
}

__attribute__((constructor)) void onImageLoad() {
    printImageLine("ONLOAD", "loaded");
}
__attribute__((destructor)) void onImageUnload() {
    printImageLine("ONUNLOAD", "unloaded");
}

}  // namespace

void LumetraCore_initialize() {
    if (lumcore_exec == nullptr) lumcore_exec = new LumetraCoreExecutor;
}

void LumetraCore_destroy() {
    delete lumcore_exec;
    lumcore_exec = nullptr;
}

int LumetraCore_command(int32_t moduleId, LUMETRA_CMDTYPE command, const char16_t* text) {
    if (lumcore_exec == nullptr) return NO_ENGINE_RESULT;
    return lumcore_exec->command(moduleId, command, toUtf8(text).c_str());
}

int32_t LumetraCore_registerDllByName(const char16_t* name) {
    if (lumcore_exec == nullptr) return NO_ENGINE_ID;
    return lumcore_exec->registerDllByName(toUtf8(name).c_str());
}

int LumetraCore_initializeDllByName(const char16_t* name, const char16_t* configuration) {
    if (lumcore_exec == nullptr) return NO_ENGINE_RESULT;
    return lumcore_exec->initializeDllByName(toUtf8(name).c_str(), toUtf8(configuration).c_str());
}

int LumetraCore_initializeDllByID(int32_t moduleId, const char16_t* configuration) {
    if (lumcore_exec == nullptr) return NO_ENGINE_RESULT;
    return lumcore_exec->initializeDllByID(moduleId, toUtf8(configuration).c_str());
}

int LumetraCore_unregisterDllByID(int32_t moduleId) {
    if (lumcore_exec == nullptr) return NO_ENGINE_RESULT;
    return lumcore_exec->unregisterDllByID(moduleId);
}

int LumetraCore_unregisterDllByName(const char16_t* name) {
    if (lumcore_exec == nullptr) return NO_ENGINE_RESULT;
    return lumcore_exec->unregisterDllByName(toUtf8(name).c_str());
}

int LumetraCore_registerCallback(int32_t moduleId, LUMETRA_CBTYPE kind, void* function, void* user) {
    if (lumcore_exec == nullptr) return NO_ENGINE_RESULT;
    return lumcore_exec->registerCallback(moduleId, kind, function, user);
}

int LumetraCore_unregisterCallback(int32_t moduleId, LUMETRA_CBTYPE kind) {
    if (lumcore_exec == nullptr) return NO_ENGINE_RESULT;
    return lumcore_exec->unregisterCallback(moduleId, kind);
}

int32_t LumetraCore_getSupportedCallbacks(int32_t moduleId, LUMETRA_CBTYPE* kinds) {
    if (lumcore_exec == nullptr) return NO_ENGINE_ID;
    return kinds == nullptr ? 0 : lumcore_exec->getSupportedCallbacks(moduleId, kinds);
}

int32_t LumetraCore_getStatus(int32_t moduleId) {
    if (lumcore_exec == nullptr) return STATUS_UNAVAILABLE;
    return lumcore_exec->getStatus(moduleId);
}

int LumetraCore_pushImageData(const unsigned char* data, int32_t size, const char16_t* descriptor,
                              int32_t frameIndex) {
    if (lumcore_exec == nullptr) return NO_ENGINE_RESULT;
    return lumcore_exec->pushImageData(data, size, toUtf8(descriptor).c_str(), frameIndex);
}

int LumetraCore_setNativeTexturePointer(void* texture, const char16_t* description) {
    if (lumcore_exec == nullptr) return NO_ENGINE_RESULT;
    return lumcore_exec->setNativeTexturePointer(texture, toUtf8(description).c_str());
}

void LumetraCore_passLogFromNativeLib(const char16_t* text) {
    if (lumcore_exec == nullptr) return;
    lumcore_exec->passLogFromNativeLib(toUtf8(text).c_str());
}

void LumetraCore_getDeviceInfo(char16_t* buffer, int32_t unused) {
    std::string text;
    getDeviceInfo(text, unused);
    copyToHost(text, buffer);
}

void LumetraCore_enumerateAVDevicesNative(char16_t* buffer, int32_t unused) {
    std::string text;
    enumerateAVDevicesNative(text, unused);
    copyToHost(text, buffer);
}
