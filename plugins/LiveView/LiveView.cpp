// LiveView.cpp - the module's entry points, its configuration and its log.
// Threads: as LumetraModule.h says for each. The server lives from initialize to destroy.
#include "LiveView.h"

#include <mutex>
#include <string>
#include <string_view>

#include <LumetraCore/LumetraModule.h>

#include "live_frames.h"
#include "live_texts.h"
#include "support/host_log.h"
#include "support/json_members.h"
#include "view_server.h"

namespace {

constexpr int USUAL_PORT = 8080;
constexpr const char* USUAL_ADDRESS = "127.0.0.1";

LiveFrames frames;
LiveTexts texts(frames.instance());
ViewServer server(frames, texts);
std::mutex serverMutex;  // one configuration or end at a time; guards the next
bool configured = false;

HostLog hostLog;

std::string placeOf(const std::string& address, int port) {
    const bool hasColons = address.find(':') != std::string::npos;
    return (hasColons ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

// Why it does not serve from now on; empty if it does.
std::string start(const ViewServer::Place& place) {
    const std::lock_guard lock(serverMutex);
    configured = true;
    server.stop();
    frames.forget();
    return server.start(place);
}

}  // namespace

std::int32_t getModuleID() {
    return LIVEVIEW_ID;
}

void initialize(const char* configuration) {
    const JsonMembers members(configuration);
    const ViewServer::Place place{members.string("address").value_or(USUAL_ADDRESS),
                                  members.integer<int>("port").value_or(USUAL_PORT),
                                  members.string("name").value_or("")};
    const std::string failure = start(place);
    // Without the server's lock: whoever reads the line may ask us.
    if (failure.empty())
        hostLog.write(0, "LiveView: http://" + placeOf(place.address, server.port()) + "/");
    else
        hostLog.write(0, "Error: LiveView: " + placeOf(place.address, place.port) + " cannot be opened (" +
                             failure + ")!");
}

int registerCallback(LUMETRA_CBTYPE kind, void* function, void*) {
    if (kind != CB_LOG) return 0;
    hostLog.set(function);
    return 1;
}

int unregisterCallback(LUMETRA_CBTYPE kind) {
    if (kind != CB_LOG) return 0;
    hostLog.set(nullptr);
    return 1;
}

int getSupportedCallbacks(LUMETRA_CBTYPE* kinds) {
    kinds[0] = CB_LOG;
    return 1;
}

int command(LUMETRA_CMDTYPE command, const char* text) {
    const std::string_view given = text == nullptr ? "" : text;
    switch (static_cast<std::int32_t>(command)) {
        case LIVEVIEW_CMD_PORT:
            return server.port();
        case LIVEVIEW_CMD_RESULT:
            return texts.addResult(given) ? 1 : 0;
        case LIVEVIEW_CMD_LOG:
            texts.addLine(given);
            return 1;
        default:
            return 0;
    }
}

void notifyNewData(std::uint64_t chunkId, std::shared_ptr<IChnk> chunk) {
    if (chunk != nullptr) frames.take(chunkId, chunk);
}

std::int32_t getStatus() {
    const std::lock_guard lock(serverMutex);
    if (server.port() != 0) return STATUS_READY;
    return configured ? LIVEVIEW_STATUS_FAILED : LIVEVIEW_STATUS_STOPPED;
}

void destroy() {
    hostLog.set(nullptr);
    const std::lock_guard lock(serverMutex);
    server.stop();
    texts.forget();
    frames.forget();  // a notification that still runs may leave its frame, which goes with the library
}
