// engine_session.cpp - bringing the library up and down.
#include "tools/lumetra-play/run/engine_session.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <filesystem>

#include "tools/lumetra-play/run/log_sink.h"
#include "tools/lumetra-play/run/play_error.h"
#include "tools/lumetra-play/run/text.h"

std::string configurationText(const EngineSettings& settings) {
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> writer(text);
    const auto integer = [&writer](const char* name, std::int32_t value) {
        writer.Key(name);
        writer.Int(value);
    };
    writer.StartObject();
    writer.Key("imageCfg");
    writer.StartObject();
    integer("width", settings.picture.width);
    integer("height", settings.picture.height);
    writer.EndObject();
    writer.Key("mipMap");
    writer.Bool(settings.pyramid);
    integer("format", settings.picture.format);
    integer("conversionflags", settings.flags);
    writer.Key("forwardNativeImage");
    writer.Bool(settings.forward);
    writer.Key("writablepath");
    writer.String(settings.writable.c_str());
    writer.EndObject();
    return text.GetString();
}

EngineSession::EngineSession(const LibraryTable& library) : m_library(library) {
    m_library.initialize();
    m_library.registerCallback(ENGINE_MODULE_ID, CB_LOG, reinterpret_cast<void*>(&onLogLine), nullptr);
}

EngineSession::~EngineSession() {
    for (auto id = m_modules.rbegin(); id != m_modules.rend(); ++id) m_library.unregisterDllByID(*id);
    m_library.destroy();
}

void EngineSession::configure(const EngineSettings& settings) {
    const std::u16string text = toUtf16(configurationText(settings));
    if (m_library.command(ENGINE_MODULE_ID, LUMETRA_CMD_CONFIGURE, text.c_str()) != 1)
        throw PlayError("the library refused the configuration: look at its log with --log");
}

std::int32_t EngineSession::loadModule(const ModuleRequest& module, const std::string& folder) {
    std::error_code error;
    std::filesystem::current_path(folder, error);
    if (error)
        throw PlayError("cannot enter " + folder + ": name the folder of the modules by --module-path");
    const std::int32_t id = m_library.registerDllByName(toUtf16(module.name).c_str());
    if (id == 0)
        throw PlayError("cannot load " + folder + "/" + module.name + ".framework/" + module.name +
                        ": build the module or name its folder by --module-path");
    if (id < 0)
        throw PlayError("the module " + module.name +
                        " has no usable id: its getModuleID must give 1 or more");
    if (std::find(m_modules.begin(), m_modules.end(), id) != m_modules.end())
        throw PlayError("the module " + module.name + " has the id " + std::to_string(id) +
                        ", which another module has: leave one out");
    m_modules.push_back(id);
    m_library.registerCallback(id, CB_LOG, reinterpret_cast<void*>(&onLogLine), nullptr);
    if (module.configuration) m_library.initializeDllByID(id, toUtf16(*module.configuration).c_str());
    return id;
}
