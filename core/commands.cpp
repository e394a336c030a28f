// commands.cpp - the commands that the engine itself takes. Runs on the host's thread.
#include "core/LumetraCoreExecutor.h"

using namespace lumetra;

int LumetraCoreExecutor::command(LUMETRA_CMDTYPE type, const char* text) {
    logViaCallback("Executing Command!");
    switch (type) {
        case LUMETRA_CMD_START:
        case LUMETRA_CMD_STOP:
            return 1;
        case LUMETRA_CMD_INVALIDATE:
            invalidateConfiguration();
            return 1;
        case LUMETRA_CMD_CONFIGURE:
            return configure(text);
        default:
            logViaCallback("Warning: Particular command not available!");
            return 0;
    }
}

bool LumetraCoreExecutor::configure(const char* json) {
    return m_imgCfg.configure(json);
}

bool LumetraCoreExecutor::invalidateConfiguration() {
    logViaCallback("Invalidating Core Configuration!");
    m_imgCfg.invalidate();
    return true;
}
