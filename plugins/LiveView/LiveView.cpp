// LiveView.cpp - the module's entry points, its configuration and its log.
// Threads: as LumetraModule.h says for each. The server lives from initialize to destroy.
#include "LiveView.h"

#include <mutex>
#include <string>

#include <LumetraCore/LumetraModule.h>

#include "live_frames.h"
#include "support/host_log.h"
#include "support/json_members.h"
#include "view_server.h"

namespace {

constexpr int USUAL_PORT = 8080;
constexpr const char* USUAL_ADDRESS = "127.0.0.1";

LiveFrames frames;
ViewServer server(frames);
std::mutex serverMutex;  // one configuration or end at a time; guards the next
bool configured = false;

HostLog hostLog;

std::string placeOf(const std::string& address, int port) {
    const bool hasColons = address.find(':') != std::string::npos;
    return (hasColons ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

// The port on which it serves from now on, 0 if it does not.
int start(const std::string& address, int port) {
    const std::lock_guard lock(serverMutex);
    configured = true;
    if (port >= 0 && port <= 65535 && server.start(address, port)) return server.port();
    server.stop();
    return 0;
}

}  // namespace

std::int32_t getModuleID() {
    return LIVEVIEW_ID;
}

void initialize(const char* configuration) {
    const JsonMembers members(configuration);
    const int port = members.integer<int>("port").value_or(USUAL_PORT);
    const std::string address = members.string("address").value_or(USUAL_ADDRESS);
    const int served = start(address, port);
    // Without the server's lock: whoever reads the line may ask us.
    if (served != 0)
        hostLog.write(0, "LiveView: http://" + placeOf(address, served) + "/");
    else
        hostLog.write(1, "LiveView: " + placeOf(address, port) +
                             " cannot be opened: configure another \"port\" or \"address\"");
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

int command(LUMETRA_CMDTYPE command, const char*) {
    return static_cast<std::int32_t>(command) == LIVEVIEW_CMD_PORT ? server.port() : 0;
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
    frames.forget();  // a notification that still runs may leave its frame, which goes with the library
}
