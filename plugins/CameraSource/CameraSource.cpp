// CameraSource.cpp - the module's entry points; each forwards to the one camera.
#include "CameraSource.h"

#include <LumetraCore/LumetraModule.h>

#include "camera.h"

namespace {

Camera camera;

}  // namespace

std::int32_t getModuleID() {
    return CAMERASOURCE_ID;
}

void initialize(const char* configuration) {
    camera.configure(configuration);
}

int registerCallback(LUMETRA_CBTYPE kind, void* function, void* user) {
    if (kind == CB_LOG) {
        camera.log().set(function);
        return 1;
    }
    if (kind != CB_PUSHNATIVEIMAGE) return 0;
    camera.setPush(reinterpret_cast<LUMETRA_PUSHFN>(function), user);
    return 1;
}

int unregisterCallback(LUMETRA_CBTYPE kind) {
    return registerCallback(kind, nullptr, nullptr);
}

int getSupportedCallbacks(LUMETRA_CBTYPE* kinds) {
    kinds[0] = CB_LOG;
    kinds[1] = CB_PUSHNATIVEIMAGE;
    return 2;
}

int command(LUMETRA_CMDTYPE command, const char*) {
    switch (static_cast<std::int32_t>(command)) {
        case LUMETRA_CMD_START:
            return camera.start() ? 1 : 0;
        case LUMETRA_CMD_STOP:
            camera.stop();
            return 1;
        case CAMERASOURCE_CMD_REPORT:
            camera.report();
            return 1;
        default:
            return 0;
    }
}

// Nothing to do with frames; but about a module that lacks this the engine warns at each of them.
void notifyNewData(std::uint64_t, std::shared_ptr<IChnk>) {}

std::int32_t getStatus() {
    return camera.status();
}

void destroy() {
    camera.stop();
    camera.setPush(nullptr, nullptr);
    camera.log().set(nullptr);
}
